#include "bench/Library.h"

#include <stdexcept>

namespace Bench {

Library::Library(const std::string& path, CpuLevel level, const std::string& folder,
                 const std::string& profile)
    : conversion(), selection(), level_(level), copy_(path, level, folder) {
  // The level is chosen when it is loaded, or when a fast worker is first asked for.
  const LevelInForce inForce(level);
  conversion = MakeSlot("_2nd");
  selection = MakeSlot("_3rd");
  unsigned char pixels[3 * kWarmUpPixels] = {};
  const int output = conversion.setProfile(profile.c_str(), nullptr, KX_INTENT_PERCEPTUAL,
                                           KX_COLOR_RGB, KX_COLOR_SRGB);
  if (output != KX_COLOR_SRGB ||
      conversion.convert(pixels, pixels, kWarmUpPixels) != KX_RESULT_OK) {
    throw std::runtime_error("the library refuses " + profile);
  }
}

Slot Library::MakeSlot(const std::string& suffix) const {
  Slot slot;
  copy_.Find("KX_Icc_SetProfile" + suffix, slot.setProfile);
  copy_.Find("KX_Icc_Adjust" + suffix, slot.adjust);
  copy_.Find("KX_Icc_Convert2" + suffix, slot.convert);
  slot.engine = static_cast<decltype(slot.engine)>(copy_.Symbol("IccEngine" + suffix));
  return slot;
}

// The complete-object constructor without arguments, by the Itanium C++ ABI.
void* Library::Constructor(const std::string& name) const {
  return copy_.Symbol("_ZN5ICC408ICC_UNIT" + std::to_string(name.size()) + name + "C1Ev");
}

}  // namespace Bench

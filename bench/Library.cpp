#include "bench/Library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace Bench {

namespace {

constexpr const char* kLevelVariable = "KXCMS_LEVEL";

void* Load(const std::string& path) {
  // Local: the copies' own symbols must not meet.
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw std::runtime_error(dlerror());
  return handle;
}

}  // namespace

Library::Library(const std::string& path, CpuLevel level, const std::string& folder,
                 const std::string& profile)
    : level_(level) {
  const std::string copy = folder + "/libKXCMS-" + LevelName() + ".so";
  std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);

  // A copy reads the variable once, at the latest when a fast worker is first asked for.
  const char* before = std::getenv(kLevelVariable);
  const std::string saved = before == nullptr ? "" : before;
  setenv(kLevelVariable, LevelName(), 1);
  handle_ = Load(copy);
  conversion = MakeSlot("_2nd");
  selection = MakeSlot("_3rd");
  unsigned char pixels[3 * kWarmUpPixels] = {};
  const int output = conversion.setProfile(profile.c_str(), nullptr, KX_INTENT_PERCEPTUAL,
                                           KX_COLOR_RGB, KX_COLOR_SRGB);
  if (output != KX_COLOR_SRGB ||
      conversion.convert(pixels, pixels, kWarmUpPixels) != KX_RESULT_OK) {
    throw std::runtime_error("the library refuses " + profile);
  }
  if (before == nullptr) {
    unsetenv(kLevelVariable);
  } else {
    setenv(kLevelVariable, saved.c_str(), 1);
  }
}

Slot Library::MakeSlot(const std::string& suffix) const {
  Slot slot;
  slot.setProfile =
      reinterpret_cast<decltype(slot.setProfile)>(Symbol("KX_Icc_SetProfile" + suffix));
  slot.adjust = reinterpret_cast<decltype(slot.adjust)>(Symbol("KX_Icc_Adjust" + suffix));
  slot.convert = reinterpret_cast<decltype(slot.convert)>(Symbol("KX_Icc_Convert2" + suffix));
  slot.engine = static_cast<decltype(slot.engine)>(Symbol("IccEngine" + suffix));
  return slot;
}

void* Library::Symbol(const std::string& name) const {
  void* symbol = dlsym(handle_, name.c_str());
  if (symbol == nullptr) throw std::runtime_error("the library lacks " + name);
  return symbol;
}

// The complete-object constructor without arguments, by the Itanium C++ ABI.
void* Library::Constructor(const std::string& name) const {
  return Symbol("_ZN5ICC408ICC_UNIT" + std::to_string(name.size()) + name + "C1Ev");
}

}  // namespace Bench

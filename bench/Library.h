#ifndef KXCMS_BENCH_LIBRARY_H
#define KXCMS_BENCH_LIBRARY_H

#include <memory>
#include <new>
#include <string>

#include "bench/SharedCopy.h"
#include "engine/CIccEngineS.h"
#include "interface/kxcms.h"

namespace Bench {

/// So many pixels are converted in a format before anything is timed: a fast worker serves them and
/// makes the tables that it needs, whereas very few are left to the scalar worker, which needs
/// none.
constexpr int kWarmUpPixels = 256;

/// An engine slot of one copy of the library.
struct Slot {
  decltype(&KX_Icc_SetProfile_2nd) setProfile;
  decltype(&KX_Icc_Adjust_2nd) adjust;
  decltype(&KX_Icc_Convert2_2nd) convert;
  const ICC40::ICC_ENG_S4::CIccEngineS* engine;
};

/// A copy of libKXCMS, its workers held to one instruction-set level. Copies share the OpenMP
/// runtime.
class Library {
 public:
  /// @param profile  any profile that converts. Throws as SharedCopy does, and if it does not.
  Library(const std::string& path, CpuLevel level, const std::string& folder,
          const std::string& profile);

  const char* LevelName() const { return ICC40::NameOf(level_); }

  // Slots that print nothing. Two, since curves and offsets stay in force for the next case.
  Slot conversion;
  Slot selection;

  /// A table object of this copy. `Name` is its class in ICC40::ICC_UNIT; virtual slots lead into
  /// the copy, all other methods to this program's own.
  template <typename Table>
  std::unique_ptr<Table> MakeTable(const std::string& name) const {
    const auto construct = reinterpret_cast<void (*)(void*)>(Constructor(name));
    void* memory = ::operator new(sizeof(Table));
    construct(memory);
    return std::unique_ptr<Table>(static_cast<Table*>(memory));
  }

 private:
  Slot MakeSlot(const std::string& suffix) const;
  void* Constructor(const std::string& name) const;

  CpuLevel level_;
  SharedCopy copy_;
};

}  // namespace Bench

#endif

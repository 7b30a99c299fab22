#ifndef KXCMS_BENCH_SHAREDCOPY_H
#define KXCMS_BENCH_SHAREDCOPY_H

#include <string>

#include "base/CpuLevel.h"

namespace Bench {

using ICC40::CpuLevel;

/// While it lives, a library that is loaded or chooses its workers gets those of this level.
class LevelInForce {
 public:
  explicit LevelInForce(CpuLevel level);
  LevelInForce(const LevelInForce&) = delete;
  LevelInForce& operator=(const LevelInForce&) = delete;
  ~LevelInForce();

 private:
  const char* before_;
  std::string saved_;
};

/// A copy of a shared library in this process, to be held to one instruction-set level. Copies know
/// nothing of each other. Never unloaded.
class SharedCopy {
 public:
  /// @param path  of the library; copied into `folder`, since a file is loaded only once. Throws
  ///              runtime_error when that or loading fails.
  SharedCopy(const std::string& path, CpuLevel level, const std::string& folder);

  /// Throws runtime_error if there is none of this name.
  void* Symbol(const std::string& name) const;

  /// The same, as the function that the header declares under this name.
  template <typename Function>
  void Find(const std::string& name, Function*& function) const {
    function = reinterpret_cast<Function*>(Symbol(name));
  }

 private:
  void* handle_;
};

}  // namespace Bench

#endif

#include "bench/SharedCopy.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace Bench {

namespace {

constexpr const char* kLevelVariable = "KXCMS_LEVEL";

}  // namespace

LevelInForce::LevelInForce(CpuLevel level)
    : before_(std::getenv(kLevelVariable)), saved_(before_ == nullptr ? "" : before_) {
  setenv(kLevelVariable, ICC40::NameOf(level), 1);
}

LevelInForce::~LevelInForce() {
  if (before_ == nullptr) {
    unsetenv(kLevelVariable);
  } else {
    setenv(kLevelVariable, saved_.c_str(), 1);
  }
}

SharedCopy::SharedCopy(const std::string& path, CpuLevel level, const std::string& folder) {
  const std::string file = std::filesystem::path(path).filename();
  const std::string copy =
      folder + "/" + file.substr(0, file.find('.')) + "-" + ICC40::NameOf(level) + ".so";
  std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
  const LevelInForce inForce(level);
  // Local: the copies' own symbols must not meet.
  handle_ = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

void* SharedCopy::Symbol(const std::string& name) const {
  void* symbol = dlsym(handle_, name.c_str());
  if (symbol == nullptr) throw std::runtime_error("the library lacks " + name);
  return symbol;
}

}  // namespace Bench

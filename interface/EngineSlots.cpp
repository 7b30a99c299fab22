#include "interface/EngineSlots.h"

#include <dlfcn.h>
#include <omp.h>

namespace {

// The OpenMP runtime keeps threads and their bookkeeping for the next parallel region. It stays
// loaded when the library that brought it goes, so that nothing is unmapped under those threads and
// the next load finds them again.
struct RuntimeStaysLoaded {
  RuntimeStaysLoaded() {
    Dl_info runtime;
    if (dladdr(reinterpret_cast<void*>(&omp_get_num_threads), &runtime) == 0) return;
    void* const handle = dlopen(runtime.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    if (handle != nullptr) dlclose(handle);
  }
} runtimeStaysLoaded;

}  // namespace

// One file, so that the order of construction is the order of these lines.
ICC40::ICC_ENG_S4::CIccEngineS IccEngine;
ICC40::ICC_ENG_S4::CIccEngineS IccEngine_2nd;
ICC40::ICC_ENG_S4::CIccEngineS IccEngine_3rd;

char const* Name() {
  return "Icc";
}

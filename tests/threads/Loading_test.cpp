// Loading and unloading the library, as plug-in hosts do. This program does not link it.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/Surroundings.h"
#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"
#include "tests/threads/ProcessUsage.h"
#include "tests/tiff/TiffBytes.h"

namespace {

#ifdef KXCMS_SANITIZED
constexpr int kLoads = 40;  // the sanitizers keep books about every module
#else
constexpr int kLoads = 1000;
#endif
// The C library settles meanwhile how much freed memory it keeps for the next ones.
constexpr int kWarmUp = kLoads / 5;

template <typename Function>
Function* Find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

// The team that a conversion gets does not depend on how busy the machine is.
void UseTeam(void* library) {
  Find<void(int)>(library, "omp_set_dynamic")(0);
  Find<void(int)>(library, "omp_set_num_threads")(3);
}

void LoadAndUnload(const char* profile, std::vector<unsigned char>& pixels) {
  void* library = dlopen(KXCMS_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  UseTeam(library);
  const auto select = Find<int(const char*, const char*, int, int, int)>(  //
      library, "KX_Icc_SetProfile_2nd");
  const auto convert = Find<int(unsigned char*, unsigned char*, int)>(  //
      library, "KX_Icc_Convert2_2nd");
  EXPECT_EQ(select(profile, nullptr, 0, 0, 12), 12);
  EXPECT_EQ(convert(pixels.data(), pixels.data(), static_cast<int>(pixels.size() / 3)), 0);
  EXPECT_EQ(dlclose(library), 0);
}

// The team's threads outlive the library: the OpenMP runtime keeps them, and has to stay mapped.
TEST(Loading, AThousandTimesLeavesNothing) {
  KXCMS_REQUIRE_PATH("/proc/self/maps");
  const TemporaryFile profile(reference::WriteProfile(reference::PlainSpec(2, 2, 2)));
  std::vector<unsigned char> pixels(std::size_t{3} * 40000, 100);
  for (int i = 0; i < kWarmUp; ++i) LoadAndUnload(profile.Path(), pixels);
  const ProcessUsage before = ProcessUsage::Now("libKXCMS");
  for (int i = kWarmUp; i < kLoads; ++i) LoadAndUnload(profile.Path(), pixels);
  const ProcessUsage after = ProcessUsage::Now("libKXCMS");
  EXPECT_FALSE(after.isMapped);
  EXPECT_EQ(after.threads, before.threads);
#ifndef KXCMS_SANITIZED
  EXPECT_EQ(after.mappings, before.mappings);
  // The tests' own strings come and go within this.
  EXPECT_LT(after.heapBytes, before.heapBytes + 1024);
  // A page here and there is the system's, a page per load would be four megabytes.
  EXPECT_LT(after.residentKiB, before.residentKiB + 512);
#endif
}

}  // namespace

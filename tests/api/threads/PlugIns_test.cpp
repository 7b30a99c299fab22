// A host of plug-ins that link the library. The host itself knows nothing of it.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "tests/api/threads/PlugIn.h"
#include "tests/threads/ProcessUsage.h"

namespace {

#ifdef KXCMS_SANITIZED
constexpr int kLoads = 40;  // the sanitizers keep books about every module
#else
constexpr int kLoads = 1000;
#endif
constexpr int kWarmUp = kLoads / 5;

constexpr std::size_t kPixels = 100000;  // several pieces of work
constexpr const char* kLibrary = "libKXPipeline";

using Pixels = std::vector<unsigned char>;

Pixels SomePixels() {
  Pixels pixels(3 * kPixels);
  std::uint32_t state = 1;
  for (unsigned char& sample : pixels) {
    state = state * 1664525u + 1013904223u;
    sample = static_cast<unsigned char>(state >> 24);
  }
  return pixels;
}

class PlugIn {
 public:
  explicit PlugIn(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }
  PlugIn(const PlugIn&) = delete;
  PlugIn& operator=(const PlugIn&) = delete;
  ~PlugIn() { EXPECT_EQ(dlclose(handle_), 0); }

  Pixels Converted(std::uint32_t threads) const {
    auto* const convert = reinterpret_cast<PlugInConvert*>(dlsym(handle_, kPlugInConvert));
    Pixels pixels = SomePixels();
    EXPECT_EQ(convert(pixels.data(), kPixels, threads), 0);
    return pixels;
  }

 private:
  void* handle_;
};

TEST(PlugIns, AThousandLoadsLeaveNothing) {
  ASSERT_FALSE(ProcessUsage::Now(kLibrary).isMapped);
  // The allocator adds an arena whenever it happens that more threads than before run at once.
  mallopt(M_ARENA_MAX, 1);
  const auto use = [expected = Pixels()]() mutable {
    const PlugIn plugIn(KXCMS_PLUG_IN_ONE);
    const Pixels converted = plugIn.Converted(3);
    if (expected.empty()) expected = converted;
    EXPECT_TRUE(converted == expected);
    EXPECT_TRUE(ProcessUsage::Now(kLibrary).isMapped);
  };
  auto useAgain = use;
  for (int i = 0; i < kWarmUp; ++i) useAgain();
  const ProcessUsage before = ProcessUsage::Now(kLibrary);
  for (int i = kWarmUp; i < kLoads; ++i) useAgain();
  const ProcessUsage after = ProcessUsage::Now(kLibrary);
  EXPECT_FALSE(after.isMapped);
  EXPECT_EQ(after.threads, before.threads);
#ifndef KXCMS_SANITIZED
  EXPECT_EQ(after.mappings, before.mappings);
  // Half of the least that a load could leave, 16 bytes. What the loader and the threads of one load
  // or another leave to the next one comes and goes within it.
  EXPECT_LT(after.heapBytes, before.heapBytes + (kLoads - kWarmUp) * 8);
  // A page here and there is the system's, a page per load would be four megabytes.
  EXPECT_LT(after.residentKiB, before.residentKiB + 512);
#endif
}

// Each converts to a space of its own.
TEST(PlugIns, TwoInOneProcess) {
  Pixels expectedOne, expectedTwo;
  {
    const PlugIn one(KXCMS_PLUG_IN_ONE);
    expectedOne = one.Converted(1);
  }
  {
    const PlugIn two(KXCMS_PLUG_IN_TWO);
    expectedTwo = two.Converted(1);
  }
  EXPECT_NE(expectedOne, expectedTwo);

  const PlugIn one(KXCMS_PLUG_IN_ONE), two(KXCMS_PLUG_IN_TWO);
  std::thread other([&] {
    for (int n = 0; n < 20; ++n) EXPECT_TRUE(two.Converted(3) == expectedTwo);
  });
  for (int n = 0; n < 20; ++n) EXPECT_TRUE(one.Converted(2) == expectedOne);
  other.join();
}

// One goes and comes back while the other converts.
TEST(PlugIns, OneIsUnloadedWhileAnotherConverts) {
  const PlugIn one(KXCMS_PLUG_IN_ONE);
  const Pixels expected = one.Converted(1);
  std::atomic<bool> isOver{false};
  std::thread converting([&] {
    while (!isOver) EXPECT_TRUE(one.Converted(3) == expected);
  });
  for (int n = 0; n < 20; ++n) {
    const PlugIn two(KXCMS_PLUG_IN_TWO);
    EXPECT_FALSE(two.Converted(2).empty());
  }
  isOver = true;
  converting.join();
}

}  // namespace

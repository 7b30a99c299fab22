// Threads that cannot be started. This program's pthread_create is the one that the library finds.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <cstdint>

#include "tests/api/threads/Pixels.h"

namespace {

// The start that fails, and whether later ones do, counted from 1. 0: none.
int failing = 0;
bool failsFromThenOn = false;
int starts = 0;

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*work)(void*), void* argument) {
  static const auto real =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  ++starts;
  if (failing != 0 && (failsFromThenOn ? starts >= failing : starts == failing)) return EAGAIN;
  return real(thread, attributes, work, argument);
}

namespace {

using namespace api_test;

int StartsOf(const kxp_pipeline* pipeline, std::uint32_t threads, const Bytes& expected) {
  starts = 0;
  EXPECT_EQ(ManyConverted(pipeline, threads), expected) << threads << " threads";
  return starts;
}

TEST(PthreadFaults, AsManyThreadsAsWereAskedFor) {
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes expected = ManyConverted(pipeline.get(), 1);
  // 200000 pixels are seven pieces of work.
  const struct {
    std::uint32_t threads;
    int starts;
  } kRows[] = {{0, 0}, {1, 0}, {2, 1}, {3, 2}, {7, 6}, {8, 6}, {1000, 6}, {0xFFFFFFFF, 6}};
  for (const auto& row : kRows) {
    EXPECT_EQ(StartsOf(pipeline.get(), row.threads, expected), row.starts) << row.threads;
  }
}

TEST(PthreadFaults, ThreadsThatCannotBeStartedAreDoneWithout) {
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes expected = ManyConverted(pipeline.get(), 1);
  for (const bool fromThenOn : {false, true}) {
    for (int nth = 1; nth <= 6; ++nth) {
      failing = nth;
      failsFromThenOn = fromThenOn;
      // Nobody tries again.
      EXPECT_EQ(StartsOf(pipeline.get(), 7, expected), nth);
      failing = 0;
      EXPECT_EQ(StartsOf(pipeline.get(), 7, expected), 6);
    }
  }
}

// A host's own threads are all that there are then.
TEST(PthreadFaults, WithAPoolNoThreadIsStarted) {
  const Pipeline pipeline = ScannerToSrgb();
  Bytes pixels = SomeBytes(3 * kManyPixels, 41);
  const kxp_image image = PlainImage(pixels.data(), KXP_U8);
  kxp_convert_options options = NewConvertOptions();
  options.threads = 7;
  options.run = [](void*, std::uint32_t count, kxp_job job, void* argument) {
    for (std::uint32_t n = 0; n < count; ++n) job(argument, n);
  };
  starts = 0;
  EXPECT_EQ(kxp_convert(pipeline.get(), &image, &image, kManyPixels, 1, &options, nullptr), KXP_OK);
  EXPECT_EQ(starts, 0);
  EXPECT_EQ(pixels, ManyConverted(pipeline.get(), 1));
}

// Nothing but a conversion that was asked for more than one thread starts any.
TEST(PthreadFaults, NothingElseStartsThreads) {
  starts = 0;
  const Pipeline pipeline = Connect(FromMemory(FullProfile()), FromMemory(FullProfile()),
                                    KXP_RELATIVE, KXP_BLACK_POINT_COMPENSATION);
  EXPECT_FALSE(ManyConverted(pipeline.get(), 1).empty());
  EXPECT_EQ(starts, 0);
}

}  // namespace

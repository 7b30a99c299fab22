// What a process does with its threads besides converting: fork, signals, threads with little
// stack. The thread sanitizer can follow none of this.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <iterator>
#include <thread>
#include <vector>

#include "tests/api/TestImage.h"
#include "tests/api/threads/Pixels.h"

namespace {

using namespace api_test;

// ---- fork ---------------------------------------------------------------------------------------

bool HoldsInAChild(const std::function<bool()>& holds) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);  // ends a child that hangs
    _exit(holds() ? 0 : 1);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

TEST(Process, AChildConvertsWithThreads) {
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes expected = ManyConverted(pipeline.get(), 4);
  ASSERT_FALSE(expected.empty());
  const struct {
    const char* what;
    std::function<bool()> holds;
  } kRows[] = {
      {"on the parent's pipeline, one thread",
       [&] { return ManyConverted(pipeline.get(), 1) == expected; }},
      {"on the parent's pipeline, four threads",
       [&] { return ManyConverted(pipeline.get(), 4) == expected; }},
      {"on one of its own", [&] { return ManyConverted(ScannerToSrgb().get(), 4) == expected; }},
      {"to a space that the parent has not used",
       [&] {
         const Pipeline own = Connect(FromMemory(ScannerProfile()), BuiltIn("rec2020"));
         return ManyConverted(own.get(), 3) == ManyConverted(own.get(), 1);
       }},
      {"in a thread of its own",
       [&] {
         bool isSame = false;
         std::thread([&] { isSame = ManyConverted(pipeline.get(), 4) == expected; }).join();
         return isSame;
       }},
      {"and so does its child",
       [&] {
         return ManyConverted(pipeline.get(), 2) == expected &&
                HoldsInAChild([&] { return ManyConverted(pipeline.get(), 4) == expected; });
       }},
  };
  for (const auto& row : kRows) EXPECT_TRUE(HoldsInAChild(row.holds)) << row.what;
  EXPECT_EQ(ManyConverted(pipeline.get(), 4), expected) << "the parent, afterwards";
}

// The child has none of the threads that convert in its parent.
TEST(Process, AForkInTheMiddleOfAConversion) {
#ifdef KXCMS_SANITIZED
  GTEST_SKIP() << "SKIP: a sanitizer's allocator stays locked in a child of a busy process";
#endif
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes expected = ManyConverted(pipeline.get(), 1);
  std::atomic<bool> isOver{false};
  std::thread busy([&] {
    while (!isOver) EXPECT_EQ(ManyConverted(pipeline.get(), 4), expected);
  });
  for (int n = 0; n < 5; ++n) {
    EXPECT_TRUE(HoldsInAChild([&] { return ManyConverted(pipeline.get(), 3) == expected; }));
  }
  isOver = true;
  busy.join();
}

// ---- Signals ------------------------------------------------------------------------------------

std::atomic<pid_t> handlerMayRunOn{0};
std::atomic<int> handled{0}, handledElsewhere{0};

pid_t ThisThread() {
  return static_cast<pid_t>(syscall(SYS_gettid));
}

// Signals to the process are handled by threads of the host. They are blocked in all of these but
// the one that converts, so that the system must choose between that one and the library's own.
TEST(Process, SignalsAreHandledByTheHostsThreads) {
  struct sigaction action = {}, before = {};
  action.sa_handler = [](int) {
    ++handled;
    if (ThisThread() != handlerMayRunOn) ++handledElsewhere;
  };
  action.sa_flags = SA_RESTART;
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  sigset_t usr1, mask;
  sigemptyset(&usr1);
  sigaddset(&usr1, SIGUSR1);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &usr1, &mask), 0);

  const Pipeline pipeline = ScannerToSrgb();
  const Bytes expected = ManyConverted(pipeline.get(), 1);
  std::atomic<bool> isOver{false};
  std::thread converting([&] {
    handlerMayRunOn = ThisThread();
    pthread_sigmask(SIG_UNBLOCK, &usr1, nullptr);
    for (int n = 0; n < 20; ++n) EXPECT_EQ(ManyConverted(pipeline.get(), 4), expected);
    sigset_t after;
    pthread_sigmask(SIG_BLOCK, &usr1, &after);
    EXPECT_EQ(sigismember(&after, SIGUSR1), 0) << "the mask of the converting thread";
    isOver = true;
  });
  while (!isOver) {
    kill(getpid(), SIGUSR1);
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  converting.join();
  EXPECT_GT(handled, 0);
  EXPECT_EQ(handledElsewhere, 0);

  // What is still pending goes to nobody.
  action.sa_handler = SIG_IGN;
  sigaction(SIGUSR1, &action, nullptr);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  sigaction(SIGUSR1, &before, nullptr);
}

// ---- Stack --------------------------------------------------------------------------------------

#ifndef KXCMS_SANITIZED  // which make stacks larger

bool RunsOnStackOf(std::size_t bytes, const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0) return false;
  const bool isStarted = pthread_attr_setstacksize(&attributes, bytes) == 0 &&
                         pthread_create(
                             &thread, &attributes,
                             [](void* argument) -> void* {
                               (*static_cast<const std::function<void()>*>(argument))();
                               return nullptr;
                             },
                             const_cast<std::function<void()>*>(&work)) == 0;
  pthread_attr_destroy(&attributes);
  return isStarted && pthread_join(thread, nullptr) == 0;
}

// 64 KiB are enough for everything, from reading a profile to converting on more threads.
TEST(Process, AThreadWith64KiBOfStack) {
  const Bytes full = FullProfile(), scanner = ScannerProfile();
  const Bytes samples = SomeSamples(4 * 1000, KXP_F32, 43);
  std::vector<Bytes> results, expected;
  const std::function<void()> work = [&] {
    results.clear();
    for (const std::uint32_t flags : {0, static_cast<int>(KXP_BLACK_POINT_COMPENSATION)}) {
      for (const Bytes& source : {full, scanner}) {
        const Pipeline pipeline =
            Connect(FromMemory(source), FromMemory(full), KXP_RELATIVE, flags);
        results.push_back(ManyConverted(pipeline.get(), 1));
        results.push_back(ManyConverted(pipeline.get(), 3));
        for (const std::uint32_t from : kSampleTypes) {
          for (const std::uint32_t to : kSampleTypes) {
            Bytes in = samples, out(samples.size());
            kxp_image source4 = PlainImage(in.data(), from),
                      destination4 = PlainImage(out.data(), to);
            source4.a = in.data() + 3 * SampleBytes(from);
            destination4.a = out.data() + 3 * SampleBytes(to);
            source4.flags = destination4.flags = KXP_ASSOCIATED_ALPHA;
            EXPECT_EQ(
                kxp_convert(pipeline.get(), &source4, &destination4, 1000, 1, nullptr, nullptr),
                KXP_OK);
            results.push_back(out);
            // Apart in pairs, and three of four.
            source4.flags = destination4.flags = 0;
            source4.pixel_stride = destination4.pixel_stride = 6 * SampleBytes(KXP_F32);
            EXPECT_EQ(
                kxp_convert(pipeline.get(), &source4, &destination4, 600, 1, nullptr, nullptr),
                KXP_OK);
            results.push_back(out);
            source4.a = destination4.a = nullptr;
            source4.pixel_stride = 4 * SampleBytes(from);
            destination4.pixel_stride = 4 * SampleBytes(to);
            EXPECT_EQ(
                kxp_convert(pipeline.get(), &source4, &destination4, 1000, 1, nullptr, nullptr),
                KXP_OK);
            results.push_back(out);
          }
        }
      }
    }
    kxp_profile* none = nullptr;
    kxp_error error = NewError();
    EXPECT_EQ(kxp_profile_open("/nonexistent", &none, &error), KXP_ERROR_FILE);
  };
  work();
  expected = results;
  ASSERT_TRUE(RunsOnStackOf(64 * 1024, work));
  EXPECT_EQ(results, expected);
}

#endif

}  // namespace

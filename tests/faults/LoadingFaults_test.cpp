// Loading the library while memory is short. Each attempt has a process of its own, whose malloc
// fails once: the dynamic linker, the runtimes and the library's start all allocate there.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <vector>

#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"
#include "tests/tiff/TiffBytes.h"

namespace {

constexpr int kRight = 0;
constexpr int kRefused = 2;  // not loaded, with a reason; the next attempt went well
constexpr int kWrong = 3;
// How GNU's OpenMP runtime ends a process that has no memory for it; there is no way to ask it for
// anything else.
constexpr int kRuntimeGaveUp = 1;

long failing = 0;  // the allocation that fails; 0: none
long allocations = 0;

bool Fails() {
  return failing != 0 && ++allocations == failing;
}

}  // namespace

// glibc's own names of its allocator.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
  if (!Fails()) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}
void* calloc(std::size_t count, std::size_t size) {
  if (!Fails()) return __libc_calloc(count, size);
  errno = ENOMEM;
  return nullptr;
}
void* realloc(void* memory, std::size_t size) {
  if (!Fails()) return __libc_realloc(memory, size);
  errno = ENOMEM;
  return nullptr;
}
}

namespace {

std::vector<unsigned char> Converted(void* library, const char* profile) {
  std::vector<unsigned char> pixels = tiff_test::Ramp(300, 3, 37);
  const auto select = reinterpret_cast<int (*)(const char*, const char*, int, int, int)>(
      dlsym(library, "KX_Icc_SetProfile_2nd"));
  const auto convert = reinterpret_cast<int (*)(unsigned char*, unsigned char*, int)>(
      dlsym(library, "KX_Icc_Convert2_2nd"));
  if (select(profile, nullptr, 0, 0, 12) != 12) pixels.clear();
  if (!pixels.empty() && convert(pixels.data(), pixels.data(), 100) != 0) pixels.clear();
  return pixels;
}

struct Result {
  bool struck = true;  // a process that ended within the call was
  int status = 0;
  std::vector<unsigned char> converted;
};

// Loads and converts in a process of its own, which has never loaded anything before.
Result Attempt(long nth, const char* profile, const std::vector<unsigned char>& expected) {
  const TemporaryFile output;
  const pid_t child = fork();
  if (child == 0) {
    allocations = 0;
    failing = nth;
    void* library = dlopen(KXCMS_LIBRARY, RTLD_NOW);
    failing = 0;
    const bool struck = nth != 0 && allocations >= nth;
    int status = kRight;
    if (library == nullptr) {
      status = dlerror() != nullptr ? kRefused : kWrong;
      library = dlopen(KXCMS_LIBRARY, RTLD_NOW);
    }
    const auto converted = library == nullptr ? tiff_test::Bytes() : Converted(library, profile);
    if (converted.empty() || (!expected.empty() && converted != expected)) status = kWrong;
    std::ofstream file(output.Path(), std::ios::binary);
    file.put(struck ? '1' : '0');
    file.write(reinterpret_cast<const char*>(converted.data()), std::streamsize(converted.size()));
    file.close();
    _exit(status);
  }
  Result result;
  waitpid(child, &result.status, 0);
  result.status =
      WIFEXITED(result.status) ? WEXITSTATUS(result.status) : 128 + WTERMSIG(result.status);
  const tiff_test::Bytes bytes = output.Read();
  if (!bytes.empty()) {
    result.struck = bytes[0] == '1';
    result.converted.assign(bytes.begin() + 1, bytes.end());
  }
  return result;
}

TEST(LoadingFaults, LoadsOrRefusesAndLoadsLater) {
  const TemporaryFile profile(reference::WriteProfile(reference::PlainSpec(5, 256, 256)));
  const Result undisturbed = Attempt(0, profile.Path(), {});
  ASSERT_EQ(undisturbed.status, kRight);
  int counts[3] = {};
  for (long nth = 1;; ++nth) {
    const Result result = Attempt(nth, profile.Path(), undisturbed.converted);
    if (!result.struck) {
      EXPECT_EQ(result.status, kRight);
      break;
    }
    ASSERT_TRUE(result.status == kRight || result.status == kRefused ||
                result.status == kRuntimeGaveUp)
        << "allocation " << nth << ": status " << result.status;
    ++counts[result.status];
  }
  std::cout << "loaded " << counts[kRight] << " times, refused " << counts[kRefused]
            << " times, ended by the OpenMP runtime " << counts[kRuntimeGaveUp] << " times\n";
  EXPECT_GT(counts[kRefused], 0);
}

}  // namespace

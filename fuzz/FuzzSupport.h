#ifndef KXCMS_FUZZ_FUZZSUPPORT_H
#define KXCMS_FUZZ_FUZZSUPPORT_H

#include <fcntl.h>
#include <omp.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

// What the fuzz targets share: the checks, the cursor over the fuzzer's bytes, files in memory.

/// Ends the process, as the fuzzer wants it, when a promise of the library is broken.
#define FUZZ_CHECK(condition)                                                      \
  do {                                                                             \
    if (!(condition)) {                                                            \
      std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                \
    }                                                                              \
  } while (false)

namespace fuzz {

using Bytes = std::vector<unsigned char>;

/// Cursor over the fuzzer's bytes; bytes that are not there are 0.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

  std::size_t left() const { return left_; }

  std::uint8_t U8() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }
  unsigned U16() {
    const unsigned low = U8();
    return low | unsigned{U8()} << 8;
  }
  std::uint32_t U32() {
    const std::uint32_t low = U16();
    return low | std::uint32_t{U16()} << 16;
  }

  /// The next `count` bytes.
  Bytes Take(std::size_t count) {
    Bytes bytes(count);
    const std::size_t there = std::min(count, left_);
    std::copy_n(next_, there, bytes.begin());
    next_ += there;
    left_ -= there;
    return bytes;
  }
  Bytes Rest() { return Take(left_); }

  /// A number near zero most of the time, of any size now and then.
  int Position() {
    const unsigned kind = U8();
    if (kind < 200) return static_cast<int>(kind) - 20;
    if (kind < 240) return static_cast<int>(U16()) - 32768;
    return static_cast<int>(U32());
  }

  /// An offset in L*, C* or hue: mostly small, sometimes what no colour has.
  double Offset() {
    constexpr double kOdd[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               1e300,
                               -1e300,
                               2147483648.0,
                               -2147483649.0,
                               5e-324};
    const unsigned kind = U8();
    if (kind < 128) return (static_cast<int>(kind) - 64) * 0.5;
    if (kind < 248) return (static_cast<int>(kind) - 188) * 12.0;
    return kOdd[kind - 248];
  }

  /// One of the values of a list.
  template <typename Value, std::size_t kCount>
  Value OneOf(const Value (&values)[kCount]) {
    return values[U8() % kCount];
  }

 private:
  const std::uint8_t* next_;
  std::size_t left_;
};

/// A file without a disk, under a path that every process function takes.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("kxcms_fuzz", 0)) {
    if (descriptor_ < 0) {
      std::perror("memfd_create");
      std::abort();
    }
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
    if (access(path_.c_str(), R_OK) != 0) {
      std::fprintf(stderr, "SKIP: there is no /proc, by which files in memory have a path\n");
      _exit(1);
    }
  }
  explicit MemoryFile(const Bytes& bytes) : MemoryFile() { Write(bytes); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  const char* path() const { return path_.c_str(); }
  char* path() { return path_.data(); }

  void Write(const Bytes& bytes) {
    const auto size = static_cast<ssize_t>(bytes.size());
    if (ftruncate(descriptor_, 0) != 0 ||
        pwrite(descriptor_, bytes.data(), bytes.size(), 0) != size) {
      std::perror("memory file");
      std::abort();
    }
  }

  std::size_t Size() const {
    struct stat status = {};
    fstat(descriptor_, &status);
    return static_cast<std::size_t>(status.st_size);
  }

  Bytes Contents() const {
    Bytes bytes(Size());
    const ssize_t read = pread(descriptor_, bytes.data(), bytes.size(), 0);
    bytes.resize(read < 0 ? 0 : static_cast<std::size_t>(read));
    return bytes;
  }

 private:
  int descriptor_;
  std::string path_;
};

/// Bytes between guards that tell whether anything beside them was written.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size, unsigned char fill = 0xA5)
      : size_(size), bytes_(size + 2 * kGuardBytes, kGuard) {
    std::fill_n(data(), size, fill);
  }

  unsigned char* data() { return bytes_.data() + kGuardBytes; }
  std::size_t size() const { return size_; }
  Bytes Contents() { return Bytes(data(), data() + size_); }

  bool GuardsHold() {
    return std::all_of(bytes_.data(), data(), IsGuard) &&
           std::all_of(data() + size_, bytes_.data() + bytes_.size(), IsGuard);
  }

 private:
  static constexpr std::size_t kGuardBytes = 64;
  static constexpr unsigned char kGuard = 0xD7;
  static bool IsGuard(unsigned char byte) { return byte == kGuard; }

  std::size_t size_;
  Bytes bytes_;
};

/// Pixels with many dark, bright and grey ones among them, the same for the same seed.
inline Bytes SomePixels(std::size_t size, std::uint32_t seed) {
  Bytes bytes(size);
  std::uint64_t state = seed * 2654435769u + std::uint64_t{1};
  for (unsigned char& byte : bytes) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    const auto drawn = static_cast<unsigned>(state >> 33);
    constexpr unsigned char kEnds[] = {0, 1, 127, 128, 254, 255};
    byte = drawn % 4 == 0 ? kEnds[(drawn >> 8) % 6] : static_cast<unsigned char>(drawn >> 8);
  }
  return bytes;
}

/// What a run may make the library hold and still be fast.
constexpr std::uint64_t kCheapBytes = 16 << 10;

/// Whether this process fuzzes for a time, rather than run given files.
inline bool isFuzzing = false;

/// Inputs that were left out; printed at the end in the form of the fuzzer's own statistics.
inline unsigned long leftOutCount = 0;

/// Whether an input is not worth its time: those that make the library hold megabytes of zeros are
/// slow, and most of them alike. While fuzzing, the fewer of them are run the more they claim.
inline bool IsLeftOut(const std::uint8_t* data, std::size_t size, std::uint64_t claimedBytes) {
  if (!isFuzzing || claimedBytes <= kCheapBytes) return false;
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum = sum * 31 + data[i];
  if ((sum ^ sum >> 16) % (4 * claimedBytes / kCheapBytes) == 0) return false;
  ++leftOutCount;
  return true;
}

/// Once per process, with its arguments: the library's lines on standard output go nowhere, and
/// every parallel region has one thread. Engines set the thread count when they are made: call it
/// after them.
inline void PrepareProcess(int argc, char** argv) {
  isFuzzing = std::any_of(argv, argv + argc, [](const char* argument) {
    return std::strncmp(argument, "-max_total_time=", 16) == 0;
  });
  if (isFuzzing) {
    std::atexit([] { std::fprintf(stderr, "stat::left_out_units: %lu\n", leftOutCount); });
  }
  const int nowhere = open("/dev/null", O_WRONLY);
  if (nowhere >= 0) {
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  omp_set_dynamic(0);
  omp_set_num_threads(1);
}

}  // namespace fuzz

#endif

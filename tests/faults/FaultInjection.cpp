#include "tests/faults/FaultInjection.h"

#include <dlfcn.h>
#include <sys/types.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace faults {
namespace {

struct Plan {
  std::atomic<bool> active{false};
  Call call{};
  long nth = 0;
  Reach reach{};
  std::atomic<long> calls{0};
  std::atomic<long> largestBytes{0};
} plan;

bool Fails(Call call) {
  if (!plan.active || plan.call != call) return false;
  const long number = ++plan.calls;
  return plan.reach == Reach::kOnce ? number == plan.nth : number >= plan.nth;
}

bool FailsOn(Call call, const FILE* stream) {
  return stream != stdout && stream != stderr && Fails(call);
}

template <typename Function>
Function Real(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Whether an allocation fails; its size is noted.
bool FailsToAllocate(std::size_t size) {
  if (plan.active) {
    const auto bytes = static_cast<long>(size);
    long largest = plan.largestBytes;
    while (largest < bytes && !plan.largestBytes.compare_exchange_weak(largest, bytes)) {
    }
  }
  return Fails(Call::kAllocation);
}

void* Allocate(std::size_t size) {
  if (FailsToAllocate(size)) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
  if (FailsToAllocate(size)) throw std::bad_alloc();
  const auto bytes = static_cast<std::size_t>(alignment);
  void* memory = nullptr;
  if (posix_memalign(&memory, std::max(bytes, sizeof memory), size) != 0) throw std::bad_alloc();
  return memory;
}

void* AllocateOrThrow(std::size_t size) {
  if (void* memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}

// Moves part of what was asked for, as a disk does that breaks in the middle.
std::size_t HalfOf(std::size_t count) {
  errno = EIO;
  return count / 2;
}

}  // namespace

const char* NameOf(Call call) {
  constexpr const char* kNames[] = {"allocation", "fopen", "fread",  "fwrite",
                                    "fseek",      "ftell", "fclose", "fflush"};
  return kNames[static_cast<int>(call)];
}

Injection::Injection(Call call, long nth, Reach reach) : nth_(nth) {
  plan.call = call;
  plan.nth = nth;
  plan.reach = reach;
  plan.calls = 0;
  plan.largestBytes = 0;
  plan.active = true;
}

Injection::~Injection() {
  plan.active = false;
}

long Injection::Calls() const {
  return plan.calls;
}

long Injection::LargestBytes() const {
  return plan.largestBytes;
}

}  // namespace faults

using faults::Call;

void* operator new(std::size_t size) {
  return faults::AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
  return faults::AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return faults::Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return faults::Allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return faults::AllocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return faults::AllocateAligned(size, alignment);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

// Not inlined and not known as builtins here: these are the definitions that the library calls.
extern "C" {

FILE* fopen(const char* path, const char* mode) {
  static const auto real = faults::Real<FILE* (*)(const char*, const char*)>("fopen");
  if (!faults::Fails(Call::kOpen)) return real(path, mode);
  errno = EMFILE;
  return nullptr;
}

std::size_t fread(void* to, std::size_t size, std::size_t count, FILE* stream) {
  static const auto real =
      faults::Real<std::size_t (*)(void*, std::size_t, std::size_t, FILE*)>("fread");
  return real(to, size, faults::FailsOn(Call::kRead, stream) ? faults::HalfOf(count) : count,
              stream);
}

std::size_t fwrite(const void* from, std::size_t size, std::size_t count, FILE* stream) {
  static const auto real =
      faults::Real<std::size_t (*)(const void*, std::size_t, std::size_t, FILE*)>("fwrite");
  return real(from, size, faults::FailsOn(Call::kWrite, stream) ? faults::HalfOf(count) : count,
              stream);
}

// Weak: a program may have one of its own.
__attribute__((weak)) ssize_t pread(int fd, void* to, std::size_t size, off_t offset) {
  static const auto real = faults::Real<ssize_t (*)(int, void*, std::size_t, off_t)>("pread");
  if (!faults::Fails(Call::kRead)) return real(fd, to, size, offset);
  errno = EIO;
  return -1;
}

ssize_t pwrite(int fd, const void* from, std::size_t size, off_t offset) {
  static const auto real =
      faults::Real<ssize_t (*)(int, const void*, std::size_t, off_t)>("pwrite");
  if (!faults::Fails(Call::kWrite)) return real(fd, from, size, offset);
  errno = EIO;
  return -1;
}

int fflush(FILE* stream) {
  static const auto real = faults::Real<int (*)(FILE*)>("fflush");
  if (stream == nullptr || !faults::FailsOn(Call::kFlush, stream)) return real(stream);
  errno = EIO;
  return EOF;
}

int fseek(FILE* stream, long offset, int origin) {
  static const auto real = faults::Real<int (*)(FILE*, long, int)>("fseek");
  if (!faults::FailsOn(Call::kSeek, stream)) return real(stream, offset, origin);
  errno = EIO;
  return -1;
}

int fseeko(FILE* stream, off_t offset, int origin) {
  static const auto real = faults::Real<int (*)(FILE*, off_t, int)>("fseeko");
  if (!faults::FailsOn(Call::kSeek, stream)) return real(stream, offset, origin);
  errno = EIO;
  return -1;
}

off_t ftello(FILE* stream) {
  static const auto real = faults::Real<off_t (*)(FILE*)>("ftello");
  if (!faults::FailsOn(Call::kTell, stream)) return real(stream);
  errno = EIO;
  return -1;
}

// A close that fails has closed all the same.
int fclose(FILE* stream) {
  static const auto real = faults::Real<int (*)(FILE*)>("fclose");
  const bool fails = faults::FailsOn(Call::kClose, stream);
  const int result = real(stream);
  if (!fails) return result;
  errno = EIO;
  return EOF;
}

}  // extern "C"

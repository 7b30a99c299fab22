// Loaded into the command in front of all libraries (LD_PRELOAD): makes one of its system or
// library calls fail, or ends the process there.
//
// Environment: KXCMS_FAULT = KIND:NTH:REACH; KXCMS_FAULT_REPORT = a file for the number of calls of
// that kind. Calls are counted from the beginning of main on. REACH is "once", "on" (this call and
// all later ones) or "kill": the process dies by SIGKILL, a write half done. Kind "change" is every
// call that changes the file system. KXCMS_NO_UNNAMED: unnamed temporary files do not exist.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "api/pipeline.h"

namespace {

enum class Reach { kOnce, kOn, kKill };

struct Plan {
  char kind[16] = "";
  long nth = 0;
  Reach reach = Reach::kOnce;
  const char* report = nullptr;
  long calls = 0;
  bool active = false;
} plan;

void ReadPlan() {
  const char* text = std::getenv("KXCMS_FAULT");
  plan.report = std::getenv("KXCMS_FAULT_REPORT");
  char reach[8] = "";
  if (text == nullptr || std::sscanf(text, "%15[^:]:%ld:%7s", plan.kind, &plan.nth, reach) != 3) {
    return;
  }
  if (std::strcmp(reach, "on") == 0) plan.reach = Reach::kOn;
  if (std::strcmp(reach, "kill") == 0) plan.reach = Reach::kKill;
  plan.active = true;
}

// By system calls alone: the process may be short of everything.
void ReportCalls() {
  if (!plan.active || plan.report == nullptr) return;
  plan.active = false;
  char line[24];
  const int size = std::snprintf(line, sizeof line, "%ld", plan.calls);
  const long file = syscall(SYS_openat, AT_FDCWD, plan.report, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  syscall(SYS_write, file, line, size);
  syscall(SYS_close, file);
}

bool Strikes(const char* kind) {
  if (!plan.active || std::strcmp(plan.kind, kind) != 0) return false;
  const long number = __atomic_add_fetch(&plan.calls, 1, __ATOMIC_RELAXED);
  if (plan.nth == 0) return false;
  return plan.reach == Reach::kOn ? number >= plan.nth : number == plan.nth;
}

// For calls that change the file system: ends the process if it is to end here.
void MayDie() {
  if (Strikes("change") && plan.reach == Reach::kKill) kill(getpid(), SIGKILL);
}

bool Fails(const char* kind, int error) {
  if (!Strikes(kind)) return false;
  errno = error;
  return true;
}

template <typename Function>
Function* Real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define REAL(name)                                 \
  (*[] {                                           \
    static const auto real = Real(&::name, #name); \
    return real;                                   \
  }())

int (*realMain)(int, char**, char**);

int CountedMain(int argc, char** argv, char** environment) {
  ReadPlan();
  return realMain(argc, argv, environment);
}

bool IsDiagnostic(const FILE* stream) {
  return stream == stdout || stream == stderr;
}

}  // namespace

extern "C" {

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                      void (*fini)(), void (*runtimeFini)(), void* stackEnd) {
  using Start =
      int(int (*)(int, char**, char**), int, char**, void (*)(), void (*)(), void (*)(), void*);
  realMain = main;
  std::atexit(ReportCalls);
  return reinterpret_cast<Start*>(dlsym(RTLD_NEXT, "__libc_start_main"))(
      CountedMain, argc, argv, init, fini, runtimeFini, stackEnd);
}

int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode =
      (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if ((flags & O_TMPFILE) == O_TMPFILE && std::getenv("KXCMS_NO_UNNAMED") != nullptr) {
    errno = EOPNOTSUPP;
    return -1;
  }
  if ((flags & O_ACCMODE) != O_RDONLY) MayDie();
  if (Fails("open", EMFILE)) return -1;
  return REAL(open)(path, flags, mode);
}

FILE* fopen(const char* path, const char* mode) {
  return Fails("open", EMFILE) ? nullptr : REAL(fopen)(path, mode);
}

FILE* fdopen(int fd, const char* mode) noexcept {
  return Fails("open", ENOMEM) ? nullptr : REAL(fdopen)(fd, mode);
}

int memfd_create(const char* name, unsigned flags) noexcept {
  return Fails("open", EMFILE) ? -1 : REAL(memfd_create)(name, flags);
}

ssize_t read(int fd, void* to, std::size_t size) {
  return Fails("read", EIO) ? -1 : REAL(read)(fd, to, size);
}

ssize_t pread(int fd, void* to, std::size_t size, off_t offset) {
  return Fails("read", EIO) ? -1 : REAL(pread)(fd, to, size, offset);
}

// Half of it arrives, and nothing tells but the result.
std::size_t fread(void* to, std::size_t size, std::size_t count, FILE* stream) {
  return REAL(fread)(to, size, Fails("read", EIO) ? count / 2 : count, stream);
}

ssize_t write(int fd, const void* from, std::size_t size) {
  if (fd == STDOUT_FILENO || fd == STDERR_FILENO) return REAL(write)(fd, from, size);
  if (Strikes("change") && plan.reach == Reach::kKill) {
    REAL(write)(fd, from, size / 2);
    kill(getpid(), SIGKILL);
  }
  return Fails("write", ENOSPC) ? -1 : REAL(write)(fd, from, size);
}

ssize_t pwrite(int fd, const void* from, std::size_t size, off_t offset) {
  if (Strikes("change") && plan.reach == Reach::kKill) {
    REAL(pwrite)(fd, from, size / 2, offset);
    kill(getpid(), SIGKILL);
  }
  return Fails("write", ENOSPC) ? -1 : REAL(pwrite)(fd, from, size, offset);
}

std::size_t fwrite(const void* from, std::size_t size, std::size_t count, FILE* stream) {
  if (IsDiagnostic(stream)) return REAL(fwrite)(from, size, count, stream);
  if (Strikes("change") && plan.reach == Reach::kKill) {
    REAL(fwrite)(from, size, count / 2, stream);
    REAL(fflush)(stream);
    kill(getpid(), SIGKILL);
  }
  return REAL(fwrite)(from, size, Fails("write", ENOSPC) ? count / 2 : count, stream);
}

int fflush(FILE* stream) {
  if (stream == nullptr || IsDiagnostic(stream)) return REAL(fflush)(stream);
  MayDie();
  return Fails("flush", ENOSPC) ? EOF : REAL(fflush)(stream);
}

int fseek(FILE* stream, long offset, int origin) {
  return Fails("seek", EIO) ? -1 : REAL(fseek)(stream, offset, origin);
}

int fseeko(FILE* stream, off_t offset, int origin) {
  return Fails("seek", EIO) ? -1 : REAL(fseeko)(stream, offset, origin);
}

off_t ftello(FILE* stream) {
  return Fails("tell", EIO) ? -1 : REAL(ftello)(stream);
}

int fclose(FILE* stream) {
  MayDie();
  const bool fails = Fails("close", EIO);
  const int result = REAL(fclose)(stream);
  return fails ? EOF : result;
}

int close(int fd) {
  const bool fails = Fails("close", EIO);
  const int result = REAL(close)(fd);
  return fails ? -1 : result;
}

int fsync(int fd) {
  MayDie();
  return Fails("sync", EIO) ? -1 : REAL(fsync)(fd);
}

int fstat(int fd, struct stat* status) noexcept {
  return Fails("status", EIO) ? -1 : REAL(fstat)(fd, status);
}

int fchmod(int fd, mode_t mode) noexcept {
  MayDie();
  return Fails("mode", EPERM) ? -1 : REAL(fchmod)(fd, mode);
}

int fchown(int fd, uid_t owner, gid_t group) noexcept {
  MayDie();
  return Fails("mode", EPERM) ? -1 : REAL(fchown)(fd, owner, group);
}

int linkat(int fromFd, const char* from, int toFd, const char* to, int flags) noexcept {
  MayDie();
  return Fails("link", EIO) ? -1 : REAL(linkat)(fromFd, from, toFd, to, flags);
}

int link(const char* from, const char* to) noexcept {
  MayDie();
  return Fails("link", EIO) ? -1 : REAL(link)(from, to);
}

int mkdir(const char* path, mode_t mode) noexcept {
  MayDie();
  return Fails("mkdir", ENOSPC) ? -1 : REAL(mkdir)(path, mode);
}

int ftruncate(int fd, off_t size) noexcept {
  MayDie();
  return Fails("truncate", EIO) ? -1 : REAL(ftruncate)(fd, size);
}

int posix_fallocate(int fd, off_t offset, off_t size) {
  MayDie();
  return Fails("reserve", ENOSPC) ? ENOSPC : REAL(posix_fallocate)(fd, offset, size);
}

int fdatasync(int fd) {
  MayDie();
  return Fails("sync", EIO) ? -1 : REAL(fdatasync)(fd);
}

int rename(const char* from, const char* to) noexcept {
  MayDie();
  return Fails("rename", EIO) ? -1 : REAL(rename)(from, to);
}

int unlink(const char* path) noexcept {
  MayDie();
  return Fails("unlink", EIO) ? -1 : REAL(unlink)(path);
}

// A processor that computes another colour.
kxp_status kxp_convert(const kxp_pipeline* pipeline, const kxp_image* source,
                       const kxp_image* destination, size_t width, size_t height,
                       const kxp_convert_options* options, kxp_error* error) {
  const kxp_status status =
      REAL(kxp_convert)(pipeline, source, destination, width, height, options, error);
  if (Fails("color", 0)) *static_cast<unsigned char*>(destination->r) ^= 1;
  return status;
}

#ifndef KXCMS_SANITIZED
// glibc's own names of its allocator.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) {
  return Fails("allocate", ENOMEM) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return Fails("allocate", ENOMEM) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return Fails("allocate", ENOMEM) ? nullptr : __libc_realloc(memory, size);
}
#endif

}  // extern "C"

#ifdef KXCMS_SANITIZED
// The sanitizers keep malloc to themselves; C++ code is reached here.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Fails("allocate", ENOMEM) ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
  return operator new(size, nothrow);
}
void* operator new(std::size_t size) {
  if (void* memory = operator new(size, std::nothrow)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return operator new(size);
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
#endif

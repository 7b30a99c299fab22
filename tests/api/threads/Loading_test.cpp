// Loading the library does nothing. The functions by which it could do something are this
// program's, which a library loaded later finds first; they count who calls them.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <array>
#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

namespace {

enum Effect { kEnvironment, kAllocation, kThread, kSignal, kLocale, kOutput, kExit, kEffects };
constexpr const char* kNames[] = {"environment", "allocation", "thread",      "signal",
                                  "locale",      "output",     "exit handler"};

std::array<std::atomic<int>, kEffects> calls{};
std::string asked;  // of the environment, names with a blank behind each

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

char* getenv(const char* name) {
  ++calls[kEnvironment];
  asked += std::string(name) + " ";
  return Real<char*(const char*)>("getenv")(name);
}
char* secure_getenv(const char* name) {
  return getenv(name);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*work)(void*),
                   void* argument) {
  ++calls[kThread];
  return Real<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create")(
      thread, attributes, work, argument);
}
int sigaction(int number, const struct sigaction* action, struct sigaction* before) {
  ++calls[kSignal];
  return Real<int(int, const struct sigaction*, struct sigaction*)>("sigaction")(number, action,
                                                                                 before);
}
int pthread_sigmask(int how, const sigset_t* set, sigset_t* before) {
  ++calls[kSignal];
  return Real<int(int, const sigset_t*, sigset_t*)>("pthread_sigmask")(how, set, before);
}
char* setlocale(int category, const char* name) {
  ++calls[kLocale];
  return Real<char*(int, const char*)>("setlocale")(category, name);
}
locale_t newlocale(int mask, const char* name, locale_t base) {
  ++calls[kLocale];
  return Real<locale_t(int, const char*, locale_t)>("newlocale")(mask, name, base);
}
locale_t uselocale(locale_t locale) {
  ++calls[kLocale];
  return Real<locale_t(locale_t)>("uselocale")(locale);
}
ssize_t write(int file, const void* bytes, std::size_t size) {
  ++calls[kOutput];
  return Real<ssize_t(int, const void*, std::size_t)>("write")(file, bytes, size);
}
std::size_t fwrite(const void* from, std::size_t size, std::size_t count, FILE* stream) {
  ++calls[kOutput];
  return Real<std::size_t(const void*, std::size_t, std::size_t, FILE*)>("fwrite")(from, size,
                                                                                   count, stream);
}
int __cxa_atexit(void (*function)(void*), void* argument, void* module) {
  ++calls[kExit];
  return Real<int(void (*)(void*), void*, void*)>("__cxa_atexit")(function, argument, module);
}

}  // extern "C"

void* operator new(std::size_t size) {
  ++calls[kAllocation];
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
// Not inline: GCC would see the free of a pointer, and not the malloc that it came from.
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

void ForgetCalls() {
  for (auto& count : calls) count = 0;
  asked.clear();
}

// How often each was called since they were forgotten.
std::array<int, kEffects> CallsNow() {
  std::array<int, kEffects> now;
  for (int effect = 0; effect < kEffects; ++effect) {
    now[static_cast<std::size_t>(effect)] = calls[static_cast<std::size_t>(effect)];
  }
  return now;
}

void ExpectNone(const char* when) {
  const auto now = CallsNow();
  for (int effect = 0; effect < kEffects; ++effect) {
    EXPECT_EQ(now[static_cast<std::size_t>(effect)], 0) << when << ": " << kNames[effect];
  }
}

TEST(Loading, DoesNothing) {
  ForgetCalls();
  void* const library = dlopen(KXCMS_PIPELINE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  const auto atLoading = CallsNow();
  ASSERT_NE(library, nullptr) << dlerror();
  for (int effect = 0; effect < kEffects; ++effect) {
    EXPECT_EQ(atLoading[static_cast<std::size_t>(effect)], 0) << kNames[effect];
  }

  // The library does find these: its level is asked of the environment, once, and of nothing else.
  const auto level = reinterpret_cast<const char* (*)()>(dlsym(library, "kxp_level"));
  const auto version = reinterpret_cast<const char* (*)()>(dlsym(library, "kxp_version"));
  ForgetCalls();
  version();
  ExpectNone("version");
  level();
  level();
  EXPECT_EQ(CallsNow()[kEnvironment], 1);
  EXPECT_EQ(asked, "KXCMS_LEVEL ");
  ForgetCalls();
  EXPECT_EQ(dlclose(library), 0);
  ExpectNone("unloading");
}

}  // namespace

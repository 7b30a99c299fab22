#include "Stack.h"

#include <pthread.h>
#include <sys/resource.h>

#include <cstddef>

namespace {

// Nothing here recurses by the size of its input.
constexpr std::size_t kEnoughBytes = 1u << 20;

struct Call {
  const std::function<int()>& function;
  int status;
};

void* Run(void* argument) {
  auto& call = *static_cast<Call*>(argument);
  call.status = call.function();
  return nullptr;
}

}  // namespace

int WithEnoughStack(const std::function<int()>& function) {
  struct rlimit limit;
  if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur >= kEnoughBytes) return function();
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return function();
  pthread_attr_setstacksize(&attributes, kEnoughBytes);
  pthread_setattr_default_np(&attributes);
  Call call = {function, 0};
  pthread_t thread;
  const bool isStarted = pthread_create(&thread, &attributes, Run, &call) == 0;
  pthread_attr_destroy(&attributes);
  if (!isStarted) return function();
  pthread_join(thread, nullptr);
  return call.status;
}

// The command's self-test as a program of its own.
// usage: golden_selftest THREADS

#include <cstdio>
#include <cstdlib>

#include "tools/Refusal.h"
#include "tools/SelfTest.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: golden_selftest THREADS\n", stderr);
    return static_cast<int>(Exit::Usage);
  }
  try {
    SelfTestRequest request;
    request.threads = std::atoi(argv[1]);
    RunSelfTest(request);
  } catch (const Refusal& refusal) {
    std::fprintf(stderr, "golden_selftest: %s\n", refusal.what());
    return static_cast<int>(refusal.status);
  }
  return 0;
}

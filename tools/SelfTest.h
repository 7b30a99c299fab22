#ifndef KXCMS_TOOLS_SELFTEST_H
#define KXCMS_TOOLS_SELFTEST_H

#include <optional>
#include <string>

struct SelfTestRequest {
  std::optional<std::string> digests;  ///< a file to compare with; none: the list built in
  int threads = 0;                     ///< 0: all processors
};

/// Converts the corpus on this machine and compares every digest with the list. Says on standard
/// output which workers and how many threads did it, what differs, and the outcome; refuses with
/// `Exit::WouldBeWrong` when anything differs.
void RunSelfTest(const SelfTestRequest& request);

/// The same by the list built in and all processors, and without a word when all is well.
void RequireSelfTest();

#endif

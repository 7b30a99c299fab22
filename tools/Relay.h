#ifndef KXCMS_TOOLS_RELAY_H
#define KXCMS_TOOLS_RELAY_H

#include <functional>
#include <vector>

/// What one thread does with a piece of work, which lies in memory of its own.
struct RelaySteps {
  /// Takes the next piece, if there is one. One thread at a time.
  std::function<bool()> take;
  /// Works on it, while other threads work on theirs.
  std::function<void()> work;
  /// Hands on the result, in the order in which the pieces were taken. One thread at a time.
  std::function<void()> hand;
};

/// Takes all pieces through the steps: by this thread and as many others as there are further
/// runners, or as can be started. So reading, working and writing happen at the same time.
///
/// Where a step throws, the pieces before are completed, none is begun, and the exception of the
/// earliest piece is thrown here when every thread has ended: what happens does not depend on how
/// many there are.
/// @param runners  at least one
void RunRelay(const std::vector<RelaySteps>& runners);

#endif

#ifndef KXCMS_TOOLS_STACK_H
#define KXCMS_TOOLS_STACK_H

#include <functional>

/// Runs a function with a stack that is large enough for it, and lets every thread that begins
/// meanwhile have one: the limit of the system (ulimit -s), which may be a few KiB, is no limit of
/// what images and profiles need.
int WithEnoughStack(const std::function<int()>& function);

#endif

#ifndef KXCMS_BASE_DIAGNOSTICS_H
#define KXCMS_BASE_DIAGNOSTICS_H

#include <iostream>
#include <new>

/// The line on standard error for an allocation failure that an operation survives.
inline void ReportBadAlloc(const std::bad_alloc& failure) {
  std::cerr << "bad_alloc caught: " << failure.what() << '\n';
}

#endif

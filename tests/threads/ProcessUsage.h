#ifndef KXCMS_TESTS_THREADS_PROCESSUSAGE_H
#define KXCMS_TESTS_THREADS_PROCESSUSAGE_H

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>

/// What a process holds, as Linux tells it.
struct ProcessUsage {
  std::size_t heapBytes = 0;  ///< in use
  long residentKiB = 0;
  long threads = 0;
  long mappings = 0;
  bool isMapped = false;  ///< a file whose path holds a given text

  static ProcessUsage Now(const std::string& library) {
    ProcessUsage usage;
    usage.heapBytes = mallinfo2().uordblks;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmRSS:")) usage.residentKiB = std::atol(line.c_str() + 6);
      if (line.starts_with("Threads:")) usage.threads = std::atol(line.c_str() + 8);
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line); ++usage.mappings) {
      if (line.find(library) != std::string::npos) usage.isMapped = true;
    }
    return usage;
  }
};

#endif

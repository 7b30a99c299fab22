#ifndef KXCMS_TOOLS_CHECK_H
#define KXCMS_TOOLS_CHECK_H

#include <string>
#include <vector>

#include "Refusal.h"

struct CheckRequest {
  std::vector<std::string> files;
  bool json = false;
};

/// Prints everything wrong with profiles and images on standard output, as one line for each
/// finding or as one JSON document. What a file is, its contents tell. A file that cannot be read
/// does not keep the others from being checked.
/// @return `WouldBeWrong` if there is an error among the findings, `InputUnreadable` if a file
///         cannot be read or is of no known kind
Exit CheckFiles(const CheckRequest& request);

#endif

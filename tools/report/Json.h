#ifndef KXCMS_TOOLS_REPORT_JSON_H
#define KXCMS_TOOLS_REPORT_JSON_H

#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <vector>

#include "tools/report/Chart.h"
#include "tools/report/Compared.h"
#include "tools/report/ImageNumbers.h"
#include "tools/report/ProfileNumbers.h"

namespace kxcms::report {

/// All that a report tells of a profile.
struct ProfileReport {
  ProfileNumbers numbers;
  std::optional<ComparedNumbers> compared;
  std::vector<ChartNumbers> charts;
  std::vector<ImageNumbers> images;
};

/// Keys stay in the order in which they are written.
using Json = nlohmann::ordered_json;

/// A profile's numbers, of six decimals at most; what is not finite is null.
Json JsonOf(const ProfileReport& report);

/// The whole document.
/// @param version  of the command
Json Document(std::span<const ProfileReport> profiles, const char* version);

}  // namespace kxcms::report

#endif

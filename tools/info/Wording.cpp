#include "tools/info/Wording.h"

#include <cstdio>

#include "tools/OneLine.h"

namespace kxcms::info {

std::string HumanBytes(std::uint64_t bytes) {
  constexpr std::uint64_t kStep = 1024;
  if (bytes < kStep) return std::to_string(bytes) + " bytes";
  auto value = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* const larger : {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"}) {
    value /= static_cast<double>(kStep);
    unit = larger;
    // What would be shown as 1024.0 is one of the next unit.
    constexpr double kMost = 1023.95;
    if (value < kMost) break;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.1f %s", value, unit);
  return text;
}

std::string Decimals(const nlohmann::ordered_json& numbers, int decimals) {
  std::string text;
  for (const auto& number : numbers) {
    char shown[64];
    const double value = number.get<double>();
    std::snprintf(shown, sizeof shown, "%.*f", decimals, value);
    // A number that rounds to 0 has no sign.
    const std::string digits(shown);
    const bool isZero = digits.find_first_not_of("-0.") == std::string::npos;
    text += (text.empty() ? "" : ", ") + (isZero && digits[0] == '-' ? digits.substr(1) : digits);
  }
  return text;
}

std::string Line(const std::string& text) {
  return OneLine(text) + "\n";
}

}  // namespace kxcms::info

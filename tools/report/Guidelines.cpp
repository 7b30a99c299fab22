#include "tools/report/Guidelines.h"

#include <array>

namespace kxcms::report {

namespace {

constexpr const char* kFadgi = "FADGI 2023";
constexpr const char* kIso = "ISO 19264-1:2021";
constexpr const char* kMetamorfoze = "Metamorfoze 2.0 draft";

constexpr std::array<Level, 9> kLevels = {{
    {kFadgi, "4 stars", 1.5, 2, 4, {}, true},
    {kFadgi, "3 stars", 3, 3.5, 7, {}, true},
    {kFadgi, "2 stars", 4.5, 5, 10, {}, true},
    {kFadgi, "1 star", 6, 6.5, 13, {}, true},
    {kIso, "level A", 2, 4, {}, 10, false},
    {kIso, "level B", 3, 5, {}, 15, false},
    {kIso, "level C", 4, 5, {}, 15, false},
    {kMetamorfoze, "strict", 2, 3, {}, 7, false},
    {kMetamorfoze, "light", 2, 4, {}, 14, false},
}};

// Not a number is never allowed.
bool Allows(const Level& level, const std::optional<double>& limit, double value) {
  return !limit || (level.below ? value < *limit : value <= *limit);
}

}  // namespace

std::span<const Level> Levels() {
  return kLevels;
}

bool AllowsTone(const Level& level, double largestToneError) {
  return Allows(level, level.tone, largestToneError);
}

bool AllowsColor(const Level& level, double mean, double share90, double largest) {
  return Allows(level, level.mean, mean) && Allows(level, level.share90, share90) &&
         Allows(level, level.largest, largest);
}

}  // namespace kxcms::report

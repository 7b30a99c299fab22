#include "tools/report/Compared.h"

#include <vector>

#include "exact/ColorDifference.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"
#include "tools/report/Conversions.h"

namespace kxcms::report {

namespace {

constexpr std::size_t kGridLevels = 24;

std::vector<Triple> InLab(std::span<const unsigned char> bytes, RenderingIntent intent,
                          const std::vector<Device8>& colors) {
  const DeviceProfile profile = ReadProfile(bytes);
  const exact::Conversion toLab(profile, exact::Measure::kLab, {intent});
  std::vector<Triple> labs;
  labs.reserve(colors.size());
  for (const Device8& color : colors) labs.push_back(toLab.Result(DeviceOf(color)));
  return labs;
}

}  // namespace

ComparedNumbers CompareProfiles(std::span<const unsigned char> profile,
                                std::span<const unsigned char> other, const std::string& otherName,
                                RenderingIntent intent) {
  const std::vector<Device8> colors = DeviceGrid(kGridLevels);
  const std::vector<Triple> first = InLab(profile, intent, colors);
  const std::vector<Triple> second = InLab(other, intent, colors);
  std::vector<double> differences;
  for (std::size_t n = 0; n < colors.size(); ++n) {
    differences.push_back(DeltaE2000(first[n], second[n]));
  }
  ComparedNumbers numbers{};
  numbers.name = otherName;
  numbers.colors = colors.size();
  numbers.color = Summarize(differences);
  const std::size_t at = numbers.color.largestAt;
  numbers.worst = colors[at];
  numbers.first = first[at];
  numbers.second = second[at];
  return numbers;
}

}  // namespace kxcms::report

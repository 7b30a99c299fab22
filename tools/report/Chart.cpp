#include "tools/report/Chart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "exact/ColorDifference.h"
#include "exact/Colorimetry.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"
#include "tools/report/Guidelines.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

// More than any chart has; a page lists them.
constexpr std::size_t kMostPatches = 20000, kMostFields = 1000;
constexpr double kGreyChroma = 3;

// ---- Reading ------------------------------------------------------------------------------------

// Words, and texts in quotation marks; a number sign begins a comment.
class Words {
 public:
  explicit Words(std::string_view text) : text_(text) {}

  // Empty at the end.
  std::string_view Next() {
    constexpr std::string_view kSpace(" \t\r\n\v\f\0", 7);
    for (;;) {
      text_.remove_prefix(std::min(text_.find_first_not_of(kSpace), text_.size()));
      if (text_.empty() || text_.front() != '#') break;
      text_.remove_prefix(std::min(text_.find('\n'), text_.size()));
    }
    if (text_.empty()) return {};
    const bool isQuoted = text_.front() == '"';
    if (isQuoted) text_.remove_prefix(1);
    const std::size_t end =
        std::min(isQuoted ? text_.find('"') : text_.find_first_of(kSpace), text_.size());
    const std::string_view word = isQuoted && end == 0 ? " " : text_.substr(0, end);
    text_.remove_prefix(std::min(end + (isQuoted ? 1 : 0), text_.size()));
    return word;
  }

 private:
  std::string_view text_;
};

double NumberOf(std::string_view word, std::size_t patch) {
  double number = 0;
  const auto [rest, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || rest != word.data() + word.size() || !std::isfinite(number)) {
    throw ChartError("patch " + std::to_string(patch + 1) + ": " + Clean(word, 40) +
                     " is no number");
  }
  return number;
}

class Table {
 public:
  explicit Table(std::vector<std::string_view> fields) : fields_(std::move(fields)) {}

  void Add(std::string_view value) { values_.push_back(value); }
  bool IsFull() const { return values_.size() > kMostPatches * fields_.size(); }
  std::size_t rows() const { return fields_.empty() ? 0 : values_.size() / fields_.size(); }
  bool IsWhole() const { return !fields_.empty() && values_.size() % fields_.size() == 0; }

  std::optional<std::size_t> Find(std::string_view field) const {
    const auto found = std::find(fields_.begin(), fields_.end(), field);
    if (found == fields_.end()) return std::nullopt;
    return static_cast<std::size_t>(found - fields_.begin());
  }
  std::optional<std::array<std::size_t, 3>> Find(const std::array<const char*, 3>& names) const {
    std::array<std::size_t, 3> places;
    for (std::size_t n = 0; n < 3; ++n) {
      const auto place = Find(names[n]);
      if (!place) return std::nullopt;
      places[n] = *place;
    }
    return places;
  }
  std::string_view At(std::size_t row, std::size_t field) const {
    return values_[row * fields_.size() + field];
  }
  Triple Numbers(std::size_t row, const std::array<std::size_t, 3>& places) const {
    return {NumberOf(At(row, places[0]), row), NumberOf(At(row, places[1]), row),
            NumberOf(At(row, places[2]), row)};
  }

 private:
  std::vector<std::string_view> fields_;
  std::vector<std::string_view> values_;
};

constexpr std::array<const char*, 3> kRgb = {"RGB_R", "RGB_G", "RGB_B"};
constexpr std::array<const char*, 3> kLab = {"LAB_L", "LAB_A", "LAB_B"};
constexpr std::array<const char*, 3> kXyz = {"XYZ_X", "XYZ_Y", "XYZ_Z"};

// The first table with device values and colours.
Table FindTable(std::string_view text) {
  Words words(text);
  std::vector<std::string_view> fields;
  bool isChart = false;
  for (std::string_view word = words.Next(); !word.empty(); word = words.Next()) {
    if (word == "BEGIN_DATA_FORMAT") {
      fields.clear();
      for (word = words.Next(); !word.empty() && word != "END_DATA_FORMAT"; word = words.Next()) {
        fields.push_back(word);
        if (fields.size() > kMostFields) throw ChartError("damaged: too many fields");
      }
    } else if (word == "BEGIN_DATA") {
      isChart = true;
      Table table(fields);
      for (word = words.Next(); word != "END_DATA"; word = words.Next()) {
        if (word.empty()) throw ChartError("damaged: its data do not end");
        table.Add(word);
        if (table.IsFull()) {
          throw ChartError("more than " + std::to_string(kMostPatches) + " patches");
        }
      }
      if (!table.Find(kRgb) || (!table.Find(kLab) && !table.Find(kXyz))) continue;
      if (!table.IsWhole()) throw ChartError("damaged: values are missing or left over");
      if (table.rows() == 0) throw ChartError("it has no patches");
      return table;
    }
  }
  throw ChartError(isChart ? "it has no table of RGB with Lab or XYZ" : "not a CGATS file");
}

// ---- Measuring ----------------------------------------------------------------------------------

template <typename Allowed>
int StarsOf(const Allowed& allowed) {
  constexpr int kMostStars = 4;
  for (int stars = kMostStars; stars > 0; --stars) {
    if (allowed(Levels()[static_cast<std::size_t>(kMostStars - stars)])) return stars;
  }
  return 0;
}

std::optional<Distribution> Accuracy(const std::vector<PatchNumbers>& patches,
                                     const DeviceProfile& profile, const Profile& source,
                                     const Question& question, Method method) {
  constexpr double kLargest = 65535;
  PipelineOptions options;
  options.intent = static_cast<Intent>(question.intent);
  options.method = method;
  const auto made = Pipeline::TryCreate(source, question.target->profile(), options);
  if (!made && method == Method::kFixed) return std::nullopt;
  const Pipeline& pipeline = made.value();
  const exact::Conversion exactly(profile, question.target->Exactly(), {question.intent});
  std::vector<std::uint16_t> samples;
  for (const PatchNumbers& patch : patches) {
    for (const double value : patch.patch.device) {
      samples.push_back(static_cast<std::uint16_t>(std::floor(value * kLargest + 0.5)));
    }
  }
  std::vector<Triple> expected;
  for (std::size_t n = 0; n < samples.size(); n += 3) {
    expected.push_back(question.target->LabOf(exactly.Result(
        {samples[n] / kLargest, samples[n + 1] / kLargest, samples[n + 2] / kLargest})));
  }
  const auto image = Rgb(samples.data(), patches.size(), 1);
  pipeline.Convert(image, image);
  std::vector<double> differences;
  for (std::size_t n = 0; n < expected.size(); ++n) {
    differences.push_back(
        DeltaE2000(expected[n], question.target->LabOf(std::array<std::uint16_t, 3>{
                                    samples[3 * n], samples[3 * n + 1], samples[3 * n + 2]})));
  }
  return Summarize(differences);
}

}  // namespace

std::vector<ChartPatch> ReadChart(std::string_view text) {
  const Table table = FindTable(text);
  const auto rgb = *table.Find(kRgb);
  const auto lab = table.Find(kLab);
  const auto xyz = table.Find(kXyz);
  std::optional<std::size_t> name = table.Find("SAMPLE_LOC");
  if (!name) name = table.Find("SAMPLE_NAME");
  if (!name) name = table.Find("SAMPLE_ID");
  std::vector<ChartPatch> patches(table.rows());
  double largest = 0;
  for (std::size_t n = 0; n < patches.size(); ++n) {
    ChartPatch& patch = patches[n];
    patch.name = name ? Clean(table.At(n, *name), 40) : std::to_string(n + 1);
    patch.device = table.Numbers(n, rgb);
    for (const double value : patch.device) {
      if (value < 0 || value > 255) {
        throw ChartError("patch " + std::to_string(n + 1) + ": RGB is not within 0 to 255");
      }
      largest = std::max(largest, value);
    }
    if (lab) {
      patch.lab = table.Numbers(n, *lab);
    } else {
      Triple hundredths = table.Numbers(n, *xyz);
      for (double& value : hundredths) value /= 100;
      patch.lab = exact::LabFromXyz(hundredths);
    }
  }
  const double scale = largest > 100 ? 255 : 100;
  for (ChartPatch& patch : patches) {
    for (double& value : patch.device) value /= scale;
  }
  return patches;
}

ChartNumbers MeasureChart(const std::string& name, std::vector<ChartPatch> patches,
                          std::span<const unsigned char> bytes, const Question& question) {
  const DeviceProfile profile = ReadProfile(bytes);
  const Profile source = Profile::FromMemory(bytes.data(), bytes.size());
  const exact::Conversion toLab(profile, exact::Measure::kLab, {RenderingIntent::kAbsolute});
  ChartNumbers numbers;
  numbers.name = name;
  std::vector<double> differences;
  for (ChartPatch& patch : patches) {
    const Triple lab = toLab.Result(patch.device);
    const double difference = DeltaE2000(patch.lab, lab);
    differences.push_back(difference);
    if (std::hypot(patch.lab[1], patch.lab[2]) < kGreyChroma) {
      ++numbers.greys;
      numbers.tone = std::max(numbers.tone.value_or(0), std::abs(lab[0] - patch.lab[0]));
    }
    numbers.patches.push_back({std::move(patch), lab, difference});
  }
  numbers.color = Summarize(differences);
  std::stable_sort(
      numbers.patches.begin(), numbers.patches.end(),
      [](const PatchNumbers& a, const PatchNumbers& b) { return a.difference > b.difference; });
  numbers.colorStars = StarsOf([&](const Level& level) {
    return AllowsColor(level, numbers.color.mean, numbers.color.share90, numbers.color.largest);
  });
  numbers.stars = numbers.colorStars;
  if (numbers.tone) {
    numbers.toneStars =
        StarsOf([&](const Level& level) { return AllowsTone(level, *numbers.tone); });
    numbers.stars = std::min(numbers.stars, *numbers.toneStars);
  }
  numbers.precise = *Accuracy(numbers.patches, profile, source, question, Method::kPrecise);
  numbers.fixed = Accuracy(numbers.patches, profile, source, question, Method::kFixed);
  return numbers;
}

}  // namespace kxcms::report

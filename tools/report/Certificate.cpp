#include "tools/report/Certificate.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "exact/ColorDifference.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"
#include "tools/report/Parallel.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

using exact::Triple;

// Colours that have a histogram together, how many such parts there are at a time, and colours that
// go through each step together: few enough to stay in the processor's cache.
constexpr std::uint64_t kPart = 1 << 18;
constexpr std::size_t kPartsAtOnce = 16;
constexpr std::uint64_t kBlock = 1 << 10;
constexpr std::uint64_t kAllColors = std::uint64_t{1} << 24;

// SplitMix64 (Steele, Lea and Flood 2014): what stands at a place of a sequence of random numbers.
std::uint64_t RandomAt(std::uint64_t place) {
  std::uint64_t z = (place + 1) * 0x9E3779B97F4A7C15u;
  z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
  z = (z ^ z >> 27) * 0x94D049BB133111EBu;
  return z ^ z >> 31;
}

// The colour of a number. Those of 8 bits are 257 times as much in 16.
Levels16 ColorAt(std::uint64_t number, bool isSample) {
  const auto level = [](std::uint64_t value) { return static_cast<std::uint16_t>(value); };
  if (isSample) {
    const std::uint64_t random = RandomAt(number);
    return {level(random), level(random >> 16), level(random >> 32)};
  }
  const auto wide = [&](std::uint64_t value) { return level(257 * (value & 255)); };
  return {wide(number >> 16), wide(number >> 8), wide(number)};
}

// What a pipeline makes of colours, of 16 bits or their upper halves.
template <typename Sample>
void Convert(const Pipeline& pipeline, const std::vector<Levels16>& colors,
             std::vector<Sample>& samples) {
  constexpr unsigned kDropped = 16 - 8 * sizeof(Sample);
  samples.clear();
  for (const Levels16& color : colors) {
    for (const std::uint16_t value : color) {
      samples.push_back(static_cast<Sample>(value >> kDropped));
    }
  }
  const auto image = Rgb(samples.data(), colors.size(), 1);
  pipeline.Convert(image, image);
}

// Counts how far the samples of a result are away, and returns them as levels of 16 bits.
template <typename Sample>
Levels16 Count(DepthNumbers& numbers, const Sample* result, const Triple& exactly) {
  constexpr int kLargest = sizeof(Sample) == 1 ? 255 : 65535;
  constexpr unsigned kWide = 65535 / kLargest;
  Levels16 levels;
  for (std::size_t n = 0; n < 3; ++n) {
    // Not negative: it is cut off.
    const int rounded = static_cast<int>(exactly[n] * kLargest + 0.5);
    const auto off = static_cast<unsigned>(std::abs(result[n] - rounded));
    ++numbers.samples[std::min<std::size_t>(off, numbers.samples.size() - 1)];
    numbers.largestLevels = std::max(numbers.largestLevels, off);
    levels[n] = static_cast<std::uint16_t>(kWide * result[n]);
  }
  return levels;
}

struct Part {
  DepthNumbers at8, at16;
};

class Certification {
 public:
  Certification(const Pipeline& pipeline, const LevelConversion& exactly, const Target& target,
                bool isSample)
      : pipeline_(pipeline), exactly_(exactly), target_(target), isSample_(isSample) {}

  void Look(std::uint64_t begin, std::uint64_t end, Part& part) const {
    std::vector<Levels16> colors;
    std::vector<std::uint16_t> results16;
    std::vector<std::uint8_t> results8;
    for (; begin < end; begin += colors.size()) {
      colors.clear();
      const std::uint64_t blockEnd = std::min(begin + kBlock, end);
      for (std::uint64_t n = begin; n < blockEnd; ++n) colors.push_back(ColorAt(n, isSample_));
      Convert(pipeline_, colors, results16);
      if (!isSample_) Convert(pipeline_, colors, results8);
      for (std::size_t n = 0; n < colors.size(); ++n) {
        const Triple result = exactly_.Result(colors[n]);
        const Triple lab = target_.LabOf(result);
        const Triple lab16 = target_.LabOf(Count(part.at16, &results16[3 * n], result));
        if (isSample_) {
          part.at16.color.Add(DeltaE2000(lab, lab16), begin + n);
          continue;
        }
        const Triple lab8 = target_.LabOf(Count(part.at8, &results8[3 * n], result));
        const auto [difference16, difference8] = DeltasE2000(lab, {lab16, lab8});
        part.at16.color.Add(difference16, begin + n);
        part.at8.color.Add(difference8, begin + n);
      }
    }
  }

 private:
  const Pipeline& pipeline_;
  const LevelConversion& exactly_;
  const Target& target_;
  bool isSample_;
};

Json JsonOf(const DepthNumbers& numbers, const Levels16& worst) {
  const auto number = [](double value) { return Rounded(value, 6); };
  Json color = {{"mean", number(numbers.color.mean())}};
  for (const int percent : {50, 90, 95, 99}) {
    color["share" + std::to_string(percent)] = number(numbers.color.Share(percent));
  }
  color["largest"] = number(numbers.color.largest());
  color["largestAt"] = worst;
  return {{"equal", numbers.samples[0]},
          {"off1", numbers.samples[1]},
          {"off2", numbers.samples[2]},
          {"offMore", numbers.samples[3]},
          {"largestLevels", numbers.largestLevels},
          {"ciede2000", color}};
}

}  // namespace

void DepthNumbers::Add(const DepthNumbers& other) {
  for (std::size_t n = 0; n < samples.size(); ++n) samples[n] += other.samples[n];
  largestLevels = std::max(largestLevels, other.largestLevels);
  color.Add(other.color);
}

CertificateNumbers Certify(std::span<const unsigned char> bytes, const Target& target,
                           const CertificateQuestion& question) {
  const DeviceProfile profile = ReadProfile(bytes);
  const LevelConversion exactly(
      {profile,
       target.Exactly(),
       {.intent = question.intent, .blackPointCompensation = question.blackPointCompensation}});
  PipelineOptions options;
  options.intent = static_cast<Intent>(question.intent);
  options.blackPointCompensation = question.blackPointCompensation;
  options.method = question.method;
  const Pipeline pipeline(Profile::FromMemory(bytes.data(), bytes.size()), target.profile(),
                          options);
  CertificateNumbers numbers;
  numbers.sourceTag = pipeline.sourceTag();
  numbers.targetTag = pipeline.targetTag();

  const bool isSample = question.sample > 0;
  const std::uint64_t count = isSample ? question.sample : kAllColors;
  const Certification certification(pipeline, exactly, target, isSample);
  DepthNumbers at8;
  for (std::uint64_t begin = 0; begin < count; begin += kPart * kPartsAtOnce) {
    std::vector<Part> parts(static_cast<std::size_t>(
        std::min<std::uint64_t>(kPartsAtOnce, (count - begin + kPart - 1) / kPart)));
    ForEach(parts.size(), 0, [&](std::size_t n) {
      const std::uint64_t first = begin + n * kPart;
      certification.Look(first, std::min(first + kPart, count), parts[n]);
    });
    for (const Part& part : parts) {
      at8.Add(part.at8);
      numbers.at16.Add(part.at16);
    }
  }
  numbers.worst16 = ColorAt(numbers.at16.color.largestAt(), isSample);
  if (!isSample) {
    numbers.worst8 = ColorAt(at8.color.largestAt(), isSample);
    numbers.at8 = std::move(at8);
  }
  return numbers;
}

Json JsonOf(const CertificateNumbers& numbers) {
  Json json = Json::object();
  json["sourceTag"] = numbers.sourceTag;
  json["targetTag"] = numbers.targetTag;
  if (numbers.at8) json["bits8"] = JsonOf(*numbers.at8, numbers.worst8);
  json["bits16"] = JsonOf(numbers.at16, numbers.worst16);
  return json;
}

}  // namespace kxcms::report

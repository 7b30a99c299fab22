// Types of samples: what they stand for, what becomes of numbers that are none, and alpha, against
// arithmetic in double precision.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/api/TestImage.h"

namespace {

using namespace api_test;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// ---- Samples as numbers -------------------------------------------------------------------------

// IEEE 754 binary16: sign, 5 bits of exponent with bias 15, 10 bits of fraction.
double FromHalf(unsigned half) {
  const int exponent = static_cast<int>(half >> 10 & 31);
  const double fraction = half & 1023;
  const double magnitude = exponent == 31  ? (fraction == 0 ? kInfinity : kNaN)
                           : exponent == 0 ? std::ldexp(fraction, -24)
                                           : std::ldexp(1024 + fraction, exponent - 25);
  return (half & 0x8000) != 0 ? -magnitude : magnitude;
}

// To the nearest half, to the even one between two.
unsigned ToHalf(double number) {
  if (std::isnan(number)) return 0x7E00;
  const unsigned sign = std::signbit(number) ? 0x8000 : 0;
  const double magnitude = std::fabs(number);
  if (magnitude >= 65520) return sign | 0x7C00;
  if (magnitude < std::ldexp(1, -14)) {
    return sign | static_cast<unsigned>(std::nearbyint(std::ldexp(magnitude, 24)));
  }
  int exponent = 0;
  const double fraction = std::frexp(magnitude, &exponent);  // in [1/2, 1)
  const auto steps = static_cast<unsigned>(std::nearbyint(std::ldexp(fraction, 11)));
  return sign | ((static_cast<unsigned>(exponent + 13) << 10) + steps);
}

double NumberOf(const unsigned char* from, std::uint32_t sample) {
  std::uint16_t word;
  float number;
  switch (sample) {
    case KXP_U8:
      return *from / 255.0;
    case KXP_U16:
      std::memcpy(&word, from, sizeof word);
      return word / 65535.0;
    case KXP_F16:
      std::memcpy(&word, from, sizeof word);
      return FromHalf(word);
    default:
      std::memcpy(&number, from, sizeof number);
      return number;
  }
}

// Integers to the nearest, halves up.
void Append(double number, std::uint32_t sample, Bytes& to) {
  unsigned char bytes[4];
  const auto rounded = [number](double largest) {
    return static_cast<std::uint16_t>(std::floor(std::clamp(number, 0.0, 1.0) * largest + 0.5));
  };
  std::uint16_t word = 0;
  const auto single = static_cast<float>(number);
  switch (sample) {
    case KXP_U8:
      to.push_back(static_cast<unsigned char>(rounded(255)));
      return;
    case KXP_U16:
      word = rounded(65535);
      std::memcpy(bytes, &word, sizeof word);
      break;
    case KXP_F16:
      word = static_cast<std::uint16_t>(ToHalf(number));
      std::memcpy(bytes, &word, sizeof word);
      break;
    default:
      std::memcpy(bytes, &single, sizeof single);
  }
  to.insert(to.end(), bytes, bytes + SampleBytes(sample));
}

Bytes SamplesOf(const std::vector<double>& numbers, std::uint32_t sample) {
  Bytes bytes;
  for (const double number : numbers) Append(number, sample, bytes);
  return bytes;
}
std::vector<double> NumbersOf(const Bytes& bytes, std::uint32_t sample) {
  std::vector<double> numbers;
  for (std::size_t n = 0; n < bytes.size(); n += static_cast<std::size_t>(SampleBytes(sample))) {
    numbers.push_back(NumberOf(bytes.data() + n, sample));
  }
  return numbers;
}

Shape RowOf(std::size_t pixels) {
  return {pixels, 1};
}

const char* NameOf(std::uint32_t sample) {
  constexpr const char* kNames[] = {"U8", "U16", "F16", "F32"};
  return kNames[sample];
}

// ---- Types --------------------------------------------------------------------------------------

// One result in every type: integers and halves are roundings of the float.
TEST(Samples, TypesOfTheDestinationAgree) {
  const Pipeline pipeline = ScannerToSrgb();
  for (const std::uint32_t from : kSampleTypes) {
    constexpr std::size_t kPixels = 3000;
    const Bytes samples = SomeSamples(3 * kPixels, from, 19);
    const auto converted = [&](std::uint32_t to) {
      return NumbersOf(
          ConvertedPlainly(pipeline.get(), RowOf(kPixels), {.from = from, .to = to}, samples), to);
    };
    const std::vector<double> u8 = converted(KXP_U8), u16 = converted(KXP_U16),
                              half = converted(KXP_F16), single = converted(KXP_F32);
    for (std::size_t n = 0; n < single.size(); ++n) {
      EXPECT_GE(single[n], 0);
      EXPECT_LE(single[n], 1);
      // Half a step, and the float's own last bits.
      EXPECT_LE(std::fabs(u8[n] - single[n]) * 255, 0.5 + 1e-4) << NameOf(from) << ", sample " << n;
      EXPECT_LE(std::fabs(u16[n] - single[n]) * 65535, 0.5 + 0.01)
          << NameOf(from) << ", sample " << n;
      EXPECT_EQ(half[n], FromHalf(ToHalf(single[n]))) << NameOf(from) << ", sample " << n;
    }
  }
}

// One colour in every type of the source: halves are floats exactly; levels, to a float's accuracy.
TEST(Samples, TypesOfTheSourceAgree) {
  const Pipeline pipeline = ScannerToSrgb();
  Bytes halves, levels8, levels16;
  for (unsigned n = 0; n < 65536; ++n) {
    const auto word = static_cast<std::uint16_t>(n);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&word);
    halves.insert(halves.end(), bytes, bytes + 2);
    levels16.insert(levels16.end(), bytes, bytes + 2);
  }
  for (unsigned n = 0; n < 256; ++n) levels8.push_back(static_cast<unsigned char>(n));
  const struct {
    std::uint32_t sample;
    const Bytes& values;
    double tolerance;
  } kRows[] = {{KXP_F16, halves, 0}, {KXP_U8, levels8, 2e-6}, {KXP_U16, levels16, 2e-6}};
  for (const auto& row : kRows) {
    // Three neighbours make a pixel.
    std::vector<double> numbers = NumbersOf(row.values, row.sample);
    numbers.resize(numbers.size() / 3 * 3);
    const Shape shape = RowOf(numbers.size() / 3);
    Bytes given = row.values;
    given.resize(numbers.size() * static_cast<std::size_t>(SampleBytes(row.sample)));
    const std::vector<double> actual = NumbersOf(
        ConvertedPlainly(pipeline.get(), shape, {.from = row.sample, .to = KXP_F32}, given),
        KXP_F32);
    const std::vector<double> expected =
        NumbersOf(ConvertedPlainly(pipeline.get(), shape, {.from = KXP_F32, .to = KXP_F32},
                                   SamplesOf(numbers, KXP_F32)),
                  KXP_F32);
    for (std::size_t n = 0; n < numbers.size(); ++n) {
      EXPECT_NEAR(actual[n], expected[n], row.tolerance) << NameOf(row.sample) << " " << numbers[n];
    }
  }
}

TEST(Samples, FloatsOutsideAreClippedAndNoNumberIsZero) {
  const struct {
    double given, counts;
  } kRows[] = {{-kInfinity, 0}, {-1e30, 0},   {-1, 0},    {-1e-10, 0}, {-0.0, 0},  {kNaN, 0},
               {-kNaN, 0},      {0.25, 0.25}, {1.001, 1}, {1.5, 1},    {65504, 1}, {kInfinity, 1}};
  const Pipeline pipeline = ScannerToSrgb();
  for (const std::uint32_t from : {KXP_F16, KXP_F32}) {
    for (const std::uint32_t to : kSampleTypes) {
      for (const auto& row : kRows) {
        for (int channel = 0; channel < 3; ++channel) {
          std::vector<double> given = {0.5, 0.5, 0.5}, counts = given;
          given[static_cast<std::size_t>(channel)] = row.given;
          counts[static_cast<std::size_t>(channel)] = row.counts;
          const Conversion how = {.from = from, .to = to};
          EXPECT_EQ(ConvertedPlainly(pipeline.get(), RowOf(1), how, SamplesOf(given, from)),
                    ConvertedPlainly(pipeline.get(), RowOf(1), how, SamplesOf(counts, from)))
              << NameOf(from) << " to " << NameOf(to) << ", " << row.given << " in channel "
              << channel;
        }
      }
    }
  }
}

// From a wide space to a narrow one: what sRGB cannot show is cut off, or goes on.
TEST(Samples, UnclippedResultsGoOn) {
  const Profile wide = BuiltIn("prophoto-linear"), srgb = BuiltIn("srgb"),
                linear = BuiltIn("srgb-linear");
  const Pipeline clipped = Connect(wide, srgb, KXP_RELATIVE);
  const Pipeline unclipped = Connect(wide, srgb, KXP_RELATIVE, KXP_UNCLIPPED);
  const Pipeline toLinear = Connect(wide, linear, KXP_RELATIVE, KXP_UNCLIPPED);
  // IEC 61966-2-1, odd below 0.
  const auto encode = [](double x) {
    const double m = std::fabs(x);
    const double y = m <= 0.0031308 ? 12.92 * m : 1.055 * std::pow(m, 1 / 2.4) - 0.055;
    return x < 0 ? -y : y;
  };
  const std::vector<double> colors = {1, 0, 0, 0,   1,   0,   0,   0,   1,
                                      1, 1, 0, 0.2, 0.9, 0.1, 0.5, 0.5, 0.5};
  const Shape shape = RowOf(colors.size() / 3);
  const Bytes samples = SamplesOf(colors, KXP_F32);
  const auto converted = [&](const Pipeline& pipeline, std::uint32_t to) {
    return NumbersOf(ConvertedPlainly(pipeline.get(), shape, {.from = KXP_F32, .to = to}, samples),
                     to);
  };
  const std::vector<double> light = converted(toLinear, KXP_F32);
  EXPECT_LT(*std::min_element(light.begin(), light.end()), -0.1);
  EXPECT_GT(*std::max_element(light.begin(), light.end()), 1.1);
  const std::vector<double> single = converted(unclipped, KXP_F32);
  const std::vector<double> half = converted(unclipped, KXP_F16);
  const std::vector<double> inside = converted(clipped, KXP_F32);
  for (std::size_t n = 0; n < light.size(); ++n) {
    EXPECT_NEAR(single[n], encode(light[n]), 3e-6) << light[n];
    EXPECT_EQ(half[n], FromHalf(ToHalf(single[n])));
    EXPECT_NEAR(inside[n], std::clamp(single[n], 0.0, 1.0), 1e-6);
  }
  // Integers have nothing beyond.
  for (const std::uint32_t to : {KXP_U8, KXP_U16}) {
    EXPECT_EQ(converted(unclipped, to), converted(clipped, to));
  }
}

// ---- Alpha --------------------------------------------------------------------------------------

// Colours of alphas from 0 to 1, 1 and 0 more than once.
struct Pixels {
  std::vector<double> colors, alphas;
};
Pixels SomePixels(std::uint32_t sample, bool isAssociated) {
  Pixels pixels;
  const std::vector<double> drawn = NumbersOf(SomeBytes(4 * 600, 23), KXP_U8);
  for (std::size_t n = 0; n < drawn.size(); n += 4) {
    const double alpha = n % 24 == 0 ? 0 : n % 24 == 4 ? 1 : drawn[n + 3];
    pixels.alphas.push_back(alpha);
    for (std::size_t c = 0; c < 3; ++c) {
      // Colour under alpha 0 is kept too.
      pixels.colors.push_back(isAssociated && alpha > 0 ? drawn[n + c] * alpha : drawn[n + c]);
    }
  }
  // What the type makes of them.
  pixels.colors = NumbersOf(SamplesOf(pixels.colors, sample), sample);
  pixels.alphas = NumbersOf(SamplesOf(pixels.alphas, sample), sample);
  return pixels;
}

Bytes Interleaved(const Pixels& pixels, bool hasAlpha, std::uint32_t sample) {
  std::vector<double> numbers;
  for (std::size_t n = 0; n < pixels.alphas.size(); ++n) {
    for (std::size_t c = 0; c < 3; ++c) numbers.push_back(pixels.colors[3 * n + c]);
    if (hasAlpha) numbers.push_back(pixels.alphas[n]);
  }
  return SamplesOf(numbers, sample);
}

struct AlphaRow {
  const char* what;
  bool inSource, inDestination;
  std::uint32_t sourceFlags, destinationFlags;
};

// The largest distance of two results, in steps of the type; for floats of a part in 16 million.
double StepsBetween(double a, double b, std::uint32_t sample) {
  constexpr double kSteps[] = {255, 65535, 1024, 1 << 24};
  return std::fabs(a - b) * kSteps[sample];
}

TEST(Samples, Alpha) {
  const AlphaRow kRows[] = {
      {"in neither", false, false, 0, 0},
      {"in neither, whatever the flags", false, false, KXP_ASSOCIATED_ALPHA,
       KXP_ASSOCIATED_ALPHA | KXP_OPAQUE},
      {"in the source only", true, false, 0, 0},
      {"in the source only, associated", true, false, KXP_ASSOCIATED_ALPHA, 0},
      {"in the destination only", false, true, 0, 0},
      {"in the destination only, associated", false, true, 0, KXP_ASSOCIATED_ALPHA},
      {"kept", true, true, 0, 0},
      {"kept, associated in both", true, true, KXP_ASSOCIATED_ALPHA, KXP_ASSOCIATED_ALPHA},
      {"kept, to be divided out", true, true, KXP_ASSOCIATED_ALPHA, 0},
      {"kept, to be multiplied in", true, true, 0, KXP_ASSOCIATED_ALPHA},
      {"made opaque", true, true, 0, KXP_OPAQUE},
      {"made opaque, from associated", true, true, KXP_ASSOCIATED_ALPHA, KXP_OPAQUE},
      {"made opaque, to associated", true, true, 0, KXP_OPAQUE | KXP_ASSOCIATED_ALPHA},
      {"opaque without an alpha in the source", false, true, 0, KXP_OPAQUE},
  };
  const Pipeline pipeline = ScannerToSrgb();
  for (const std::uint32_t from : kSampleTypes) {
    for (const std::uint32_t to : kSampleTypes) {
      for (const AlphaRow& row : kRows) {
        SCOPED_TRACE(std::string(row.what) + ", " + NameOf(from) + " to " + NameOf(to));
        const bool divides = row.inSource && (row.sourceFlags & KXP_ASSOCIATED_ALPHA) != 0;
        const bool isKept =
            row.inSource && row.inDestination && (row.destinationFlags & KXP_OPAQUE) == 0;
        const bool multiplies = isKept && (row.destinationFlags & KXP_ASSOCIATED_ALPHA) != 0;
        const Pixels pixels = SomePixels(from, divides);
        const Shape shape = RowOf(pixels.alphas.size());

        // The colours as they are without alpha, converted as floats.
        std::vector<double> colors = pixels.colors;
        for (std::size_t n = 0; n < colors.size(); ++n) {
          const double alpha = pixels.alphas[n / 3];
          if (divides && alpha > 0) colors[n] = std::min(1.0, colors[n] / alpha);
        }
        std::vector<double> expected =
            NumbersOf(ConvertedPlainly(pipeline.get(), shape, {.from = KXP_F32, .to = KXP_F32},
                                       SamplesOf(colors, KXP_F32)),
                      KXP_F32);
        for (std::size_t n = 0; n < expected.size(); ++n) {
          const double alpha = pixels.alphas[n / 3];
          // What was not divided by 0 is not multiplied by it.
          if (multiplies && !(divides && alpha == 0)) expected[n] *= alpha;
        }

        const Conversion how = {.from = from,
                                .to = to,
                                .fromChannels = row.inSource ? 4 : 3,
                                .toChannels = row.inDestination ? 4 : 3,
                                .fromFlags = row.sourceFlags,
                                .toFlags = row.destinationFlags};
        const std::vector<double> actual = NumbersOf(
            ConvertedPlainly(pipeline.get(), shape, how, Interleaved(pixels, row.inSource, from)),
            to);
        const std::size_t channels = row.inDestination ? 4 : 3;
        double farthest = 0;
        for (std::size_t n = 0; n < pixels.alphas.size(); ++n) {
          for (std::size_t c = 0; c < 3; ++c) {
            farthest =
                std::max(farthest, StepsBetween(actual[channels * n + c], expected[3 * n + c], to));
          }
          if (!row.inDestination) continue;
          const double alpha = isKept ? pixels.alphas[n] : 1;
          if (from == to || alpha == 0 || alpha == 1) {
            EXPECT_EQ(actual[4 * n + 3], alpha);
          } else {
            // Half a step where there are steps, and the accuracy of floats.
            constexpr double kMostSteps[] = {0.5001, 0.503, 0.501, 2};
            EXPECT_LE(StepsBetween(actual[4 * n + 3], alpha, to), kMostSteps[to]) << alpha;
          }
        }
        // Rounding by half a step, and floats that were made from other floats.
        constexpr double kMostSteps[] = {0.51, 0.7, 0.51, 40};
        EXPECT_LE(farthest, kMostSteps[to]);
      }
    }
  }
}

// Between images of one type alpha is copied as it is; anywhere else it is a number in [0, 1].
TEST(Samples, AlphaOutsideItsRange) {
  const struct {
    double given, counts;
  } kRows[] = {{-kInfinity, 0}, {-2, 0}, {kNaN, 0}, {0.25, 0.25}, {1.5, 1}, {kInfinity, 1}};
  const Pipeline pipeline = ScannerToSrgb();
  for (const std::uint32_t from : {KXP_F16, KXP_F32}) {
    for (const std::uint32_t to : kSampleTypes) {
      for (const auto& row : kRows) {
        for (const std::uint32_t flags : {0u, static_cast<unsigned>(KXP_ASSOCIATED_ALPHA)}) {
          const Bytes given = SamplesOf({0.2, 0.4, 0.1, row.given}, from);
          const Bytes counts = SamplesOf({0.2, 0.4, 0.1, row.counts}, from);
          const Conversion how = {.from = from,
                                  .to = to,
                                  .fromChannels = 4,
                                  .toChannels = 4,
                                  .fromFlags = flags,
                                  .toFlags = flags};
          Bytes expected = ConvertedPlainly(pipeline.get(), RowOf(1), how, counts);
          if (from == to) {
            const std::ptrdiff_t alpha = 3 * SampleBytes(from);
            std::copy(given.begin() + alpha, given.end(), expected.begin() + alpha);
          }
          EXPECT_EQ(ConvertedPlainly(pipeline.get(), RowOf(1), how, given), expected)
              << NameOf(from) << " to " << NameOf(to) << ", alpha " << row.given << ", flags "
              << flags;
        }
      }
    }
  }
}

// ---- Measuring ----------------------------------------------------------------------------------

// The encodings of the two spaces for measuring, from their own floats.
TEST(Samples, LabAndXyz) {
  const Profile scanner = FromMemory(ScannerProfile());
  const Bytes samples = SomeSamples(3 * 2000, KXP_U8, 29);
  const struct {
    const char* space;
    double factor[3], offset[3];
  } kRows[] = {{"lab", {655.35, 257, 257}, {0, 128, 128}}, {"xyz", {32768, 32768, 32768}, {}}};
  for (const auto& row : kRows) {
    const Pipeline pipeline = Connect(scanner, BuiltIn(row.space));
    const auto converted = [&](std::uint32_t to) {
      return NumbersOf(ConvertedPlainly(pipeline.get(), RowOf(2000), {.to = to}, samples), to);
    };
    const std::vector<double> numbers = converted(KXP_F32), encoded = converted(KXP_U16);
    double largest = 0;
    for (std::size_t n = 0; n < numbers.size(); ++n) {
      const double expected =
          std::clamp((numbers[n] + row.offset[n % 3]) * row.factor[n % 3], 0.0, 65535.0);
      EXPECT_LE(std::fabs(encoded[n] * 65535 - expected), 0.52) << row.space << " " << numbers[n];
      largest = std::max(largest, std::fabs(numbers[n]));
    }
    EXPECT_GT(largest, row.space == std::string("lab") ? 50 : 0.5);
  }
}

}  // namespace

#include "pipeline/precise/kernels/PreciseKernels.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/CpuLevel.h"
#include "pipeline/precise/PrecisePipeline.h"
#include "tests/pipeline/ProfileValues.h"
#include "tests/pipeline/Runs.h"
#include "tests/pipeline/ScalarConversion.h"

namespace kxcms {

/// The portable level as CPUs get it that are not x86, and with vectors of 64 bytes.
extern const PreciseKernels kPreciseGeneric16, kPreciseGeneric64;

namespace {

using ICC40::CpuLevel;
using profile_values::NamedProfile;

struct Level {
  const char* name;
  const PreciseKernels* kernels;
};

// All levels that this processor has.
std::vector<Level> Levels() {
  std::vector<Level> levels = {{"portable", &kPrecisePortable},
                               {"generic 16", &kPreciseGeneric16},
                               {"generic 64", &kPreciseGeneric64}};
#if defined(__x86_64__)
  if (ICC40::SupportedCpuLevel() >= CpuLevel::kAvx2) levels.push_back({"avx2", &kPreciseAvx2});
  if (ICC40::SupportedCpuLevel() >= CpuLevel::kAvx512)
    levels.push_back({"avx512", &kPreciseAvx512});
#endif
  return levels;
}

// ---- Stages -------------------------------------------------------------------------------------

// Greys of all 8-bit levels, random colours, and the corners.
std::vector<std::uint16_t> Colors() {
  std::vector<std::uint16_t> samples;
  for (int corner = 0; corner < 8; ++corner) {
    for (int c = 0; c < 3; ++c) samples.push_back(corner >> c & 1 ? 65535 : 0);
  }
  for (unsigned level = 0; level < 256; ++level) {
    for (int c = 0; c < 3; ++c) samples.push_back(static_cast<std::uint16_t>(257 * level));
  }
  std::mt19937 generator(2);
  while (samples.size() < 3 * 3000) samples.push_back(static_cast<std::uint16_t>(generator()));
  return samples;
}

// Bit for bit, what is not a number included.
template <typename Sample>
void ExpectSameBits(const std::vector<Sample>& actual, const std::vector<Sample>& expected,
                    const std::vector<std::uint16_t>& colors) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t n = 0; n < actual.size(); ++n) {
    if (std::memcmp(&actual[n], &expected[n], sizeof(Sample)) == 0) continue;
    const std::size_t first = n - n % 3;
    FAIL() << "channel " << n % 3 << " of " << colors[first] << " " << colors[first + 1] << " "
           << colors[first + 2] << ": " << +actual[n] << " for " << +expected[n];
  }
}

template <typename Result>
void CheckLevels(const Program& program) {
  static const std::vector<std::uint16_t> kColors = Colors();
  const auto count = static_cast<std::int64_t>(kColors.size() / 3);
  std::vector<Result> expected(kColors.size());
  scalar_stages::Convert(program, SourceOf(kColors), DestinationOf(expected), AlphaResult::kKept,
                         count);
  for (const Level& level : Levels()) {
    SCOPED_TRACE(level.name);
    std::vector<Result> actual(kColors.size());
    level.kernels->convert(program, SourceOf(kColors), DestinationOf(actual), AlphaResult::kKept,
                           count);
    ExpectSameBits(actual, expected, kColors);
  }
}

void CheckLevels(const DeviceProfile& source, const PreciseDestination& destination,
                 const PreciseOptions& options = {}) {
  const PrecisePipeline pipeline(source, destination, options);
  CheckLevels<float>(pipeline.GetProgram());
  CheckLevels<std::uint16_t>(pipeline.GetProgram());
}

TEST(PreciseKernels, GiveTheScalarBitsForEverySourceForm) {
  for (const NamedProfile& source : profile_values::SourceForms()) {
    SCOPED_TRACE(source.name);
    CheckLevels(source.profile, FindRgbSpace("srgb"));
    CheckLevels(source.profile, Colorimetry::kLab);
  }
}

TEST(PreciseKernels, GiveTheScalarBitsForEveryDestination) {
  const DeviceProfile source = profile_values::Lut16Lab(9, 256, IdentityCurve{});
  for (const RgbSpace& space : RgbSpaces()) {
    SCOPED_TRACE(space.name);
    CheckLevels(source, &space);
    PreciseOptions options;
    options.unclipped = true;
    CheckLevels(source, &space, options);
  }
  for (const NamedProfile& destination : profile_values::DestinationForms()) {
    SCOPED_TRACE(destination.name);
    CheckLevels(source, &destination.profile);
  }
}

// Parameters that no device has, and curves with steps.
TEST(PreciseKernels, GiveTheScalarBitsForOddCurves) {
  const Curve kCurves[] = {
      GammaCurve{0},
      GammaCurve{40},
      ParametricCurve{0, -1.5, 0, 0, 0, 0, 0, 0},
      ParametricCurve{1, 3, -2, 1, 0, 0, 0, 0},
      ParametricCurve{2, 2, 1.5, -0.5, 0.25, 0, 0, 0},
      ParametricCurve{3, -2, 1, 0, 0.5, 0.5, 0, 0},
      ParametricCurve{4, 0.3, -30000, 20000, 0.5, 0.25, -30000, -0.125},
      SampledCurve{{65535, 0}, 65535},
      SampledCurve{{0, 65535, 0, 65535, 65535, 1}, 65535},
  };
  for (const Curve& curve : kCurves) {
    CheckLevels(profile_values::WithMatrix({curve, curve, curve}), FindRgbSpace("srgb"));
  }
}

TEST(PreciseKernels, GiveTheScalarBitsForOddInverses) {
  const DeviceProfile source =
      profile_values::WithMatrix(profile_values::Thrice(IdentityCurve{}).curves);
  const Curve kCurves[] = {
      ParametricCurve{1, 2, -1, 1, 0, 0, 0, 0},            // falls
      ParametricCurve{3, 2, 0.5, 0.5, -0.25, 0.25, 0, 0},  // a falling line before the power
      ParametricCurve{4, 3, 2, -1, 0.5, 0.1, 0.5, 0.1},    // a base that passes 0
      ParametricCurve{4, 2.4, 0.9, 0.1, 0.5, 0.1, 0.003, -0.02},
      SampledCurve{{0, 0, 0, 10, 10, 65535, 65535}, 65535},
      SampledCurve{{255, 200, 200, 3, 0, 0}, 255},
  };
  for (const Curve& curve : kCurves) {
    const DeviceProfile destination = profile_values::WithMatrix({curve, curve, curve});
    try {
      CheckLevels(source, &destination);
    } catch (const PipelineError&) {
    }
  }
}

// ---- Samples ------------------------------------------------------------------------------------

constexpr SampleType kTypes[] = {SampleType::kUInt8, SampleType::kUInt16, SampleType::kHalf,
                                 SampleType::kFloat};
const char* NameOf(SampleType type) {
  constexpr const char* kNames[] = {"8 bit", "16 bit", "half", "float"};
  return kNames[static_cast<int>(type)];
}

// How a pixel's samples lie, in samples: offsets of R, G, B and alpha, and the distance to the next
// pixel. No alpha is -1.
struct Order {
  const char* name;
  int offset[4];
  int distance;
};
constexpr int kPlane = 2 * kBlockPixels + 48;  // more than any case has pixels
constexpr Order kOrders[] = {
    {"RGB", {0, 1, 2, -1}, 3},
    {"BGR", {2, 1, 0, -1}, 3},
    {"RGBA", {0, 1, 2, 3}, 4},
    {"BGRA", {2, 1, 0, 3}, 4},
    {"ARGB", {1, 2, 3, 0}, 4},
    {"RGB and a gap", {0, 1, 2, -1}, 4},
    {"RGBA and gaps", {1, 3, 4, 6}, 9},
    {"planes", {0, kPlane, 2 * kPlane, -1}, 1},
    {"planes with alpha", {3 * kPlane, 0, kPlane, 2 * kPlane}, 1},
    {"planes of pairs", {0, 2 * kPlane, 4 * kPlane, 6 * kPlane}, 2},
    {"backward RGB", {0, 1, 2, -1}, -3},
    {"backward RGBA", {0, 1, 2, 3}, -4},
    {"backward planes", {0, kPlane, 2 * kPlane, 3 * kPlane}, -1},
};

// Memory for `pixels` pixels in an order, with everything that it does not name filled with a
// pattern. Samples begin at any address.
class Buffer {
 public:
  Buffer(const Order& order, SampleType type, int pixels, int misalignment)
      : order_(order), type_(type), size_(scalar_stages::SizeOf(type)) {
    const int first = *std::min_element(order.offset, order.offset + 4);
    const int last = *std::max_element(order.offset, order.offset + 4);
    const int step = std::abs(order.distance) * std::max(pixels - 1, 0);
    bytes_.assign(static_cast<std::size_t>(size_ * (last - std::min(first, 0) + 1 + step) +
                                           misalignment + 16),
                  0xA5);
    origin_ = misalignment + (order.distance < 0 ? size_ * step : 0);
  }

  template <typename Byte>
  PixelRun<Byte> Run(bool isAssociated = false) {
    PixelRun<Byte> run{{}, order_.distance * size_, type_, isAssociated};
    for (int c = 0; c < 4; ++c) {
      run.samples[c] =
          order_.offset[c] < 0 ? nullptr : bytes_.data() + origin_ + order_.offset[c] * size_;
    }
    return run;
  }

  // Any samples: of floats also those beyond [0, 1], infinite ones and no numbers.
  void Fill(int pixels, unsigned seed) {
    std::mt19937 generator(seed);
    const DestinationRun run = Run<unsigned char>();
    for (int c = 0; c < 4; ++c) {
      if (run.samples[c] == nullptr) continue;
      for (int p = 0; p < pixels; ++p) {
        WriteAny(generator, run.samples[c] + p * run.pixelStride, c == 3);
      }
    }
  }

  const std::vector<unsigned char>& Bytes() const { return bytes_; }

 private:
  void WriteAny(std::mt19937& generator, unsigned char* to, bool isAlpha) const {
    constexpr float kSpecial[] = {0,
                                  1,
                                  -0.0f,
                                  0.5f,
                                  -1,
                                  2,
                                  1e-40f,
                                  1e38f,
                                  -1e38f,
                                  65520,
                                  INFINITY,
                                  -INFINITY,
                                  std::numeric_limits<float>::quiet_NaN()};
    const unsigned kind = generator() % 8;
    float value = static_cast<float>(generator() % 65536) / 65535;
    if (kind == 0 || (isAlpha && kind < 4)) {
      value = kSpecial[generator() % std::size(kSpecial)];
    }
    if (type_ == SampleType::kFloat) {
      std::memcpy(to, &value, sizeof value);
    } else if (type_ == SampleType::kHalf) {
      const std::uint16_t half = scalar_stages::NearestHalf(value);
      std::memcpy(to, &half, sizeof half);
    } else {
      scalar_stages::WriteSample(type_, scalar_stages::Clip(value), to);
    }
  }

  Order order_;
  SampleType type_;
  int size_;
  std::vector<unsigned char> bytes_;
  std::ptrdiff_t origin_;
};

const Program& SmallProgram() {
  static const PrecisePipeline kPipeline(profile_values::Lut16Lab(5, 17, IdentityCurve{}),
                                         FindRgbSpace("srgb"), {});
  return kPipeline.GetProgram();
}
const Program& UnclippedProgram() {
  static const PrecisePipeline kPipeline(profile_values::Lut16Lab(5, 17, IdentityCurve{}),
                                         FindRgbSpace("srgb"),
                                         {RenderingIntent::kPerceptual, false, true});
  return kPipeline.GetProgram();
}

struct Case {
  Order from, to;
  SampleType fromType, toType;
  bool fromAssociated, toAssociated;
  AlphaResult alpha;
};

std::string Describe(const Case& c, int pixels) {
  return std::string(c.from.name) + ", " + NameOf(c.fromType) +
         (c.fromAssociated ? ", assoc" : "") + " to " + c.to.name + ", " + NameOf(c.toType) +
         (c.toAssociated ? ", assoc" : "") +
         (c.alpha == AlphaResult::kOpaque ? ", opaque, " : ", ") + std::to_string(pixels) +
         " pixels";
}

// Every byte of the destination's memory, and the source untouched.
void CheckSamples(const Program& program, const Case& c, int pixels, int misalignment) {
  Buffer source(c.from, c.fromType, pixels, misalignment);
  source.Fill(pixels, static_cast<unsigned>(pixels + 1));
  const std::vector<unsigned char> before = source.Bytes();
  Buffer expected(c.to, c.toType, pixels, misalignment + 1);
  scalar_stages::Convert(program, source.Run<const unsigned char>(c.fromAssociated),
                         expected.Run<unsigned char>(c.toAssociated), c.alpha, pixels);
  for (const Level& level : Levels()) {
    Buffer actual(c.to, c.toType, pixels, misalignment + 1);
    level.kernels->convert(program, source.Run<const unsigned char>(c.fromAssociated),
                           actual.Run<unsigned char>(c.toAssociated), c.alpha, pixels);
    ASSERT_EQ(actual.Bytes(), expected.Bytes()) << level.name << ": " << Describe(c, pixels);
    ASSERT_EQ(source.Bytes(), before) << level.name << ": " << Describe(c, pixels);
  }
}

TEST(PreciseSamples, OfAllTypesAndOrders) {
  for (const Order& from : kOrders) {
    for (const Order& to : kOrders) {
      for (const SampleType fromType : kTypes) {
        for (const SampleType toType : kTypes) {
          const Case c = {from, to, fromType, toType, false, false, AlphaResult::kKept};
          CheckSamples(SmallProgram(), c, kBlockPixels + 45, 1);
        }
      }
    }
  }
}

TEST(PreciseSamples, WithEveryUseOfAlpha) {
  for (const int from : {0, 2, 4, 6, 8}) {
    for (const int to : {0, 2, 4, 6, 8}) {
      for (const SampleType fromType : kTypes) {
        for (const SampleType toType : kTypes) {
          for (int uses = 1; uses < 8; ++uses) {
            const Case c = {kOrders[from],
                            kOrders[to],
                            fromType,
                            toType,
                            (uses & 1) != 0,
                            (uses & 2) != 0,
                            (uses & 4) != 0 ? AlphaResult::kOpaque : AlphaResult::kKept};
            CheckSamples(SmallProgram(), c, kBlockPixels + 19, 0);
          }
        }
      }
    }
  }
}

TEST(PreciseSamples, OfAllLengths) {
  std::vector<int> lengths;
  for (int n = 0; n <= 70; ++n) lengths.push_back(n);
  // Around the borders of blocks, and of the thirds that a grid takes.
  for (int third = 1; third <= 6; ++third) {
    const int border = third * kBlockPixels / 3;
    for (int n = border - 17; n <= border + 17; ++n) lengths.push_back(n);
  }
  for (const int n : lengths) {
    for (const int order : {0, 2, 5, 7}) {
      for (const SampleType type : kTypes) {
        const Case c = {kOrders[order], kOrders[order],    type, type, false,
                        false,          AlphaResult::kKept};
        CheckSamples(SmallProgram(), c, n, n % 4);
      }
    }
  }
}

TEST(PreciseSamples, UnclippedResults) {
  for (const SampleType type : kTypes) {
    for (const SampleType fromType : {SampleType::kUInt8, SampleType::kFloat}) {
      const Case c = {kOrders[2], kOrders[2], fromType, type, false, true, AlphaResult::kKept};
      CheckSamples(UnclippedProgram(), c, kBlockPixels + 24, 0);
    }
  }
}

TEST(PreciseSamples, InPlace) {
  for (const Order& order : kOrders) {
    for (const SampleType type : kTypes) {
      for (const SampleType toType : kTypes) {
        if (scalar_stages::SizeOf(type) != scalar_stages::SizeOf(toType)) continue;
        constexpr int kPixels = kBlockPixels + 124;
        const Case c = {order, order, type, toType, false, false, AlphaResult::kKept};
        Buffer expected(order, type, kPixels, 0);
        expected.Fill(kPixels, 3);
        const Buffer original = expected;
        SourceRun from = expected.Run<const unsigned char>();
        DestinationRun to = expected.Run<unsigned char>();
        to.type = toType;
        scalar_stages::Convert(SmallProgram(), from, to, c.alpha, kPixels);
        for (const Level& level : Levels()) {
          Buffer actual = original;
          from = actual.Run<const unsigned char>();
          to = actual.Run<unsigned char>();
          to.type = toType;
          level.kernels->convert(SmallProgram(), from, to, c.alpha, kPixels);
          ASSERT_EQ(actual.Bytes(), expected.Bytes()) << level.name << ": " << Describe(c, kPixels);
        }
      }
    }
  }
}

// Every 16-bit pattern there and back.
TEST(PreciseSamples, HalvesAreExact) {
  // Nothing but samples: a program without stages.
  float levels[3][256] = {};
  const Program program = {{nullptr, 0}, {nullptr, 0}, levels, 0};
  std::vector<std::uint16_t> halves(3 * 65536);
  for (std::size_t n = 0; n < halves.size(); ++n) halves[n] = static_cast<std::uint16_t>(n / 3);
  SourceRun from = SourceOf(halves);
  from.type = SampleType::kHalf;
  for (const Level& level : Levels()) {
    std::vector<float> floats(halves.size());
    level.kernels->convert(program, from, DestinationOf(floats), AlphaResult::kKept, 65536);
    for (std::size_t n = 0; n < halves.size(); ++n) {
      const double number = scalar_stages::HalfNumber(halves[n]);
      const float expected = number > 0 ? static_cast<float>(std::min(number, 1.0)) : 0.0f;
      ASSERT_EQ(floats[n], expected) << level.name << " " << halves[n];
    }
  }
}

TEST(PreciseSamples, FloatsBecomeTheNearestHalves) {
  float levels[3][256] = {};
  const Program program = {{nullptr, 0}, {nullptr, 0}, levels, 0};
  std::vector<float> floats;
  std::mt19937 generator(4);
  for (unsigned half = 0; half <= 0x3C00; ++half) {
    const auto number =
        static_cast<float>(scalar_stages::HalfNumber(static_cast<std::uint16_t>(half)));
    const auto next =
        static_cast<float>(scalar_stages::HalfNumber(static_cast<std::uint16_t>(half + 1)));
    const float middle = (number + next) / 2;
    for (const float x : {number, std::nextafter(number, 1.0f), std::nextafter(middle, 0.0f),
                          middle, std::nextafter(middle, 1.0f), std::nextafter(next, 0.0f)}) {
      floats.push_back(x);
    }
  }
  const auto count = static_cast<std::int64_t>(floats.size() / 3);
  for (const Level& level : Levels()) {
    std::vector<std::uint16_t> halves(floats.size());
    DestinationRun to = DestinationOf(halves);
    to.type = SampleType::kHalf;
    level.kernels->convert(program, SourceOf(floats), to, AlphaResult::kKept, count);
    for (std::size_t n = 0; n < floats.size(); ++n) {
      const float clipped = scalar_stages::Clip(floats[n]);
      ASSERT_EQ(halves[n], scalar_stages::NearestHalf(clipped)) << level.name << " " << floats[n];
    }
  }
}

// ---- Memory -------------------------------------------------------------------------------------

// Two pages without access around a few with it.
class GuardedPages {
 public:
  explicit GuardedPages(std::size_t bytes)
      : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
        inside_((bytes + page_ - 1) / page_ * page_) {
    void* const memory =
        mmap(nullptr, inside_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base_ = static_cast<unsigned char*>(memory);
    mprotect(base_ + page_, inside_, PROT_READ | PROT_WRITE);
  }
  GuardedPages(const GuardedPages&) = delete;
  GuardedPages& operator=(const GuardedPages&) = delete;
  ~GuardedPages() { munmap(base_, inside_ + 2 * page_); }

  unsigned char* Begin() const { return base_ + page_; }
  unsigned char* End() const { return Begin() + inside_; }

 private:
  std::size_t page_, inside_;
  unsigned char* base_;
};

// Runs that begin with the first byte there is, or end with the last one.
TEST(PreciseSamples, StayWithinTheirMemory) {
  constexpr int kMostPixels = 2 * kBlockPixels + 3;
  const GuardedPages sourcePages(4 * 9 * kMostPixels), destinationPages(4 * 9 * kMostPixels);
  for (const Order& order : kOrders) {
    if (order.distance < 0 || order.distance == 1 || order.offset[2] > 100) continue;
    const int first = *std::min_element(order.offset, order.offset + 3);
    const int lowest = order.offset[3] < 0 ? first : std::min(first, order.offset[3]);
    const int highest = *std::max_element(order.offset, order.offset + 4);
    for (const SampleType type : kTypes) {
      const int size = scalar_stages::SizeOf(type);
      for (const int pixels :
           {1, 3, 16, 63, kBlockPixels - 1, kBlockPixels, kBlockPixels + 1, kMostPixels}) {
        for (const bool atEnd : {false, true}) {
          const int span = (order.distance * (pixels - 1) + highest + 1) * size;
          const auto runIn = [&]<typename Byte>(const GuardedPages& pages, Byte*) {
            PixelRun<Byte> run{{}, order.distance * size, type, false};
            unsigned char* const origin =
                atEnd ? pages.End() - span : pages.Begin() - lowest * size;
            for (int c = 0; c < 4; ++c) {
              run.samples[c] = order.offset[c] < 0 ? nullptr : origin + order.offset[c] * size;
            }
            return run;
          };
          const auto from = runIn(sourcePages, static_cast<const unsigned char*>(nullptr));
          const auto to = runIn(destinationPages, static_cast<unsigned char*>(nullptr));
          for (const Level& level : Levels()) {
            level.kernels->convert(SmallProgram(), from, to, AlphaResult::kKept, pixels);
          }
        }
      }
    }
  }
}

}  // namespace

}  // namespace kxcms

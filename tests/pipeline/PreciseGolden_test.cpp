#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "pipeline/precise/PrecisePipeline.h"
#include "tests/pipeline/Runs.h"

// The same bits with every compiler, at every level and on every processor. The profiles are made
// with whole numbers, so that no maths library takes part.

namespace kxcms {

namespace {

CurveSet Thrice(const Curve& curve) {
  return {{curve, curve, curve}};
}

SampledCurve Squares(unsigned entries, int maximum) {
  SampledCurve curve{{}, maximum};
  const std::uint64_t last = entries - 1;
  for (std::uint64_t n = 0; n <= last; ++n) {
    curve.values.push_back(static_cast<std::uint16_t>(
        n * (n + last) * static_cast<unsigned>(maximum) / (2 * last * last)));
  }
  return curve;
}

// Smooth, and different in every channel.
ColorGrid Mixture(const std::array<int, 3>& points, int maximum) {
  ColorGrid grid{points, {}, maximum};
  const auto part = [maximum](int n, int count) { return maximum * n / (count - 1); };
  for (int r = 0; r < points[0]; ++r) {
    for (int g = 0; g < points[1]; ++g) {
      for (int b = 0; b < points[2]; ++b) {
        const int x = part(r, points[0]), y = part(g, points[1]), z = part(b, points[2]);
        for (const int value : {(2 * x + 5 * y + z) / 8, maximum / 2 + (x - y) / 3,
                                maximum / 2 + (x / 2 + y / 2 - z) / 3}) {
          grid.values.push_back(static_cast<std::uint16_t>(value));
        }
      }
    }
  }
  return grid;
}

constexpr ParametricCurve kSRgb = {3, 2.4, 0.947867, 0.052133, 0.077399, 0.04045, 0, 0};
constexpr Matrix3 kColorants = {0.4360, 0.3851, 0.1431, 0.2225, 0.7169,
                                0.0606, 0.0139, 0.0971, 0.7139};
constexpr Matrix3 kHalved = {0.2180, 0.1926, 0.0716, 0.1112, 0.3585,
                             0.0303, 0.0070, 0.0486, 0.3570};

LookupTable Table(Signature tag, PcsEncoding pcs, std::vector<Element> elements) {
  return {tag, MakeSignature("mft2"), pcs, std::move(elements)};
}

std::vector<DeviceProfile> Profiles() {
  std::vector<DeviceProfile> profiles(5);
  const Signature there = MakeSignature("A2B0"), back = MakeSignature("B2A0");
  profiles[0].matrixTrc = MatrixTrc{{kSRgb, GammaCurve{1.8}, Squares(1024, 65535)}, kColorants};
  profiles[1].deviceToPcs[0] =
      Table(there, PcsEncoding::kLegacyLab,
            {Thrice(Squares(256, 65535)), Mixture({17, 17, 17}, 65535), Thrice(IdentityCurve{})});
  profiles[1].pcsToDevice[0] =
      Table(back, PcsEncoding::kLegacyLab,
            {Thrice(Squares(4096, 65535)), Mixture({9, 9, 9}, 65535), Thrice(Squares(4, 65535))});
  profiles[2].deviceToPcs[0] =
      Table(there, PcsEncoding::kLab,
            {Thrice(Squares(256, 255)), Mixture({33, 5, 12}, 255), Thrice(Squares(256, 255))});
  profiles[2].pcsToDevice[0] =
      Table(back, PcsEncoding::kXyz,
            {MatrixElement{kHalved, {0.1, 0.2, 0.3}}, Thrice(kSRgb), Mixture({5, 6, 7}, 65535)});
  profiles[3].deviceToPcs[0] =
      Table(there, PcsEncoding::kXyz,
            {Thrice(GammaCurve{0.75}), Mixture({6, 7, 8}, 65535),
             CurveSet{{GammaCurve{2.2}, kSRgb, Squares(512, 65535)}},
             MatrixElement{kHalved, {0.001, 0, -0.001}}, Thrice(IdentityCurve{})});
  profiles[3].matrixTrc = MatrixTrc{Thrice(kSRgb).curves, kColorants};
  profiles[4].matrixTrc =
      MatrixTrc{{ParametricCurve{4, 2.5, 0.9, 0.1, 0.1, 0.1, 0.003, -0.006},
                 ParametricCurve{1, 2, 0.9, 0.1, 0, 0, 0, 0}, Squares(256, 65535)},
                kColorants};
  return profiles;
}

class Digest {
 public:
  // FNV-1a, 64 bits.
  template <typename Sample>
  void Add(const std::vector<Sample>& samples) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(samples.data());
    for (std::size_t n = 0; n < samples.size() * sizeof(Sample); ++n) {
      value_ = (value_ ^ bytes[n]) * 0x100000001B3;
    }
  }
  std::uint64_t Value() const { return value_; }

 private:
  std::uint64_t value_ = 0xCBF29CE484222325;
};

template <typename Result>
void AddResults(const PrecisePipeline& pipeline, Digest& digest) {
  std::mt19937 generator(9);
  std::vector<std::uint8_t> samples8;
  std::vector<std::uint16_t> samples16;
  std::vector<float> floats;
  for (int n = 0; n < 3 * 1500; ++n) {
    const auto sample = static_cast<std::uint16_t>(generator());
    samples8.push_back(static_cast<std::uint8_t>(sample));
    samples16.push_back(sample);
    floats.push_back(static_cast<float>(sample) * 0x1p-15f - 0.5f);
  }
  if (pipeline.CanGive(TypeOf<Result>())) {
    digest.Add(Converted<Result>(pipeline, samples8));
    digest.Add(Converted<Result>(pipeline, samples16));
    digest.Add(Converted<Result>(pipeline, floats));
  }
}

void AddConversion(const DeviceProfile& source, const PreciseDestination& destination,
                   const PreciseOptions& options, Digest& digest) {
  const PrecisePipeline pipeline(source, destination, options);
  AddResults<std::uint8_t>(pipeline, digest);
  AddResults<std::uint16_t>(pipeline, digest);
  AddResults<float>(pipeline, digest);
}

// What every source form gives for a destination, in two ways of converting.
struct Row {
  const char* destination;  // a space's name, or the number of a profile
  std::uint64_t digest;
};
const Row kRows[] = {
    {"srgb", 0x7EDBA41D5E90EACF},       {"srgb-linear", 0x66BE6FA6D1521501},
    {"adobe-rgb", 0x7847EB1B444C078D},  {"adobe-rgb-linear", 0xC4923DB40A0E7D08},
    {"display-p3", 0x632A0AF036998DB6}, {"display-p3-linear", 0x1842A45F39E1F4A1},
    {"prophoto", 0x6829ED2BFAF07A14},   {"prophoto-linear", 0xD27CC2BDBAF1CA31},
    {"ecirgb-v2", 0x2544DB13102B6F8F},  {"ecirgb-v2-linear", 0x7CD1D33B7741BDA9},
    {"rec2020", 0xFFBC90B2B4AAD1C7},    {"rec2020-linear", 0xE94F109F274E1357},
    {"lab", 0x23F878DA975D79A5},        {"xyz", 0x0DE28D8D939D3139},
    {"0", 0x288DCE5980383075},          {"1", 0x8D03D51EC4844585},
    {"2", 0xA0E728DFF77AFAB5},          {"3", 0x9555F06B07DDB4E9},
    {"4", 0x82B3B9E0C1221F4D},
};

PreciseDestination DestinationOf(const std::string& name,
                                 const std::vector<DeviceProfile>& profiles) {
  if (name == "lab") return Colorimetry::kLab;
  if (name == "xyz") return Colorimetry::kXyz;
  if (const RgbSpace* space = FindRgbSpace(name)) return space;
  return &profiles.at(std::stoul(name));
}

TEST(PreciseGolden, TheBitsAreTheSameEverywhere) {
  if (__BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__) GTEST_SKIP() << "digests are of bytes";
  const std::vector<DeviceProfile> profiles = Profiles();
  for (const Row& row : kRows) {
    const PreciseDestination destination = DestinationOf(row.destination, profiles);
    const bool isSpace = std::holds_alternative<const RgbSpace*>(destination);
    const PreciseOptions other = isSpace ? PreciseOptions{RenderingIntent::kRelative, true, true}
                                         : PreciseOptions{RenderingIntent::kAbsolute, false, false};
    Digest digest;
    for (const DeviceProfile& source : profiles) {
      AddConversion(source, destination, {}, digest);
      AddConversion(source, destination, other, digest);
    }
    EXPECT_EQ(digest.Value(), row.digest) << row.destination;
  }
}

}  // namespace

}  // namespace kxcms

#ifndef KXCMS_CORPUS_RANDOMPROFILE_H
#define KXCMS_CORPUS_RANDOMPROFILE_H

#include <array>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

// Device profiles made of numbers: the same seed gives the same profile.
namespace corpus {

// Integers and fractions drawn from one engine. The standard distributions are left aside, as
// their results differ between library vendors.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed * 0x9E3779B97F4A7C15u + 1) {}
  std::uint64_t Bits() { return engine_(); }
  // Inclusive range.
  int Between(int low, int high) {
    const std::uint64_t span = static_cast<std::uint64_t>(high - low) + 1;
    return low + static_cast<int>((engine_() >> 16) % span);
  }
  bool OneIn(int n) { return Between(1, n) == 1; }
  double Fraction() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }

 private:
  std::mt19937_64 engine_;
};

enum class TagForm { kLut16, kMab, kLut8 };
enum class CurveShape { kLine, kGamma, kFalling, kRandom, kExtremes, kFlat };
enum class ClutShape { kLab, kRandom, kExtremes, kNearGrey };
// How curves follow one another in a lutAToBType tag: at the distance at which the reader looks
// for the next one, or padded to four bytes. The two differ where a curve has an even count.
enum class CurveSpacing { kReader, kPadded };

struct TagSpec {
  std::uint32_t signature = 0;
  TagForm form = TagForm::kLut16;
  int in = 3;
  int out = 3;
  int grid = 17;
  int inEntries = 256;
  int outEntries = 256;
  CurveShape inCurve = CurveShape::kLine;
  CurveShape outCurve = CurveShape::kLine;
  ClutShape clut = ClutShape::kLab;
  // lutAToBType only.
  CurveSpacing spacing = CurveSpacing::kReader;
  std::array<int, 3> gridPerAxis{};  // zeros: `grid` on every axis
  int precision = 2;
  bool hasA = true, hasB = true, hasClut = true;
};

struct ProfileSpec {
  std::uint64_t seed = 0;
  std::uint32_t manufacturer = 0;
  std::vector<TagSpec> tags;
  std::optional<std::array<std::int32_t, 3>> wtpt;
  bool padLastTag = true;
};

// Grids, manufacturers and entry counts go round with the seed, so that consecutive seeds cover
// them all; the rest is drawn.
ProfileSpec RandomSpec(std::uint64_t seed);

// As RandomSpec, but with lut16 tags that lack channels or have more outputs than are used, and
// with curves of more entries than a table class holds.
ProfileSpec UnusualSpec(std::uint64_t seed);

// One lut16 tag A2B0 of the given size over a Lab-like table.
ProfileSpec PlainSpec(int grid, int inEntries, int outEntries);

std::vector<unsigned char> WriteProfile(const ProfileSpec& spec);

// "seed 7, A2B0 lut16 grid 9 ...", for failure messages.
std::string Describe(const ProfileSpec& spec);

}  // namespace corpus

#endif

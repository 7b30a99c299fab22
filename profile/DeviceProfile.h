#ifndef KXCMS_PROFILE_DEVICEPROFILE_H
#define KXCMS_PROFILE_DEVICEPROFILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// @file
/// An RGB device profile as a plain value: everything that a conversion or a report needs to know
/// of it, in real numbers and in processing order. Made by `ReadProfile`, immutable by custom,
/// shared by any number of threads. The numbers of elements and PCS encodings are those of
/// ICC.1:2010.

namespace kxcms {

/// Four characters, the first one in the most significant byte.
using Signature = std::uint32_t;

constexpr Signature MakeSignature(const char (&text)[5]) {
  return Signature{static_cast<unsigned char>(text[0])} << 24 |
         Signature{static_cast<unsigned char>(text[1])} << 16 |
         Signature{static_cast<unsigned char>(text[2])} << 8 |
         Signature{static_cast<unsigned char>(text[3])};
}

/// CIE XYZ, relative to a perfect reflector of Y = 1.
using Xyz = std::array<double, 3>;
/// Row by row.
using Matrix3 = std::array<double, 9>;

/// The profile connection space's white, D50 as ICC.1:2010 7.2.16 rounds it.
constexpr Xyz kPcsWhite = {0.9642, 1.0, 0.8249};

// ---- One-dimensional curves, [0, 1] to [0, 1] ---------------------------------------------------

/// curveType without entries.
struct IdentityCurve {};
/// curveType with one entry: x to the power of `gamma` (u8Fixed8Number).
struct GammaCurve {
  double gamma;
};
/// parametricCurveType (ICC.1:2010 10.16), function 0 to 4. Parameters that a function does not
/// have are 0.
struct ParametricCurve {
  int function;
  double g, a, b, c, d, e, f;
};
/// A table at equal distances over [0, 1], 2 entries or more; value / `maximum` is the result.
struct SampledCurve {
  std::vector<std::uint16_t> values;
  int maximum;  ///< 65535, or 255 for the tables of lut8Type
};
/// Whether the table says the same as none.
inline bool IsIdentity(const SampledCurve& curve) {
  const std::size_t last = curve.values.size() - 1;
  for (std::size_t n = 0; n <= last; ++n) {
    if (curve.values[n] * last != n * static_cast<std::size_t>(curve.maximum)) return false;
  }
  return true;
}
using Curve = std::variant<IdentityCurve, GammaCurve, ParametricCurve, SampledCurve>;

// ---- Elements of lookup tags --------------------------------------------------------------------

/// One curve per channel.
struct CurveSet {
  std::array<Curve, 3> curves;
};
/// y = matrix x + offset.
struct MatrixElement {
  Matrix3 matrix;
  std::array<double, 3> offset;
};
/// Three inputs, three outputs; value / `maximum` is the result.
struct ColorGrid {
  std::array<int, 3> points;          ///< grid points per input, 2..255
  std::vector<std::uint16_t> values;  ///< first input slowest, outputs together
  int maximum;                        ///< 65535, or 255 for 8-bit tables
};
/// Each element clips its inputs to [0, 1], its own domain, but for a matrix, which has none.
using Element = std::variant<CurveSet, MatrixElement, ColorGrid>;

/// What a PCS side value v in [0, 1] of a lookup tag stands for.
enum class PcsEncoding {
  kLab,        ///< L* = 100 v, a*, b* = 255 v - 128: lut8Type, lutAToBType, lutBToAType
  kLegacyLab,  ///< L* = 100 v 65535 / 65280, a*, b* = v 65535 / 256 - 128: lut16Type
  kXyz,        ///< v 65535 / 32768
};

/// A lookup tag, as its elements in processing order: device to PCS for A2B tags, PCS to device for
/// B2A tags. Elements that change nothing by definition (the matrix of a lut tag whose input is not
/// XYZ) are not there.
struct LookupTable {
  Signature tag;   ///< A2B0, ... under which it stands
  Signature type;  ///< mft1, mft2, mAB , mBA
  PcsEncoding pcs;
  std::vector<Element> elements;
};

/// The three-component matrix-based model (ICC.1:2010 F.3): linear = curve(device),
/// XYZ = matrix linear.
struct MatrixTrc {
  std::array<Curve, 3> curves;
  Matrix3 matrix;  ///< columns are the colorants rXYZ, gXYZ, bXYZ
};

// ---- The profile --------------------------------------------------------------------------------

enum class PcsSpace { kLab, kXyz };

/// The ICC rendering intents by their numbers (ICC.1:2010 7.2.15).
enum class RenderingIntent { kPerceptual = 0, kRelative = 1, kSaturation = 2, kAbsolute = 3 };

/// A row of the tag table.
struct TagEntry {
  Signature signature;
  Signature type;
  std::uint32_t offset;
  std::uint32_t sizeBytes;
};

struct DeviceProfile {
  std::uint64_t sizeBytes = 0;
  std::uint32_t version = 0;  ///< as in the header: 0x04300000 is 4.3
  Signature deviceClass = 0;  ///< scnr, mntr, prtr, spac
  Signature colorSpace = 0;   ///< RGB
  PcsSpace pcs = PcsSpace::kXyz;
  Signature manufacturer = 0, model = 0, creator = 0;
  RenderingIntent headerIntent = RenderingIntent::kPerceptual;
  std::string description;     ///< UTF-8, of desc or mluc
  std::string copyright;       ///< UTF-8
  Xyz mediaWhite = kPcsWhite;  ///< wtpt, or D50 where a profile has none
  bool hasMediaWhite = false;
  std::optional<Xyz> mediaBlack;      ///< bkpt
  std::optional<Matrix3> adaptation;  ///< chad
  std::vector<TagEntry> tags;
  std::array<std::optional<LookupTable>, 3> deviceToPcs;  ///< A2B0, A2B1, A2B2
  std::array<std::optional<LookupTable>, 3> pcsToDevice;  ///< B2A0, B2A1, B2A2
  std::optional<MatrixTrc> matrixTrc;
};

/// What a profile uses for an intent: one of its lookup tags, or its matrix and curves.
struct Model {
  const LookupTable* table = nullptr;    ///< null: `matrixTrc`
  const MatrixTrc* matrixTrc = nullptr;  ///< null: `table`
  bool isFallback = false;               ///< not the tag that the intent asks for
};

}  // namespace kxcms

#endif

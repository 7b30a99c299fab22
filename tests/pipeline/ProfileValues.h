#ifndef KXCMS_TESTS_PIPELINE_PROFILEVALUES_H
#define KXCMS_TESTS_PIPELINE_PROFILEVALUES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

// Profiles of every form, as values. All describe devices that could be: smooth, with a tone curve
// a channel and filters that see a little of each other's light.

namespace profile_values {

using namespace kxcms;
using Triple = std::array<double, 3>;

inline std::uint16_t Level(double value, int maximum = 65535) {
  return static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, 1.0) * maximum));
}

template <typename Function>
SampledCurve Sampled(int entries, Function function, int maximum = 65535) {
  SampledCurve curve{{}, maximum};
  for (int n = 0; n < entries; ++n)
    curve.values.push_back(Level(function(n / (entries - 1.0)), maximum));
  return curve;
}
inline SampledCurve SampledGamma(int entries, double gamma, int maximum = 65535) {
  return Sampled(
      entries, [gamma](double x) { return std::pow(x, gamma); }, maximum);
}

/// The values of a function of three inputs at the nodes.
template <typename Function>
ColorGrid Grid(const std::array<int, 3>& points, Function function, int maximum = 65535) {
  ColorGrid grid{points, {}, maximum};
  for (int r = 0; r < points[0]; ++r) {
    for (int g = 0; g < points[1]; ++g) {
      for (int b = 0; b < points[2]; ++b) {
        const Triple node = {r / (points[0] - 1.0), g / (points[1] - 1.0), b / (points[2] - 1.0)};
        for (const double value : function(node)) grid.values.push_back(Level(value, maximum));
      }
    }
  }
  return grid;
}

// ---- A device -----------------------------------------------------------------------------------

inline constexpr Triple kGamma = {1.8, 2.0, 2.2};
inline constexpr Triple kStrayLight = {0.004, 0.003, 0.005};
/// Colorants whose sum is D50.
inline constexpr Matrix3 kColorants = {0.5767, 0.1856, 0.2019, 0.2973, 0.6274,
                                       0.0753, 0.0270, 0.0707, 0.7272};

inline Xyz DeviceToXyz(const Triple& device) {
  Triple light;
  for (std::size_t c = 0; c < 3; ++c) {
    light[c] = kStrayLight[c] + (1 - kStrayLight[c]) * std::pow(device[c], kGamma[c]);
  }
  return Product(kColorants, light);
}
inline Triple XyzToDevice(const Xyz& xyz) {
  const Triple light = Product(Inverse(kColorants), xyz);
  Triple device;
  for (std::size_t c = 0; c < 3; ++c) {
    const double seen = (light[c] - kStrayLight[c]) / (1 - kStrayLight[c]);
    device[c] = std::pow(std::clamp(seen, 0.0, 1.0), 1 / kGamma[c]);
  }
  return device;
}

inline Triple XyzToLab(const Xyz& xyz) {
  Triple f;
  for (std::size_t c = 0; c < 3; ++c) {
    const double t = xyz[c] / kPcsWhite[c];
    f[c] = t > 216.0 / 24389 ? std::cbrt(t) : t * 841 / 108 + 4.0 / 29;
  }
  return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}
inline Xyz LabToXyz(const Triple& lab) {
  const double fy = (lab[0] + 16) / 116;
  const Triple f = {fy + lab[1] / 500, fy, fy - lab[2] / 200};
  Xyz xyz;
  for (std::size_t c = 0; c < 3; ++c) {
    xyz[c] = kPcsWhite[c] * (f[c] > 6.0 / 29 ? f[c] * f[c] * f[c] : (f[c] - 4.0 / 29) * 108 / 841);
  }
  return xyz;
}

inline Triple EncodeLab4(const Triple& lab) {
  return {lab[0] / 100, (lab[1] + 128) / 255, (lab[2] + 128) / 255};
}
inline Triple DecodeLab4(const Triple& v) {
  return {100 * v[0], 255 * v[1] - 128, 255 * v[2] - 128};
}
inline Triple EncodeLab2(const Triple& lab) {
  return {lab[0] * 652.8 / 65535, (lab[1] + 128) * 256 / 65535, (lab[2] + 128) * 256 / 65535};
}
inline Triple DecodeLab2(const Triple& v) {
  return {v[0] * 65535 / 652.8, v[1] * 65535 / 256 - 128, v[2] * 65535 / 256 - 128};
}
inline Triple EncodeXyz(const Xyz& xyz) {
  return {xyz[0] * 32768 / 65535, xyz[1] * 32768 / 65535, xyz[2] * 32768 / 65535};
}
inline Xyz DecodeXyz(const Triple& v) {
  return {v[0] * 65535 / 32768, v[1] * 65535 / 32768, v[2] * 65535 / 32768};
}

inline Triple Powers(const Triple& v, double exponent) {
  return {std::pow(v[0], exponent), std::pow(v[1], exponent), std::pow(v[2], exponent)};
}

inline CurveSet Thrice(const Curve& curve) {
  return {{curve, curve, curve}};
}

// ---- Source profiles ----------------------------------------------------------------------------

struct NamedProfile {
  std::string name;
  DeviceProfile profile;
};

inline DeviceProfile WithTable(Signature type, PcsEncoding pcs, std::vector<Element> elements) {
  DeviceProfile profile;
  profile.deviceToPcs[0] = LookupTable{MakeSignature("A2B0"), type, pcs, std::move(elements)};
  return profile;
}
inline DeviceProfile WithMatrix(const std::array<Curve, 3>& curves,
                                const Matrix3& matrix = RgbToPcs(*FindRgbSpace("adobe-rgb"))) {
  DeviceProfile profile;
  profile.matrixTrc = MatrixTrc{curves, matrix};
  return profile;
}

/// A lut16Type from device to Lab: the grid's axes divide the square root of device values.
inline DeviceProfile Lut16Lab(int points, int inputEntries, const Curve& outputCurve) {
  // Behind a curve that is not straight, the grid has to hold what the curve takes to the colour.
  const auto undo = [&](double y) {
    const auto* sampled = std::get_if<SampledCurve>(&outputCurve);
    if (sampled == nullptr) return y;
    const auto found = std::partition_point(sampled->values.begin(), sampled->values.end(),
                                            [&](double v) { return v < y * 65535; });
    return static_cast<double>(found - sampled->values.begin()) /
           static_cast<double>(sampled->values.size() - 1);
  };
  return WithTable(MakeSignature("mft2"), PcsEncoding::kLegacyLab,
                   {CurveSet{{SampledGamma(inputEntries, 0.8), SampledGamma(inputEntries, 1),
                              SampledGamma(inputEntries, 1.3)}},
                    Grid({points, points, points},
                         [&](const Triple& node) {
                           const Triple device = {std::pow(node[0], 1 / 0.8), node[1],
                                                  std::pow(node[2], 1 / 1.3)};
                           const Triple encoded = EncodeLab2(XyzToLab(DeviceToXyz(device)));
                           return Triple{undo(encoded[0]), undo(encoded[1]), undo(encoded[2])};
                         }),
                    Thrice(outputCurve)});
}

inline std::vector<NamedProfile> SourceForms() {
  const SampledCurve straight = SampledGamma(4096, 1);
  const SampledCurve bent = Sampled(1024, [](double x) { return x + 0.05 * std::sin(6.2 * x); });
  const SampledCurve identity8 = SampledGamma(256, 1, 255);
  const auto lab4 = [](const Triple& device) { return EncodeLab4(XyzToLab(DeviceToXyz(device))); };
  const Signature mAB = MakeSignature("mAB ");
  // Encoded XYZ by M curves of gamma 2.2 and a matrix, from a grid of linear light's roots.
  Matrix3 encodedColorants = kColorants;
  for (double& value : encodedColorants) value *= 32768.0 / 65535;
  const auto lightRoots = [](double gamma) {
    return [gamma](const Triple& device) {
      return Powers(Product(Inverse(kColorants), DeviceToXyz(device)), 1 / gamma);
    };
  };
  constexpr ParametricCurve kSRgb = {3, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045, 0, 0};
  const MatrixElement mixing = {{0.9, 0.05, 0.05, 0.02, 0.96, 0.02, 0.03, 0.07, 0.9}, {}};
  return {
      {"lut16 Lab, 17 points, straight output", Lut16Lab(17, 256, straight)},
      {"lut16 Lab, 33 points, bent output", Lut16Lab(33, 1024, bent)},
      {"lut16 Lab, 2 points", Lut16Lab(2, 2, IdentityCurve{})},
      {"lut16 XYZ with matrix", WithTable(MakeSignature("mft2"), PcsEncoding::kXyz,
                                          {mixing, Thrice(SampledGamma(512, 1.1)),
                                           Grid({19, 19, 19},
                                                [](const Triple& node) {
                                                  return EncodeXyz(DeviceToXyz(Powers(node, 0.9)));
                                                }),
                                           Thrice(SampledGamma(2, 1))})},
      {"lut8 Lab", WithTable(MakeSignature("mft1"), PcsEncoding::kLab,
                             {Thrice(SampledGamma(256, 0.9, 255)), Grid({9, 9, 9}, lab4, 255),
                              Thrice(identity8)})},
      {"mAB Lab, all elements",
       WithTable(mAB, PcsEncoding::kLab,
                 {CurveSet{{kSRgb, GammaCurve{1.25}, SampledGamma(64, 0.7)}},
                  Grid({7, 9, 11}, lab4), CurveSet{{GammaCurve{1.1}, IdentityCurve{}, bent}},
                  MatrixElement{{1, 0.01, 0, 0, 1, 0.02, -0.02, 0, 1}, {0.01, -0.02, 0.03}},
                  CurveSet{{GammaCurve{0.9}, bent, IdentityCurve{}}}})},
      {"mAB XYZ, 8-bit grid",
       WithTable(mAB, PcsEncoding::kXyz,
                 {Thrice(IdentityCurve{}), Grid({16, 5, 33}, lightRoots(2.2), 255),
                  Thrice(GammaCurve{2.2}), MatrixElement{encodedColorants, {}},
                  Thrice(IdentityCurve{})})},
      {"mAB XYZ, 16-bit grid",
       WithTable(mAB, PcsEncoding::kXyz,
                 {Thrice(kSRgb), Grid({16, 17, 13}, lightRoots(2.4)), Thrice(kSRgb),
                  MatrixElement{encodedColorants, {}}, Thrice(IdentityCurve{})})},
      {"mAB Lab, A curves, grid, B curves",
       WithTable(
           mAB, PcsEncoding::kLab,
           {Thrice(GammaCurve{1.5}), Grid({255, 2, 3}, lab4), Thrice(SampledGamma(4096, 1))})},
      {"mAB XYZ, M curves, matrix, B curves",
       WithTable(mAB, PcsEncoding::kXyz,
                 {Thrice(kSRgb), MatrixElement{encodedColorants, {}}, Thrice(IdentityCurve{})})},
      {"mAB Lab, B curves",
       WithTable(mAB, PcsEncoding::kLab, {CurveSet{{GammaCurve{1.8}, IdentityCurve{}, bent}}})},
      {"matrix, identity", WithMatrix(Thrice(IdentityCurve{}).curves)},
      {"matrix, gamma", WithMatrix({GammaCurve{1.8}, GammaCurve{2.19921875}, GammaCurve{2.6}})},
      {"matrix, gamma 1 and below", WithMatrix({GammaCurve{1}, GammaCurve{0.6}, GammaCurve{1.2}})},
      {"matrix, function 0 and 3",
       WithMatrix({ParametricCurve{0, 2.4, 0, 0, 0, 0, 0, 0}, kSRgb, kSRgb})},
      {"matrix, function 1, 2 and 4",
       WithMatrix({ParametricCurve{1, 2.2, 0.9, 0.1, 0, 0, 0, 0},
                   ParametricCurve{2, 1.8, 0.95, -0.05, 0.08, 0, 0, 0},
                   ParametricCurve{4, 2.4, 0.9, 0.1, 0.1, 0.1, 0.003, -0.0059}})},
      {"matrix, tables",
       WithMatrix({SampledGamma(1024, 2.2), SampledGamma(4096, 1.8), SampledGamma(256, 2.4)})},
      {"matrix, ProPhoto",
       WithMatrix(Thrice(GammaCurve{1.8}).curves, RgbToPcs(*FindRgbSpace("prophoto")))},
  };
}

// ---- Destination profiles -----------------------------------------------------------------------

/// Both directions, so that results can be followed back.
inline DeviceProfile WithBothTables(Signature type, PcsEncoding pcs, std::vector<Element> toPcs,
                                    std::vector<Element> toDevice) {
  DeviceProfile profile = WithTable(type, pcs, std::move(toPcs));
  profile.pcsToDevice[0] = LookupTable{MakeSignature("B2A0"), type, pcs, std::move(toDevice)};
  return profile;
}

inline std::vector<NamedProfile> DestinationForms() {
  constexpr ParametricCurve kSRgb = {3, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045, 0, 0};
  // The tables of ITU-R BT.709 in three decimals.
  constexpr ParametricCurve kBt709 = {3, 1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081, 0, 0};
  const auto toLab4 = [](const Triple& device) {
    return EncodeLab4(XyzToLab(DeviceToXyz(device)));
  };
  const auto toLab2 = [](const Triple& device) {
    return EncodeLab2(XyzToLab(DeviceToXyz(device)));
  };
  const auto toXyz = [](const Triple& device) { return EncodeXyz(DeviceToXyz(device)); };
  const Signature mAB = MakeSignature("mAB ");
  return {
      {"gamma", WithMatrix({GammaCurve{1.8}, GammaCurve{2.2}, GammaCurve{1}})},
      {"function 3", WithMatrix({kSRgb, kBt709, kSRgb})},
      {"function 0, 1, 2", WithMatrix({ParametricCurve{0, 2.4, 0, 0, 0, 0, 0, 0},
                                       ParametricCurve{1, 2.2, 1, 0, 0, 0, 0, 0},
                                       ParametricCurve{2, 1.8, 0.95, 0.05, 0, 0, 0, 0}})},
      {"function 4", WithMatrix(Thrice(ParametricCurve{4, 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92,
                                                       0.04045, 0, 0})
                                    .curves)},
      {"tables", WithMatrix({SampledGamma(256, 1.8), SampledGamma(1024, 1.2),
                             Sampled(4096, [](double x) { return 1 - x; })})},
      {"lut16 Lab",
       WithBothTables(
           MakeSignature("mft2"), PcsEncoding::kLegacyLab,
           {Thrice(SampledGamma(256, 1)), Grid({17, 17, 17}, toLab2), Thrice(SampledGamma(2, 1))},
           {Thrice(SampledGamma(4096, 1)),
            Grid({33, 33, 33},
                 [](const Triple& v) { return XyzToDevice(LabToXyz(DecodeLab2(v))); }),
            Thrice(SampledGamma(256, 1.1))})},
      {"lut16 XYZ",
       WithBothTables(
           MakeSignature("mft2"), PcsEncoding::kXyz,
           {Thrice(SampledGamma(256, 1)), Grid({17, 17, 17}, toXyz), Thrice(SampledGamma(2, 1))},
           {MatrixElement{{1, 0, 0, 0, 1, 0, 0, 0, 1}, {}}, Thrice(SampledGamma(4096, 0.5)),
            Grid({17, 17, 17},
                 [](const Triple& v) { return XyzToDevice(DecodeXyz(Powers(v, 2))); }),
            Thrice(SampledGamma(2, 1))})},
      {"mBA Lab, all elements",
       WithBothTables(mAB, PcsEncoding::kLab,
                      {Thrice(IdentityCurve{}), Grid({9, 9, 9}, toLab4), Thrice(IdentityCurve{})},
                      {Thrice(GammaCurve{1.1}),
                       MatrixElement{{1, 0, 0.01, 0, 1, 0, 0.01, 0, 1}, {-0.005, 0, -0.005}},
                       Thrice(GammaCurve{0.9}),
                       Grid({17, 19, 21},
                            [](const Triple& v) { return XyzToDevice(LabToXyz(DecodeLab4(v))); }),
                       Thrice(kSRgb)})},
  };
}

}  // namespace profile_values

#endif

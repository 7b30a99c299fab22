#include "bench/PreciseProfiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "bench/Lcms.h"
#include "tools/sample/Colorimetry.h"
#include "tools/sample/Scanner.h"

namespace Bench {

namespace {

struct FreePipeline {
  void operator()(cmsPipeline* pipeline) const { cmsPipelineFree(pipeline); }
};
using LcmsPipeline = std::unique_ptr<cmsPipeline, FreePipeline>;

using Curve = std::function<double(double)>;

void Require(bool isDone, const char* what) {
  if (!isDone) throw std::runtime_error(std::string("lcms2 cannot make ") + what);
}

// Tables of so many entries, one a channel.
cmsStage* TableStage(const std::vector<Curve>& curves, int entries) {
  cmsToneCurve* tables[3];
  for (std::size_t c = 0; c < 3; ++c) {
    std::vector<cmsUInt16Number> values;
    for (int n = 0; n < entries; ++n) {
      const double y = std::clamp(curves[c](n / (entries - 1.0)), 0.0, 1.0);
      values.push_back(static_cast<cmsUInt16Number>(std::lround(y * 65535)));
    }
    tables[c] =
        cmsBuildTabulatedToneCurve16(nullptr, static_cast<cmsUInt32Number>(entries), values.data());
  }
  cmsStage* stage = cmsStageAllocToneCurves(nullptr, 3, tables);
  cmsFreeToneCurveTriple(tables);
  return stage;
}

using NodeFunction = std::function<Vector3(const Vector3&)>;

cmsStage* GridStage(int points, const NodeFunction& node) {
  cmsStage* stage =
      cmsStageAllocCLut16bit(nullptr, static_cast<cmsUInt32Number>(points), 3, 3, nullptr);
  Require(stage != nullptr, "a grid");
  const auto sample = [](const cmsUInt16Number* in, cmsUInt16Number* out,
                         void* cargo) -> cmsInt32Number {
    const Vector3 value = (*static_cast<const NodeFunction*>(cargo))(
        {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0});
    for (std::size_t c = 0; c < 3; ++c) {
      out[c] = static_cast<cmsUInt16Number>(std::lround(std::clamp(value[c], 0.0, 1.0) * 65535));
    }
    return 1;
  };
  cmsStageSampleCLut16bit(stage, sample, const_cast<NodeFunction*>(&node), 0);
  return stage;
}

std::vector<unsigned char> Save(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  Require(cmsSaveProfileToMem(profile, nullptr, &size), "a profile");
  std::vector<unsigned char> bytes(size);
  Require(cmsSaveProfileToMem(profile, bytes.data(), &size), "a profile");
  return bytes;
}

LcmsProfile NewProfile(double version, cmsColorSpaceSignature pcs) {
  LcmsProfile profile(cmsCreateProfilePlaceholder(nullptr));
  Require(profile != nullptr, "a profile");
  cmsSetProfileVersion(profile.get(), version);
  cmsSetDeviceClass(profile.get(), cmsSigInputClass);
  cmsSetColorSpace(profile.get(), cmsSigRgbData);
  cmsSetPCS(profile.get(), pcs);
  cmsWriteTag(profile.get(), cmsSigMediaWhitePointTag, cmsD50_XYZ());
  return profile;
}

std::vector<unsigned char> WithTable(double version, cmsColorSpaceSignature pcs,
                                     const std::vector<cmsStage*>& stages) {
  const LcmsProfile profile = NewProfile(version, pcs);
  const LcmsPipeline pipeline(cmsPipelineAlloc(nullptr, 3, 3));
  for (cmsStage* stage : stages) {
    Require(cmsPipelineInsertStage(pipeline.get(), cmsAT_END, stage), "a pipeline");
  }
  Require(cmsWriteTag(profile.get(), cmsSigAToB0Tag, pipeline.get()), "a lookup tag");
  return Save(profile.get());
}

// The grid divides light by its cube root or so: even steps to the eye.
constexpr double kGridGamma = 2.4;

std::vector<Curve> InputCurves() {
  std::vector<Curve> curves;
  for (int c = 0; c < 3; ++c) {
    curves.push_back([c](double x) { return std::pow(Scanner::Linearize(c, x), 1 / kGridGamma); });
  }
  return curves;
}

Vector3 LabAt(const Vector3& node) {
  return Scanner::LightToLab({std::pow(node[0], kGridGamma), std::pow(node[1], kGridGamma),
                              std::pow(node[2], kGridGamma)});
}

const Curve kStraight = [](double x) { return x; };
// As some profilers write them: more nodes' values for the dark.
const Curve kBent = [](double x) { return std::pow(x, 1.3); };

std::vector<unsigned char> Lut16(int points, const Curve& output) {
  const bool isBent = output(0.5) != 0.5;
  const NodeFunction node = [isBent](const Vector3& at) {
    // What the output tables take to the 16-bit Lab of lut16Type.
    const Vector3 lab = LabAt(at);
    Vector3 encoded = {lab[0] * 652.8 / 65535, (lab[1] + 128) * 256 / 65535,
                       (lab[2] + 128) * 256 / 65535};
    if (isBent) {
      for (double& value : encoded) value = std::pow(std::max(value, 0.0), 1 / 1.3);
    }
    return encoded;
  };
  return WithTable(2.4, cmsSigLabData,
                   {TableStage(InputCurves(), 1024), GridStage(points, node),
                    TableStage({output, output, output}, 4096)});
}

// Parametric A curves, a grid of cube roots of light, M curves, a matrix to XYZ.
std::vector<unsigned char> LutAToB(int points) {
  const Matrix3 lightToXyz = [] {
    Matrix3 columns;
    for (std::size_t c = 0; c < 3; ++c) {
      Vector3 light = {};
      light[c] = 1;
      const Vector3 xyz = LabToXyz(Scanner::LightToLab(light));
      for (std::size_t row = 0; row < 3; ++row) columns[row][c] = xyz[row];
    }
    return columns;
  }();
  cmsFloat64Number matrix[9];
  for (std::size_t n = 0; n < 9; ++n) matrix[n] = lightToXyz[n / 3][n % 3] * 32768 / 65535;
  const auto power = [](double gamma) {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve* const curves[3] = {curve, curve, curve};
    cmsStage* stage = cmsStageAllocToneCurves(nullptr, 3, curves);
    cmsFreeToneCurve(curve);
    return stage;
  };
  const NodeFunction node = [](const Vector3& at) {
    Vector3 light;
    for (std::size_t c = 0; c < 3; ++c) {
      const double x = std::pow(at[c], 1 / 0.8);
      light[c] = std::pow(Scanner::Linearize(static_cast<int>(c), x), 1 / kGridGamma);
    }
    return light;
  };
  return WithTable(4.3, cmsSigXYZData,
                   {power(0.8), GridStage(points, node), power(kGridGamma),
                    cmsStageAllocMatrix(nullptr, 3, 3, matrix, nullptr),
                    cmsStageAllocToneCurves(nullptr, 3, nullptr)});
}

std::vector<unsigned char> MatrixTrc(cmsToneCurve* curve) {
  const cmsCIExyY white = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
  cmsToneCurve* const curves[3] = {curve, curve, curve};
  const LcmsProfile profile(cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(curve);
  Require(profile != nullptr, "a matrix-based profile");
  return Save(profile.get());
}

cmsToneCurve* TabledGamma() {
  std::vector<cmsUInt16Number> values;
  for (int n = 0; n < 1024; ++n) {
    values.push_back(static_cast<cmsUInt16Number>(std::lround(65535 * std::pow(n / 1023.0, 2.2))));
  }
  return cmsBuildTabulatedToneCurve16(nullptr, 1024, values.data());
}

}  // namespace

std::vector<PreciseProfile> MakePreciseProfiles() {
  return {
      {"lut16 17", Lut16(17, kStraight)},
      {"lut16 33", Lut16(33, kStraight)},
      {"lut16 33 bent", Lut16(33, kBent)},
      {"mAB 17", LutAToB(17)},
      {"matrix gamma", MatrixTrc(cmsBuildGamma(nullptr, 2.19921875))},
      {"matrix table", MatrixTrc(TabledGamma())},
  };
}

}  // namespace Bench

#include "pipeline/precise/BlackPoints.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "pipeline/precise/Arena.h"
#include "pipeline/precise/PipelineError.h"
#include "pipeline/precise/kernels/PreciseKernels.h"
#include "profile/Models.h"

namespace kxcms {

namespace {

bool IsMissing(const Model& model) {
  return model.table == nullptr && model.matrixTrc == nullptr;
}

Model RelativeModelToPcs(const DeviceProfile& profile) {
  const Model model = ModelFor(profile, RenderingIntent::kRelative);
  if (IsMissing(model)) {
    throw PipelineError(PipelineFault::kNoModel, 0,
                        "the black point is unknown: the profile does not lead to the PCS");
  }
  return model;
}

void Run(const StageBuilder& builder, PixelBlock& block, std::size_t pixels) {
  const std::vector<Stage>& stages = builder.Stages();
  ChosenPreciseKernels().run({stages.data(), static_cast<int>(stages.size())}, block,
                             static_cast<int>(pixels));
}

void AddToLightness(const Model& toPcs, StageBuilder& builder) {
  const PcsValues pcs = AddDeviceToPcs(toPcs, builder);
  AddPcsToLab(pcs, {}, LabOfParts(), false, builder);
}

double BlackLightness(const Model& toPcs) {
  Arena arena;
  StageBuilder builder(arena);
  AddToLightness(toPcs, builder);
  PixelBlock block{};
  Run(builder, block, 1);
  return std::clamp(static_cast<double>(block.values[0][0]), 0.0, 50.0);
}

Xyz Grey(double L) {
  // CIE 15:2004, 8.2.1.1.
  const double f = (L + 16) / 116;
  const double relative = f > 6.0 / 29 ? f * f * f : (f - 4.0 / 29) * 108 / 841;
  return {kPcsWhite[0] * relative, kPcsWhite[1] * relative, kPcsWhite[2] * relative};
}

// Greys, which pass the stages in one block: the lightness of each, and of what the device makes of
// it.
constexpr std::size_t kGreys = 256;
static_assert(kGreys <= kBlockPixels);

struct Greys {
  std::array<double, kGreys> in, out;
};

Greys ThereAndBack(const LookupTable& toDevice, const Model& toPcs) {
  Greys greys;
  PixelBlock block{};
  for (std::size_t n = 0; n < kGreys; ++n) {
    greys.in[n] = 100.0 * static_cast<double>(n) / (kGreys - 1);
    const Xyz grey = Grey(greys.in[n]);
    const Xyz parts = {(greys.in[n] + 16) / 116, 0, 0};
    const bool isXyz = toDevice.pcs == PcsEncoding::kXyz;
    const AffineMap encoding = EncodingOf(toDevice.pcs);
    const AffineMap encoded = Product(encoding, Diagonal({0, 0, 0}, isXyz ? grey : parts));
    for (std::size_t c = 0; c < 3; ++c) {
      block.values[c][n] = static_cast<float>(std::clamp(encoded.offset[c], 0.0, 1.0));
    }
  }
  Arena arena;
  StageBuilder builder(arena);
  builder.Add(toDevice.elements);
  builder.AddScaling();
  AddToLightness(toPcs, builder);
  Run(builder, block, kGreys);
  std::copy_n(block.values[0], kGreys, greys.out.begin());
  return greys;
}

// Where the parabola through points, by least squares, leaves 0 upward.
double FootOfParabola(const std::vector<double>& x, const std::vector<double>& y) {
  // The normal equations of y = a x^2 + b x + c.
  Matrix3 normal{};
  Xyz right{};
  for (std::size_t n = 0; n < x.size(); ++n) {
    const double powers[3] = {x[n] * x[n], x[n], 1};
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t column = 0; column < 3; ++column) {
        normal[3 * row + column] += powers[row] * powers[column];
      }
      right[row] += powers[row] * y[n];
    }
  }
  const auto [a, b, c] = Product(Inverse(normal), right);
  if (std::abs(a) < 1e-10) return -c / b;
  const double discriminant = b * b - 4 * a * c;
  return discriminant <= 0 ? 0 : (-b + std::sqrt(discriminant)) / (2 * a);
}

// ISO 18619: the L* of a destination's black from greys that came back.
double EstimateBlack(Greys greys, double initial) {
  auto& [in, out] = greys;
  // Rising, if need be by lowering what comes before.
  for (std::size_t n = out.size() - 1; n > 0; --n) out[n - 1] = std::min(out[n - 1], out[n]);
  const double lowest = out.front(), highest = out.back();
  if (lowest >= highest) return 0;

  // Where all greys but the darkest come back nearly as they were, the device does not compress
  // lightness, and its black is what it says it is.
  bool isStraight = true;
  std::vector<double> shadowIn, shadowOut;
  for (std::size_t n = 0; n < out.size(); ++n) {
    const double y = (out[n] - lowest) / (highest - lowest);
    if (y > 0.2 && std::abs(in[n] - out[n]) >= 4) isStraight = false;
    if (y < 0.1 || y >= 0.5) continue;
    shadowIn.push_back(in[n]);
    shadowOut.push_back(y);
  }
  if (isStraight) return initial;

  // Otherwise the curve is level at the device's black and then turns upward. A parabola through
  // the points between 10 and 50 % of the range meets the axis about where it turns.
  if (shadowIn.size() < 3) return 0;
  return std::clamp(FootOfParabola(shadowIn, shadowOut), 0.0, 50.0);
}

}  // namespace

Xyz SourceBlackPoint(const DeviceProfile& profile) {
  return Grey(BlackLightness(RelativeModelToPcs(profile)));
}

Xyz DestinationBlackPoint(const DeviceProfile& profile) {
  const Model toPcs = RelativeModelToPcs(profile);
  const Model toDevice = DestinationModelFor(profile, RenderingIntent::kRelative);
  const double initial = BlackLightness(toPcs);
  if (toDevice.table == nullptr) return Grey(initial);
  return Grey(EstimateBlack(ThereAndBack(*toDevice.table, toPcs), initial));
}

Adaptation BlackPointCompensation(const DeviceProfile& source, const DeviceProfile* destination) {
  const Xyz from = SourceBlackPoint(source);
  const Xyz to = destination != nullptr ? DestinationBlackPoint(*destination) : Xyz{};
  Adaptation adaptation;
  for (std::size_t n = 0; n < 3; ++n) {
    const double white = kPcsWhite[n];
    adaptation.scale[n] = (to[n] - white) / (from[n] - white);
    adaptation.offset[n] = -white * (to[n] - from[n]) / (from[n] - white);
  }
  return adaptation;
}

}  // namespace kxcms

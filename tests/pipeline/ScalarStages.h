#ifndef KXCMS_TESTS_PIPELINE_SCALARSTAGES_H
#define KXCMS_TESTS_PIPELINE_SCALARSTAGES_H

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "pipeline/precise/Stages.h"

// The stages of a precise conversion for one pixel at a time, written plainly: what each kernel has
// to give, bit for bit. Operations stand in the order in which they round.

namespace scalar_stages {

using namespace kxcms;
using Pixel = std::array<float, 3>;

inline float Min(float a, float b) {
  return a < b ? a : b;
}
inline float Max(float a, float b) {
  return a > b ? a : b;
}
inline float Clip(float x) {
  return Min(Max(x, 0), 1);
}
inline std::int32_t Whole(float x) {
  return static_cast<std::int32_t>(x);
}
inline std::uint32_t Bits(float x) {
  return std::bit_cast<std::uint32_t>(x);
}

// ---- Curves -------------------------------------------------------------------------------------

inline float Between(float low, float high, float fraction) {
  return low + fraction * (high - low);
}

inline float Sampled(const CurveStage& curve, float x) {
  const float position = x * curve.factor;
  const std::int32_t n = Whole(position);
  return Between(curve.values[n], curve.values[n + 1], position - static_cast<float>(n));
}

inline float Straight(const CurveStage& curve, float x) {
  const float position = x * curve.factor;
  const auto n = static_cast<float>(Whole(position));
  const auto low = static_cast<float>(Whole(n * curve.step + 0.5f));
  const auto high = static_cast<float>(Whole((n + 1) * curve.step + 0.5f));
  return Between(low, high, position - n);
}

inline float Power(const ParabolaTable& table, float t) {
  const float key = Max(t, table.lowest);
  const std::uint32_t segment = Bits(key) >> (23 - kParabolaBits);
  const float start = std::bit_cast<float>(segment << (23 - kParabolaBits));
  const Parabola& p = table.parabolas[static_cast<std::int32_t>(segment) - table.first];
  const float u = t - start;
  return p.c0 + u * (p.c1 + u * p.c2);
}

inline float BrokenPower(const CurveStage& curve, float x) {
  const float t = x * curve.factor + curve.base;
  const float magnitude = Min(std::abs(t), curve.power.highest);
  const float sign = t < 0 ? curve.negativeSign : 1;
  const float upper =
      Max(Power(curve.power, magnitude) * sign * curve.scale + curve.shift, curve.floor);
  const float lower = x * curve.slope + curve.offset;
  const float y = Clip(x < curve.split ? lower : upper);
  return x <= curve.zeroUpTo ? 0 : y;
}

inline float InverseSampled(const CurveStage& curve, float x) {
  const float y = Min(Max(x * curve.factor + curve.base, curve.lowest), curve.highest);
  const float below = y - 1.0f / 128;
  std::int32_t n = Whole(Max(below, 0));
  if (below > static_cast<float>(n)) ++n;
  const Line& line = curve.lines[curve.segments[n]];
  return Clip(line.at0 + line.slope * y);
}

// The first float from 0 to 1 at which the curve reaches y.
inline float InverseSearched(const CurveStage& curve, float x) {
  const float y = Min(Max(x, curve.lowest), curve.highest) * curve.direction;
  std::uint32_t low = 0, high = Bits(1);
  while (low < high) {
    const std::uint32_t middle = low + (high - low) / 2;
    const float reached = BrokenPower(curve, std::bit_cast<float>(middle)) * curve.direction;
    if (reached < y) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return std::bit_cast<float>(low);
}

inline float Follow(const CurveStage& curve, float x) {
  switch (curve.kind) {
    case CurveKind::kNone:
      return x;
    case CurveKind::kSampled:
      return Sampled(curve, x);
    case CurveKind::kStraight:
      return Straight(curve, x);
    case CurveKind::kPower:
      return Min(Power(curve.power, x * curve.factor), 1);
    case CurveKind::kBrokenPower:
      return BrokenPower(curve, x);
    case CurveKind::kInverseSampled:
      return InverseSampled(curve, x);
    case CurveKind::kInverseSearched:
      return InverseSearched(curve, x);
  }
  return x;
}

// ---- Other stages -------------------------------------------------------------------------------

inline Pixel NodeAt(const Grid& grid, const std::array<std::int32_t, 3>& at) {
  std::int32_t index = at[1] % 2 != 0 ? grid.ifOdd : 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    index += at[axis] * static_cast<std::int32_t>(grid.stride[axis]);
  }
  const Node& node = grid.nodes[index];
  return {static_cast<float>(node.firstTwo & 0xFFFF), static_cast<float>(node.firstTwo >> 16),
          node.third};
}

inline Pixel Interpolate(const Grid& grid, const Pixel& x) {
  std::array<std::int32_t, 3> at;
  std::array<float, 3> fraction;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const float position = x[axis] * grid.factor[axis];
    at[axis] = Whole(Min(position, grid.belowLast[axis]));
    fraction[axis] = position - static_cast<float>(at[axis]);
  }
  // Axes by falling fraction. Of tied ones, red comes before green and green before blue.
  std::array<std::size_t, 3> axes = {0, 1, 2};
  for (const auto& [a, b] : {std::array<std::size_t, 2>{0, 1}, {1, 2}, {0, 1}}) {
    if (fraction[axes[a]] < fraction[axes[b]]) std::swap(axes[a], axes[b]);
  }
  Pixel from = NodeAt(grid, at);
  Pixel y = from;
  for (const std::size_t axis : axes) {
    ++at[axis];
    const Pixel to = NodeAt(grid, at);
    for (std::size_t c = 0; c < 3; ++c) y[c] = y[c] + fraction[axis] * (to[c] - from[c]);
    from = to;
  }
  return y;
}

inline Pixel Product(const Matrix& matrix, const Pixel& x, bool clips) {
  Pixel y;
  for (std::size_t n = 0; n < 3; ++n) {
    const float* row = matrix.rows[n];
    y[n] = row[0] * x[0] + row[1] * x[1] + row[2] * x[2] + row[3];
    if (clips) y[n] = Clip(y[n]);
  }
  return y;
}

inline float CubeWithToe(float t) {
  const float above = Max(t, 6.0f / 29);
  return above * above * above + (t - above) * 0x1.07004cp-3f;
}

inline Pixel FromLab(const LabMatrix& stage, const Pixel& lab) {
  const float y = lab[0] * stage.lightness[0] + stage.lightness[1];
  const float x = y + (lab[1] * stage.a[0] + stage.a[1]);
  const float z = y - (lab[2] * stage.b[0] + stage.b[1]);
  return Product(stage.matrix, {CubeWithToe(x), CubeWithToe(y), CubeWithToe(z)},
                 stage.matrix.clips);
}

inline Pixel ToLab(const MatrixLab& stage, const Pixel& in) {
  Pixel f = Product(stage.matrix, in, false);
  for (float& t : f) {
    const float root = Power(stage.cubeRoot, Min(t, stage.cubeRoot.highest));
    t = t > 216.0f / 24389 ? root : t * (841.0f / 108) + 4.0f / 29;
  }
  Pixel lab = {f[1] * stage.lightness[0] + stage.lightness[1],
               (f[0] - f[1]) * stage.a[0] + stage.a[1], (f[1] - f[2]) * stage.b[0] + stage.b[1]};
  if (stage.clips) {
    for (float& value : lab) value = Clip(value);
  }
  return lab;
}

inline float Encode(const Encoding& encoding, float given) {
  const LineTable& table = encoding.table;
  const float x = encoding.isOdd ? given : Clip(given);
  const float magnitude = std::abs(x);
  const float key =
      encoding.isOdd ? Min(Max(magnitude, table.lowest), table.highest) : Max(x, table.lowest);
  const auto segment = static_cast<std::int32_t>(Bits(key) >> (23 - kLineBits)) - table.first;
  const Line& line = table.lines[segment];
  if (!encoding.isOdd) return Min(line.at0 + line.slope * x, 1);
  return std::copysign(line.at0 + line.slope * magnitude, x);
}

inline Pixel Run(const Stage& stage, Pixel pixel) {
  switch (stage.kind) {
    case StageKind::kCurves:
      for (std::size_t c = 0; c < 3; ++c) pixel[c] = Follow(stage.curves->curve[c], pixel[c]);
      return pixel;
    case StageKind::kGrid:
      return Interpolate(*stage.grid, pixel);
    case StageKind::kMatrix:
      return Product(*stage.matrix, pixel, stage.matrix->clips);
    case StageKind::kLabMatrix:
      return FromLab(*stage.labMatrix, pixel);
    case StageKind::kMatrixLab:
      return ToLab(*stage.matrixLab, pixel);
    case StageKind::kEncoding:
      for (float& value : pixel) value = Encode(*stage.encoding, value);
      return pixel;
    case StageKind::kScaling:
      for (std::size_t c = 0; c < 3; ++c) pixel[c] = Clip(pixel[c] * stage.scaling->factor[c]);
      return pixel;
  }
  return pixel;
}

inline Pixel Run(const StageList& list, Pixel pixel) {
  for (int n = 0; n < list.count; ++n) pixel = Run(list.stages[n], pixel);
  return pixel;
}

}  // namespace scalar_stages

#endif

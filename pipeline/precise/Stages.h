#ifndef KXCMS_PIPELINE_PRECISE_STAGES_H
#define KXCMS_PIPELINE_PRECISE_STAGES_H

#include <cstdint>

// The stages of a precise conversion as the kernels see them: numbers and borrowed tables, all in
// single precision. Included by the sources of the instruction-set levels: plain declarations only,
// no inline functions, which the linker could keep in their widest form for every CPU.
//
// A stage turns three values of a pixel into three others. Values pass from one stage to the next
// in the units of the table they come from (0 to 65535, say), and the factors of the next stage
// take them from there; that spares multiplications.

namespace kxcms {

/// Pixels that go through the stages together. A grid's nodes push the curves out of the
/// first-level cache, so that every block fetches them anew, which pays for many pixels better than
/// for few. At distances of a power of two the channels' values would push one another out.
constexpr int kBlockPixels = 576;

struct alignas(64) PixelBlock {
  float values[3][kBlockPixels];
  float alpha[kBlockPixels];
};

// ---- Tables of functions, by the upper bits of a float ------------------------------------------

// A float's upper bits, its exponent and the first bits of its fraction, number segments whose
// length keeps in proportion to the value: so many to an octave, down to the lowest octave that a
// function needs. The first segment of a table reaches from there to 0.

/// value = at0 + slope x.
struct Line {
  float at0, slope;
};
constexpr int kLineBits = 7;  // 128 segments an octave

struct LineTable {
  const Line* lines;
  std::int32_t first;     ///< upper bits that choose lines[0]
  float lowest, highest;  ///< what chooses a line is limited to these
};

/// value = c0 + u (c1 + u c2), where u = x minus the start of the segment.
struct Parabola {
  float c0, c1, c2, unused;
};
constexpr int kParabolaBits = 6;  // 64 segments an octave

struct ParabolaTable {
  const Parabola* parabolas;
  std::int32_t first;
  float lowest, highest;
};

// ---- Curves -------------------------------------------------------------------------------------

enum class CurveKind : std::int32_t {
  kNone,
  /// Position = factor x; between values[trunc(position)] and the next one.
  kSampled,
  /// The same with values that need no table: value i is trunc(step i + 1/2).
  kStraight,
  /// power(factor x).
  kPower,
  /// x < split: slope x + offset. Else power(|t|) sign(t) scale + shift, where t = factor x + base,
  /// but at least `floor`. Both within [0, 1]. But 0 where x <= zeroUpTo.
  kBrokenPower,
  /// Undoes kSampled: y = factor x + base; segments[y rounded up] is the line that y lies on.
  kInverseSampled,
  /// The lowest x at which kBrokenPower reaches y; `direction` is 1 if it rises, -1 if it falls.
  kInverseSearched,
};

struct CurveStage {
  CurveKind kind;
  float factor;
  const std::uint16_t* values;  ///< one more than positions reach: the last one has a next, too
  float step;
  ParabolaTable power;
  float split, slope, offset, base, scale, shift, floor, zeroUpTo;
  float negativeSign;  ///< sign(t) where t < 0: 1, -1, or 0 where the power has no value
  const std::uint16_t* segments;
  const Line* lines;
  float lowest, highest;  ///< of inverses: y is limited to these
  float direction;
};

struct Curves {
  CurveStage curve[3];
};

// ---- Other stages -------------------------------------------------------------------------------

/// A node's three values, at most 65535: the second one is in the upper half of `firstTwo`.
struct alignas(8) Node {
  std::uint32_t firstTwo;
  float third;
};

/// Positions are factor x. Index of a node: the sum of the axes' whole positions times `stride`,
/// and `ifOdd`, where the second axis' position is odd; all are whole numbers below 2^24. So
/// neighbours along the second and third axis lie together.
struct Grid {
  const Node* nodes;
  float factor[3];
  float belowLast[3];  ///< the largest number below the position of the last node
  float stride[3];
  std::int32_t ifOdd;
};

/// m x + o by rows of four; within [0, 1] if `clips`.
struct Matrix {
  float rows[3][4];
  bool clips;
};

/// CIE Lab to X/Xn, Y/Yn, Z/Zn, and a matrix.
struct LabMatrix {
  float lightness[2], a[2], b[2];  ///< (L* + 16) / 116, a* / 500, b* / 200 = [0] x + [1]
  Matrix matrix;
};

/// A matrix to X/Xn, Y/Yn, Z/Zn, and CIE Lab.
struct MatrixLab {
  Matrix matrix;
  ParabolaTable cubeRoot;
  /// Results: [0] x + [1] of f(Y), f(X) - f(Y), f(Y) - f(Z).
  float lightness[2], a[2], b[2];
  bool clips;  ///< the results into [0, 1]
};

/// A built-in space's transfer function, of values clipped to [0, 1] and with results there; or, if
/// `isOdd`, of all values as they are, where f(-x) = -f(x).
struct Encoding {
  LineTable table;
  bool isOdd;
};

/// factor x, within [0, 1].
struct Scaling {
  float factor[3];
};

// ---- A conversion -------------------------------------------------------------------------------

enum class StageKind : std::int32_t {
  kCurves,
  kGrid,
  kMatrix,
  kLabMatrix,
  kMatrixLab,
  kEncoding,
  kScaling,
};

struct Stage {
  StageKind kind;
  union {
    const Curves* curves;
    const Grid* grid;
    const Matrix* matrix;
    const LabMatrix* labMatrix;
    const MatrixLab* matrixLab;
    const Encoding* encoding;
    const Scaling* scaling;
  };
};

struct StageList {
  const Stage* stages;
  int count;
};

/// All that the kernels need of a conversion.
struct Program {
  StageList forIntegers, forFloats;  ///< by the type of the results
  /// What 8-bit samples are after `tabledStages` stages, by channel and level.
  const float (*levels8)[256];
  int tabledStages;
};

}  // namespace kxcms

#endif

#ifndef KXCMS_UNITS_TETRAHEDRA_H
#define KXCMS_UNITS_TETRAHEDRA_H

namespace ICC40 {
namespace ICC_UNIT {

/// One of the six tetrahedra that share a cell's diagonal from the base corner to the far corner.
///
/// Corners are numbered by bits: 4 = one node along the first input, 2 along the second, 1 along
/// the third. The interpolated value is that of the base corner plus, per axis, the fraction along
/// the axis times the slope of the edge of the path that runs along it.
///
///           2 ------- 6            first input  (4): from left to right
///          /|        /|            second input (2): upward
///         3 ------- 7 |            third input  (1): towards the reader
///         | |       | |
///         | 0 ------| 4            0 is the base corner, 7 the far one; every tetrahedron
///         |/        |/             has the diagonal 0-7 for an edge and goes there along
///         1 ------- 5              three edges of the cell, one for each input
///
///     r > g > b    0-4-6-7         first, then second, then third
///     r > b >= g   0-4-5-7         first, then third, then second
///     b >= r > g   0-1-5-7         third, then first, then second
///     g >= r > b   0-2-6-7         second, then first, then third
///     g > b >= r   0-2-3-7         second, then third, then first
///     b >= g >= r  0-1-3-7         third, then second, then first
struct Tetrahedron {
  int path[4];  ///< corners 0 .. 7, each edge along one axis
  int edge[3];  ///< per axis: the slope is value(path[edge + 1]) - value(path[edge])
};

/// Indexed by `TetrahedronOf`.
inline constexpr Tetrahedron kTetrahedra[6] = {
    {{0, 4, 6, 7}, {0, 1, 2}},  // r > g > b
    {{0, 4, 5, 7}, {0, 2, 1}},  // r > b >= g
    {{0, 1, 5, 7}, {1, 2, 0}},  // b >= r > g
    {{0, 2, 6, 7}, {1, 0, 2}},  // g >= r > b
    {{0, 2, 3, 7}, {2, 0, 1}},  // g > b >= r
    {{0, 1, 3, 7}, {2, 1, 0}},  // b >= g >= r
};

/// Index of the tetrahedron that holds a point, by the fractions along the three axes. Tied
/// fractions lie on a face, on which neighbours agree.
template <typename Fraction>
constexpr int TetrahedronOf(Fraction r, Fraction g, Fraction b) {
  if (r > g) {
    if (r > b) return g > b ? 0 : 1;
    return 2;
  }
  if (g > b) return r > b ? 3 : 4;
  return 5;
}

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

#ifndef KXCMS_UNITS_COLORTABLE33_H
#define KXCMS_UNITS_COLORTABLE33_H

#include "../codes/ColorCodes.h"
#include "../iccfile/CLut16Type.h"
#include "../iccfile/CXYZType.h"
#include "Base.h"

/// @file
/// The colour table and its size limit.

/// Largest number of grid points per axis that a colour table holds, 33.
extern KX_API const int MaxLutSize;

namespace ICC40 {
namespace ICC_UNIT {

class OutputTable33;

/// Three-dimensional lookup table with tetrahedral interpolation: three 16-bit inputs, up to seven
/// values per node of which this class uses three. Values are those of the lookup tag (16-bit PCS
/// Lab: L* = v * 100 / 65280, a*, b* = (v - 32768) / 256; ICC.1:2010 lut16Type) or, after
/// `Lab2RGB100_16`, linear RGB. Conversions only read the table: several threads may convert at
/// once, while nobody changes it.
///
/// A table of n grid points uses the corner [0..n-1]^3 of a fixed 33 x 33 x 33 grid. In the 16-bit
/// conversion node k stands at input k << shift, so that the last node of 9, 17 or 33 points stands
/// at 65536, one past the largest input.
class KX_API ColorTable33 : public Base {
 public:
  /// Empty: conversions change nothing. About 1 MB, for the heap.
  ColorTable33();
  ~ColorTable33() override;

  using Base::Conversion;
  /// Interpolates c0, c1, c2 (0..65535) in place in 32-bit integers, stored modulo 65536; o0..o3
  /// are left alone. A table that was never filled changes nothing. @return 0.
  int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short& o0,
                 unsigned short& o1, unsigned short& o2, unsigned short& o3) override;
  int Conversion(unsigned char* buffer, int count) override;
  /// Converts `info->workingCount` pixels of `info->workingBuf` in place, in one parallel region.
  /// @return 0.
  int Conversion(Info* info) override;
  /// Reference interpolation in double precision at any input 0..65535, in place; o0..o3 are left
  /// alone. Other inputs, or a table without node positions, change nothing. @return 0.
  virtual int Conversion(int& c0, int& c1, int& c2, int& o0, int& o1, int& o2, int& o3);

  /// Fills the table from a lookup tag with 0..7 outputs and 2..33 grid points (borrowed during the
  /// call; taken as three-input whatever its input count says). Node values that the tag has no
  /// outputs for keep what they hold, 0 in a new table. Grid points other than 9, 17, 33 are
  /// resampled to 17. A null tag, an absent colour table or counts outside these ranges change
  /// nothing. May throw bad_alloc. @return 0.
  virtual int Initial(ICCFILE::CLut16Type* lut);
  /// Does nothing. @return 0.
  virtual int Initial(ICCFILE::CLut16Type* lut, ICCFILE::iccTagBase* tag);

  /// Replaces the grid by gridPoints^3 packed nodes of 7 ints, first input slowest (borrowed).
  /// Node positions and step are kept. Below 1, only the number and the spacing are stored; null
  /// cells or grid points above 33 change nothing.
  /// @return 0.
  int SetColorTable(int* cells, int gridPoints);
  /// Resamples a filled table to 2..33 grid points through its own reference conversion, all
  /// channels that the class has; any other number, or a table without node positions, changes
  /// nothing. May throw bad_alloc. @return 0.
  int TableResize(int gridPoints);

  /// Offsets L*, C* (units) and hue (degrees) of every node, which must be Lab; see `CLCH::Adjust`.
  /// @return 0.
  int Adjust_Lch(double L, double c, double h);
  /// Scales every node's XYZ by white / D50 (0.9642, 1, 0.8249); nodes must be Lab. A null white
  /// (borrowed) changes nothing. @return 0.
  int Adjust_WhitePoint(ICCFILE::CXYZType* white);
  /// Replaces every node, read as Lab through the curves of `out`, by linear RGB of the working
  /// space of `cs`, as 8-bit levels times 256: 0, 256, ..., 65280. The words of `white` in host
  /// order become the reference white; null stands for D50. All arguments are borrowed; without
  /// `out` no node changes. @return 31 for the ColorMatch codes, 25 for Apple, 21 for Adobe, else
  /// `cs`.
  int Lab2RGB100_16_1D(OutputTable33* out, ICCFILE::ColorSpaceSignature cs,
                       ICCFILE::CXYZType* white);
  /// The same through an output table made from `lut`; without it no node changes. @return as
  /// above.
  int Lab2RGB100_16(ICCFILE::CLut16Type* lut, ICCFILE::ColorSpaceSignature cs,
                    ICCFILE::CXYZType* white);

  /// Cell width of a 33-point grid in 16-bit input units, 2048.
  static const int LUT_Cell;
  /// Grid points of the full grid, 33.
  static const int LUT_Size33;

  /// Owned, new[]: input value of each node, for the reference conversion; null before `Initial`.
  int* nodePositions;
  double nodeStep;     ///< 65536.0 / (gridPoints - 1)
  int shift;           ///< log2 of the 16-bit node spacing: 13, 12 or 11; 0 = never filled
  int mask;            ///< that spacing - 1
  int gridPoints;      ///< nodes per axis in use
  int inputChannels;   ///< of the lookup tag
  int outputChannels;  ///< of the lookup tag
  /// Node values, first input first; 0 for channels that no tag has had.
  int grid[33][33][33][7];
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

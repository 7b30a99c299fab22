#ifndef KXCMS_UNITS_INPUTTABLE33_H
#define KXCMS_UNITS_INPUTTABLE33_H

#include "../codes/ColorCodes.h"
#include "../iccfile/CLut16Type.h"
#include "Base.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Input curves of three channels (ICC.1:2010 lut16Type input tables), expanded to one working
/// value 0..65535 per input level.
class KX_API InputTable33 : public Base {
 public:
  /// Curves and lookup 0, depth 16, step 0.
  InputTable33();
  ~InputTable33() override;

  using Base::Conversion;
  /// Replaces c0, c1, c2 by the interpolated value of their channel's curve, rounded by +0.5 and
  /// truncation; o0..o3 are untouched. Needs `Initial(lut, ...)`; without it nothing changes.
  /// Where a curve goes on past entry 4095, its values are those of `lookup`, low 16 bits, however
  /// that is indexed by then. @return 0.
  int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short& o0,
                 unsigned short& o1, unsigned short& o2, unsigned short& o3) override;
  int Conversion(unsigned char* buffer, int count) override;
  /// Fills `info->workingBuf` from `info->srcBuf`: conversion types 257, 258 (8-bit samples) and
  /// 513, 514 (16-bit samples), three working values a pixel.
  /// @return 0, or 65535 for any other type or a null run state (nothing is written).
  int Conversion(Info* info) override;

  /// Builds the tables from the input tables of `lut` (borrowed during the call) and indexes them
  /// for `inputColor`: `RGB_16`, `Lab`, `Lab_16`, anything else as 8-bit RGB. The first three
  /// channels are used; one that the tag lacks keeps its curve, which is 0 in a new table. Fewer
  /// than 3 entries mean identity. Of more than 4096 `curves` holds the first, `lookup` is made of
  /// all. A null tag or absent input tables change nothing. @return 0.
  int Initial(ICCFILE::CLut16Type* lut, ICCFILE::ColorSpaceSignature inputColor);
  /// Copies lookup and depth of another table; null changes nothing. @return 0.
  int Initial(InputTable33* other);

  /// Re-indexes the lookup for 8-bit RGB samples: level x reads position x * 256, 255 the top.
  /// @return 0.
  int Change_Lut16_To_Lut8();
  /// Re-indexes for 8-bit Lab samples with signed a*, b*. @return 0.
  int Change_Lut16_To_Lab8();
  /// Re-indexes for 16-bit Lab samples with signed a*, b*. @return 0.
  int Change_Lut16_To_Lab16();

  double step;                    ///< curve input spacing, 65535 / (entries - 1); 0 = no curves
  unsigned int curves[3][4096];   ///< curve of each channel, its first 4096 16-bit values
  unsigned int lookup[3][65536];  ///< working value by input level (the first 256 when depth is 8)
  unsigned int depth;             ///< 16, or 8 after a change to 8-bit indexing
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

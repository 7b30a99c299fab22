#ifndef KXCMS_UNITS_OUTPUTTABLE33_H
#define KXCMS_UNITS_OUTPUTTABLE33_H

#include "../iccfile/CLut16Type.h"
#include "../iccfile/CLut8Type.h"
#include "../interface/ColorCodes.h"
#include "Base.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Output curves of up to seven channels, each expanded to 65,536 output values.
///
/// `Initial` fills the lookups from a lookup tag or from caller curves; a builder then reduces them
/// to 8 bits or replaces them by a fixed encoding, and returns the colour code of the result.
class KX_API OutputTable33 : public Base {
 public:
  /// Identity lookups, mode 0; no step, divisor, channels or entries yet (0).
  OutputTable33();
  ~OutputTable33() override;

  using Base::Conversion;
  /// Replaces c0, c1, c2 by lookup[0][c0], lookup[1][c1], lookup[2][c2]. @return 0.
  int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short& o0,
                 unsigned short& o1, unsigned short& o2, unsigned short& o3) override;
  int Conversion(unsigned char* buffer, int count) override;
  /// Writes `info->dstBuf` from `info->workingBuf`: types 257/513 3 bytes, 258/514 3 words, 259/515
  /// 4 bytes, 260/516 4 words, 261/517 6 bytes, 262/518 6 words a pixel; nothing for any other
  /// type, the seven-colour ones included. @return 0.
  int Conversion(Info* info) override;

  /// Fills lookup[c] from curves[c] in one parallel region. The fraction is divided by `divisor`,
  /// not by `step`. Position 65535 takes the last entry. A channel outside 0..6 changes nothing.
  /// @return 0.
  virtual int Interpolation1D(int c);
  /// Takes the output tables of `lut`: up to 7 channels, up to 4096 entries; fewer than 3 entries
  /// mean the 16 * i curve. A null tag or absent output tables change nothing. @return 0.
  virtual int Initial(ICCFILE::CLut16Type* lut);
  /// Copies the first 256 bytes from each channel's output table on into the lookups, whatever the
  /// entry count; bytes past the last table are 0. Null changes nothing. @return 0.
  virtual int Initial(ICCFILE::CLut8Type* lut);

  /// Three 8-bit curves of `count` entries (borrowed; used up to 4096), for channels 0 to 2. The
  /// top value is the entry that the previous `Initial` made the last one; without one it is
  /// interpolated. A null curve changes nothing. @return 0.
  int Initial(unsigned char* r, unsigned char* g, unsigned char* b, int count);

  /// Identity curves and lookups in all seven channels. @return 65536.
  int ResetTable();

  // Builders, to be called after `Initial`. Each sets `outputMode` and returns the colour code of
  // the result; those that take a code return it.

  /// Reduces channels 0 to 2 to 8 bits: min(255, (value + 127) >> 8).
  int OutputRGB8();
  /// The same as `OutputRGB8`.
  int OutputGamma100(ICCFILE::ColorSpaceSignature cs);
  /// The `_8` forms reduce their channels in the same way, the `_16` forms leave the lookups.
  int OutputCMYK_8();
  int OutputCMYK_16();
  int OutputCLR6_8();
  int OutputCLR6_16();
  int OutputCLR7_8();
  int OutputCLR7_16();
  /// 8-bit and 16-bit Lab with a*, b* as signed numbers.
  int OutputLab_8();
  int OutputLab_16();
  /// These replace channels 0 to 2 by a fixed encoding of linear values.
  int OutputGamma_sRGB();
  int OutputGamma_sRGB_16();
  int OutputGamma180(ICCFILE::ColorSpaceSignature cs);
  int OutputGamma180_16(ICCFILE::ColorSpaceSignature cs);
  int OutputGamma_KodakPhoto();
  int OutputGamma_KodakPhoto_16();
  int OutputGamma_KodakMix();
  int OutputGamma_KodakMix_16();
  int OutputGamma_KodakText();
  int OutputGamma_KodakText_16();

  /// Writes a linear toe from x0 to x1 and a power curve above it to channels 0 to 2. Position
  /// 65535 keeps its value. x0, x1 are 16-bit levels, g / gd the exponent, d a density offset.
  /// @return 0.
  int KodakCurve(int x0, int x1, double g, double d, double gd);

  double step;              ///< curve input spacing
  double divisor;           ///< divisor of the interpolation fraction
  int channels;             ///< output channels of the lookup tag
  int entries;              ///< entries per output curve
  unsigned int outputMode;  ///< packing chosen by the last builder, 0..7
  unsigned int curves[7][4096];
  unsigned int lookup[7][65536];
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

#ifndef KXCMS_UNITS_OUTPUTTABLE33_H
#define KXCMS_UNITS_OUTPUTTABLE33_H

#include "../codes/ColorCodes.h"
#include "../iccfile/CLut16Type.h"
#include "../iccfile/CLut8Type.h"
#include "Base.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Output curves of up to seven channels (ICC.1:2010 lut16Type output tables), each expanded to
/// 65,536 output values.
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
  /// not by `step`. Position 65535 takes the last entry. With more than 4096 `entries`, that
  /// position keeps what it holds, and so do those that stand past curves[c][4095]. A channel
  /// outside 0..6 changes nothing. @return 0.
  virtual int Interpolation1D(int c);
  /// Takes the output tables of `lut` (borrowed during the call), up to 7 channels; those that the
  /// tag lacks keep their lookups, identity in a new table. Fewer than 3 entries mean the 16 * i
  /// curve. Of more than 4096 `curves` holds the first, the lookups are made of all. A null tag or
  /// absent output tables change nothing. @return 0.
  virtual int Initial(ICCFILE::CLut16Type* lut);
  /// Copies the first 256 bytes from each channel's output table on into the lookups, whatever the
  /// entry count; bytes past the last table are 0. Null changes nothing. @return 0.
  virtual int Initial(ICCFILE::CLut8Type* lut);

  /// Three 8-bit curves of `count` entries (borrowed; used up to 4096), for channels 0 to 2. The
  /// top value is the entry that the previous `Initial` made the last one, past 4096 entries the
  /// top value that it gave; without one it is interpolated. A null curve changes nothing.
  /// @return 0.
  int Initial(unsigned char* r, unsigned char* g, unsigned char* b, int count);

  /// Identity curves and lookups in all seven channels. @return 65536.
  int ResetTable();

  /// @name Builders
  /// To be called after `Initial`. Each sets `outputMode`.
  /// @{

  /// Reduces channels 0 to 2 to 8 bits: min(255, (value + 127) >> 8). @return `RGB`.
  int OutputRGB8();
  /// The same as `OutputRGB8`. @return `cs`.
  int OutputGamma100(ICCFILE::ColorSpaceSignature cs);
  /// Reduces channels 0 to 3 in the same way. @return `CMYK`.
  int OutputCMYK_8();
  /// Leaves the lookups at 16 bits. @return `CMYK_16`.
  int OutputCMYK_16();
  /// Reduces channels 0 to 5 in the same way. @return `CLR6`.
  int OutputCLR6_8();
  /// Leaves the lookups at 16 bits. @return `CLR6_16`.
  int OutputCLR6_16();
  /// Reduces all seven channels in the same way. @return `CLR7`.
  int OutputCLR7_8();
  /// Leaves the lookups at 16 bits. @return `CLR7_16`.
  int OutputCLR7_16();
  /// 8-bit Lab: L* is min(255, (value + 128) >> 8), a* and b* become signed bytes (value >> 8, top
  /// bit inverted). @return `Lab`.
  int OutputLab_8();
  /// 16-bit Lab: a* and b* become signed words (top bit inverted). @return `Lab_16`.
  int OutputLab_16();
  /// Replaces channels 0 to 2 by the sRGB encoding (IEC 61966-2-1 with the rounded constants of
  /// `sRGB_Gamma_Encode`) of a linear level, in 8 bits. @return `sRGB220`.
  int OutputGamma_sRGB();
  /// The same in 16 bits. @return `sRGB220_16`.
  int OutputGamma_sRGB_16();
  /// Replaces channels 0 to 2 by the power 0.5556 (gamma 1.8) of a linear level, in 8 bits.
  /// @return `cs`.
  int OutputGamma180(ICCFILE::ColorSpaceSignature cs);
  /// The same in 16 bits. @return `cs`.
  int OutputGamma180_16(ICCFILE::ColorSpaceSignature cs);
  /// `KodakCurve(0, 1024, 1.2, 0.0, 2.2)`, in 8 bits. @return `sRGB_KodakPhoto`.
  int OutputGamma_KodakPhoto();
  /// The same curve in 16 bits. @return `sRGB_KodakPhoto_16`.
  int OutputGamma_KodakPhoto_16();
  /// `KodakCurve(512, 2048, 1.5, 0.2, 2.2)`, in 8 bits. @return `sRGB_KodakMix`.
  int OutputGamma_KodakMix();
  /// `KodakCurve(512, 2048, 1.5, 0.0, 2.2)`, in 16 bits: without the density offset of the 8-bit
  /// form, kept so that results stay identical. @return `sRGB_KodakMix_16`.
  int OutputGamma_KodakMix_16();
  /// `KodakCurve(2048, 10240, 2.0, 0.3, 2.2)`, in 8 bits. @return `sRGB_KodakText`.
  int OutputGamma_KodakText();
  /// The same curve in 16 bits. @return `sRGB_KodakText_16`.
  int OutputGamma_KodakText_16();
  /// @}

  /// Writes a tone curve to channels 0 to 2: 0 up to `x0`, a line to `x1`, a power curve above.
  /// Position 65535 keeps its value. Arguments that make no curve give some defined values.
  /// @param x0  16-bit level where the line begins.
  /// @param x1  16-bit level where the line ends.
  /// @param g   gamma of the tone curve; the exponent is `g` / `gd`.
  /// @param d   density offset, which raises the power curve by `d` / `gd`.
  /// @param gd  gamma of the display.
  /// @return 0.
  int KodakCurve(int x0, int x1, double g, double d, double gd);

  double step;     ///< curve input spacing, 65535 / (entries - 1)
  double divisor;  ///< of the interpolation fraction: 65536 / entries, 15 for identity curves
  int channels;    ///< output channels of the lookup tag, as it states them
  int entries;     ///< entries per output curve, as the tag states them; 4096 for fewer than 3
  /// Packing chosen by the last builder: 0, 2, 4, 6 for 16 bits and three, four, six, seven
  /// channels; one more for 8 bits.
  unsigned int outputMode;
  unsigned int curves[7][4096];   ///< curve of each channel, its first 4096 16-bit values
  unsigned int lookup[7][65536];  ///< output value by interpolated 16-bit value
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

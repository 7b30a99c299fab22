#ifndef KXCMS_ENGINE_CICCENGINES_H
#define KXCMS_ENGINE_CICCENGINES_H

#include "../codes/ColorCodes.h"
#include "../iccfile/CLut16Type.h"
#include "../iccfile/IccFile4.h"
#include "../units/Info.h"

namespace ICC40 {
/// The conversion engine.
namespace ICC_ENG_S4 {

/// The conversion engine: one profile, the pipeline built from it, and the run state.
///
/// The tables are inline (1.97 MB): static or heap objects only. One thread at a time; a
/// conversion of 32,768 pixels or more opens its own parallel region, during which the engine must
/// not be reconfigured. Allocation failures are reported on standard error as "bad_alloc caught:
/// ..."; nothing converts with tables that are half old, half new. The field order is interface.
class KX_API CIccEngineS : public ICC_UNIT::Info {
 public:
  /// No profile. Sets OpenMP's number of threads to 8 and turns its dynamic adjustment on, for the
  /// thread that makes the engine and no other.
  CIccEngineS();
  ~CIccEngineS();
  CIccEngineS(const CIccEngineS&) = delete;
  CIccEngineS& operator=(const CIccEngineS&) = delete;

  /// `Info::Reset` and releases the input tables; the profile and the other tables are kept.
  void Reset();
  /// Does nothing. @return 65533.
  int Initial(int);
  /// Does nothing. @return 65533.
  int DeleteWorkingBuf();

  /// Selects a profile file, intent, colour codes and offsets, and builds the pipeline; returns at
  /// once when path, intent and codes are those in force, even if the file or the offsets have
  /// changed. The outcome is in `outputColor`: 65535 = unusable. A profile without a usable lookup
  /// tag counts as success here; `engineStatus` is then 65535 and conversions do nothing. The
  /// connection space is taken for Lab, whatever it is: one of XYZ gives wrong colours.
  /// @param path    profile file, borrowed; null counts as one that cannot be opened.
  /// @param intent  any number; those outside the enumeration use A2B0.
  /// @param in      `RGB` or `RGB_16`.
  /// @param out     an RGB encoding; any other code leaves the engine unusable.
  /// @param L       offset of L*; see `CLCH::Adjust`.
  /// @param c       offset of C*.
  /// @param h       offset of the hue in degrees.
  /// @return 0; 65530 for an input code other than `RGB`, `RGB_16`; 65531 for a file that cannot be
  ///         opened or held.
  int SetProfile(char const* path, ICCFILE::Intent intent, ICCFILE::ColorSpaceSignature in,
                 ICCFILE::ColorSpaceSignature out, double L, double c, double h);
  /// The same; `second` is ignored. @return as above.
  int SetProfile(char const* path, char const* second, ICCFILE::Intent intent,
                 ICCFILE::ColorSpaceSignature in, ICCFILE::ColorSpaceSignature out, double L,
                 double c, double h);
  /// Rebuilds the pipeline for another intent or other codes with the stored offsets; the three
  /// doubles are ignored. The stored intent and codes build nothing, the codes 65535 that `Reset`
  /// leaves included. @return the output code, or 65535 without a usable lookup tag (the codes are
  /// stored, the older tables stay in use).
  int SetIntent(ICCFILE::Intent intent, ICCFILE::ColorSpaceSignature in,
                ICCFILE::ColorSpaceSignature out, double, double, double);

  /// @return 65535 when no profile was selected, else `InputColorSpace2RGB`.
  int ConstructEngine(double L, double c, double h);
  /// Builds all three stages. @return the output code, or 65535 without a usable lookup tag.
  int InputColorSpace2RGB(double L, double c, double h);
  /// @return the lookup tag for the intent, else A2B0, else null. Borrowed from `iccFile`.
  ICCFILE::iccTagBase* GetMft2();
  /// Builds the input index tables from a lookup tag (borrowed), for the input code. Null
  /// changes nothing.
  void Set1DLutIn(ICCFILE::CLut16Type* lut);
  /// Builds the cells from a lookup tag (borrowed), for intent and output code, with offsets as in
  /// `SetProfile`. A tag that is null or has no colour table changes nothing.
  void Set3DLut(ICCFILE::CLut16Type* lut, double L, double c, double h);
  /// Builds the output tables for the output code; `lut` is not read. A code without an output
  /// curve gets identity tables and leaves the engine unusable. @return the engine status that it
  /// stored.
  int Set1DLutOut(ICCFILE::CLut16Type* lut);

  /// Converts `pixels` pixels of three interleaved samples. Source and destination (borrowed) are
  /// 8-bit or 16-bit by the input code and the conversion type; they may be the same when the
  /// widths are. Nothing happens without tables, source or destination, or with a count below 1. A
  /// profile whose manufacturer is "none" yields the output tables' own contents and needs no
  /// source.
  /// @return 0.
  int Conversion(unsigned char* src, unsigned char* dst, int pixels);
  /// 8-bit source, 16-bit destination, whatever the codes are. @return 0.
  int Conversion(unsigned char* src, unsigned short* dst, int pixels);
  /// Converts a TIFF file and prints three stopwatch lines. 8-bit images are converted in place and
  /// lose an embedded profile; others become a new 16-bit image of 300 dots per inch. Plain images
  /// in strips pass in pieces and are not held, unless the output is the input itself. @return 0,
  /// whether or not the output could be written, or all ones when the input cannot be read, its
  /// buffer is too small for its geometry, or the new image would be out of proportion to the file
  /// (nothing is written then).
  int Conversion(char const* inPath, char const* outPath);
  /// Rebuilds the colour stage for new offsets (L*, C*, degrees) when their whole parts change.
  /// @return the output code, or 65535 without a usable lookup tag.
  int Adjust_Lch(double L, double c, double h);
  /// Replaces the output tables by three 8-bit curves of `count` entries (borrowed). A negative
  /// count copies no entry: the profile's own curves then stand at the spacing of 256 bytes.
  /// A count of 0 or a null curve changes nothing.
  /// @return the output code, or 65535 without a usable lookup tag.
  int Adjust_Output(unsigned char* R, unsigned char* G, unsigned char* B, int count);

  ICCFILE::IccFile4 iccFile;  ///< the profile last read
  // The tables of the pipeline, for programs to read. What a program writes into them after a first
  // conversion need not reach the next one; arrays at other addresses in place of the input tables
  // do.
  /// Owned, new[]: as many words as the input tables, for programs. Neither filled nor read.
  unsigned int* inLutAux0;
  /// Owned, new[]: cell index 0..15 << 16 | fraction 0..4095, by input level (256, or 65536 for
  /// `RGB_16`); first channel.
  unsigned int* inLut0;
  unsigned int* inLutAux1;  ///< as `inLutAux0`
  unsigned int* inLut1;     ///< the same for the second channel
  unsigned int* inLutAux2;  ///< as `inLutAux0`
  unsigned int* inLut2;     ///< the same for the third channel
  /// Per cell (first channel first) six tetrahedra, each of 3 output channels x (base, slope along
  /// each input): base is the node value << 12, slopes are signed 32-bit differences of node
  /// values.
  unsigned int cells[16][16][16][6][12];
  unsigned int outLut[3][65536];  ///< interpolated 16-bit value to final sample, per channel
  int fractionBits;               ///< 12
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

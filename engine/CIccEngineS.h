#ifndef KXCMS_ENGINE_CICCENGINES_H
#define KXCMS_ENGINE_CICCENGINES_H

#include "../iccfile/CLut16Type.h"
#include "../iccfile/IccFile4.h"
#include "../interface/ColorCodes.h"
#include "Info.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// The conversion engine: one profile, the pipeline built from it, and the run state.
///
/// The tables are inline (about 1.9 MB): static or heap objects only. One thread at a time; a
/// conversion opens its own parallel region, during which the engine must not be reconfigured.
/// The field order is interface.
class KX_API CIccEngineS : public ICC_UNIT::Info {
 public:
  /// No profile. Sets the OpenMP thread count to 8 and turns dynamic adjustment on (process-wide).
  CIccEngineS();
  ~CIccEngineS();
  CIccEngineS(const CIccEngineS&) = delete;
  CIccEngineS& operator=(const CIccEngineS&) = delete;

  /// `Info::Reset` and releases the input tables; the profile is kept.
  void Reset();
  /// Does nothing. @return 65533.
  int Initial(int);
  /// Does nothing. @return 65533.
  int DeleteWorkingBuf();

  /// Selects a profile file, intent, colour codes and offsets, and builds the pipeline; returns at
  /// once when nothing changed. The outcome is in `outputColor`: 65535 = unusable.
  /// @return 0; 65530 for an input code other than `RGB`, `RGB_16`; 65531 for a file that cannot be
  ///         opened.
  int SetProfile(char const* path, ICCFILE::Intent intent, ICCFILE::ColorSpaceSignature in,
                 ICCFILE::ColorSpaceSignature out, double L, double c, double h);
  /// The same; `second` is ignored.
  int SetProfile(char const* path, char const* second, ICCFILE::Intent intent,
                 ICCFILE::ColorSpaceSignature in, ICCFILE::ColorSpaceSignature out, double L,
                 double c, double h);
  /// Rebuilds the pipeline for another intent or other codes with the stored offsets; the three
  /// doubles are ignored. @return the output code, or 65535 without a usable lookup tag (the codes
  /// are stored, the older tables stay in use).
  int SetIntent(ICCFILE::Intent intent, ICCFILE::ColorSpaceSignature in,
                ICCFILE::ColorSpaceSignature out, double, double, double);

  /// @return 65535 when no profile was selected, else `InputColorSpace2RGB`.
  int ConstructEngine(double L, double c, double h);
  /// Builds all three stages. @return the output code, or 65535 without a usable lookup tag.
  int InputColorSpace2RGB(double L, double c, double h);
  /// The lookup tag for the intent, else A2B0, else null. Borrowed from `iccFile`.
  ICCFILE::iccTagBase* GetMft2();
  /// Builds the input index tables.
  void Set1DLutIn(ICCFILE::CLut16Type* lut);
  /// Builds the cells.
  void Set3DLut(ICCFILE::CLut16Type* lut, double L, double c, double h);
  /// Builds the output tables for the output code. @return the engine status that it stored.
  int Set1DLutOut(ICCFILE::CLut16Type* lut);

  /// Converts `pixels` pixels of three samples. Source and destination are 8-bit or 16-bit by the
  /// input code and the conversion type; they may be the same when the widths are. Nothing happens
  /// without tables, with a null buffer or a count below 1. @return 0.
  int Conversion(unsigned char* src, unsigned char* dst, int pixels);
  /// 8-bit source, 16-bit destination. @return 0.
  int Conversion(unsigned char* src, unsigned short* dst, int pixels);
  /// Converts a TIFF file and prints three stopwatch lines. @return 0, or all ones when the input
  /// cannot be read (nothing is written).
  int Conversion(char const* inPath, char const* outPath);
  /// Rebuilds the colour stage for new offsets. @return the output code, or 65535.
  int Adjust_Lch(double L, double c, double h);
  /// Replaces the output tables by three 8-bit curves of `count` entries (borrowed). A negative
  /// count copies no entry: the profile's own curves then stand at the spacing of 256 bytes.
  /// @return the output code, or 65535.
  int Adjust_Output(unsigned char* R, unsigned char* G, unsigned char* B, int count);

  ICCFILE::IccFile4 iccFile;  ///< the profile last read
  unsigned int* inLutAux0;    ///< owned, new[]: see engine/EngineTables.h
  unsigned int* inLut0;     ///< owned, new[]: cell index << 16 | fraction (12 bits), by input level
  unsigned int* inLutAux1;  ///< owned, null
  unsigned int* inLut1;
  unsigned int* inLutAux2;  ///< owned, null
  unsigned int* inLut2;
  unsigned int cells[16][16][16][6][12];  ///< six tetrahedra of 3 x (base, 3 slopes) per cell
  unsigned int outLut[3][65536];          ///< 16-bit value to final sample
  int fractionBits;                       ///< 12
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

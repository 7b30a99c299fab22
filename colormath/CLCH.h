#ifndef KXCMS_COLORMATH_CLCH_H
#define KXCMS_COLORMATH_CLCH_H

#include "../base/KxApi.h"

/// CIE colour arithmetic of the colour tables.
namespace ColorLch {

/// RGB working spaces of `CLCH`.
enum ColorSpace : int {
  kColorSpaceSRgb = 0,           ///< `sRGB_D50`
  kColorSpaceAdobeRgb = 1,       ///< `AdobeRGB_D50`
  kColorSpaceAppleRgb = 2,       ///< `AppleRGB_D50`
  kColorSpaceColorMatchRgb = 3,  ///< `ColorMatchRGB_D50`
  kColorSpaceDefault = 65535,    ///< treated as sRGB
};

/// One colour as LCH, Lab, linear RGB and XYZ, with the reference white and the RGB matrices that
/// connect them. The field order is interface.
///
/// A value that owns nothing; one thread at a time. No function fails: whatever is out of range
/// gives the number that the formulas give, NaN included. Each conversion function reads one form
/// of the colour and writes one other; the remaining fields keep what they held. The constants are
/// rounded and used exactly as written, so that results stay identical bit for bit. CIE 15:2004 8.2
/// (Lab, LCH), IEC 61966-2-1 (sRGB primaries).
class KX_API CLCH {
 public:
  /// sRGB matrices, all colour fields 0. The white is given in 16-bit units: 65535 is 1.0; the ICC
  /// white, D50, is (63195, 65535, 54073).
  CLCH(double Xw, double Yw, double Zw);
  /// Copies every field, unlike assignment.
  CLCH(CLCH const&) = default;
  ~CLCH();

  /// Loads the two matrices of a space; an unknown value changes nothing.
  void SetColorSpace(ColorSpace space);
  /// Sets the white, in 16-bit units.
  void SetWhite(double Xw, double Yw, double Zw);

  /// `a`, `b` from `C`, `H`; `L` is common to both forms.
  void LCH2LAB();
  /// `X`, `Y`, `Z` from `L`, `a`, `b` and the white.
  void LAB2XYZ();
  /// Linear `R`, `G`, `B` from `X`, `Y`, `Z`, each limited to 0..255.
  void XYZ2RGB();
  /// `X`, `Y`, `Z` from linear `R`, `G`, `B`, in single precision.
  void RGB2XYZ();
  /// `L`, `a`, `b` from `X`, `Y`, `Z` and the white.
  void XYZ2LAB();
  /// `C`, `H` from `a`, `b`.
  void LAB2LCH();

  /// Stores L*, C*, h (degrees) and derives XYZ and, from it, Lab; RGB is not updated.
  void PutData_Lch(double L, double C, double H);
  /// Stores Lab and derives LCH, XYZ and RGB.
  void PutData_Lab(double L, double a, double b);
  /// Stores linear RGB limited to 0..255 and derives XYZ, Lab and LCH.
  void PutData_RGB(double R, double G, double B);
  /// Stores XYZ (Y of the white is 1) and derives Lab, LCH and RGB.
  void PutData_XYZ(double X, double Y, double Z);

  /// Takes over the other's LCH through `PutData_Lch`; white, matrices and RGB stay. @return this
  /// object.
  CLCH& operator=(CLCH const& other);

  /// Offsets L* and C* (each limited to 0..100) and the hue in degrees (wrapped once), then derives
  /// Lab, XYZ and RGB.
  void Adjust(double dL, double dC, double dH);

  ///@{
  /// L* 0..100, C*, hue angle in degrees 0..360.
  double L, C, H;
  ///@}
  ///@{
  /// a*, b*.
  double a, b;
  ///@}
  ///@{
  /// Linear RGB, 0..255.
  double R, G, B;
  ///@}
  ///@{
  /// CIE XYZ; Y of the white is 1.
  double X, Y, Z;
  ///@}
  ///@{
  /// Reference white as XYZ.
  double Xw, Yw, Zw;
  ///@}
  double RGB2XYZ_Matrix[9];  ///< row by row, from the working space's table
  double XYZ2RGB_Matrix[9];  ///< its inverse, row by row
};

}  // namespace ColorLch

#endif

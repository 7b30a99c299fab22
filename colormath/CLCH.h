#ifndef KXCMS_COLORMATH_CLCH_H
#define KXCMS_COLORMATH_CLCH_H

#include "../interface/KxApi.h"

namespace ColorLch {

/// RGB working spaces of `CLCH`.
enum ColorSpace : int {
  kColorSpaceSRgb = 0,
  kColorSpaceAdobeRgb = 1,
  kColorSpaceAppleRgb = 2,
  kColorSpaceColorMatchRgb = 3,
  kColorSpaceDefault = 65535,  ///< treated as sRGB
};

/// One colour as LCH, Lab, linear RGB and XYZ, with the reference white and the RGB matrices that
/// connect them. A plain value; the field order is interface.
///
/// The constants are rounded and used exactly as written, so that results stay identical bit for
/// bit. CIE 15:2004 8.2 (Lab), IEC 61966-2-1 (sRGB primaries).
class KX_API CLCH {
 public:
  /// sRGB matrices, all colour fields 0. The white is given in 16-bit units: 65535 is 1.0.
  CLCH(double Xw, double Yw, double Zw);
  CLCH(CLCH const&) = default;
  ~CLCH();

  /// Loads the two matrices of a space; an unknown value changes nothing.
  void SetColorSpace(ColorSpace space);
  /// Sets the white, in 16-bit units.
  void SetWhite(double Xw, double Yw, double Zw);

  void LCH2LAB();
  void LAB2XYZ();
  void XYZ2RGB();
  void RGB2XYZ();
  void XYZ2LAB();
  void LAB2LCH();

  /// Stores L*, C*, h (degrees) and derives XYZ and Lab; RGB is not updated.
  void PutData_Lch(double L, double C, double H);
  /// Stores Lab and derives LCH, XYZ and RGB.
  void PutData_Lab(double L, double a, double b);
  /// Stores RGB clamped to 0..255 and derives XYZ, Lab and LCH.
  void PutData_RGB(double R, double G, double B);
  /// Stores XYZ (white = 1) and derives Lab, LCH and RGB.
  void PutData_XYZ(double X, double Y, double Z);

  /// Takes over the other's LCH through `PutData_Lch`; white and matrices stay.
  CLCH& operator=(CLCH const& other);

  /// Offsets L* and C* (each limited to 0..100) and the hue in degrees (wrapped once), then derives
  /// Lab, XYZ and RGB.
  void Adjust(double dL, double dC, double dH);

  double L, C, H;            ///< L* 0..100, C*, hue angle in degrees 0..360
  double a, b;               ///< a*, b*
  double R, G, B;            ///< linear, 0..255
  double X, Y, Z;            ///< relative to a white of 1.0
  double Xw, Yw, Zw;         ///< reference white, relative to 1.0
  double RGB2XYZ_Matrix[9];  ///< row by row
  double XYZ2RGB_Matrix[9];  ///< row by row
};

}  // namespace ColorLch

#endif

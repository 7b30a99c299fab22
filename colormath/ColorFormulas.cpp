#include "colormath/ColorFormulas.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

#include "colormath/IsotemperatureLines.h"

namespace {

// 0..1 to 0..255, rounded by +0.5 and truncation. NaN gives 0; what an int cannot hold, its limits.
int To255(double v) {
  const double rounded = v * 255.0 + 0.5;
  if (std::isnan(rounded)) return 0;
  if (rounded >= INT_MAX) return INT_MAX;
  if (rounded <= INT_MIN) return INT_MIN;
  return static_cast<int>(rounded);
}

bool OppositeSigns(double current, double previous) {
  return (current < 0.0 && previous >= 0.0) || (current >= 0.0 && previous < 0.0);
}

// Truncating quotient for the HSB formulas, which are meant for 0..255. Outside of that range a
// zero denominator gives 0, and a result that an int cannot hold its nearest limit.
int Quotient(std::int64_t numerator, std::int64_t denominator) {
  if (denominator == 0) return 0;
  return static_cast<int>(std::clamp<std::int64_t>(numerator / denominator, INT_MIN, INT_MAX));
}

}  // namespace

double sRGB_Gamma_Decode(double v) {
  return v <= 0.03928 ? v / 12.92 : ::std::pow((v + 0.055) / 1.055, 2.4);
}

double sRGB_Gamma_Encode(double v) {
  return v < 0.00304 ? v * 12.92 : 1.055 * ::std::pow(v, 0.4167) - 0.055;
}

int sRGB_Gamma_Decode255(unsigned char c) {
  return To255(sRGB_Gamma_Decode(c / 255.0));
}

int sRGB_Gamma_Encode255(unsigned char c) {
  return To255(sRGB_Gamma_Encode(c / 255.0));
}

double RGB2Density(double v) {
  return -::std::log10(v);
}

double RGB2Density255(unsigned char c) {
  return RGB2Density(c / 255.0);
}

double Density2RGB(double d) {
  return ::std::pow(10.0, -d);
}

int Density2RGB255(double d) {
  return To255(Density2RGB(d));
}

int XYZtoCorColorTemp(double* xyz, double* temperature) {
  constexpr double kBlack = 1e-20;
  if (xyz == nullptr || temperature == nullptr) return -1;
  const double X = xyz[0];
  const double Y = xyz[1];
  const double Z = xyz[2];
  if (X < kBlack && Y < kBlack && Z < kBlack) return -1;

  // CIE 1960 chromaticity of the colour.
  const double d = X + 15.0 * Y + 3.0 * Z;
  const double us = 4.0 * X / d;
  const double vs = 6.0 * Y / d;

  // The colour lies between the two lines where its signed distance changes sign.
  double previous = 0.0;
  for (int i = 0; i < kIsotemperatureLines; ++i) {
    const double di = (vs - uvt[i][1]) - uvt[i][2] * (us - uvt[i][0]);
    if (i > 0 && OppositeSigns(di, previous)) {
      const double before = previous / ::std::sqrt(1.0 + uvt[i - 1][2] * uvt[i - 1][2]);
      const double after = di / ::std::sqrt(1.0 + uvt[i][2] * uvt[i][2]);
      const double p = before / (before - after);
      *temperature = 1.0 / (rt[i - 1] + p * (rt[i] - rt[i - 1]));
      return 0;
    }
    previous = di;
  }
  return -1;
}

void RGB2HSB(int r, int g, int b, int& h, int& s, int& v) {
  const std::int64_t red = r;
  const std::int64_t green = g;
  const std::int64_t blue = b;
  // Degrees, 0..60, from the hue of the largest component towards that of the middle one.
  const auto step = [](std::int64_t smallest, std::int64_t middle, std::int64_t largest) {
    return Quotient(60 * (middle - smallest), largest - smallest);
  };
  const auto saturation = [](std::int64_t smallest, std::int64_t largest) {
    return Quotient(100 * (largest - smallest), largest);
  };
  const auto brightness = [](std::int64_t largest) { return Quotient(100 * largest, 255); };

  if (r > g && g >= b) {
    h = step(blue, green, red);
    s = saturation(blue, red);
    v = brightness(red);
  } else if (r > g && r < b) {
    h = step(green, red, blue) + 240;
    s = saturation(green, blue);
    v = brightness(blue);
  } else if (r > g) {
    h = 360 - step(green, blue, red);
    s = saturation(green, red);
    v = brightness(red);
  } else if (r > b) {
    h = 120 - step(blue, red, green);
    s = saturation(blue, green);
    v = brightness(green);
  } else if (g > b) {
    h = step(red, blue, green) + 120;
    s = saturation(red, green);
    v = brightness(green);
  } else if (b == r) {
    h = 0;
    s = 0;
    v = brightness(red);
  } else if (b == 0) {
    h = 0;
    s = 0;
    v = 0;
  } else {
    h = 240 - step(red, green, blue);
    s = saturation(red, blue);
    v = brightness(blue);
  }
}

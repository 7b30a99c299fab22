#ifndef KXCMS_COLORMATH_ISOTEMPERATURELINES_H
#define KXCMS_COLORMATH_ISOTEMPERATURELINES_H

// Robertson's isotemperature lines (JOSA 58, 1528, 1968), 0 to 600 mired. Not exported.

constexpr int kIsotemperatureLines = 31;

/// CIE 1960 u, v of the Planckian locus and the slope t of the isotemperature line through it.
extern const double uvt[kIsotemperatureLines][3];

/// Reciprocal temperature of each line in 1/K. The first is the smallest positive normal double
/// instead of 0, so that its reciprocal stays finite.
extern const double rt[kIsotemperatureLines];

#endif

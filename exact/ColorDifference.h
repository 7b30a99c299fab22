#ifndef KXCMS_EXACT_COLORDIFFERENCE_H
#define KXCMS_EXACT_COLORDIFFERENCE_H

#include <array>

namespace kxcms {

/// CIEDE2000 between two colours in CIE Lab, kL = kC = kH = 1 (CIE 142-2001; the formula as Sharma,
/// Wu and Dalal state it, Color Research and Application 30, 21, 2005). 0 for equal colours.
double DeltaE2000(const std::array<double, 3>& lab1, const std::array<double, 3>& lab2);

/// The same from a colour to each of two others, the same bits, in hardly more time than to one.
std::array<double, 2> DeltasE2000(const std::array<double, 3>& lab,
                                  const std::array<std::array<double, 3>, 2>& others);

}  // namespace kxcms

#endif

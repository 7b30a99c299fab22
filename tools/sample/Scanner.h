#ifndef KXCMS_TOOLS_SAMPLE_SCANNER_H
#define KXCMS_TOOLS_SAMPLE_SCANNER_H

#include "Colorimetry.h"

/// A make-believe scanner whose behaviour is known in both directions: three filters that see a
/// little of each other's light, stray light, and a tone curve per channel.
namespace Scanner {

/// Device RGB, 0..1, of a colour; colours beyond the filters' reach are clipped.
Vector3 FromLab(const Vector3& lab);
/// The colour that gives these device values.
Vector3 ToLab(const Vector3& device);

/// Undoes one channel's tone curve: device value to light, both 0..1.
double Linearize(int channel, double device);
/// The colour of linear light values.
Vector3 LightToLab(const Vector3& light);

}  // namespace Scanner

#endif

#ifndef KXCMS_UNITS_INPUTLEVELS_H
#define KXCMS_UNITS_INPUTLEVELS_H

namespace ICC40 {
namespace ICC_UNIT {

/// Input tables of three channels, indexed by 16-bit levels, are indexed anew in place.
using InputLookups = unsigned int (&)[3][65536];

/// By 8-bit samples, in the first 256 entries: sample x stands for level x * 256, 255 for the top.
void IndexBy8BitSamples(InputLookups lookups);
/// By 8-bit Lab samples, a* and b* signed.
void IndexBy8BitLab(InputLookups lookups);
/// By 16-bit Lab samples, a* and b* signed.
void IndexBy16BitLab(InputLookups lookups);

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

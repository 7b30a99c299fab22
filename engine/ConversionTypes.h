#ifndef KXCMS_ENGINE_CONVERSIONTYPES_H
#define KXCMS_ENGINE_CONVERSIONTYPES_H

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Conversion types (see Info::CheckConversionType) of 8-bit input that the engine converts.
constexpr int kType8To8 = 257;
constexpr int kType8To16 = 258;

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

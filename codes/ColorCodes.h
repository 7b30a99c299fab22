#ifndef KXCMS_CODES_COLORCODES_H
#define KXCMS_CODES_COLORCODES_H

#include "../base/KxApi.h"
#include "CodeLists.h"

/// @file
/// Codes of colour encodings and rendering intents, and their display names.

namespace ICC40 {
namespace ICCFILE {

/// Colour encodings of the caller's pixels. The value is the index into `strColor`.
///
/// Codes come in pairs: the even code has 8 bits a sample, the odd code after it (`_16`) 16 bits
/// of the same encoding. As input only `RGB` and `RGB_16` are accepted; as output the RGB
/// encodings 8..13, 20..31 and 34..39. 65535 stands for "no colour space" wherever a code is
/// stored.
enum ColorSpaceSignature : int {
#define KX_ROW(value, name8, name16, c8, c16, doc, ...) \
  name8 = value, doc name16 = value + 1, /**< with 16 bits a sample */
  KX_COLOR_CODES(KX_ROW)
#undef KX_ROW
};

/// ICC rendering intents (ICC.1:2010 6.2). The value is the index into `strIntent`.
enum Intent : int {
#define KX_ROW(value, name, c, doc) name = value, doc
  KX_INTENTS(KX_ROW)
#undef KX_ROW
};

/// Number of colour-space codes, 40.
#define KX_ROW(...) +2
constexpr int kColorCodeCount = 0 KX_COLOR_CODES(KX_ROW);
#undef KX_ROW
/// Number of rendering intents.
constexpr int kIntentCount = 4;
/// Stored in place of a colour code when there is none.
constexpr int kNoColorCode = 65535;

}  // namespace ICCFILE
}  // namespace ICC40

/// Display name of each `ColorSpaceSignature`, 40 entries. Static storage, never null.
extern KX_API const char* const strColor[ICC40::ICCFILE::kColorCodeCount];
/// Display name of each `Intent`, 4 entries; "Percepture" so that results stay identical.
extern KX_API const char* const strIntent[4];

#endif

#ifndef KXCMS_CODES_COLORCODETABLE_H
#define KXCMS_CODES_COLORCODETABLE_H

#include <array>
#include <cstddef>

#include "codes/ColorCodes.h"

/// @file
/// What is known of the colour codes, made from KX_COLOR_CODES. Constants only, so that programs
/// which see nothing but the shared library have them too.

namespace kxcms {

/// The primaries that linear values of an encoding have.
enum class Primaries { kNone, kSRgb, kAdobeRgb, kAppleRgb, kColorMatchRgb };

/// The curve of an encoding, from linear values to samples, and the step of `OutputTable33` that
/// makes it for 8-bit samples; the same with `_16` makes it for 16-bit ones.
enum class EncodingCurve {
  kNone,        ///< none: the code is refused as output
  kSRgb,        ///< OutputGamma_sRGB
  kGamma180,    ///< OutputGamma180
  kLinear,      ///< OutputGamma100; for 16-bit samples none, the identity lookups stay
  kKodakPhoto,  ///< ResetTable, then OutputGamma_KodakPhoto
  kKodakMix,    ///< ResetTable, then OutputGamma_KodakMix
  kKodakText,   ///< ResetTable, then OutputGamma_KodakText
};

/// A colour code.
struct ColorCode {
  ICC40::ICCFILE::ColorSpaceSignature code;
  int bits;         ///< per sample, 8 or 16
  int inputClass;   ///< of conversion types: 1 = 8-bit, 2 = 16-bit, 0 = none
  int outputClass;  ///< odd = 8-bit, even = 16-bit, 0 = none
  Primaries primaries;
  EncodingCurve curve;
  const char* command;      ///< the encoding's name in the command; empty where it is no output
  const char* description;  ///< likewise
};

namespace detail {

/// The 16-bit code of an encoding, made from the 8-bit one: it is the next, and so are its classes.
constexpr ColorCode Code16(ColorCode code8) {
  constexpr auto kNext = [](int number) { return number == 0 ? 0 : number + 1; };
  return {static_cast<ICC40::ICCFILE::ColorSpaceSignature>(code8.code + 1),
          16,
          kNext(code8.inputClass),
          kNext(code8.outputClass),
          code8.primaries,
          code8.curve,
          code8.command,
          code8.description};
}

constexpr std::array<ColorCode, ICC40::ICCFILE::kColorCodeCount> MakeColorCodes() {
  constexpr ColorCode kCodes8[] = {
#define KX_ROW(value, name8, name16, c8, c16, doc, in, out, primaries, curve, command, text) \
  {ICC40::ICCFILE::name8, 8, in, out, Primaries::primaries, EncodingCurve::curve, command, text},
      KX_COLOR_CODES(KX_ROW)
#undef KX_ROW
  };
  std::array<ColorCode, ICC40::ICCFILE::kColorCodeCount> codes{};
  for (const ColorCode& code8 : kCodes8) {
    codes.at(code8.code) = code8;
    codes.at(code8.code + std::size_t{1}) = Code16(code8);
  }
  return codes;
}

}  // namespace detail

/// All codes; the index is the code.
inline constexpr auto kColorCodes = detail::MakeColorCodes();

/// @return null for a number that is no code.
constexpr const ColorCode* FindColorCode(int code) {
  return code >= 0 && code < ICC40::ICCFILE::kColorCodeCount ? &kColorCodes[code] : nullptr;
}

}  // namespace kxcms

#endif

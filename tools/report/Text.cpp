#include "tools/report/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace kxcms::report {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// The length of the character that a text begins with; 0 if it is no UTF-8 (RFC 3629) or none that
// XML 1.0 allows (2.2, Char).
std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&text](std::size_t n) { return static_cast<unsigned char>(text[n]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) {
    return lead >= ' ' || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  std::uint32_t code = lead & (0x7Fu >> length);
  for (std::size_t n = 1; n < length; ++n) {
    if ((byte(n) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(n) & 0x3Fu);
  }
  constexpr std::array<std::uint32_t, 5> kFirstOfLength = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  const bool isNone = code == 0xFFFE || code == 0xFFFF || code > 0x10FFFF;
  return code < kFirstOfLength[length] || isSurrogate || isNone ? 0 : length;
}

}  // namespace

std::string Fixed(double value, int decimals) {
  if (!std::isfinite(value)) return "\xE2\x80\x93";  // en dash
  std::array<char, 400> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed, decimals)
                       .ptr;
  std::string shown(text.data(), end);
  const bool isZero = shown.find_first_not_of("-0.") == std::string::npos;
  if (isZero && shown.front() == '-') shown.erase(0, 1);
  return shown;
}

double Rounded(double value, int decimals) {
  if (!std::isfinite(value)) return value;
  const std::string text = Fixed(value, decimals);
  double rounded = 0;
  std::from_chars(text.data(), text.data() + text.size(), rounded);
  return rounded;
}

std::string Clean(std::string_view text, std::size_t most) {
  std::string clean;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    const std::string_view next = length == 0 ? kReplacement : text.substr(0, length);
    if (clean.size() + next.size() > most) break;
    clean += next;
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return clean;
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : Clean(text, text.size() * kReplacement.size())) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace kxcms::report

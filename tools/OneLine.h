#ifndef KXCMS_TOOLS_ONELINE_H
#define KXCMS_TOOLS_ONELINE_H

#include <cstddef>
#include <string>
#include <string_view>

/// What stands for byte `i` of a message that is to stay one line long and to give a terminal no
/// orders: control characters, those of UTF-8's second block (C1) too, become question marks.
inline char InOneLine(std::string_view text, std::size_t i) {
  const auto at = [text](std::size_t place) {
    return place < text.size() ? static_cast<unsigned char>(text[place]) : 0u;
  };
  const auto isC1 = [&at](std::size_t lead) {
    return at(lead) == 0xC2 && at(lead + 1) >= 0x80 && at(lead + 1) <= 0x9F;
  };
  const bool isControl = at(i) < ' ' || at(i) == 0x7F || isC1(i) || (i > 0 && isC1(i - 1));
  return isControl ? '?' : text[i];
}

/// Keeps a message one line long, whatever a file name holds.
inline std::string OneLine(const std::string& text) {
  std::string line(text.size(), ' ');
  for (std::size_t i = 0; i < text.size(); ++i) line[i] = InOneLine(text, i);
  return line;
}

#endif

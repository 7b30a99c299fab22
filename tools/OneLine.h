#ifndef KXCMS_TOOLS_ONELINE_H
#define KXCMS_TOOLS_ONELINE_H

#include <algorithm>
#include <string>

/// What stands for a character in a message that is to stay one line long.
inline char InOneLine(char c) {
  const bool isControl = static_cast<unsigned char>(c) < ' ' || c == '\177';
  return isControl ? '?' : c;
}

/// Keeps a message one line long, whatever a file name holds.
inline std::string OneLine(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), InOneLine);
  return text;
}

#endif

#ifndef KXCMS_TOOLS_ONELINE_H
#define KXCMS_TOOLS_ONELINE_H

#include <string>

/// Keeps a message one line long, whatever a file name holds.
inline std::string OneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\177') c = '?';
  }
  return text;
}

#endif

#ifndef KXCMS_TOOLS_OUTPUTSPACES_H
#define KXCMS_TOOLS_OUTPUTSPACES_H

#include <span>
#include <string_view>

#include "codes/ColorCodes.h"

/// An output encoding under the name that people give it.
struct OutputSpace {
  std::string_view name;
  ICC40::ICCFILE::ColorSpaceSignature code8;  ///< 8-bit code; the 16-bit one is the next
  std::string_view description;

  ICC40::ICCFILE::ColorSpaceSignature Code(int bits) const {
    return static_cast<ICC40::ICCFILE::ColorSpaceSignature>(bits == 16 ? code8 + 1 : code8);
  }
};

std::span<const OutputSpace> OutputSpaces();

/// The space of this name, or null.
const OutputSpace* FindOutputSpace(std::string_view name);

#endif

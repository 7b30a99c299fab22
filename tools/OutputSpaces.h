#ifndef KXCMS_TOOLS_OUTPUTSPACES_H
#define KXCMS_TOOLS_OUTPUTSPACES_H

#include <string_view>
#include <vector>

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

/// Those of all colour codes with an output curve: sRGB, which is meant where nobody names one,
/// then by primaries and curve.
const std::vector<OutputSpace>& OutputSpaces();

/// The space of this name, or null.
const OutputSpace* FindOutputSpace(std::string_view name);

#endif

#ifndef KXCMS_TOOLS_CONVERT_H
#define KXCMS_TOOLS_CONVERT_H

#include <optional>
#include <string>

#include "OutputSpaces.h"
#include "codes/ColorCodes.h"

struct ConvertRequest {
  std::string input;
  std::string output;
  std::optional<std::string> profile;  ///< none: the one embedded in the input
  ICC40::ICCFILE::Intent intent = ICC40::ICCFILE::Percepture;
  const OutputSpace* space = nullptr;
  double lightness = 0;  ///< offset in L*
  double chroma = 0;     ///< offset in C*
  double hueDeg = 0;     ///< offset in degrees
  int threads = 0;       ///< 0: all processors
};

/// Converts a TIFF file. Throws a `Refusal` instead of writing anything doubtful; then the output
/// path is as it was.
///
/// The file is the one that the library's own file conversion writes, except where that one would
/// be untrue or disturb other programs: tags that the conversion invalidates are left out, as is
/// the empty profile tag of new images; StripByteCounts is always exact; a 16-bit result keeps an
/// orientation other than upright.
void ConvertFile(const ConvertRequest& request);

#endif

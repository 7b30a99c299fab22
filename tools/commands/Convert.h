#ifndef KXCMS_TOOLS_COMMANDS_CONVERT_H
#define KXCMS_TOOLS_COMMANDS_CONVERT_H

#include <optional>
#include <string>

#include "tools/image/ImageSource.h"

struct ConvertRequest {
  enum class Exists { kReplace, kRefuse, kSkip };
  enum class Big { kAuto, kYes, kNo };

  std::string input;
  std::string output;
  std::optional<std::string> profile;  ///< none: the one embedded in the input
  std::optional<std::string> assume;   ///< for images without one
  std::string to = "srgb";             ///< built-in space, or file of a profile
  unsigned intent = 0;                 ///< KXP_PERCEPTUAL and so on
  bool blackPointCompensation = false;
  bool isFixed = false;                      ///< by the bits of libKXCMS
  double lightness = 0;                      ///< offset in L*
  double chroma = 0;                         ///< offset in C*
  double hueDeg = 0;                         ///< offset in degrees
  std::optional<unsigned> bits;              ///< none: those of the source
  std::optional<std::uint16_t> compression;  ///< as TIFF numbers it; none: as the source
  Big bigTiff = Big::kAuto;
  std::optional<int> quality;                  ///< of JPEG
  std::optional<kxcms::image::Format> format;  ///< none: by the suffix of the output
  std::string tag = "auto";                    ///< or "none", or a file
  bool onlyFirstPage = false;
  Exists exists = Exists::kReplace;
  bool isDurable = false;
  bool isQuiet = false;
  bool isJson = false;
  int threads = 0;  ///< 0: all processors
};

/// Converts an image file. Throws a `Refusal` instead of writing anything doubtful; then the output
/// path is as it was. What is not carried over is told on standard error.
void ConvertFile(const ConvertRequest& request);

#endif

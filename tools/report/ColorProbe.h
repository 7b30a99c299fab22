#ifndef KXCMS_TOOLS_REPORT_COLORPROBE_H
#define KXCMS_TOOLS_REPORT_COLORPROBE_H

#include <array>
#include <span>
#include <string>
#include <vector>

#include "api/pipeline.hpp"
#include "profile/RgbSpaces.h"
#include "tools/report/Json.h"
#include "tools/report/ProfileNumbers.h"

/// @file
/// One colour of a device, stage by stage, with every intent.

namespace kxcms::report {

/// What a pipeline makes of the colour, beside the exact result.
struct ProbedResult {
  std::string refusal;  ///< why it does not convert this; empty: it does
  Triple encoded;       ///< before it is rounded to 8 bits
  double difference;    ///< from the exact one, CIEDE2000
};

struct IntentProbe {
  RenderingIntent intent;
  std::string tag;  ///< as in `ProfileNumbers`
  bool isFallback;
  std::vector<kxcms::Stage> stages;  ///< of the precise pipeline, as kxp_probe tells them
  Triple exactLab, exactEncoded;
  ProbedResult precise, fixed;
};

struct ColorProbe {
  Triple device;  ///< in [0, 1]
  std::string destination;
  std::array<IntentProbe, 4> intents;
};

/// @throw as `Measure` does
ColorProbe Probe(std::span<const unsigned char> profile, const RgbSpace& destination,
                 const Triple& device);

Json JsonOf(const ColorProbe& probe);

/// The same in lines.
std::string LinesOf(const ColorProbe& probe);

}  // namespace kxcms::report

#endif

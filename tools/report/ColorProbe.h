#ifndef KXCMS_TOOLS_REPORT_COLORPROBE_H
#define KXCMS_TOOLS_REPORT_COLORPROBE_H

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "api/pipeline.hpp"
#include "exact/Conversion.h"
#include "tools/report/Json.h"
#include "tools/report/ProfileNumbers.h"
#include "tools/report/Target.h"

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
  std::optional<double> betweenBoth;  ///< between the two pipelines, where both convert this
};

struct ColorProbe {
  Triple device;  ///< in [0, 1]
  std::string destination;
  std::array<IntentProbe, 4> intents;
};

/// Takes colours through the conversions of a profile; these are made once for all of them.
class Prober {
 public:
  /// @param target  borrowed
  /// @throw as `Measure` does
  Prober(std::span<const unsigned char> profile, const Target& target);

  ColorProbe Probe(const Triple& device) const;

 private:
  struct Way;
  IntentProbe ProbeIntent(const Way& way, const Triple& device) const;

  const Target& target_;
  std::unique_ptr<const DeviceProfile> profile_;
  std::vector<std::shared_ptr<const Way>> ways_;  ///< one for each intent
};

Json JsonOf(const ColorProbe& probe);

/// The same in lines.
std::string LinesOf(const ColorProbe& probe);

}  // namespace kxcms::report

#endif

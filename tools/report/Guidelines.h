#ifndef KXCMS_TOOLS_REPORT_GUIDELINES_H
#define KXCMS_TOOLS_REPORT_GUIDELINES_H

#include <optional>
#include <span>

/// @file
/// How far tone and colour may be off, by three guidelines for the digitisation of cultural
/// heritage, as a published comparison of the three gives them. What else the guidelines ask for
/// (sharpness, noise, evenness) has no place here.

namespace kxcms::report {

/// A level of a guideline. Tone is a difference of L*, colour is in CIEDE2000.
struct Level {
  const char* guideline;
  const char* name;
  double tone;
  double mean;
  std::optional<double> share90;  ///< 90 % of the colours
  std::optional<double> largest;
  bool below;  ///< the number itself is too much
};

/// FADGI 2023 (bound general collections), ISO 19264-1:2021 and the draft of Metamorfoze 2.0; of
/// each the strictest level first.
std::span<const Level> Levels();

/// Whether a level allows this.
bool AllowsTone(const Level& level, double largestToneError);
bool AllowsColor(const Level& level, double mean, double share90, double largest);

}  // namespace kxcms::report

#endif

#ifndef KXCMS_TOOLS_REPORT_CERTIFICATE_H
#define KXCMS_TOOLS_REPORT_CERTIFICATE_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "api/pipeline.hpp"
#include "tools/report/DifferenceHistogram.h"
#include "tools/report/Json.h"
#include "tools/report/Target.h"

/// @file
/// How far the results of a conversion are from its evaluation in double precision, over every
/// colour that there is.

namespace kxcms::report {

/// What is to be certified: images of 8 and 16 bits a sample, as the command converts them.
struct CertificateQuestion {
  RenderingIntent intent = RenderingIntent::kPerceptual;
  bool blackPointCompensation = false;
  Method method = Method::kPrecise;
  /// So many colours of 16 bits a sample, drawn at random, always the same ones; 0: all colours of
  /// 8 bits a sample.
  std::uint64_t sample = 0;
};

/// Results of one depth beside the exact ones.
struct DepthNumbers {
  /// Samples that are 0, 1, 2, and 3 or more levels of the depth away from the exact result, which
  /// is rounded to nearest, halves up.
  std::array<std::uint64_t, 4> samples{};
  unsigned largestLevels = 0;
  /// CIEDE2000 from the exact result, which is not rounded. Places are numbers of colours.
  DifferenceHistogram color;

  void Add(const DepthNumbers& other);
};

struct CertificateNumbers {
  std::string sourceTag, targetTag;  ///< as `Pipeline` tells them
  std::optional<DepthNumbers> at8;   ///< only over all colours of 8 bits
  DepthNumbers at16;
  /// Device values, of 65535, of the largest differences in CIEDE2000.
  std::array<std::uint16_t, 3> worst8{}, worst16{};
};

/// @param profile  of the device, as bytes of its file
/// @throw kxcms::ProfileError, kxcms::Error, std::invalid_argument  this cannot be converted
CertificateNumbers Certify(std::span<const unsigned char> profile, const Target& target,
                           const CertificateQuestion& question);

Json JsonOf(const CertificateNumbers& numbers);

}  // namespace kxcms::report

#endif

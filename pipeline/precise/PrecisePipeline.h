#ifndef KXCMS_PIPELINE_PRECISE_PRECISEPIPELINE_H
#define KXCMS_PIPELINE_PRECISE_PRECISEPIPELINE_H

#include <cstdint>
#include <variant>
#include <vector>

#include "pipeline/RunConverter.h"
#include "pipeline/precise/Arena.h"
#include "pipeline/precise/PipelineError.h"
#include "pipeline/precise/PixelRun.h"
#include "pipeline/precise/Stages.h"
#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

/// @file
/// Conversion by what a profile says: every stage evaluated for every pixel, on the profile's own
/// grid, in single precision.

namespace kxcms {

/// Colorimetry for measuring, relative to D50 as the profile connection space is. Results are
/// floats: L*, a*, b* or X, Y, Z; or of 16 bits, in the encodings of ICC.1:2010 6.3.4: L*
/// 65535/100, (a* + 128) 257, (b* + 128) 257; XYZ times 32768; within 0 to 65535.
enum class Colorimetry { kLab, kXyz };

/// A built-in space, an RGB profile, or colorimetry.
using PreciseDestination = std::variant<const RgbSpace*, const DeviceProfile*, Colorimetry>;

struct PreciseOptions {
  RenderingIntent intent = RenderingIntent::kPerceptual;
  bool blackPointCompensation = false;  ///< ISO 18619, with the relative intent alone
  /// Half and float results of built-in spaces are not clipped: the encoding goes on beyond 1, and
  /// below 0 it is odd. Means nothing elsewhere: a profile's curves have no continuation.
  bool unclipped = false;
};

/// Precise conversion.
class PrecisePipeline : public RunConverter {
 public:
  /// Makes all tables. The profiles are not needed afterwards.
  /// @throw PipelineError, bad_alloc.
  PrecisePipeline(const DeviceProfile& source, const PreciseDestination& destination,
                  const PreciseOptions& options);

  /// Whether results can have this type: all types but for colorimetry, which has no 8-bit and no
  /// half form.
  bool CanGive(SampleType type) const;

  bool CanConvert(SampleType, SampleType to) const override { return CanGive(to); }

  /// Integers stand for their part of the largest one; half and float samples are clipped into
  /// [0, 1], and what is not a number counts as 0. Integer results are rounded to nearest, halves
  /// up; half results to nearest, halves to even. So is alpha that is converted.
  void Convert(const SourceRun& source, const DestinationRun& destination, AlphaResult alpha,
               std::int64_t count) const override;

  /// What the kernels work by; for comparing them.
  const Program& GetProgram() const { return program_; }

 private:
  void MakeLevels8();

  Arena arena_;
  std::vector<Stage> forIntegers_, forFloats_;
  Program program_{};
  bool isColorimetry_;
};

}  // namespace kxcms

#endif

#ifndef KXCMS_PIPELINE_PRECISE_PRECISEPIPELINE_H
#define KXCMS_PIPELINE_PRECISE_PRECISEPIPELINE_H

#include <cstdint>
#include <variant>
#include <vector>

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

/// Which part of a profile a pipeline uses.
struct UsedModel {
  Signature tag = 0;  ///< of a lookup table; 0 for matrix and curves
  bool isFallback = false;
};

/// A conversion, immutable: any number of threads may use it at once.
class PrecisePipeline {
 public:
  /// Makes all tables. The profiles are not needed afterwards.
  /// @throw PipelineError, bad_alloc.
  PrecisePipeline(const DeviceProfile& source, const PreciseDestination& destination,
                  const PreciseOptions& options);

  PrecisePipeline(const PrecisePipeline&) = delete;
  PrecisePipeline& operator=(const PrecisePipeline&) = delete;

  /// Whether results can have this type: all types but for colorimetry, which has no 8-bit and no
  /// half form.
  bool CanGive(SampleType type) const;

  /// Converts `count` pixels. The runs may be the same where their types and strides are; apart
  /// from that they must not overlap. Reads and writes nothing but their samples; takes no memory
  /// but some KiB of stack; cannot fail.
  ///
  /// Samples: integers stand for their part of the largest one; half and float samples are clipped
  /// into [0, 1], and what is not a number counts as 0. Integer results are rounded to nearest,
  /// halves up; half results to nearest, halves to even.
  ///
  /// Alpha: copied where source and destination have the same type, else clipped and converted as
  /// colour samples are. The colour of an associated source is divided by alpha before, and that of
  /// an associated destination that keeps it multiplied by alpha after the conversion; colour under
  /// alpha 0 in an associated source is converted as it stands.
  void Convert(const SourceRun& source, const DestinationRun& destination, AlphaResult alpha,
               std::int64_t count) const;

  /// What the kernels work by; for comparing them.
  const Program& GetProgram() const { return program_; }

  const UsedModel& SourceModel() const { return sourceModel_; }
  /// Of a destination that is a profile.
  const UsedModel& DestinationModel() const { return destinationModel_; }

 private:
  void MakeLevels8();

  Arena arena_;
  std::vector<Stage> forIntegers_, forFloats_;
  Program program_{};
  bool isColorimetry_;
  UsedModel sourceModel_, destinationModel_;
};

}  // namespace kxcms

#endif

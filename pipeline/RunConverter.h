#ifndef KXCMS_PIPELINE_RUNCONVERTER_H
#define KXCMS_PIPELINE_RUNCONVERTER_H

#include <cstdint>

#include "pipeline/precise/PixelRun.h"
#include "profile/DeviceProfile.h"

namespace kxcms {

/// Which part of a profile a pipeline uses.
struct UsedModel {
  Signature tag = 0;  ///< of a lookup table; 0 for matrix and curves
  bool isFallback = false;
};

/// What converts runs of pixels: immutable, any number of threads may use it at once.
class RunConverter {
 public:
  RunConverter() = default;
  RunConverter(const RunConverter&) = delete;
  RunConverter& operator=(const RunConverter&) = delete;
  virtual ~RunConverter() = default;

  virtual bool CanConvert(SampleType from, SampleType to) const = 0;

  /// Converts `count` pixels of sample types that it can convert. The runs may be the same where
  /// their types and strides are; apart from that they must not overlap. Reads and writes nothing
  /// but their samples; takes no memory but some KiB of stack; cannot fail.
  ///
  /// Alpha: copied where source and destination have the same type, else converted as full-scale
  /// numbers are. The colour of an associated source is divided by alpha before, and that of an
  /// associated destination that keeps it multiplied by alpha after the conversion; colour under
  /// alpha 0 in an associated source is converted as it stands.
  virtual void Convert(const SourceRun& source, const DestinationRun& destination,
                       AlphaResult alpha, std::int64_t count) const = 0;

  const UsedModel& SourceModel() const { return sourceModel_; }
  /// Of a destination that is a profile.
  const UsedModel& DestinationModel() const { return destinationModel_; }

 protected:
  UsedModel sourceModel_, destinationModel_;
};

}  // namespace kxcms

#endif

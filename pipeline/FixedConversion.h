#ifndef KXCMS_PIPELINE_FIXEDCONVERSION_H
#define KXCMS_PIPELINE_FIXEDCONVERSION_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "codes/ColorCodes.h"
#include "pipeline/PixelWorker.h"
#include "pipeline/RunConverter.h"
#include "pipeline/WorkerTables.h"
#include "profile/DeviceProfile.h"

namespace kxcms {

struct FixedOptions {
  RenderingIntent intent = RenderingIntent::kPerceptual;
  double lightness = 0, chroma = 0, hueDeg = 0;  ///< offsets; see `CLCH::Adjust`
};

/// The fixed interface's conversion, bit for bit, of 8- and 16-bit samples. All tables are made
/// with the object.
class FixedConversion : public RunConverter {
 public:
  /// @param output  the code with 8 bits a sample of an encoding with an output curve.
  /// @throw PipelineError for what FixedSourceOf refuses, bad_alloc.
  FixedConversion(const DeviceProfile& source, ICC40::ICCFILE::ColorSpaceSignature output,
                  const FixedOptions& options);
  ~FixedConversion() override;

  bool CanConvert(SampleType from, SampleType to) const override;

  /// From 16 bits to 8, which the fixed interface has not: the results of 16 bits, rounded to
  /// nearest. Packed samples without alpha go straight through the workers, other layouts in blocks
  /// of them. Colour is divided and multiplied by alpha in whole numbers, rounded to nearest.
  void Convert(const SourceRun& source, const DestinationRun& destination, AlphaResult alpha,
               std::int64_t count) const override;

 private:
  struct Tables;

  const ICC40::ICC_ENG_S4::PixelWorker& WorkerFor(SampleType from, SampleType to) const;

  static constexpr std::size_t kFormats = 3;

  std::unique_ptr<Tables> tables_;  ///< null where all formats have compact ones
  std::array<ICC40::ICC_ENG_S4::FixedTables, kFormats> views_;
  std::array<std::unique_ptr<ICC40::ICC_ENG_S4::WorkerTables>, kFormats> compact_;
  std::array<std::optional<ICC40::ICC_ENG_S4::PixelWorker>, kFormats> workers_;
};

}  // namespace kxcms

#endif

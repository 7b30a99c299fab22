#ifndef KXCMS_PIPELINE_FIXEDCONVERSION_H
#define KXCMS_PIPELINE_FIXEDCONVERSION_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "codes/ColorCodes.h"
#include "pipeline/FixedStages.h"
#include "pipeline/PixelWorker.h"
#include "pipeline/RunConverter.h"
#include "profile/DeviceProfile.h"

namespace kxcms {

struct FixedOptions {
  RenderingIntent intent = RenderingIntent::kPerceptual;
  double lightness = 0, chroma = 0, hueDeg = 0;  ///< offsets; see `CLCH::Adjust`
};

/// The fixed interface's conversion, bit for bit, of 8- and 16-bit samples. All tables are made
/// with the object, those of the fast workers without a detour.
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
  struct Compact;

  void MakeTables(const ICC40::ICCFILE::CLut16Type& lut,
                  const ICC40::ICC_ENG_S4::ColorTarget& target);
  void MakeCompact(const ICC40::ICCFILE::CLut16Type& lut,
                   const ICC40::ICC_ENG_S4::ColorTarget& target,
                   const ICC40::ICC_ENG_S4::KernelSet& kernels);
  const ICC40::ICC_ENG_S4::PixelWorker& WorkerFor(SampleType from, SampleType to) const;

  /// One of the two: what the scalar workers read, or the fast ones.
  std::unique_ptr<Tables> tables_;
  std::unique_ptr<Compact> compact_;
  std::array<std::optional<ICC40::ICC_ENG_S4::PixelWorker>, 3> workers_;  ///< by format
};

}  // namespace kxcms

#endif

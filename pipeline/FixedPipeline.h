#ifndef KXCMS_PIPELINE_FIXEDPIPELINE_H
#define KXCMS_PIPELINE_FIXEDPIPELINE_H

#include <array>
#include <cstdint>
#include <memory>

#include "pipeline/FixedStages.h"
#include "pipeline/FixedTables.h"
#include "pipeline/PixelWorker.h"
#include "pipeline/WorkerTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// The fixed pipeline: the tables of its three stages, in arrays that the caller owns, and the
/// compact tables of the fast workers. Whoever fills a stage does it here, so that this is the
/// one place that knows whether compact tables are up to date; they are made when a worker is first
/// asked for. One thread at a time; any number may use the workers.
class FixedPipeline {
 public:
  /// Without arrays.
  constexpr FixedPipeline() = default;
  /// In borrowed arrays, which may hold tables already.
  explicit FixedPipeline(const FixedArrays& arrays) : arrays_(arrays), tables_(arrays) {}

  const FixedTables& tables() const { return tables_; }

  /// Other arrays for the input tables, borrowed, or none. The compact tables go.
  void UseInput(const std::array<std::span<std::uint32_t>, 3>& arrays);

  /// Fill one stage each, as the functions of the same names do.
  void FillInputTables(const ICCFILE::CLut16Type& lut, ICCFILE::ColorSpaceSignature input);
  void FillCells(const ICCFILE::CLut16Type& lut, const ColorTarget& target);
  int FillOutputTables(ICCFILE::ColorSpaceSignature output);
  /// Copies three output tables.
  void CopyOutputTables(const std::uint32_t (*tables)[kLevels16]);

  /// A worker for `pixels` pixels, to be used before anything is filled again or the pipeline is
  /// moved: a fast one where the processor has one, the tables have a compact form, there is memory
  /// for it, and it is worth it.
  PixelWorker WorkerFor(PixelFormat format, std::int64_t pixels) {
    return pixels < kMinKernelPixels ? PixelWorker(tables_, format) : FastWorkerFor(format);
  }

 private:
  // Below this many pixels the scalar worker is done before a fast one has filled its registers.
  static constexpr std::int64_t kMinKernelPixels = 8;

  PixelWorker FastWorkerFor(PixelFormat format);

  FixedArrays arrays_;
  FixedTables tables_{};
  StageVersions versions_;
  std::array<std::unique_ptr<WorkerTables>, 3> workerTables_;  // by format
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

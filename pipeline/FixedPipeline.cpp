#include "pipeline/FixedPipeline.h"

#include <algorithm>
#include <new>
#include <utility>

namespace ICC40 {
namespace ICC_ENG_S4 {

void FixedPipeline::UseInput(const std::array<std::span<std::uint32_t>, 3>& arrays) {
  arrays_.input = arrays;
  tables_ = arrays_;
  workerTables_ = {};
}

void FixedPipeline::FillInputTables(const ICCFILE::CLut16Type& lut,
                                    ICCFILE::ColorSpaceSignature input) {
  ++versions_.input;
  ICC_ENG_S4::FillInputTables(lut, input, arrays_.input);
}

void FixedPipeline::FillCells(const ICCFILE::CLut16Type& lut, const ColorTarget& target) {
  ICC_ENG_S4::FillCells(lut, target, arrays_.cells);
  ++versions_.cells;
}

int FixedPipeline::FillOutputTables(ICCFILE::ColorSpaceSignature output) {
  ++versions_.output;
  return ICC_ENG_S4::FillOutputTables(output, arrays_.output);
}

void FixedPipeline::CopyOutputTables(const std::uint32_t (*tables)[kLevels16]) {
  ++versions_.output;
  for (int c = 0; c < 3; ++c) std::copy_n(tables[c], kLevels16, arrays_.output[c]);
}

PixelWorker FixedPipeline::FastWorkerFor(PixelFormat format) {
  const KernelSet* const kernels = ChosenKernels();
  if (kernels == nullptr) return PixelWorker(tables_, format);
  std::unique_ptr<WorkerTables>& made = workerTables_[static_cast<std::size_t>(format)];
  if (made == nullptr || !made->AreOf(versions_)) {
    try {
      made = WorkerTables::Make(tables_, versions_, format, kernels->readsCoordinatePairs,
                                std::move(made));
    } catch (const std::bad_alloc&) {
      return PixelWorker(tables_, format);  // the same bits, more slowly
    }
  }
  const CompactTables* const compact = made->compact();
  if (compact == nullptr) return PixelWorker(tables_, format);
  return PixelWorker(*compact, format, *kernels);
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40

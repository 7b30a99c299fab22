#ifndef KXCMS_PIPELINE_PIXELWORKER_H
#define KXCMS_PIPELINE_PIXELWORKER_H

#include <cstdint>

#include "pipeline/FixedTables.h"
#include "pipeline/kernels/Kernels.h"
#include "pipeline/kernels/ScalarWorker.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Converts pixels of one format. How they are shared out among threads is the caller's: calls for
/// different pixels may run at the same time. Borrows its tables, which must not change meanwhile.
class PixelWorker {
 public:
  /// Reads the tables themselves.
  PixelWorker(const FixedTables& tables, PixelFormat format)
      : tables_(&tables), scalar_(kScalarKernels[static_cast<int>(format)]) {}
  /// Reads their compact form.
  PixelWorker(const CompactTables& tables, PixelFormat format, const KernelSet& kernels)
      : compact_(&tables), kernel_(kernels.convert[static_cast<int>(format)]) {}

  /// Converts the pixels [begin, end) of interleaved three-sample buffers, which need no alignment
  /// and may be the same when the sample types are.
  void operator()(const unsigned char* source, unsigned char* destination, std::int64_t begin,
                  std::int64_t end) const {
    if (compact_ != nullptr) return kernel_(*compact_, source, destination, begin, end);
    scalar_(*tables_, source, destination, begin, end);
  }

 private:
  using ScalarKernel = void (*)(const FixedTables& tables, const unsigned char* source,
                                unsigned char* destination, std::int64_t begin, std::int64_t end);
  static constexpr ScalarKernel kScalarKernels[] = {ConvertPixels<std::uint8_t, std::uint8_t>,
                                                    ConvertPixels<std::uint8_t, std::uint16_t>,
                                                    ConvertPixels<std::uint16_t, std::uint16_t>};

  const FixedTables* tables_ = nullptr;
  ScalarKernel scalar_ = nullptr;
  const CompactTables* compact_ = nullptr;
  PixelKernel kernel_ = nullptr;
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

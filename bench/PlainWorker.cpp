#include "bench/PlainWorker.h"

#include <cstddef>
#include <cstdint>

#include "pipeline/kernels/ScalarWorker.h"

namespace Bench {

using ICC40::ICC_ENG_S4::ConvertPixels;

namespace {

void ConvertPart(const ICC40::ICC_ENG_S4::FixedTables& tables, const Format& format,
                 const unsigned char* source, unsigned char* destination, std::int64_t begin,
                 std::int64_t end) {
  if (format.sourceBytes == 2) {
    ConvertPixels<std::uint16_t, std::uint16_t>(tables, source, destination, begin, end);
  } else if (format.destinationBytes == 2) {
    ConvertPixels<std::uint8_t, std::uint16_t>(tables, source, destination, begin, end);
  } else {
    ConvertPixels<std::uint8_t, std::uint8_t>(tables, source, destination, begin, end);
  }
}

}  // namespace

void ConvertPlainly(const ICC40::ICC_ENG_S4::CIccEngineS& engine, const Format& format,
                    const unsigned char* source, unsigned char* destination, int pixels,
                    int threads) {
  const std::size_t levels = format.sourceBytes == 1 ? 256 : 65536;
  const ICC40::ICC_ENG_S4::FixedTables tables = {
      {{{engine.inLut0, levels}, {engine.inLut1, levels}, {engine.inLut2, levels}}},
      engine.cells,
      engine.outLut};
  if (threads == 1) return ConvertPart(tables, format, source, destination, 0, pixels);
#pragma omp parallel for num_threads(threads)
  for (int part = 0; part < threads; ++part) {
    ConvertPart(tables, format, source, destination, std::int64_t{pixels} * part / threads,
                std::int64_t{pixels} * (part + 1) / threads);
  }
}

}  // namespace Bench

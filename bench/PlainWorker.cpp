#include "bench/PlainWorker.h"

#include <cstdint>

#include "pipeline/kernels/ScalarWorker.h"

namespace Bench {

using ICC40::ICC_ENG_S4::ConvertPixels;

namespace {

void ConvertPart(const ICC40::ICC_ENG_S4::ContractTables& tables, const Format& format,
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
  const ICC40::ICC_ENG_S4::ContractTables tables = {{engine.inLut0, engine.inLut1, engine.inLut2},
                                                    format.sourceBytes == 1 ? 256u : 65536u,
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

#include "bench/PlainWorker.h"

#include "engine/kernels/ScalarWorker.h"

namespace Bench {

using ICC40::ICC_ENG_S4::ConvertPixels;

void ConvertPlainly(const ICC40::ICC_ENG_S4::CIccEngineS& engine, const Format& format,
                    const unsigned char* source, unsigned char* destination, int pixels) {
  const ICC40::ICC_ENG_S4::PixelTables tables = {{engine.inLut0, engine.inLut1, engine.inLut2},
                                                 format.sourceBytes == 1 ? 256u : 65536u,
                                                 engine.cells,
                                                 engine.outLut};
  if (format.sourceBytes == 2) {
    ConvertPixels<std::uint16_t, std::uint16_t>(tables, source, destination, 0, pixels);
  } else if (format.destinationBytes == 2) {
    ConvertPixels<std::uint8_t, std::uint16_t>(tables, source, destination, 0, pixels);
  } else {
    ConvertPixels<std::uint8_t, std::uint8_t>(tables, source, destination, 0, pixels);
  }
}

}  // namespace Bench

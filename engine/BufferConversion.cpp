#include <cstdint>

#include "codes/ResultCodes.h"
#include "engine/CIccEngineS.h"
#include "engine/ConversionTypes.h"
#include "engine/EnginePipeline.h"
#include "pipeline/kernels/ScalarWorker.h"
#include "units/OpenMpLoop.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::RGB;

namespace {

// The device manufacturer "none" as a signature.
constexpr unsigned int kManufacturerNone = 0x6E6F6E65;

template <typename Work>
void ForEachShare(int pixels, const Work& work) {
  if (pixels < kMinParallelPixels) {
    work(0, pixels);
  } else {
    ICC_UNIT::ForEachBlock(pixels, work);
  }
}

void RunStandard(CIccEngineS& engine, PixelFormat format, const unsigned char* source,
                 unsigned char* destination, int pixels) {
  if (source == nullptr) return;
  const auto run = [&](const PixelWorker worker) {
    ForEachShare(pixels, [&](std::int64_t begin, std::int64_t end) {
      worker(source, destination, begin, end);
    });
  };
  if (FixedPipeline* pipeline = OwnPipelineOf(engine)) {
    return run(pipeline->WorkerFor(format, pixels));
  }
  // A program may write into its own arrays at any time: nothing is kept of them.
  const FixedTables tables = TablesOf(engine);
  run(PixelWorker(tables, format));
}

template <typename Sample>
void RunFill(const CIccEngineS& engine, unsigned char* destination, int pixels) {
  ForEachShare(pixels, [&](std::int64_t begin, std::int64_t end) {
    FillPixels<Sample>(engine.outLut, destination, begin, end);
  });
}

bool CanConvert(const CIccEngineS& engine, const void* destination, int pixels) {
  return HasTables(engine) && destination != nullptr && pixels > 0;
}

}  // namespace

bool HasTables(const CIccEngineS& engine) {
  return engine.inLut0 != nullptr && engine.inLut1 != nullptr && engine.inLut2 != nullptr;
}

// A profile whose manufacturer is "none" yields the output tables' own contents: kept so that
// results stay identical bit for bit.
bool IsFilled(const CIccEngineS& engine) {
  return engine.iccFile.header.manufacturer == kManufacturerNone;
}

int CIccEngineS::Conversion(unsigned char* src, unsigned char* dst, int pixels) {
  if (!CanConvert(*this, dst, pixels)) return IccResultOk;
  if (inputColor != RGB) {
    if (IsFilled(*this)) {
      RunFill<std::uint16_t>(*this, dst, pixels);
    } else {
      RunStandard(*this, PixelFormat::k16To16, src, dst, pixels);
    }
  } else if (conversionType == kType8To8) {
    if (IsFilled(*this)) {
      RunFill<std::uint8_t>(*this, dst, pixels);
    } else {
      RunStandard(*this, PixelFormat::k8To8, src, dst, pixels);
    }
  } else if (conversionType == kType8To16) {
    RunStandard(*this, PixelFormat::k8To16, src, dst, pixels);
  }
  return IccResultOk;
}

int CIccEngineS::Conversion(unsigned char* src, unsigned short* dst, int pixels) {
  if (CanConvert(*this, dst, pixels)) {
    RunStandard(*this, PixelFormat::k8To16, src, reinterpret_cast<unsigned char*>(dst), pixels);
  }
  return IccResultOk;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40

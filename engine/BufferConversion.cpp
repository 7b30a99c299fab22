#include <cstdint>

#include "codes/ResultCodes.h"
#include "engine/CIccEngineS.h"
#include "engine/ConversionTypes.h"
#include "engine/EngineTables.h"
#include "pipeline/kernels/Kernels.h"
#include "pipeline/kernels/ScalarWorker.h"
#include "units/OpenMpLoop.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::RGB;

namespace {

// The device manufacturer "none" as a signature.
constexpr unsigned int kManufacturerNone = 0x6E6F6E65;

ContractTables ContractTablesOf(const CIccEngineS& engine) {
  return {{engine.inLut0, engine.inLut1, engine.inLut2},
          InputLevels(engine),
          engine.cells,
          engine.outLut};
}

// Below this many pixels the scalar worker is done before a fast one has filled its registers.
constexpr int kMinKernelPixels = 8;

template <typename Work>
void ForEachShare(int pixels, const Work& work) {
  if (pixels < kMinParallelPixels) {
    work(0, pixels);
  } else {
    ICC_UNIT::ForEachBlock(pixels, work);
  }
}

void RunScalar(const CIccEngineS& engine, PixelFormat format, const unsigned char* source,
               unsigned char* destination, int pixels) {
  const ContractTables tables = ContractTablesOf(engine);
  ForEachShare(pixels, [&](std::int64_t begin, std::int64_t end) {
    switch (format) {
      case PixelFormat::k8To8:
        return ConvertPixels<std::uint8_t, std::uint8_t>(tables, source, destination, begin, end);
      case PixelFormat::k8To16:
        return ConvertPixels<std::uint8_t, std::uint16_t>(tables, source, destination, begin, end);
      case PixelFormat::k16To16:
        return ConvertPixels<std::uint16_t, std::uint16_t>(tables, source, destination, begin, end);
    }
  });
}

PixelKernel KernelOf(const KernelSet& kernels, PixelFormat format) {
  switch (format) {
    case PixelFormat::k8To8:
      return kernels.convert8To8;
    case PixelFormat::k8To16:
      return kernels.convert8To16;
    case PixelFormat::k16To16:
      break;
  }
  return kernels.convert16To16;
}

void RunStandard(const CIccEngineS& engine, PixelFormat format, const unsigned char* source,
                 unsigned char* destination, int pixels) {
  if (source == nullptr) return;
  const KernelSet* kernels = pixels < kMinKernelPixels ? nullptr : ChosenKernels();
  const CompactTables* tables =
      kernels == nullptr ? nullptr : CurrentCompactTables(engine, format, *kernels);
  if (tables == nullptr) return RunScalar(engine, format, source, destination, pixels);
  const PixelKernel convert = KernelOf(*kernels, format);
  ForEachShare(pixels, [&](std::int64_t begin, std::int64_t end) {
    convert(*tables, source, destination, begin, end);
  });
}

template <typename Sample>
void RunFill(const CIccEngineS& engine, unsigned char* destination, int pixels) {
  const ContractTables tables = ContractTablesOf(engine);
  ForEachShare(pixels, [&](std::int64_t begin, std::int64_t end) {
    FillPixels<Sample>(tables, destination, begin, end);
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

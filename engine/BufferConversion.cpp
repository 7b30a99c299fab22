#include <cstdint>

#include "engine/CIccEngineS.h"
#include "engine/EngineTables.h"
#include "engine/kernels/ScalarWorker.h"
#include "interface/ResultCodes.h"
#include "units/StaticPartition.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::RGB;

namespace {

// The device manufacturer "none" as a signature.
constexpr unsigned int kManufacturerNone = 0x6E6F6E65;

// Conversion types (see Info::CheckConversionType) of 8-bit input to three channels.
constexpr int kType8To8 = 257;
constexpr int kType8To16 = 258;

bool HasTables(const CIccEngineS& engine) {
  return engine.inLutAux0 != nullptr && engine.inLut0 != nullptr && engine.inLut1 != nullptr &&
         engine.inLut2 != nullptr;
}

PixelTables TablesOf(const CIccEngineS& engine) {
  return {{engine.inLut0, engine.inLut1, engine.inLut2},
          engine.inLutAux0[kInputLevelsWord],
          engine.cells,
          engine.outLut};
}

template <typename Source, typename Destination>
void RunStandard(const CIccEngineS& engine, const unsigned char* source, unsigned char* destination,
                 int pixels) {
  const PixelTables tables = TablesOf(engine);
  ICC_UNIT::ForEachBlock(pixels, [&](std::int64_t begin, std::int64_t end) {
    ConvertPixels<Source, Destination>(tables, source, destination, begin, end);
  });
}

// A profile whose manufacturer is "none" yields the output tables' own contents: kept so that
// results stay identical bit for bit.
template <typename Sample>
void RunByManufacturer(const CIccEngineS& engine, const unsigned char* source,
                       unsigned char* destination, int pixels) {
  if (engine.iccFile.header.manufacturer != kManufacturerNone) {
    RunStandard<Sample, Sample>(engine, source, destination, pixels);
    return;
  }
  const PixelTables tables = TablesOf(engine);
  ICC_UNIT::ForEachBlock(pixels, [&](std::int64_t begin, std::int64_t end) {
    FillPixels<Sample>(tables, destination, begin, end);
  });
}

bool CanConvert(const CIccEngineS& engine, const void* source, const void* destination,
                int pixels) {
  return HasTables(engine) && source != nullptr && destination != nullptr && pixels > 0;
}

}  // namespace

int CIccEngineS::Conversion(unsigned char* src, unsigned char* dst, int pixels) {
  if (!CanConvert(*this, src, dst, pixels)) return IccResultOk;
  if (inputColor != RGB) {
    RunByManufacturer<std::uint16_t>(*this, src, dst, pixels);
  } else if (conversionType == kType8To8) {
    RunByManufacturer<std::uint8_t>(*this, src, dst, pixels);
  } else if (conversionType == kType8To16) {
    RunStandard<std::uint8_t, std::uint16_t>(*this, src, dst, pixels);
  }
  return IccResultOk;
}

int CIccEngineS::Conversion(unsigned char* src, unsigned short* dst, int pixels) {
  if (CanConvert(*this, src, dst, pixels)) {
    RunStandard<std::uint8_t, std::uint16_t>(*this, src, reinterpret_cast<unsigned char*>(dst),
                                             pixels);
  }
  return IccResultOk;
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40

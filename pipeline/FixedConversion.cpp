#include "pipeline/FixedConversion.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <span>

#include "pipeline/CompactForms.h"
#include "pipeline/FixedSource.h"

namespace kxcms {

using namespace ICC40::ICC_ENG_S4;
using ICC40::ICCFILE::ColorSpaceSignature;

/// What the scalar workers read, for all formats. Written before it is read.
struct FixedConversion::Tables {
  std::uint32_t input8[3][kLevels8];
  std::uint32_t input16[3][kLevels16];
  Cell cells[kCellsPerAxis][16][16];
  std::uint32_t output8[3][kLevels16];
  std::uint32_t output16[3][kLevels16];
  FixedTables views[3];  // by format
};

/// What the fast workers read, likewise. Output curves of 16 bits are those that OutputCurveOf
/// keeps.
struct FixedConversion::Compact {
  CompactTables tables[3];  // by format
  StepCurve steps;
  alignas(64) std::uint8_t coordinateBytes[3][2][kLevels8];
  std::uint16_t coordinates8[3][kLevels8];
  std::uint16_t coordinates16[3][kLevels16];
  std::uint32_t coordinatePairs[kLevels8 * kLevels8];
  TetrahedronRecord records[kCells * 6];
  std::uint8_t output8[kLevels16];
};

namespace {

constexpr PixelFormat kFormats[] = {PixelFormat::k8To8, PixelFormat::k8To16, PixelFormat::k16To16};

ColorSpaceSignature With16Bits(ColorSpaceSignature output) {
  return static_cast<ColorSpaceSignature>(output + 1);
}

template <typename Entry, std::size_t kLevels>
std::array<std::span<Entry>, 3> SpansOf(Entry (&tables)[3][kLevels]) {
  return {tables[0], tables[1], tables[2]};
}

// ---- Samples ------------------------------------------------------------------------------------

constexpr int kBlock = 256;  // pixels

constexpr std::uint32_t MaximumOf(SampleType type) {
  return type == SampleType::kUInt8 ? 255 : 65535;
}

std::uint32_t Read(const unsigned char* from, SampleType type) {
  if (type == SampleType::kUInt8) return *from;
  std::uint16_t value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

void Write(std::uint32_t value, unsigned char* to, SampleType type) {
  if (type == SampleType::kUInt8) {
    *to = static_cast<unsigned char>(value);
  } else {
    const auto value16 = static_cast<std::uint16_t>(value);
    std::memcpy(to, &value16, sizeof value16);
  }
}

// a b / c, rounded to nearest, halves up; a and b below 2^16.
std::uint32_t Scaled(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  return static_cast<std::uint32_t>((std::uint64_t{a} * b + c / 2) / c);
}

std::uint32_t ToType(std::uint32_t value, SampleType from, SampleType to) {
  return from == to ? value : Scaled(value, MaximumOf(to), MaximumOf(from));
}

// R, G, B one behind the other, and nothing else.
template <typename Byte>
bool IsPacked(const PixelRun<Byte>& run) {
  const int size = SizeOf(run.type);
  return run.samples[3] == nullptr && run.samples[1] == run.samples[0] + size &&
         run.samples[2] == run.samples[0] + 2 * size && run.pixelStride == 3 * size;
}

// A call, block by block: colours packed for the worker, alpha beside them.
class Blocks {
 public:
  Blocks(const SourceRun& source, const DestinationRun& destination, AlphaResult alpha,
         SampleType resultType)
      : source_(source),
        destination_(destination),
        resultType_(resultType),
        readsAlpha_(source.samples[3] != nullptr),
        keepsAlpha_(readsAlpha_ && destination.samples[3] != nullptr &&
                    alpha == AlphaResult::kKept),
        divides_(readsAlpha_ && source.isAssociated),
        multiplies_(keepsAlpha_ && destination.isAssociated) {}

  void Convert(const PixelWorker& worker, std::int64_t first, int pixels) {
    for (int p = 0; p < pixels; ++p) ReadPixel(first + p, p);
    worker(colors_, results_, 0, pixels);
    for (int p = 0; p < pixels; ++p) WritePixel(first + p, p);
  }

 private:
  template <typename Byte>
  static Byte* At(const PixelRun<Byte>& run, int channel, std::int64_t pixel) {
    return run.samples[channel] + pixel * run.pixelStride;
  }

  void ReadPixel(std::int64_t pixel, int p) {
    const SampleType type = source_.type;
    const std::uint32_t most = MaximumOf(type);
    if (readsAlpha_) alpha_[p] = Read(At(source_, 3, pixel), type);
    for (int c = 0; c < 3; ++c) {
      std::uint32_t value = Read(At(source_, c, pixel), type);
      if (divides_ && alpha_[p] != 0) value = std::min(most, Scaled(value, most, alpha_[p]));
      Write(value, colors_ + (3 * p + c) * SizeOf(type), type);
    }
  }

  void WritePixel(std::int64_t pixel, int p) {
    const SampleType type = destination_.type;
    const std::uint32_t most = MaximumOf(type);
    const std::uint32_t alpha = keepsAlpha_ ? ToType(alpha_[p], source_.type, type) : most;
    for (int c = 0; c < 3; ++c) {
      const std::uint32_t result = Read(results_ + (3 * p + c) * SizeOf(resultType_), resultType_);
      std::uint32_t value = ToType(result, resultType_, type);
      // Where colour under alpha 0 was not divided it is not multiplied either.
      const bool isBare = divides_ && alpha_[p] == 0;
      if (multiplies_ && !isBare) value = Scaled(value, alpha, most);
      Write(value, At(destination_, c, pixel), type);
    }
    if (destination_.samples[3] != nullptr) Write(alpha, At(destination_, 3, pixel), type);
  }

  const SourceRun& source_;
  const DestinationRun& destination_;
  const SampleType resultType_;
  const bool readsAlpha_, keepsAlpha_, divides_, multiplies_;
  unsigned char colors_[2 * 3 * kBlock], results_[2 * 3 * kBlock];
  std::uint32_t alpha_[kBlock];
};

}  // namespace

FixedConversion::FixedConversion(const DeviceProfile& profile, ColorSpaceSignature output,
                                 const FixedOptions& options) {
  const FixedSource source = FixedSourceOf(profile, options.intent);
  sourceModel_ = source.model;
  const ColorTarget target = {output, source.mediaWhite.get(), options.lightness, options.chroma,
                              options.hueDeg};
  if (const KernelSet* const kernels = ChosenKernels()) {
    MakeCompact(*source.lut, target, *kernels);
  } else {
    MakeTables(*source.lut, target);
  }
}

void FixedConversion::MakeTables(const ICC40::ICCFILE::CLut16Type& lut, const ColorTarget& target) {
  tables_ = std::make_unique_for_overwrite<Tables>();
  Tables& made = *tables_;
  FillInputTables(lut, ICC40::ICCFILE::RGB, SpansOf(made.input8));
  FillInputTables(lut, ICC40::ICCFILE::RGB_16, SpansOf(made.input16));
  FillCells(lut, target, made.cells);
  FillOutputTables(target.output, made.output8);
  FillOutputTables(With16Bits(target.output), made.output16);
  const auto viewOf = [&made](auto& input, const std::uint32_t(*output)[kLevels16]) {
    return FixedTables{{input[0], input[1], input[2]}, made.cells, output};
  };
  made.views[0] = viewOf(made.input8, made.output8);
  made.views[1] = viewOf(made.input8, made.output16);
  made.views[2] = viewOf(made.input16, made.output16);
  for (std::size_t f = 0; f < std::size(kFormats); ++f) {
    workers_[f].emplace(made.views[f], kFormats[f]);
  }
}

void FixedConversion::MakeCompact(const ICC40::ICCFILE::CLut16Type& lut, const ColorTarget& target,
                                  const KernelSet& kernels) {
  compact_ = std::make_unique_for_overwrite<Compact>();
  Compact& made = *compact_;
  FillCoordinates(lut, ICC40::ICCFILE::RGB,
                  {made.coordinates8[0], made.coordinates8[1], made.coordinates8[2]});
  FillCoordinates(lut, ICC40::ICCFILE::RGB_16,
                  {made.coordinates16[0], made.coordinates16[1], made.coordinates16[2]});
  for (int c = 0; c < 3; ++c) FillCoordinateBytes(made.coordinates8[c], made.coordinateBytes[c]);
  if (kernels.readsCoordinatePairs) {
    FillCoordinatePairs(made.coordinates8[0], made.coordinates8[1], made.coordinatePairs);
  }
  ByteGrid grid;
  FillByteGrid(LinearRgbGrid(lut, target).nodes(), grid);
  FillRecords(grid, made.records, [](int, const std::int32_t(&)[3][8]) {});
  const std::uint16_t* const levels8 = OutputCurveOf(target.output)->levels;
  std::transform(levels8, levels8 + kLevels16, made.output8,
                 [](std::uint16_t level) { return static_cast<std::uint8_t>(level); });
  const bool areSteps = FillSteps(made.output8, made.steps);
  const std::uint16_t* const output16 = OutputCurveOf(With16Bits(target.output))->levels;

  for (std::size_t f = 0; f < std::size(kFormats); ++f) {
    CompactTables& tables = made.tables[f] = {};
    const bool is16 = kFormats[f] == PixelFormat::k16To16;
    for (std::size_t c = 0; c < 3; ++c) {
      tables.coordinates[c] = is16 ? made.coordinates16[c] : made.coordinates8[c];
      tables.output8[c] = made.output8;
      tables.output16[c] = output16;
    }
    if (!is16) tables.coordinateBytes = made.coordinateBytes;
    if (!is16 && kernels.readsCoordinatePairs) tables.coordinatePairs = made.coordinatePairs;
    tables.records = made.records;
    if (areSteps) tables.steps = &made.steps;
    workers_[f].emplace(tables, kFormats[f], kernels);
  }
}

FixedConversion::~FixedConversion() = default;

bool FixedConversion::CanConvert(SampleType from, SampleType to) const {
  const auto isInteger = [](SampleType type) {
    return type == SampleType::kUInt8 || type == SampleType::kUInt16;
  };
  return isInteger(from) && isInteger(to);
}

const PixelWorker& FixedConversion::WorkerFor(SampleType from, SampleType to) const {
  const PixelFormat format = from == SampleType::kUInt16 ? PixelFormat::k16To16
                             : to == SampleType::kUInt16 ? PixelFormat::k8To16
                                                         : PixelFormat::k8To8;
  return *workers_[static_cast<std::size_t>(format)];
}

void FixedConversion::Convert(const SourceRun& source, const DestinationRun& destination,
                              AlphaResult alpha, std::int64_t count) const {
  const PixelWorker& worker = WorkerFor(source.type, destination.type);
  const SampleType resultType =
      source.type == SampleType::kUInt16 ? SampleType::kUInt16 : destination.type;
  if (resultType == destination.type && IsPacked(source) && IsPacked(destination)) {
    return worker(source.samples[0], destination.samples[0], 0, count);
  }
  Blocks blocks(source, destination, alpha, resultType);
  for (std::int64_t first = 0; first < count; first += kBlock) {
    blocks.Convert(worker, first, static_cast<int>(std::min<std::int64_t>(kBlock, count - first)));
  }
}

}  // namespace kxcms

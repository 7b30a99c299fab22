#include "CLut.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "LutShape.h"
#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

namespace {

/// Most zeros that a curve may hold behind the entries that its tag has. The count of a second
/// curve is usually misread (see `CurveAdvance`): behind a padded curve of 256 entries it comes out
/// as 16 million. Such a curve is held as absent, so that there is room for the CLUT; its entries
/// are still in the tag's bytes.
constexpr std::uint64_t kMaxCurveTailBytes = 1u << 20;

template <std::size_t kSlots>
void FreeCurves(CCurveType* (&slots)[kSlots]) {
  for (CCurveType*& curve : slots) delete std::exchange(curve, nullptr);
}

void FreeElements(CLut& lut) {
  FreeCurves(lut.curvesB);
  delete std::exchange(lut.curveM, nullptr);
  FreeCurves(lut.curvesA);
  if (lut.grid != nullptr) delete[] lut.grid->values;
  delete std::exchange(lut.grid, nullptr);
}

/// Reads curves one behind the other into `slots` (all null), from `offset` on; 0 means that the
/// tag has none. Channels without a slot are not read; a curve that the budget does not allow
/// stays null, and so do those behind it.
template <std::size_t kSlots>
void ReadCurves(CCurveType* (&slots)[kSlots], std::size_t channels, std::uint64_t offset,
                ICC4_HEADER::icTagSignature signature, const TagBytes& bytes, ReadBudget& budget) {
  if (offset == 0) return;
  for (std::size_t i = 0; i < std::min(channels, kSlots); ++i) {
    if (!budget.Take(kObjectOverheadBytes)) return;
    auto curve = std::make_unique<CCurveType>();
    const kxcms::BigEndianReader rest = bytes.ReadFrom(offset);
    kxcms::BigEndianReader entries = bytes.ReadFrom(offset + 8);
    const std::uint64_t claimed = std::uint64_t{entries.U32()} * 2;
    ReadBudget nothing(0);
    Parse(*curve, signature, TagBytes{rest.here(), rest.left(), 0},
          claimed > entries.left() + kMaxCurveTailBytes ? nothing : budget);
    const std::uint64_t advance = CurveAdvance(curve->count);
    curve->size = static_cast<int>(static_cast<std::uint32_t>(advance));
    offset += advance;
    slots[i] = curve.release();
  }
}

LutGrid* ReadGrid(kxcms::BigEndianReader reader, unsigned inputChannels, unsigned outputChannels,
                  ReadBudget& budget) {
  if (!budget.Take(kObjectOverheadBytes)) return nullptr;
  auto grid = std::make_unique<LutGrid>();
  reader.Read(grid->gridPoints, 16);
  grid->precision = reader.U8();
  reader.Read(grid->padding, 3);

  const std::uint64_t byteCount = GridByteCount(*grid, inputChannels, outputChannels);
  auto values = NewTable<unsigned char>(byteCount, budget);
  if (values) {
    reader.Read(values.get(), byteCount);
    if (grid->precision == 2) {
      for (std::uint64_t i = 0; i + 1 < byteCount; i += 2) {
        std::uint16_t value;
        std::memcpy(&value, values.get() + i, 2);
        value = kxcms::SwapBigEndian(value);
        std::memcpy(values.get() + i, &value, 2);
      }
    }
  }
  grid->values = values.release();
  return grid.release();
}

}  // namespace

CLut::CLut()
    : inputChannels(0),
      outputChannels(0),
      reservedBytes{},
      offsetB(0),
      offsetMatrix(0),
      offsetM(0),
      offsetClut(0),
      offsetA(0),
      curvesB{},
      curveM(nullptr),
      grid(nullptr),
      curvesA{} {}

CLut::~CLut() {
  FreeElements(*this);
}

void Parse(CLut& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  FreeElements(tag);
  ParseBase(tag, signature, bytes, budget);
  kxcms::BigEndianReader reader = bytes.ReadFrom(8);
  tag.inputChannels = reader.U8();
  tag.outputChannels = reader.U8();
  reader.Read(tag.reservedBytes, 2);
  tag.offsetB = reader.U32();
  tag.offsetMatrix = reader.U32();
  tag.offsetM = reader.U32();
  tag.offsetClut = reader.U32();
  tag.offsetA = reader.U32();

  const bool aToB = IsAToB(signature);
  const std::size_t pcsChannels = aToB ? tag.outputChannels : tag.inputChannels;
  const std::size_t deviceChannels = aToB ? tag.inputChannels : tag.outputChannels;

  ReadCurves(tag.curvesB, pcsChannels, tag.offsetB, signature, bytes, budget);
  CCurveType* firstM[1] = {};
  ReadCurves(firstM, 1, tag.offsetM, signature, bytes, budget);
  tag.curveM = firstM[0];
  if (tag.offsetClut != 0) {
    tag.grid =
        ReadGrid(bytes.ReadFrom(tag.offsetClut), tag.inputChannels, tag.outputChannels, budget);
  }
  ReadCurves(tag.curvesA, deviceChannels, tag.offsetA, signature, bytes, budget);
}

int CLut::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes, int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

}  // namespace ICCFILE
}  // namespace ICC40

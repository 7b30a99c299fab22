#include "CLut16Type.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <utility>

#include "LutTagParsing.h"
#include "TagWriting.h"

namespace ICC40 {
namespace ICCFILE {

namespace {

using Curves = std::span<CCurveType* const>;

/// What the source really holds. The conversion may hold as much again, so that both together
/// stay within twice the `ReaderLimit` of the file.
std::uint64_t HeldBytes(const CLut& lut) {
  std::uint64_t held = lut.data != nullptr && lut.size > 0 ? static_cast<unsigned>(lut.size) : 0;
  for (const Curves side : {Curves(lut.curvesA), Curves(lut.curvesB)}) {
    for (const CCurveType* curve : side) {
      if (curve != nullptr && curve->entries != nullptr) held += std::uint64_t{curve->count} * 2;
    }
  }
  if (lut.grid != nullptr && lut.grid->values != nullptr) {
    held += GridByteCount(*lut.grid, lut.inputChannels, lut.outputChannels);
  }
  return held;
}

/// Entries of every table of a side: those of its first curve, in 16 bits.
unsigned short FirstEntryCount(Curves curves) {
  return curves[0] == nullptr ? 0 : static_cast<unsigned short>(curves[0]->count);
}

/// Whether the entries of a curve whose own array is absent are taken from the bytes of its tag. A
/// curve larger than all that a file of that size may ever take counts as absent for good. What a
/// reader may hold would be too tight a bound: behind a padded curve of 256 entries, the next one
/// is misread to 2^24 entries or a little more, and those 32 MiB just pass it.
bool IsInBytes(const CLut& lut, const CCurveType& curve) {
  if (lut.data == nullptr || lut.size <= 0) return false;
  return std::uint64_t{curve.count} * 2 <= OperationLimit(static_cast<unsigned>(lut.size));
}

/// `entries` values per channel, from the channel's own curve; `offset` is where the first of the
/// curves lies in the tag. What a curve lacks is 0, and so are the channels that have no curve.
/// Null if a curve is absent.
std::unique_ptr<unsigned short[]> JoinCurves(const CLut& lut, Curves curves, std::uint64_t offset,
                                             std::size_t channels, std::size_t entries,
                                             ReadBudget& budget) {
  auto tables = NewTable<unsigned short>(channels * entries, budget);
  if (!tables) return nullptr;
  for (std::size_t i = 0; i < std::min(channels, curves.size()); ++i) {
    const CCurveType* curve = curves[i];
    if (curve == nullptr) continue;
    unsigned short* table = tables.get() + i * entries;
    const std::size_t count = std::min<std::size_t>(entries, curve->count);
    if (curve->entries != nullptr) {
      std::copy_n(curve->entries, count, table);
    } else if (curve->count > 0) {
      if (!IsInBytes(lut, *curve)) return nullptr;
      kxcms::BigEndianReader reader(lut.data, static_cast<std::size_t>(lut.size));
      reader.Seek(offset + 12);
      reader.Read(table, count);
    }
    offset += CurveAdvance(curve->count);
  }
  return tables;
}

/// The colour table: all grid points of the source, taken as if every axis had those of the first.
/// Bytes, not values, are copied, and a CLUT of another precision than 2 comes out wrong: kept so
/// that results stay identical. What it lacks is 0. With fewer than three inputs, zeros fill the
/// table up to the cube that its users and `Save` take it for. A count beyond any array throws,
/// whether or not the values are held.
std::unique_ptr<unsigned short[]> CopyGrid(const CLut& source, ReadBudget& budget) {
  if (source.grid == nullptr) return nullptr;
  const unsigned gridPoints = source.grid->gridPoints[0];
  const std::uint64_t count =
      TableValueCount(gridPoints, source.inputChannels, source.outputChannels);
  if (count > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(unsigned short)) {
    throw std::bad_array_new_length();
  }
  if (source.grid->values == nullptr) return nullptr;
  auto table = NewTable<unsigned short>(
      std::max(count, CubeValueCount(gridPoints, source.outputChannels)), budget);
  if (!table) return nullptr;
  const std::uint64_t held =
      GridByteCount(*source.grid, source.inputChannels, source.outputChannels);
  std::memcpy(table.get(), source.grid->values, std::min(2 * count, held));
  return table;
}

/// Swaps values to file order where they lie.
void SwapInPlace(unsigned short* values, std::uint64_t count) {
  if (values == nullptr) return;
  std::transform(values, values + count, values,
                 [](unsigned short value) { return kxcms::SwapBigEndian(value); });
}

}  // namespace

CLut16Type::CLut16Type()
    : inputChannels(0),
      outputChannels(0),
      gridPoints(0),
      reservedByte(0),
      matrix{},
      inputEntries(0),
      outputEntries(0),
      inputTables(nullptr),
      colorTable(nullptr),
      outputTables(nullptr) {}

CLut16Type::CLut16Type(CLut* source) : CLut16Type() {
  if (source == nullptr) return;
  iccTagBase::Initial(source->tagSignature, source->typeSignature);
  inputChannels = source->inputChannels;
  outputChannels = source->outputChannels;
  gridPoints = source->grid == nullptr ? 0 : source->grid->gridPoints[0];

  const bool aToB = IsAToB(tagSignature);
  const Curves deviceCurves(source->curvesA);
  const Curves pcsCurves(source->curvesB);
  const Curves inputCurves = aToB ? deviceCurves : pcsCurves;
  const Curves outputCurves = aToB ? pcsCurves : deviceCurves;
  const std::uint64_t inputOffset = aToB ? source->offsetA : source->offsetB;
  const std::uint64_t outputOffset = aToB ? source->offsetB : source->offsetA;
  ReadBudget budget(std::max(kReaderFloorBytes, HeldBytes(*source)));

  inputEntries = FirstEntryCount(inputCurves);
  Replace(inputTables,
          JoinCurves(*source, inputCurves, inputOffset, inputChannels, inputEntries, budget));
  outputEntries = FirstEntryCount(outputCurves);
  Replace(outputTables,
          JoinCurves(*source, outputCurves, outputOffset, outputChannels, outputEntries, budget));
  Replace(colorTable, CopyGrid(*source, budget));
}

CLut16Type::~CLut16Type() {
  delete[] inputTables;
  delete[] colorTable;
  delete[] outputTables;
}

void Parse(CLut16Type& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseTableTag(tag, signature, bytes, budget);
}

int CLut16Type::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes,
                        int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

int CLut16Type::Save(FILE* stream) {
  if (stream == nullptr) return 0;
  unsigned char head[52] = {'m', 'f', 't', '2'};
  head[8] = inputChannels;
  head[9] = outputChannels;
  head[10] = gridPoints;
  head[11] = reservedByte;
  // 1.0 on the diagonal whatever is stored, the other words as they lie in memory: kept so that
  // files stay identical.
  for (int i = 0; i < 9; ++i) {
    if (i % 4 == 0) {
      kxcms::StoreBig32(head + 12 + 4 * i, 0x00010000);
    } else {
      std::memcpy(head + 12 + 4 * i, &matrix[i], 4);
    }
  }
  kxcms::StoreBig16(head + 48, inputEntries);
  kxcms::StoreBig16(head + 50, outputEntries);
  std::fwrite(head, 1, sizeof head, stream);

  const std::uint64_t inputValues = std::uint64_t{inputChannels} * inputEntries;
  SwapInPlace(inputTables, inputValues);
  WriteHeld(stream, inputTables, 2 * inputValues, 2 * inputValues);

  const std::uint64_t colorValues = CubeValueCount(gridPoints, outputChannels);
  SwapInPlace(colorTable, colorValues);
  WriteHeld(stream, colorTable, 2 * colorValues, 2 * colorValues);

  // Not swapped: kept so that files stay identical.
  const std::uint64_t outputValues = std::uint64_t{outputChannels} * outputEntries;
  WriteHeld(stream, outputTables, 2 * outputValues, 2 * outputValues);

  if (size > 0) WriteZeros(stream, static_cast<unsigned>(-size) % 4);
  return 0;
}

}  // namespace ICCFILE
}  // namespace ICC40

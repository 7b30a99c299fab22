#ifndef KXCMS_ICCFILE_LUTTAGPARSING_H
#define KXCMS_ICCFILE_LUTTAGPARSING_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "LutShape.h"
#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

/// Spare values, all 0, behind the contents of each table.
constexpr std::uint64_t kSpareValues = 8;

/// Reads the next `count` values as a table; null if the budget does not allow it, in which case
/// the reader still moves past them.
template <class Value>
std::unique_ptr<Value[]> ReadTable(kxcms::BigEndianReader& reader, std::uint64_t count,
                                   ReadBudget& budget) {
  std::unique_ptr<Value[]> table = NewTable<Value>(count + kSpareValues, budget);
  if (table) {
    reader.Read(table.get(), static_cast<std::size_t>(count));
  } else {
    reader.Skip(count * sizeof(Value));
  }
  return table;
}

/// The form of lut16Type (ICC.1:2010 10.8): header of 52 bytes, then input tables, colour table and
/// output tables one behind the other. `Lut` is CLut16Type or CLut8Type: both are read so, with
/// table values of 16 or 8 bits.
template <class Lut>
void ParseTableTag(Lut& lut, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
                   ReadBudget& budget) {
  using Value = std::remove_pointer_t<decltype(lut.colorTable)>;

  ParseBase(lut, signature, bytes, budget);
  kxcms::BigEndianReader reader = bytes.ReadFrom(8);
  const std::uint8_t inputChannels = reader.U8();
  const std::uint8_t outputChannels = reader.U8();
  const std::uint8_t gridPoints = reader.U8();
  const std::uint8_t reservedByte = reader.U8();
  std::int32_t matrix[9];
  for (std::int32_t& word : matrix) word = reader.S32();
  const std::uint16_t inputEntries = reader.U16();
  const std::uint16_t outputEntries = reader.U16();

  auto inputTables = ReadTable<Value>(reader, std::uint64_t{inputChannels} * inputEntries, budget);
  auto colorTable = ReadTable<Value>(reader, CubeValueCount(gridPoints, outputChannels), budget);
  auto outputTables =
      ReadTable<Value>(reader, std::uint64_t{outputChannels} * outputEntries, budget);

  lut.inputChannels = inputChannels;
  lut.outputChannels = outputChannels;
  lut.gridPoints = gridPoints;
  lut.reservedByte = reservedByte;
  std::copy_n(matrix, 9, lut.matrix);
  lut.inputEntries = inputEntries;
  lut.outputEntries = outputEntries;
  Replace(lut.inputTables, std::move(inputTables));
  Replace(lut.colorTable, std::move(colorTable));
  Replace(lut.outputTables, std::move(outputTables));
}

}  // namespace ICCFILE
}  // namespace ICC40

#endif

#include <array>
#include <memory>
#include <new>

#include "fuzz/FuzzSupport.h"
#include "fuzz/ProfileView.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/IccFile4.h"
#include "pipeline/LookupTag.h"
#include "units/ColorTable33.h"
#include "units/ColorTable34.h"
#include "units/ColorTable36.h"
#include "units/ColorTable37.h"
#include "units/Info.h"
#include "units/InputTable33.h"
#include "units/InputTable34.h"
#include "units/InputTable36.h"
#include "units/InputTable37.h"
#include "units/InputTable43.h"
#include "units/OutputTable33.h"

// One lookup tag's bytes, as a tag of any of the three classes: what the tables make of it lies
// between the values it is made of, and what is written reads back.
//
// Input: 24 bytes of choices, then the tag.

namespace {

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_UNIT;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::MemoryFile;
using ICC40::ICC4_HEADER::icTagSignature;
using ICC40::ICC_ENG_S4::LookupTag;

constexpr std::size_t kChoiceBytes = 24;
constexpr std::uint64_t kRoundTripBytes = 256 << 10;

struct LutCounts {
  explicit LutCounts(const CLut16Type& lut)
      : input(std::uint64_t{lut.inputChannels} * lut.inputEntries),
        color(std::uint64_t{lut.gridPoints} * lut.gridPoints * lut.gridPoints * lut.outputChannels),
        output(std::uint64_t{lut.outputChannels} * lut.outputEntries) {}
  std::uint64_t input, color, output;
  std::uint64_t bytes() const { return 52 + 2 * (input + color + output); }
};

/// The values of a table; none for an absent one, which is written as zeros.
std::vector<unsigned short> Copy(const unsigned short* table, std::uint64_t count) {
  std::vector<unsigned short> values(count);
  if (table != nullptr) std::copy_n(table, count, values.begin());
  return values;
}

unsigned short Swapped(unsigned short value) {
  return static_cast<unsigned short>((value >> 8 | value << 8) & 0xFFFF);
}

Bytes SaveTag(iccTagBase& tag) {
  static MemoryFile file;
  FILE* stream = std::fopen(file.path(), "wb");
  FUZZ_CHECK(stream != nullptr && tag.Save(stream) == 0 && std::fclose(stream) == 0);
  return file.Contents();
}

// ---- Writing

/// Input and colour tables read back as they were; output tables are written as they lie in memory
/// and so come back swapped. A second writing undoes the swapping in the object.
void CheckSaving(CLut16Type& lut) {
  const LutCounts counts(lut);
  if (counts.bytes() > kRoundTripBytes) return;
  const auto input = Copy(lut.inputTables, counts.input);
  const auto color = Copy(lut.colorTable, counts.color);
  const auto output = Copy(lut.outputTables, counts.output);

  Bytes bytes = SaveTag(lut);
  const std::uint64_t padding = lut.size > 0 ? (4 - static_cast<unsigned>(lut.size) % 4) % 4 : 0;
  FUZZ_CHECK(bytes.size() == counts.bytes() + padding);
  CLut16Type again;
  FUZZ_CHECK(again.Initial(lut.tagSignature, bytes.data(), static_cast<int>(bytes.size())) ==
             static_cast<int>(bytes.size()));
  FUZZ_CHECK(again.inputChannels == lut.inputChannels &&
             again.outputChannels == lut.outputChannels && again.gridPoints == lut.gridPoints &&
             again.reservedByte == lut.reservedByte && again.inputEntries == lut.inputEntries &&
             again.outputEntries == lut.outputEntries);
  FUZZ_CHECK(again.matrix[0] == 0x10000 && again.matrix[4] == 0x10000);
  FUZZ_CHECK(again.matrix[8] == 0x10000);
  FUZZ_CHECK(Copy(again.inputTables, counts.input) == input);
  FUZZ_CHECK(Copy(again.colorTable, counts.color) == color);
  std::vector<unsigned short> swapped(output.size());
  std::transform(output.begin(), output.end(), swapped.begin(), Swapped);
  FUZZ_CHECK(Copy(again.outputTables, counts.output) == swapped);

  SaveTag(lut);
  FUZZ_CHECK(Copy(lut.inputTables, counts.input) == input);
  FUZZ_CHECK(Copy(lut.colorTable, counts.color) == color);
}

// ---- Input tables

/// Whether a value lies between the two entries around a level, of a curve of which the first
/// `held` entries are read.
bool IsBetween(unsigned value, const unsigned short* curve, int entries, int level, int held) {
  const double step = 65535.0 / (entries - 1);
  const int i = std::min(static_cast<int>(level / step), entries - 2);
  const auto [low, high] =
      std::minmax(curve[std::min(i, held - 1)], curve[std::min(i + 1, held - 1)]);
  return value >= low && value <= high;
}

void CheckInputLookup(const InputTable33& table, const CLut16Type& lut) {
  const int entries = lut.inputEntries;
  const int levelStep = table.depth == 8 ? 256 : 1;
  const int levels = 65536 / levelStep;
  for (int c = 0; c < 3; ++c) {
    for (int x = 0; x < levels; x += levelStep == 1 ? 37 : 1) {
      const bool isTop = x == levels - 1;
      const int level = isTop ? 65535 : x * levelStep;
      if (c >= lut.inputChannels) {
        FUZZ_CHECK(table.lookup[c][x] == 0);
        continue;
      }
      if (entries < 3) {
        FUZZ_CHECK(table.lookup[c][x] == static_cast<unsigned>(level));
        continue;
      }
      if (lut.inputTables == nullptr) continue;
      const unsigned short* curve = lut.inputTables + std::size_t(c) * lut.inputEntries;
      FUZZ_CHECK(IsBetween(table.lookup[c][x], curve, entries, level, entries));
      if (isTop) FUZZ_CHECK(table.lookup[c][x] == curve[entries - 1]);
    }
  }
}

/// Three looked-up values a pixel, then zeros.
void CheckWorkingBuffer(InputTable33& table, int samplesPerPixel, int outputCode, bool from16,
                        std::uint32_t seed) {
  constexpr int kPixels = 9;
  Info info;
  info.inputColor = from16 ? RGB_16 : RGB;
  info.outputColor = outputCode;
  info.CheckConversionType();
  Bytes source = fuzz::SomePixels(kPixels * 3 * (from16 ? 2 : 1), seed);
  const Bytes before = source;
  FUZZ_CHECK(info.CheckWorkingBuf(source.data(), source.data(), kPixels) == 0);
  FUZZ_CHECK(info.workingSize == kPixels * samplesPerPixel && info.workingBuf != nullptr);
  std::fill_n(info.workingBuf, info.workingSize, static_cast<unsigned short>(0xABCD));
  FUZZ_CHECK(table.Conversion(&info) == 0);
  FUZZ_CHECK(source == before);
  for (int p = 0; p < kPixels; ++p) {
    for (int c = 0; c < samplesPerPixel; ++c) {
      unsigned expected = 0;
      if (c < 3) {
        unsigned short level = 0;
        const std::size_t at = 3 * std::size_t(p) + std::size_t(c);
        if (from16) {
          std::memcpy(&level, source.data() + 2 * at, 2);
        } else {
          level = source[at];
        }
        expected = table.lookup[c][level] & 0xFFFF;
      }
      FUZZ_CHECK(info.workingBuf[p * samplesPerPixel + c] == expected);
    }
  }
}

template <typename Table>
void CheckInputTable(CLut16Type& lut, Input& choices, int samplesPerPixel, int outputCode) {
  constexpr ColorSpaceSignature kInputs[] = {RGB, RGB_16, Lab, Lab_16, CMYK};
  const auto inputColor = choices.OneOf(kInputs);
  const auto table = std::make_unique<Table>();
  FUZZ_CHECK(table->Initial(&lut, inputColor) == 0);
  if (inputColor != Lab && inputColor != Lab_16) CheckInputLookup(*table, lut);
  const unsigned seed = choices.U8();
  CheckWorkingBuffer(*table, samplesPerPixel, outputCode + static_cast<int>(seed & 1),
                     inputColor == RGB_16 || inputColor == Lab_16, seed);
  Table copy;
  FUZZ_CHECK(static_cast<InputTable33&>(copy).Initial(table.get()) == 0);
  FUZZ_CHECK(copy.depth == table->depth && copy.lookup[2][255] == table->lookup[2][255]);
}

void CheckInputTable43(CLut16Type& lut, Input& choices) {
  const auto table = std::make_unique<InputTable43>();
  FUZZ_CHECK(table->Initial(&lut) == 0);
  for (int i = 0; i < 8; ++i) {
    const auto level = static_cast<unsigned short>(choices.U16());
    unsigned short v[7] = {level, level, level, level, 1, 2, 3};
    FUZZ_CHECK(table->Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]) == 0);
    FUZZ_CHECK(v[4] == 1 && v[5] == 2 && v[6] == 3);
    const int entries = lut.inputEntries;
    if (lut.inputTables == nullptr || entries < 2) continue;
    for (int c = 0; c < std::min<int>(lut.inputChannels, 4); ++c) {
      const unsigned short* curve = lut.inputTables + std::size_t(c) * lut.inputEntries;
      FUZZ_CHECK(IsBetween(v[c], curve, entries, level, std::min(entries, 4096)));
    }
  }
}

// ---- Output tables

void Build(OutputTable33& table, unsigned which) {
  constexpr int (OutputTable33::*kBuilders[])() = {
      &OutputTable33::OutputRGB8,    &OutputTable33::OutputCMYK_8,  &OutputTable33::OutputCMYK_16,
      &OutputTable33::OutputCLR6_8,  &OutputTable33::OutputCLR6_16, &OutputTable33::OutputCLR7_8,
      &OutputTable33::OutputCLR7_16, &OutputTable33::OutputLab_8,   &OutputTable33::OutputLab_16};
  constexpr int kCodes[] = {RGB, CMYK, CMYK_16, CLR6, CLR6_16, CLR7, CLR7_16, Lab, Lab_16};
  const unsigned index = which % std::size(kBuilders);
  FUZZ_CHECK((table.*kBuilders[index])() == kCodes[index]);
}

void CheckDestination(OutputTable33& table, int outputCode, std::uint32_t seed) {
  constexpr int kPixels = 5;
  Info info;
  info.inputColor = RGB;
  info.outputColor = outputCode;
  info.CheckConversionType();
  const int outputClass = info.conversionType & 0xFF;
  const std::size_t channels = outputClass < 3 ? 3 : outputClass < 5 ? 4 : outputClass < 7 ? 6 : 7;
  const std::size_t width = outputClass % 2 == 1 ? 1 : 2;
  const std::size_t written = outputClass >= 7 ? 0 : kPixels * channels * width;
  fuzz::GuardedBuffer destination(kPixels * channels * width);
  const Bytes before = destination.Contents();
  FUZZ_CHECK(info.CheckWorkingBuf(destination.data(), destination.data(), kPixels) == 0);
  const Bytes levels = fuzz::SomePixels(2 * static_cast<std::size_t>(info.workingSize), seed);
  std::memcpy(info.workingBuf, levels.data(), levels.size());
  FUZZ_CHECK(table.Conversion(&info) == 0 && destination.GuardsHold());
  for (std::size_t i = 0; i < destination.size() / width; ++i) {
    const unsigned value = table.lookup[i % channels][info.workingBuf[i]];
    for (std::size_t b = 0; b < width; ++b) {
      const auto expected = static_cast<unsigned char>(value >> (8 * b) & 0xFF);
      const unsigned char now = destination.data()[i * width + b];
      FUZZ_CHECK(now == (i * width < written ? expected : before[i * width + b]));
    }
  }
}

template <typename Lut>
void CheckOutputTable(Lut& lut, Input& choices) {
  constexpr int kCodes[] = {sRGB, sRGB_16, CMYK, CMYK_16, CLR6, CLR6_16, CLR7, CLR7_16};
  const auto table = std::make_unique<OutputTable33>();
  FUZZ_CHECK(table->Initial(&lut) == 0);
  Build(*table, choices.U8());
  const int code = choices.OneOf(kCodes);
  CheckDestination(*table, code, choices.U8());
  unsigned short v[7] = {0, 40000, 65535, 1, 2, 3, 4};
  FUZZ_CHECK(table->Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]) == 0);
  FUZZ_CHECK(v[0] == (table->lookup[0][0] & 0xFFFF) && v[1] == (table->lookup[1][40000] & 0xFFFF));
  FUZZ_CHECK(v[2] == (table->lookup[2][65535] & 0xFFFF) && v[3] == 1 && v[6] == 4);
}

void CheckBytesAsCurves(const CLut8Type& lut) {
  OutputTable33 table;
  FUZZ_CHECK(table.Initial(const_cast<CLut8Type*>(&lut)) == 0);
  if (lut.outputTables == nullptr) return;
  const std::size_t total = std::size_t{lut.outputEntries} * lut.outputChannels;
  for (std::size_t c = 0; c < std::min<std::size_t>(lut.outputChannels, 7); ++c) {
    for (std::size_t x = 0; x < 256; ++x) {
      const std::size_t at = c * lut.outputEntries + x;
      FUZZ_CHECK(table.lookup[c][x] == (at < total ? lut.outputTables[at] : 0u));
    }
  }
}

// ---- Colour tables

using Words = std::array<unsigned short, 7>;

Words Convert(ColorTable33& table, Words v) {
  FUZZ_CHECK(table.Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]) == 0);
  return v;
}

std::array<int, 7> ConvertReference(ColorTable33& table, std::array<int, 7> v) {
  FUZZ_CHECK(table.Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]) == 0);
  return v;
}

/// Interpolation between the nodes of a lookup tag: along the axes from the largest fraction to the
/// smallest, which is another way to say in which tetrahedron the point lies.
int Interpolated(const CLut16Type& lut, const int (&level)[3], int shift, int channel) {
  const int n = lut.gridPoints;
  std::array<int, 3> axes = {0, 1, 2}, node, fraction;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    node[axis] = level[axis] >> shift;
    fraction[axis] = level[axis] - (node[axis] << shift);
  }
  const auto value = [&] {
    return std::int64_t{
        lut.colorTable[((std::size_t(node[0]) * n + node[1]) * n + node[2]) * lut.outputChannels +
                       channel]};
  };
  std::stable_sort(axes.begin(), axes.end(),
                   [&](int a, int b) { return fraction[a] > fraction[b]; });
  std::int64_t here = value();
  std::int64_t sum = here << shift;
  for (const int axis : axes) {
    ++node[axis];
    sum += (value() - here) * fraction[axis];
    here = value();
  }
  return static_cast<int>(sum >> shift);
}

/// Grids that are not resampled: the nodes are the tag's, and between them the table interpolates.
void CheckNodes(ColorTable33& table, const CLut16Type& lut, int channels, Input& choices) {
  const int n = lut.gridPoints;
  FUZZ_CHECK(table.gridPoints == n && (n - 1) << table.shift == 65536);
  for (int repeat = 0; repeat < 4; ++repeat) {
    const int level[3] = {static_cast<int>(choices.U16()), static_cast<int>(choices.U16()),
                          static_cast<int>(choices.U16())};
    Words in = {};
    std::array<int, 7> exact = {};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      in[axis] = static_cast<unsigned short>(level[axis]);
      exact[axis] = level[axis] >> table.shift << table.shift;
    }
    const Words out = Convert(table, in);
    const int node[3] = {exact[0], exact[1], exact[2]};
    exact = ConvertReference(table, exact);
    for (int c = 0; c < std::min<int>(channels, lut.outputChannels); ++c) {
      FUZZ_CHECK(out[c] == Interpolated(lut, level, table.shift, c));
      FUZZ_CHECK(exact[c] == Interpolated(lut, node, table.shift, c));
    }
  }
}

/// Every node of a resampled grid lies between the extremes of the original one.
void CheckResampled(const ColorTable33& table, const CLut16Type& lut, int channels) {
  const LutCounts counts(lut);
  for (int c = 0; c < std::min<int>(channels, lut.outputChannels); ++c) {
    int low = 65535, high = 0;
    for (std::uint64_t i = static_cast<unsigned>(c); i < counts.color; i += lut.outputChannels) {
      low = std::min<int>(low, lut.colorTable[i]);
      high = std::max<int>(high, lut.colorTable[i]);
    }
    // A position is rounded down, so that a fraction can exceed 1 by less than 1 / 2000.
    const int slack = 1 + (high - low) / 500;
    for (int i = 0; i < 17; ++i) {
      for (int j = 0; j < 17; ++j) {
        for (int k = 0; k < 17; ++k) {
          FUZZ_CHECK(table.grid[i][j][k][c] >= low - slack);
          FUZZ_CHECK(table.grid[i][j][k][c] <= high + slack);
        }
      }
    }
  }
}

void ChangeTable(ColorTable33& table, CLut16Type& lut, Input& choices) {
  switch (choices.U8() % 6) {
    case 0: {
      const double L = choices.Offset(), c = choices.Offset(), h = choices.Offset();
      FUZZ_CHECK(table.Adjust_Lch(L, c, h) == 0);
      for (int node = 0; node < table.gridPoints; ++node) {
        for (int channel = 0; channel < 3; ++channel) {
          const int value = table.grid[node][node][node][channel];
          FUZZ_CHECK(value >= 0 && value <= 65535);
        }
      }
      return;
    }
    case 1: {
      CXYZType white;
      const double X = choices.Offset(), Y = choices.Offset(), Z = choices.Offset();
      white.Initial(ICC40::ICC4_HEADER::wtpt, X, Y, Z);
      FUZZ_CHECK(table.Adjust_WhitePoint(&white) == 0 && table.Adjust_WhitePoint(nullptr) == 0);
      return;
    }
    case 2: {
      const int code = choices.U8() % 48;
      CXYZType white;
      const double X = choices.Offset();
      white.Initial(ICC40::ICC4_HEADER::wtpt, X, X, X);
      white.fixedX = choices.Position();
      const int expected = code >= 28 && code <= 31   ? 31
                           : code >= 24 && code <= 27 ? 25
                           : code >= 20 && code <= 23 ? 21
                                                      : code;
      FUZZ_CHECK(table.Lab2RGB100_16(&lut, static_cast<ColorSpaceSignature>(code),
                                     choices.U8() % 2 ? &white : nullptr) == expected);
      return;
    }
    case 3:
      FUZZ_CHECK(table.TableResize(choices.Position()) == 0);
      FUZZ_CHECK(table.gridPoints <= 33);
      return;
    case 4: {
      const int gridPoints = std::min(choices.Position(), 40);
      const std::size_t nodes =
          gridPoints < 1 || gridPoints > 6 ? 0 : std::size_t(gridPoints) * gridPoints * gridPoints;
      std::vector<int> cells(nodes * 7, choices.Position());
      FUZZ_CHECK(table.SetColorTable(nodes == 0 ? nullptr : cells.data(), gridPoints) == 0);
      return;
    }
    default:
      FUZZ_CHECK(table.Initial(nullptr) == 0 && table.Initial(&lut, &lut) == 0);
  }
}

template <typename Table>
void CheckColorTable(CLut16Type& lut, Input& choices, int channels, int outputCode) {
  const auto table = std::make_unique<Table>();
  FUZZ_CHECK(table->ColorTable33::Initial(&lut) == 0);
  const bool filled = (lut.colorTable != nullptr || lut.outputChannels == 0) &&
                      lut.outputChannels <= 7 && lut.gridPoints >= 2 && lut.gridPoints <= 33;
  FUZZ_CHECK((table->shift != 0) == filled);
  if (filled) {
    FUZZ_CHECK(table->outputChannels == lut.outputChannels);
    for (int c = lut.outputChannels; c < 7; ++c) FUZZ_CHECK(table->grid[16][3][16][c] == 0);
    if (lut.gridPoints == 9 || lut.gridPoints == 17 || lut.gridPoints == 33) {
      CheckNodes(*table, lut, channels, choices);
    } else {
      FUZZ_CHECK(table->gridPoints == 17);
      CheckResampled(*table, lut, channels);
    }
  }
  ChangeTable(*table, lut, choices);
  for (int i = 0; i < 4; ++i) {
    const int c[3] = {choices.Position(), choices.Position(), choices.Position()};
    ConvertReference(*table, {c[0], c[1], c[2]});
    Words in = {};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      in[axis] = static_cast<unsigned short>(static_cast<unsigned>(c[axis]) & 0xFFFF);
    }
    const Words before = in;
    in[6] = 77;
    const Words out = Convert(*table, in);
    if (!filled && table->shift == 0) FUZZ_CHECK(std::equal(&out[0], &out[3], &before[0]));
    if (channels < 7) FUZZ_CHECK(out[6] == 77);
  }

  Info info;
  info.inputColor = RGB;
  info.outputColor = outputCode;
  info.CheckConversionType();
  unsigned char none[1] = {};
  // Enough for whole vectors and a rest.
  constexpr int kPixels = 37;
  FUZZ_CHECK(info.CheckWorkingBuf(none, none, kPixels) == 0);
  FUZZ_CHECK(info.workingSize == kPixels * channels);
  const Bytes levels = fuzz::SomePixels(2 * static_cast<std::size_t>(info.workingSize), 7);
  std::memcpy(info.workingBuf, levels.data(), levels.size());
  const std::vector<unsigned short> before(info.workingBuf, info.workingBuf + info.workingSize);
  FUZZ_CHECK(table->Conversion(&info) == 0);
  for (int pixel = 0; pixel < kPixels; ++pixel) {
    const auto at = static_cast<std::ptrdiff_t>(pixel * channels);
    Words one = {};
    std::copy_n(before.begin() + at, channels, one.begin());
    one = Convert(*table, one);
    FUZZ_CHECK(std::equal(one.begin(), one.begin() + channels, info.workingBuf + at));
  }

  // A count that is refused: as many pixels, but no more than the buffer of the count before has.
  info.conversionType = 256;
  const int refused = choices.U8();
  const std::vector<unsigned short> kept(info.workingBuf, info.workingBuf + kPixels * channels);
  FUZZ_CHECK(info.CheckWorkingBuf(none, none, refused) == (refused == kPixels ? 0 : 65534));
  FUZZ_CHECK(table->Conversion(&info) == 0);
  for (int i = std::min(refused, kPixels) * channels; i < kPixels * channels; ++i) {
    FUZZ_CHECK(info.workingBuf[i] == kept[static_cast<std::size_t>(i)]);
  }
}

// ---- The tag

/// The tag in the form of a lut16; null when the tag is none and cannot be converted.
CLut16Type* AsLut16(iccTagBase* tag, std::unique_ptr<CLut16Type>& converted) {
  if (auto* lut = dynamic_cast<CLut16Type*>(tag)) return lut;
  auto* source = dynamic_cast<CLut*>(tag);
  if (source == nullptr) return nullptr;
  try {
    converted = std::make_unique<CLut16Type>(source);
  } catch (const std::bad_array_new_length&) {
    // Grids beyond any array.
    return nullptr;
  }
  FUZZ_CHECK(converted->size == 0 && converted->typeSignature == source->typeSignature);
  FUZZ_CHECK(converted->inputChannels == source->inputChannels &&
             converted->outputChannels == source->outputChannels);
  return converted.get();
}

void CheckUsability(iccTagBase* tag) {
  LookupTag lookup(tag);
  const CLut16Type* lut = lookup.Get();
  if (lut == nullptr) return;
  FUZZ_CHECK(lut->inputChannels <= 3 && lut->outputChannels <= 7);
  FUZZ_CHECK(lut->gridPoints >= 2 && lut->gridPoints <= 33);
  const LutCounts counts(*lut);
  FUZZ_CHECK(counts.color == 0 || lut->colorTable != nullptr);
  FUZZ_CHECK(counts.input == 0 || lut->inputEntries < 3 || lut->inputTables != nullptr);
  FUZZ_CHECK(counts.output == 0 || lut->outputEntries < 3 || lut->outputTables != nullptr);
  if (dynamic_cast<const CLut*>(tag) != nullptr) {
    FUZZ_CHECK(lut->inputChannels == 3 && lut->outputChannels >= 3);
  }
}

void RunTables(CLut16Type& lut, Input& choices) {
  switch (choices.U8() % 32) {
    // Those that expand curves to all levels take a hundred times longer than the others.
    case 0:
      return CheckInputTable<InputTable33>(lut, choices, 3, sRGB);
    case 1:
      return CheckInputTable<InputTable34>(lut, choices, 4, CMYK);
    case 2:
      return CheckInputTable<InputTable36>(lut, choices, 6, CLR6);
    case 3:
      return CheckInputTable<InputTable37>(lut, choices, 7, CLR7);
    case 4:
      return CheckOutputTable(lut, choices);
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
      return CheckInputTable43(lut, choices);
    case 10:
    case 11:
    case 12:
      return CheckColorTable<ColorTable33>(lut, choices, 3, sRGB);
    case 13:
      return CheckColorTable<ColorTable34>(lut, choices, 4, CMYK);
    case 14:
      return CheckColorTable<ColorTable36>(lut, choices, 6, CLR6);
    case 15:
      return CheckColorTable<ColorTable37>(lut, choices, 7, CLR7);
    default:
      return CheckSaving(lut);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr icTagSignature kSignatures[] = {ICC40::ICC4_HEADER::A2B0, ICC40::ICC4_HEADER::A2B1,
                                            ICC40::ICC4_HEADER::A2B2, ICC40::ICC4_HEADER::B2A0,
                                            ICC40::ICC4_HEADER::B2A1, ICC40::ICC4_HEADER::B2A2};
  Input all(data, size);
  const Bytes head = all.Take(kChoiceBytes);
  Input choices(head.data(), head.size());
  const icTagSignature signature = choices.OneOf(kSignatures);
  const unsigned way = choices.U8() % 6;
  const auto tagSize = static_cast<int>(all.left());
  Bytes bytes = all.Rest();
  const std::uint64_t claimed = fuzz::ClaimedTableBytes(fuzz::FileView(bytes.data(), bytes.size()));
  if (fuzz::IsLeftOut(data, size, claimed)) return 0;

  std::shared_ptr<iccTagBase> tag;
  if (way == 0) tag = std::make_shared<CLut16Type>();
  if (way == 1) tag = std::make_shared<CLut8Type>();
  if (way == 2) tag = std::make_shared<CLut>();
  if (tag) {
    FUZZ_CHECK(tag->Initial(signature, bytes.data(), tagSize) == tagSize);
  } else {
    ICC40::ICCFILE::IccFile4 profile;
    tag = profile.CreateNewTag(signature, bytes.data(), tagSize);
    FUZZ_CHECK(tag && profile.tags.empty());
  }
  FUZZ_CHECK(tag->tagSignature == signature && tag->size == tagSize);
  FUZZ_CHECK(tag->data == nullptr || std::equal(bytes.begin(), bytes.end(), tag->data));

  CheckUsability(tag.get());
  if (auto* lut8 = dynamic_cast<CLut8Type*>(tag.get())) {
    if (choices.U8() % 8 == 0) {
      CheckOutputTable(*lut8, choices);
    } else {
      CheckBytesAsCurves(*lut8);
    }
  }
  std::unique_ptr<CLut16Type> converted;
  if (CLut16Type* lut = AsLut16(tag.get(), converted)) RunTables(*lut, choices);
  return 0;
}

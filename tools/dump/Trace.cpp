#include "Trace.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "iccfile/CLut.h"
#include "iccfile/CXYZType.h"
#include "interface/EngineSlots.h"
#include "interface/kxcms.h"
#include "pipeline/FixedTables.h"
#include "units/ColorTable33.h"
#include "units/InputTable33.h"
#include "units/LabEncoding.h"
#include "units/OutputTable33.h"
#include "units/Tetrahedra.h"
#include "units/ToneCurve.h"

namespace {

using namespace ICC40;
using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;

constexpr char kChannels[] = "RGB";
constexpr int kTopLevel16 = 65535;

// A profile with this manufacturer ("none") makes conversions yield their output tables' contents.
constexpr unsigned kManufacturerNone = 0x6E6F6E65;

using Node = std::array<int, 3>;  // grid indices, first input first

std::string Text(unsigned signature) {
  std::string text = "'";
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(signature >> shift & 0xFF);
  return text + "'";
}

void Require(bool condition, const char* otherwise) {
  if (!condition) throw std::runtime_error(otherwise);
}

// Where the colour stands in the engine's grid.
struct Position {
  Node cell;
  Node fraction;  // in 1/4096
  int tetrahedron;
  std::array<Node, 4> path;  // the tetrahedron's corners, from the cell's base to its far corner
};

Position PositionOf(const std::array<std::uint32_t, 3>& words) {
  Position position{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    position.cell[axis] = static_cast<int>(words[axis] >> 16);
    position.fraction[axis] = static_cast<int>(words[axis] & 0xFFFF);
  }
  const Node& f = position.fraction;
  position.tetrahedron = TetrahedronOf(f[0], f[1], f[2]);
  for (std::size_t p = 0; p < 4; ++p) {
    const int corner = kTetrahedra[position.tetrahedron].path[p];
    position.path[p] = {position.cell[0] + (corner >> 2), position.cell[1] + (corner >> 1 & 1),
                        position.cell[2] + (corner & 1)};
  }
  return position;
}

// ---- File bytes and lookup tag

void PrintProfile(IccFile4& profile, const iccTagBase& tag, const CLut16Type& lut) {
  std::printf("profile     %u bytes, class %s, %s to %s, %zu tags\n", profile.header.size,
              Text(profile.header.deviceClass).c_str(), Text(profile.header.colorSpace).c_str(),
              Text(profile.header.pcs).c_str(), profile.tags.size());
  std::printf("lookup tag  %s of type %s, %d bytes\n", Text(tag.tagSignature).c_str(),
              Text(tag.typeSignature).c_str(), tag.size);
  std::printf("            %d inputs of %d entries, %d grid points, %d outputs of %d entries\n",
              lut.inputChannels, lut.inputEntries, lut.gridPoints, lut.outputChannels,
              lut.outputEntries);
}

// ---- Input index tables

// An entry of a channel's curve. What the table does not hold of a long one is in the tag.
unsigned CurveEntry(const InputTable33& table, const CLut16Type& lut, int channel, int entry) {
  if (lut.inputEntries <= kCurveEntries || channel >= lut.inputChannels) {
    return entry < kCurveEntries ? table.curves[channel][entry] : 0;
  }
  return lut.inputTables[std::ptrdiff_t{channel} * lut.inputEntries + entry];
}

std::array<std::uint32_t, 3> PrintInput(const TraceRequest& request, CLut16Type& lut) {
  const ColorSpaceSignature code = request.depth == 16 ? RGB_16 : RGB;
  const auto table = std::make_unique<InputTable33>();
  table->Initial(&lut, code);
  const unsigned* const words[3] = {IccEngine.inLut0, IccEngine.inLut1, IccEngine.inLut2};
  std::array<std::uint32_t, 3> traced{};
  const int entries = lut.inputEntries < kMinCurveEntries ? kCurveEntries : lut.inputEntries;
  std::printf("\ninput index tables, curve entries every %.4f levels\n", table->step);
  std::printf(
      "      sample   level   entries around it   coordinate   cell  fraction       word\n");
  for (int c = 0; c < 3; ++c) {
    const int sample = request.device[c];
    const int level = request.depth == 16 ? sample : sample == 255 ? kTopLevel16 : sample * 256;
    const int entry = std::min(static_cast<int>(level / table->step), entries - 2);
    const unsigned coordinate = table->lookup[c][sample];
    const std::uint32_t word = words[c][sample];
    Require(word == ICC_ENG_S4::PackIndex(coordinate), "the input stage does not add up");
    std::printf("  %c  %7d %7d     %6u %6u   %10u  %5u  %8u   %08x\n", kChannels[c], sample, level,
                CurveEntry(*table, lut, c, entry), CurveEntry(*table, lut, c, entry + 1),
                coordinate, word >> 16, word & 0xFFFF, word);
    traced[c] = word;
  }
  return traced;
}

// ---- Colour grid

void PrintLab(const Node& at, const int* node) {
  std::printf("  %2d %2d %2d   %5d %5d %5d   L* %6.2f  a* %7.2f  b* %7.2f\n", at[0], at[1], at[2],
              LowWord(node[0]), LowWord(node[1]), LowWord(node[2]), DecodeL(node[0]),
              DecodeAb(node[1]), DecodeAb(node[2]));
}

void PrintBaseNode(const char* title, const ColorTable33& table, const Position& position) {
  Node at;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    at[axis] =
        (position.cell[axis] << ICC_ENG_S4::kFractionBits | position.fraction[axis]) >> table.shift;
  }
  std::printf("\n%s, %d points, a node every %d: the node below the colour\n", title,
              table.gridPoints, table.mask + 1);
  PrintLab(at, table.grid[at[0]][at[1]][at[2]]);
}

const int* NodeOf(const ColorTable33& table, const Node& at) {
  return table.grid[at[0]][at[1]][at[2]];
}

/// Prints the grid's stages and leaves the table as the cells are made of it.
void PrintGrid(const TraceRequest& request, CLut16Type& lut, const Position& position,
               ColorTable33& table) {
  table.Initial(&lut);
  PrintBaseNode("colour grid as read", table, position);
  if (request.lightness != 0 || request.chroma != 0 || request.hueDeg != 0) {
    table.Adjust_Lch(request.lightness, request.chroma, request.hueDeg);
    PrintBaseNode("adjusted", table, position);
  }
  table.TableResize(ICC_ENG_S4::kCellGridPoints);
  std::printf("\nresampled to %d points, a node every %d: the tetrahedron's corners\n",
              table.gridPoints, table.mask + 1);
  for (const Node& at : position.path) PrintLab(at, NodeOf(table, at));

  const auto curves = std::make_unique<OutputTable33>();
  curves->Initial(&lut);
  std::printf("\nthe same through the lookup tag's output curves\n");
  for (const Node& at : position.path) {
    const int* node = NodeOf(table, at);
    int curved[3];
    for (int c = 0; c < 3; ++c) {
      curved[c] = static_cast<int>(curves->lookup[c][LowWord(node[c])]);
    }
    PrintLab(at, curved);
  }

  std::shared_ptr<iccTagBase> white;
  if (request.intent == Absolute) white = IccEngine.iccFile.GetTag(ICC4_HEADER::wtpt);
  table.Lab2RGB100_16(&lut, request.output, dynamic_cast<CXYZType*>(white.get()));
  std::printf("\nlinear RGB, whole levels of 255 times 256\n");
  for (const Node& at : position.path) {
    const int* node = NodeOf(table, at);
    std::printf("  %2d %2d %2d   %5d %5d %5d   R %3d  G %3d  B %3d\n", at[0], at[1], at[2], node[0],
                node[1], node[2], node[0] / 256, node[1] / 256, node[2] / 256);
  }
}

// ---- Cells, interpolation, output tables

std::array<int, 3> PrintInterpolation(const ColorTable33& table, const Position& position) {
  const auto& [i, j, k] = position.cell;
  const std::uint32_t* coefficients = IccEngine.cells[i][j][k][position.tetrahedron];
  const Tetrahedron& tetrahedron = kTetrahedra[position.tetrahedron];
  std::printf("\ncell %d %d %d, tetrahedron %d, corners", i, j, k, position.tetrahedron);
  for (const int corner : tetrahedron.path) std::printf(" %d", corner);
  std::printf(": base << 12, slopes along R, G, B\n");
  for (int c = 0; c < 3; ++c) {
    std::int32_t word[4];
    std::memcpy(word, coefficients + 4 * c, sizeof word);
    Require(word[0] == NodeOf(table, position.path[0])[c] << ICC_ENG_S4::kFractionBits,
            "the colour stage does not add up");
    for (int axis = 0; axis < 3; ++axis) {
      const auto edge = static_cast<std::size_t>(tetrahedron.edge[axis]);
      Require(word[axis + 1] ==
                  NodeOf(table, position.path[edge + 1])[c] - NodeOf(table, position.path[edge])[c],
              "the colour stage does not add up");
    }
    std::printf("  %c  %9d %6d %6d %6d\n", kChannels[c], word[0], word[1], word[2], word[3]);
  }

  std::array<int, 3> interpolated{};
  std::printf("\ninterpolated: (base + slopes * fractions) >> 12\n");
  for (int c = 0; c < 3; ++c) {
    const std::uint32_t* k4 = coefficients + 4 * c;
    std::uint32_t sum = k4[0];
    for (int axis = 0; axis < 3; ++axis) {
      sum += k4[axis + 1] * static_cast<std::uint32_t>(position.fraction[axis]);
    }
    const auto signedSum = static_cast<std::int32_t>(sum);
    interpolated[c] = LowWord(signedSum >> ICC_ENG_S4::kFractionBits);
    std::printf("  %c  %9d >> 12 = %5d\n", kChannels[c], signedSum, interpolated[c]);
  }
  return interpolated;
}

std::array<unsigned, 3> PrintOutput(const std::array<int, 3>& interpolated) {
  std::array<unsigned, 3> samples{};
  std::printf("\noutput tables, code %d\n", IccEngine.outputColor);
  for (int c = 0; c < 3; ++c) {
    samples[c] = IccEngine.outLut[c][interpolated[c]];
    std::printf("  %c  %5d -> %5u\n", kChannels[c], interpolated[c], samples[c]);
  }
  return samples;
}

std::array<unsigned, 3> Convert(const TraceRequest& request) {
  std::array<unsigned, 3> samples{};
  if (request.depth == 16) {
    std::uint16_t pixel[3];
    std::copy_n(request.device.begin(), 3, pixel);
    auto* bytes = reinterpret_cast<unsigned char*>(pixel);
    Require(KX_Icc_Convert2(bytes, bytes, 1) == KX_RESULT_OK, "the conversion was refused");
    std::copy_n(pixel, 3, samples.begin());
  } else {
    unsigned char pixel[3];
    std::copy_n(request.device.begin(), 3, pixel);
    Require(KX_Icc_Convert2(pixel, pixel, 1) == KX_RESULT_OK, "the conversion was refused");
    std::copy_n(pixel, 3, samples.begin());
  }
  return samples;
}

}  // namespace

void PrintTrace(const TraceRequest& request) {
  KX_Icc_SetProfileF(request.profile.c_str(), nullptr, request.intent,
                     request.depth == 16 ? RGB_16 : RGB, request.output);
  KX_Icc_Adjust(nullptr, nullptr, nullptr, 0, request.lightness, request.chroma, request.hueDeg);
  Require(IccEngine.outputColor != kNoColorCode && IccEngine.inLut0 != nullptr,
          "the profile cannot be read or has no usable lookup tag");
  Require(IccEngine.iccFile.header.manufacturer != kManufacturerNone,
          "profiles of the manufacturer 'none' convert nothing");
  iccTagBase* tag = IccEngine.GetMft2();
  std::unique_ptr<CLut16Type> converted;
  if (auto* curvesAndClut = dynamic_cast<CLut*>(tag)) {
    converted = std::make_unique<CLut16Type>(curvesAndClut);
  }
  CLut16Type* lut = converted ? converted.get() : dynamic_cast<CLut16Type*>(tag);
  Require(lut != nullptr, "the lookup tag is of no usable type");

  PrintProfile(IccEngine.iccFile, *tag, *lut);
  const Position position = PositionOf(PrintInput(request, *lut));
  const auto table = std::make_unique<ColorTable33>();
  PrintGrid(request, *lut, position, *table);
  const std::array<unsigned, 3> traced = PrintOutput(PrintInterpolation(*table, position));
  const std::array<unsigned, 3> result = Convert(request);
  std::printf("\nKX_Icc_Convert2\n  %d %d %d -> %u %u %u\n", request.device[0], request.device[1],
              request.device[2], result[0], result[1], result[2]);
  Require(traced == result, "the stages do not give what the conversion gives");
}

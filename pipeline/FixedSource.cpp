#include "pipeline/FixedSource.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "pipeline/precise/PipelineError.h"
#include "profile/Models.h"

namespace kxcms {

namespace {

using ICC40::ICCFILE::CLut16Type;
using ICC40::ICCFILE::CXYZType;

constexpr std::size_t kChannels = 3;
constexpr int kMostGridPoints = 33;
// Tables with fewer entries are not read: they count as identity.
constexpr std::size_t kLeastEntries = 3;
constexpr std::size_t kMostEntries = 65535;

[[noreturn]] void Refuse(Signature tag, const std::string& why) {
  throw PipelineError(PipelineFault::kNotFixed, tag, "the fixed pipeline " + why);
}

// "the tag A2B0"
std::string Named(Signature tag) {
  std::string name = "the tag ";
  for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(tag >> shift & 0xFF);
  return name;
}

const LookupTable& TableFor(const DeviceProfile& profile, RenderingIntent intent,
                            UsedModel& model) {
  const std::size_t wanted = TagIndex(intent);
  const auto& tables = profile.deviceToPcs;
  const std::optional<LookupTable>& table = tables[wanted] ? tables[wanted] : tables[0];
  if (!table) {
    const std::string tags = wanted == 0 ? "A2B0" : "A2B" + std::to_string(wanted) + " or A2B0";
    Refuse(0, "converts by the lookup tag " + tags + ", which the profile does not have" +
                  (profile.matrixTrc ? ": a matrix and tone curves do not do" : ""));
  }
  model = {table->tag, !tables[wanted]};
  return *table;
}

// ---- Curves -------------------------------------------------------------------------------------

// Whether a curve, however it is written, is the line from 0 to 1.
bool IsStraight(const Curve& curve) {
  if (std::holds_alternative<IdentityCurve>(curve)) return true;
  if (const auto* gamma = std::get_if<GammaCurve>(&curve)) return gamma->gamma == 1;
  if (const auto* function = std::get_if<ParametricCurve>(&curve)) {
    return function->function == 0 && function->g == 1;
  }
  return IsIdentity(std::get<SampledCurve>(curve));
}

bool AreIdentity(const CurveSet& set) {
  return std::all_of(set.curves.begin(), set.curves.end(), IsStraight);
}

// Entries of a curve's table; 0 for a formula.
std::size_t EntriesOf(const Curve& curve) {
  const auto* sampled = std::get_if<SampledCurve>(&curve);
  return sampled == nullptr ? 0 : sampled->values.size();
}

// Entries of each table of a side, 0 if that stands for identity. What holds for the tables of
// lut16Type: they have as many entries.
std::size_t EntriesOf(const LookupTable& table, const CurveSet& set) {
  const std::size_t entries = EntriesOf(set.curves[0]);
  if (entries >= kLeastEntries) return entries;
  if (AreIdentity(set)) return 0;
  Refuse(table.tag, "takes curves of two entries for straight lines from 0 to 1, which those of " +
                        Named(table.tag) + " are not");
}

// The same of lutAToBType. The engine takes the entry count of the first curve for all three, and
// finds the second one only behind a table of an odd number of entries.
std::size_t EntriesOfCurves(const LookupTable& table, const CurveSet& set, const char* side) {
  const std::size_t entries = EntriesOf(set.curves[0]);
  if (entries < kLeastEntries && AreIdentity(set)) return 0;
  const bool areAlike =
      std::all_of(set.curves.begin(), set.curves.end(),
                  [entries](const Curve& curve) { return EntriesOf(curve) == entries; });
  if (areAlike && entries >= kLeastEntries && entries <= kMostEntries && entries % 2 == 1) {
    return entries;
  }
  Refuse(table.tag, std::string("cuts off the ") + side + " curves of " + Named(table.tag) +
                        ": it reads tables of one odd number of entries, or identity");
}

std::unique_ptr<unsigned short[]> TablesOf(const CurveSet& set, std::size_t entries) {
  if (entries == 0) return nullptr;
  auto tables = std::make_unique<unsigned short[]>(kChannels * entries);
  for (std::size_t c = 0; c < kChannels; ++c) {
    const auto& values = std::get<SampledCurve>(set.curves[c]).values;
    std::copy(values.begin(), values.end(), tables.get() + c * entries);
  }
  return tables;
}

// ---- Elements -----------------------------------------------------------------------------------

// The elements that the engine reads.
struct ReadElements {
  const CurveSet* input;
  const ColorGrid* grid;
  const CurveSet* output;
};

// Refuses M curves and a matrix that do anything.
void CheckMatrix(const LookupTable& table, const CurveSet& curves, const MatrixElement& matrix) {
  constexpr Matrix3 kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  constexpr std::array<double, 3> kNothing{};
  if (matrix.matrix == kIdentity && matrix.offset == kNothing && AreIdentity(curves)) return;
  Refuse(table.tag, "leaves out the M curves and the matrix of " + Named(table.tag) +
                        ", which are not identity");
}

ReadElements ElementsOf(const LookupTable& table) {
  if (table.type == MakeSignature("mft1")) {
    Refuse(table.tag, "does not convert tags of the type lut8Type, as " + Named(table.tag) + " is");
  }
  const std::vector<Element>& elements = table.elements;
  if (elements.size() < 3 || !std::holds_alternative<ColorGrid>(elements[1])) {
    Refuse(table.tag, "needs a CLUT, which " + Named(table.tag) + " does not have");
  }
  if (elements.size() > 3) {
    CheckMatrix(table, std::get<CurveSet>(elements[2]), std::get<MatrixElement>(elements[3]));
  }
  return {&std::get<CurveSet>(elements[0]), &std::get<ColorGrid>(elements[1]),
          &std::get<CurveSet>(elements.back())};
}

void CheckGrid(const LookupTable& table, const ColorGrid& grid) {
  if (grid.maximum != 65535) {
    Refuse(table.tag,
           "takes the CLUT of " + Named(table.tag) + ", of 8-bit values, for one of 16-bit values");
  }
  if (grid.points[1] != grid.points[0] || grid.points[2] != grid.points[0]) {
    Refuse(table.tag, "takes the grid of " + Named(table.tag) +
                          " to have as many points along every axis as along the first");
  }
  if (grid.points[0] > kMostGridPoints) {
    Refuse(table.tag, "converts grids of at most 33 points an axis: that of " + Named(table.tag) +
                          " has " + std::to_string(grid.points[0]));
  }
}

std::unique_ptr<CLut16Type> LutOf(const LookupTable& table) {
  const ReadElements elements = ElementsOf(table);
  CheckGrid(table, *elements.grid);
  const bool isLut16 = table.type == MakeSignature("mft2");
  const std::size_t inputEntries =
      isLut16 ? EntriesOf(table, *elements.input) : EntriesOfCurves(table, *elements.input, "A");
  const std::size_t outputEntries =
      isLut16 ? EntriesOf(table, *elements.output) : EntriesOfCurves(table, *elements.output, "B");
  auto lut = std::make_unique<CLut16Type>();
  lut->inputChannels = lut->outputChannels = kChannels;
  lut->gridPoints = static_cast<unsigned char>(elements.grid->points[0]);
  lut->inputEntries = static_cast<unsigned short>(inputEntries);
  lut->outputEntries = static_cast<unsigned short>(outputEntries);
  lut->inputTables = TablesOf(*elements.input, inputEntries).release();
  lut->outputTables = TablesOf(*elements.output, outputEntries).release();
  lut->colorTable = new unsigned short[elements.grid->values.size()];
  std::copy(elements.grid->values.begin(), elements.grid->values.end(), lut->colorTable);
  return lut;
}

// The s15Fixed16Number that a number was read from.
int FixedWord(double number) {
  return static_cast<int>(number * 65536);
}

}  // namespace

FixedSource FixedSourceOf(const DeviceProfile& profile, RenderingIntent intent) {
  if (profile.manufacturer == MakeSignature("none")) {
    Refuse(0, "gives no colours for a profile whose manufacturer is 'none'");
  }
  FixedSource source;
  const LookupTable& table = TableFor(profile, intent, source.model);
  if (profile.pcs == PcsSpace::kXyz) {
    Refuse(table.tag, "takes every connection space for Lab, and that of the profile is XYZ");
  }
  source.lut = LutOf(table);
  if (intent == RenderingIntent::kAbsolute && profile.hasMediaWhite) {
    source.mediaWhite = std::make_unique<CXYZType>();
    source.mediaWhite->fixedX = FixedWord(profile.mediaWhite[0]);
    source.mediaWhite->fixedY = FixedWord(profile.mediaWhite[1]);
    source.mediaWhite->fixedZ = FixedWord(profile.mediaWhite[2]);
  }
  return source;
}

}  // namespace kxcms

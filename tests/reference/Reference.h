#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

// A second, slow and plain account of the conversion chain, from the bytes of a profile to the
// bytes of a converted buffer. It shares no line with the library, so that a mistake would have
// to be made twice to go unseen. Values in, values out; one thread.
namespace reference {

using Bytes = std::vector<unsigned char>;
using Levels = std::vector<std::uint32_t>;  // one 32-bit entry per input or output level
using ThreeTables = std::array<Levels, 3>;  // channels R, G, B

constexpr int kNone = 65535;  // no code, no status
constexpr int kNoConversionType = 65534;

constexpr std::uint32_t Signature(const char (&text)[5]) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(text[i]);
  return value;
}

// A lut16Type tag (ICC.1:2010 10.8) without its matrix, which takes no part in RGB to Lab.
struct Lut16 {
  int in = 0;
  int out = 0;
  int grid = 0;        // points per axis
  int inEntries = 0;   // per input table
  int outEntries = 0;  // per output table
  std::vector<std::uint16_t> inTables, clut, outTables;
};

struct Profile {
  std::uint32_t manufacturer = 0;
  // By signature. A tag that is there but cannot serve as an RGB lookup table has no value.
  std::map<std::uint32_t, std::optional<Lut16>> lookup;
  std::optional<std::array<std::int32_t, 3>> wtpt;  // s15Fixed16 words
};

// Bytes that a table points to but the file does not hold read as zero.
Profile ParseProfile(const Bytes& file);

// The lut16 form of a lutAToBType tag: A curves, CLUT, B curves; matrix and M curves ignored.
std::optional<Lut16> Lut16FromMab(const Bytes& tag);

// The tag that serves an intent, null when there is none.
const Lut16* LookupFor(const Profile& profile, int intent);

// --- Input stage

struct InputCurve {
  int depth = 16;
  ThreeTables lookup;  // 65536 entries each; with depth 8 the first 256 count
};
InputCurve ExpandInput(const Lut16& lut, int inputCode);
void ReindexTo8(InputCurve& curve);
std::uint32_t Pack(std::uint32_t position);
ThreeTables BuildInput(const Lut16& lut, int inputCode);

// --- Colour stage

// Node values are PCS Lab in the lut16 encoding until ToLinearRgb replaces them by RGB.
struct Grid {
  int points = 0;
  double step = 0;
  std::vector<int> positions;
  std::vector<std::array<int, 3>> nodes;  // first input slowest
  const std::array<int, 3>& At(int i, int j, int k) const {
    return nodes[(static_cast<std::size_t>(i) * points + j) * points + k];
  }
};
Grid LoadGrid(const Lut16& lut);
std::array<int, 3> Evaluate(const Grid& grid, int c0, int c1, int c2);
void Resize(Grid& grid, int points);
void ShiftLch(Grid& grid, double L, double c, double h);
using White = std::optional<std::array<std::int32_t, 3>>;
void ToLinearRgb(Grid& grid, const Lut16& lut, int outputCode, const White& white);

struct LinearRgb {
  double R, G, B;  // 0 to 255
};
LinearRgb LabToRgb(double L, double a, double b, int outputCode, const White& white);

using Tetrahedron = std::array<std::uint32_t, 12>;
using Cell = std::array<Tetrahedron, 6>;
std::vector<Cell> CellsOf(const Grid& grid);
std::vector<Cell> BuildCells(const Lut16& lut, int intent, int outputCode, double L, double c,
                             double h, const White& white);

// --- Output stage

struct OutputStage {
  int outputCode = kNone;  // kNone where the code asked for has no output curve
  int status = kNone;
  ThreeTables tables;
};
OutputStage BuildOutput(int outputCode);

struct OutputCurve {
  double step = 0;
  double divisor = 0;
  int entries = 0;
  ThreeTables curves;  // 4096 entries, or as many as a longer curve has
  ThreeTables lookup;
};
OutputCurve IdentityOutput();
void ExpandOutput(OutputCurve& curve, const Lut16& lut);
void ExpandOutput(OutputCurve& curve, const unsigned char* r, const unsigned char* g,
                  const unsigned char* b, int count);
void ReduceTo8(Levels& table);
void KodakCurve(Levels& table, int x0, int x1, double g, double d, double gd);

// --- The chain

struct Pipeline {
  Profile profile;
  int inputCode = kNone;
  int outputCode = kNone;
  int status = kNone;
  int intent = 0;
  int conversionType = kNoConversionType;
  int adjustL = 0, adjustC = 0, adjustH = 0;
  ThreeTables input;        // empty: nothing converts
  std::vector<Cell> cells;  // first channel slowest
  ThreeTables output;
};

int ConversionType(int inputCode, int outputCode);

// Forgets codes and input tables; profile, intent and the other tables stay.
void Reset(Pipeline& p);

// As if read from a path not seen before, with readable contents.
int SetProfile(Pipeline& p, const Bytes& file, int intent, int inputCode, int outputCode, double L,
               double c, double h);
int SetIntent(Pipeline& p, int intent, int inputCode, int outputCode);
int AdjustLch(Pipeline& p, double L, double c, double h);
int AdjustOutput(Pipeline& p, const unsigned char* r, const unsigned char* g,
                 const unsigned char* b, int count);

// Buffers as the library takes them; samples of 16 bits lie in host order.
void Convert(const Pipeline& p, const unsigned char* src, unsigned char* dst, std::int64_t pixels);
void Convert(const Pipeline& p, const unsigned char* src, unsigned short* dst, std::int64_t pixels);

// One pixel through the three stages.
std::array<std::uint32_t, 3> ConvertPixel(const Pipeline& p, unsigned s0, unsigned s1, unsigned s2);

}  // namespace reference

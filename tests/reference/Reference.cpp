#include "tests/reference/Reference.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace reference {
namespace {

constexpr std::uint32_t kA2B0 = Signature("A2B0");
constexpr std::uint32_t kA2B1 = Signature("A2B1");
constexpr std::uint32_t kA2B2 = Signature("A2B2");

// Through volatile, so that no compiler folds a constant call with an arithmetic of its own:
// only the C library's results count.
double Pow(double x, double y) {
  volatile double vx = x, vy = y;
  return std::pow(vx, vy);
}

double Cos(double x) {
  volatile double v = x;
  return std::cos(v);
}

double Sin(double x) {
  volatile double v = x;
  return std::sin(v);
}

// --- Bytes of a profile

unsigned U8(const Bytes& bytes, std::uint64_t at) {
  return at < bytes.size() ? bytes[at] : 0;
}

unsigned U16(const Bytes& bytes, std::uint64_t at) {
  return U8(bytes, at) << 8 | U8(bytes, at + 1);
}

std::uint32_t U32(const Bytes& bytes, std::uint64_t at) {
  return static_cast<std::uint32_t>(U16(bytes, at)) << 16 | U16(bytes, at + 2);
}

std::vector<std::uint16_t> Words(const Bytes& bytes, std::uint64_t at, std::uint64_t count) {
  std::vector<std::uint16_t> words;
  for (std::uint64_t i = 0; i < count; ++i) {
    words.push_back(static_cast<std::uint16_t>(U16(bytes, at + 2 * i)));
  }
  return words;
}

// Of three inputs and three outputs any may be missing.
bool Usable(const Lut16& lut) {
  return lut.in <= 3 && lut.out <= 7 && lut.grid >= 2 && lut.grid <= 33;
}

std::optional<Lut16> Lut16FromMft2(const Bytes& tag) {
  Lut16 lut;
  lut.in = static_cast<int>(U8(tag, 8));
  lut.out = static_cast<int>(U8(tag, 9));
  lut.grid = static_cast<int>(U8(tag, 10));
  lut.inEntries = static_cast<int>(U16(tag, 48));
  lut.outEntries = static_cast<int>(U16(tag, 50));
  if (!Usable(lut)) return std::nullopt;

  const std::uint64_t inCount = std::uint64_t(lut.in) * lut.inEntries;
  // The cube counts three inputs, whatever the channel count says.
  const std::uint64_t clutCount = std::uint64_t(lut.grid) * lut.grid * lut.grid * lut.out;
  const std::uint64_t outCount = std::uint64_t(lut.out) * lut.outEntries;
  lut.inTables = Words(tag, 52, inCount);
  lut.clut = Words(tag, 52 + 2 * inCount, clutCount);
  lut.outTables = Words(tag, 52 + 2 * (inCount + clutCount), outCount);
  return lut;
}

// `channels` curves one after the other; each copied at the length of the first one.
std::vector<std::uint16_t> CurvesOf(const Bytes& tag, std::uint64_t at, int channels,
                                    int* entries) {
  std::vector<std::uint16_t> tables;
  for (int c = 0; c < channels; ++c) {
    const std::uint64_t count = U32(tag, at + 8);
    if (c == 0) *entries = static_cast<int>(count & 0xFFFF);
    for (int i = 0; i < *entries; ++i) {
      const bool held = static_cast<std::uint64_t>(i) < count;
      tables.push_back(static_cast<std::uint16_t>(held ? U16(tag, at + 12 + 2 * i) : 0));
    }
    // 14 and not 12 rounded up: two bytes too far for an even count.
    at += 2 * count + 14;
  }
  return tables;
}

}  // namespace

std::optional<Lut16> Lut16FromMab(const Bytes& tag) {
  Lut16 lut;
  lut.in = static_cast<int>(U8(tag, 8));
  lut.out = static_cast<int>(U8(tag, 9));
  const std::uint32_t bCurves = U32(tag, 12);
  const std::uint32_t clut = U32(tag, 24);
  const std::uint32_t aCurves = U32(tag, 28);
  if (bCurves == 0 || clut == 0 || aCurves == 0) return std::nullopt;

  lut.grid = static_cast<int>(U8(tag, clut));
  if (!Usable(lut) || lut.in != 3 || lut.out != 3) return std::nullopt;
  const unsigned precision = U8(tag, std::uint64_t(clut) + 16);
  if (precision != 2) return std::nullopt;
  std::uint64_t stored = static_cast<std::uint64_t>(lut.out);
  for (int axis = 0; axis < lut.in; ++axis) stored *= U8(tag, std::uint64_t(clut) + axis);
  // Every axis is taken to have as many points as the first.
  const std::uint64_t needed = std::uint64_t(lut.grid) * lut.grid * lut.grid * lut.out;
  if (stored < needed) return std::nullopt;

  lut.inTables = CurvesOf(tag, aCurves, lut.in, &lut.inEntries);
  lut.clut = Words(tag, std::uint64_t(clut) + 20, needed);
  lut.outTables = CurvesOf(tag, bCurves, lut.out, &lut.outEntries);
  return lut;
}

Profile ParseProfile(const Bytes& file) {
  Profile profile;
  profile.manufacturer = U32(file, 48);
  const std::uint32_t tagCount = U32(file, 128);
  for (std::uint32_t t = 0; t < tagCount; ++t) {
    const std::uint64_t entry = 132 + 12ull * t;
    const std::uint32_t signature = U32(file, entry);
    const std::uint32_t offset = U32(file, entry + 4);
    const std::uint32_t size = U32(file, entry + 8);
    const std::uint64_t padded = (std::uint64_t(size) + 3) / 4 * 4;
    Bytes tag;
    for (std::uint64_t i = 0; i < padded; ++i) {
      tag.push_back(static_cast<unsigned char>(U8(file, offset + i)));
    }
    // Of several entries with one signature the first one holds.
    if (signature == Signature("wtpt") && !profile.wtpt) {
      profile.wtpt = {static_cast<std::int32_t>(U32(tag, 8)),
                      static_cast<std::int32_t>(U32(tag, 12)),
                      static_cast<std::int32_t>(U32(tag, 16))};
    } else if (signature == kA2B0 || signature == kA2B1 || signature == kA2B2) {
      const std::uint32_t type = U32(tag, 0);
      std::optional<Lut16> lut;
      if (type == Signature("mft2")) lut = Lut16FromMft2(tag);
      if (type == Signature("mAB ")) lut = Lut16FromMab(tag);
      profile.lookup.emplace(signature, std::move(lut));
    }
  }
  return profile;
}

const Lut16* LookupFor(const Profile& profile, int intent) {
  std::uint32_t wanted = kA2B0;
  if (intent == 1 || intent == 3) wanted = kA2B1;
  if (intent == 2) wanted = kA2B2;
  auto found = profile.lookup.find(wanted);
  if (found == profile.lookup.end()) found = profile.lookup.find(kA2B0);
  if (found == profile.lookup.end() || !found->second) return nullptr;
  return &*found->second;
}

// --- Input stage

void ReindexTo8(InputCurve& curve) {
  for (Levels& lookup : curve.lookup) {
    for (std::size_t x = 0; x <= 254; ++x) lookup[x] = lookup[x * 256];
    lookup[255] = lookup[65535];
  }
  curve.depth = 8;
}

namespace {

// a* and b* of 8-bit Lab are signed bytes.
void ReindexToLab8(InputCurve& curve) {
  for (std::size_t x = 0; x <= 255; ++x) {
    const std::size_t y = x ^ 128;
    curve.lookup[0][x] = curve.lookup[0][x * 256];
    for (std::size_t c = 1; c <= 2; ++c) {
      if (x < 128) {
        curve.lookup[c][x] = curve.lookup[c][y * 256] - 1u;
      } else {
        curve.lookup[c][x] = curve.lookup[c][y * 256] + 1u;
      }
    }
  }
  curve.depth = 8;
}

// The pair 32767/65535 stays unswapped.
void ReindexToLab16(InputCurve& curve) {
  for (std::size_t c = 1; c <= 2; ++c) {
    for (std::size_t v = 0; v <= 32766; ++v) {
      std::swap(curve.lookup[c][v], curve.lookup[c][v ^ 32768]);
    }
  }
  curve.depth = 8;
}

}  // namespace

InputCurve ExpandInput(const Lut16& lut, int inputCode) {
  InputCurve result;
  // A missing channel has neither curve nor lookup: both are zeros.
  for (Levels& lookup : result.lookup) lookup.assign(65536, 0);
  const int n = lut.inEntries;
  for (std::size_t c = 0; c < static_cast<std::size_t>(lut.in); ++c) {
    Levels& lookup = result.lookup[c];
    if (n < 3) {
      for (std::uint32_t v = 0; v <= 65535; ++v) lookup[v] = v;
      continue;
    }
    const double step = 65535.0 / (n - 1);
    const std::uint16_t* curve = &lut.inTables[c * static_cast<std::size_t>(n)];
    for (int v = 0; v <= 65534; ++v) {
      const int i = static_cast<int>(v / step);
      const double f = (v - i * step) / step;
      const double y = double(curve[i]) * (1 - f) + double(curve[i + 1]) * f + 0.5;
      lookup[static_cast<std::size_t>(v)] =
          static_cast<std::uint32_t>(static_cast<std::int64_t>(y)) & 0xFFFF;
    }
    lookup[65535] = curve[n - 1];
  }

  if (inputCode == 2) {
    ReindexToLab8(result);
  } else if (inputCode == 3) {
    ReindexToLab16(result);
  } else if (inputCode != 1) {
    ReindexTo8(result);
  }
  return result;
}

std::uint32_t Pack(std::uint32_t position) {
  const std::uint32_t fraction = position & 0xFFF;
  const std::uint32_t cell = (position & 0xFFFF) >> 12;
  return fraction | cell << 16;
}

ThreeTables BuildInput(const Lut16& lut, int inputCode) {
  InputCurve curve = ExpandInput(lut, inputCode);
  std::size_t entries = 65536;
  if (inputCode != 1) {
    ReindexTo8(curve);
    entries = 256;
  }
  ThreeTables tables;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t v = 0; v < entries; ++v) tables[c].push_back(Pack(curve.lookup[c][v]));
  }
  return tables;
}

// --- Colour stage

Grid LoadGrid(const Lut16& lut) {
  Grid grid;
  grid.points = lut.grid;
  grid.step = 65536.0 / (lut.grid - 1);
  for (int k = 0; k < lut.grid; ++k) grid.positions.push_back(static_cast<int>(k * grid.step));
  const std::size_t count = std::size_t(lut.grid) * std::size_t(lut.grid) * std::size_t(lut.grid);
  for (std::size_t node = 0; node < count; ++node) {
    std::array<int, 3> values{};  // those of missing outputs stay 0
    for (std::size_t c = 0; c < std::min<std::size_t>(3, lut.out); ++c) {
      values[c] = lut.clut[node * static_cast<std::size_t>(lut.out) + c];
    }
    grid.nodes.push_back(values);
  }
  if (lut.grid != 9 && lut.grid != 17 && lut.grid != 33) Resize(grid, 17);
  return grid;
}

std::array<int, 3> Evaluate(const Grid& grid, int c0, int c1, int c2) {
  const int x[3] = {c0, c1, c2};
  int index[3];
  double fraction[3];
  for (int axis = 0; axis < 3; ++axis) {
    index[axis] = static_cast<int>(x[axis] / grid.step);
    const int below = grid.positions[static_cast<std::size_t>(index[axis])];
    fraction[axis] = (x[axis] - below) / grid.step;
  }
  const int i = index[0], j = index[1], k = index[2];
  const double fr = fraction[0], fg = fraction[1], fb = fraction[2];

  std::array<int, 3> result{};
  for (std::size_t c = 0; c < 3; ++c) {
    const int c000 = grid.At(i, j, k)[c], c100 = grid.At(i + 1, j, k)[c];
    const int c010 = grid.At(i, j + 1, k)[c], c001 = grid.At(i, j, k + 1)[c];
    const int c110 = grid.At(i + 1, j + 1, k)[c], c101 = grid.At(i + 1, j, k + 1)[c];
    const int c011 = grid.At(i, j + 1, k + 1)[c], c111 = grid.At(i + 1, j + 1, k + 1)[c];
    int dr, dg, db;
    if (fr > fg) {
      if (fr > fb) {
        if (fg > fb) {
          dr = c100 - c000, dg = c110 - c100, db = c111 - c110;
        } else {
          dr = c100 - c000, dg = c111 - c101, db = c101 - c100;
        }
      } else {
        dr = c101 - c001, dg = c111 - c101, db = c001 - c000;
      }
    } else {
      if (fg > fb) {
        if (fr > fb) {
          dr = c110 - c010, dg = c010 - c000, db = c111 - c110;
        } else {
          dr = c111 - c011, dg = c010 - c000, db = c011 - c010;
        }
      } else {
        dr = c111 - c011, dg = c011 - c001, db = c001 - c000;
      }
    }
    const double sum = double(dr) * fr + double(dg) * fg + double(db) * fb;
    result[c] = static_cast<int>(sum) + c000;
  }
  return result;
}

void Resize(Grid& grid, int points) {
  if (points == grid.points) return;
  Grid resized;
  resized.points = points;
  resized.step = 65536.0 / (points - 1);
  for (int k = 0; k <= points - 2; ++k) {
    resized.positions.push_back(static_cast<int>(k * resized.step));
  }
  resized.positions.push_back(65535);
  for (int r : resized.positions) {
    for (int g : resized.positions) {
      for (int b : resized.positions) resized.nodes.push_back(Evaluate(grid, r, g, b));
    }
  }
  grid = resized;
}

namespace {

double DecodeL(int v) {
  return (v & 0xFFFF) * 100.0 / 65280.0;
}
double DecodeAb(int v) {
  return ((v & 0xFFFF) - 32768) * 0.00390625;
}

int EncodeL(double y) {
  if (y < 0) return 0;
  if (y > 100.0) return 65280;
  return static_cast<int>(static_cast<std::int64_t>(y * 65280.0 / 100.0) & 0xFFFF);
}

// Not clipped: values beyond the encoding wrap.
int EncodeAb(double y) {
  return static_cast<int>(static_cast<std::int64_t>(256.0 * y + 32768.0) & 0xFFFF);
}

}  // namespace

void ShiftLch(Grid& grid, double dL, double dC, double dH) {
  for (std::array<int, 3>& node : grid.nodes) {
    double L = DecodeL(node[0]);
    double a = DecodeAb(node[1]);
    double b = DecodeAb(node[2]);

    double C = std::sqrt(a * a + b * b);
    double H = std::atan2(b, a) * 57.2958;  // degrees, with pi rounded as the library has it
    if (H < 0) H += 360;

    L = L + dL;
    if (L > 100) L = 100;
    if (L < 0) L = 0;
    C = C + dC;
    if (C > 100) C = 100;
    if (C < 0) C = 0;
    H = H + dH;
    if (H > 360) H -= 360;  // once, also for larger sums
    if (H < 0) H += 360;

    const double h = 0.0174533 * H;
    a = C * Cos(h);
    b = C * Sin(h);
    node = {EncodeL(L), EncodeAb(a), EncodeAb(b)};
  }
}

LinearRgb LabToRgb(double L, double a, double b, int outputCode, const White& white) {
  double Xw = 63195.0 / 65535.0, Yw = 65535.0 / 65535.0, Zw = 54073.0 / 65535.0;
  if (white) {
    Xw = double((*white)[0]) / 65535.0;
    Yw = double((*white)[1]) / 65535.0;
    Zw = double((*white)[2]) / 65535.0;
  }

  double fy, X, Y, Z;
  if (L > 7.9996) {
    fy = (L + 16) / 116;
    Y = fy * fy * fy;
  } else {
    Y = L / 903.3;
    fy = 7.787 * Y + 0.137931;
  }
  const double fx = a / 500 + fy;
  X = fx > 0.2069 ? fx * fx * fx : (fx - 0.137931) / 7.787;
  const double fz = fy - b / 200;
  Z = fz > 0.2069 ? fz * fz * fz : (fz - 0.137931) / 7.787;
  X *= Xw;
  Y *= Yw;
  Z *= Zw;

  static const double kSrgb[9] = {3.1341, -1.6174, -0.4907, -0.9788, 1.9163,
                                  0.0334, 0.072,   -0.229,  1.4054};
  static const double kAdobe[9] = {1.9625, -0.6107, -0.3414, -0.9788, 1.9163,
                                   0.0334, 0.0287,  -0.1407, 1.3489};
  static const double kApple[9] = {2.8513, -1.361, -0.4709, -1.0928, 2.035,
                                   0.0227, 0.1027, -0.2965, 1.4512};
  static const double kColorMatch[9] = {2.6416, -1.2231, -0.3929, -1.1121, 2.0592,
                                        0.016,  0.0822,  -0.2808, 1.4562};
  const double* m = kSrgb;
  if (outputCode >= 20 && outputCode <= 23) m = kAdobe;
  if (outputCode >= 24 && outputCode <= 27) m = kApple;
  if (outputCode >= 28 && outputCode <= 31) m = kColorMatch;

  double rgb[3];
  for (int row = 0; row < 3; ++row) {
    double v = 255 * (m[3 * row] * X + m[3 * row + 1] * Y + m[3 * row + 2] * Z);
    if (v > 255) v = 255;
    if (v < 0) v = 0;
    rgb[row] = v;
  }
  return {rgb[0], rgb[1], rgb[2]};
}

void ToLinearRgb(Grid& grid, const Lut16& lut, int outputCode, const White& white) {
  OutputCurve out = IdentityOutput();
  ExpandOutput(out, lut);
  for (std::array<int, 3>& node : grid.nodes) {
    std::uint32_t curved[3];
    for (std::size_t c = 0; c < 3; ++c) {
      curved[c] = out.lookup[c][static_cast<std::size_t>(node[c] & 0xFFFF)] & 0xFFFF;
    }
    const double L = curved[0] * 100.0 / 65280.0;
    const double a = (static_cast<int>(curved[1]) - 32768) * 0.00390625;
    const double b = (static_cast<int>(curved[2]) - 32768) * 0.00390625;
    const LinearRgb rgb = LabToRgb(L, a, b, outputCode, white);
    node = {static_cast<int>(rgb.R) << 8, static_cast<int>(rgb.G) << 8,
            static_cast<int>(rgb.B) << 8};
  }
}

std::vector<Cell> CellsOf(const Grid& grid) {
  // Vertices of each tetrahedron from the near to the far corner: bit 2 is the first axis.
  static const int kPaths[6][4] = {{0b000, 0b100, 0b110, 0b111}, {0b000, 0b100, 0b101, 0b111},
                                   {0b000, 0b001, 0b101, 0b111}, {0b000, 0b010, 0b110, 0b111},
                                   {0b000, 0b010, 0b011, 0b111}, {0b000, 0b001, 0b011, 0b111}};

  std::vector<Cell> cells;
  for (int i = 0; i <= grid.points - 2; ++i) {
    for (int j = 0; j <= grid.points - 2; ++j) {
      for (int k = 0; k <= grid.points - 2; ++k) {
        Cell cell{};
        for (std::size_t t = 0; t < 6; ++t) {
          for (std::size_t c = 0; c < 3; ++c) {
            const auto value = [&](int vertex) {
              return grid.At(i + (vertex >> 2 & 1), j + (vertex >> 1 & 1), k + (vertex & 1))[c];
            };
            cell[t][4 * c] = static_cast<std::uint32_t>(value(0)) << 12;
            for (int edge = 0; edge < 3; ++edge) {
              const int from = kPaths[t][edge], to = kPaths[t][edge + 1];
              const std::size_t axis = (to ^ from) == 4 ? 0 : (to ^ from) == 2 ? 1 : 2;
              cell[t][4 * c + 1 + axis] = static_cast<std::uint32_t>(value(to) - value(from));
            }
          }
        }
        cells.push_back(cell);
      }
    }
  }
  return cells;
}

std::vector<Cell> BuildCells(const Lut16& lut, int intent, int outputCode, double L, double c,
                             double h, const White& white) {
  Grid grid = LoadGrid(lut);
  if (L != 0 || c != 0 || h != 0) ShiftLch(grid, L, c, h);
  Resize(grid, 17);
  ToLinearRgb(grid, lut, outputCode, intent == 3 ? white : std::nullopt);
  return CellsOf(grid);
}

// --- Output stage

OutputCurve IdentityOutput() {
  OutputCurve curve;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::uint32_t i = 0; i < 4096; ++i) curve.curves[c].push_back(i);
    for (std::uint32_t v = 0; v < 65536; ++v) curve.lookup[c].push_back(v);
  }
  return curve;
}

namespace {

void Interpolate(OutputCurve& out, std::size_t c) {
  const Levels& curve = out.curves[c];
  for (int v = 0; v <= 65534; ++v) {
    const std::size_t i = static_cast<std::size_t>(v / out.step);
    // The divisor is not the step: the fraction may pass 1, the value may fall below 0.
    const double f = (v - static_cast<double>(i) * out.step) / out.divisor;
    const double y = double(curve[i]) * (1 - f) + double(curve[i + 1]) * f + 0.5;
    out.lookup[c][static_cast<std::size_t>(v)] =
        static_cast<std::uint32_t>(static_cast<std::int64_t>(y));
  }
  // A curve that the tag lacks has only 4096 entries: past them the old value stays.
  const std::size_t last = static_cast<std::size_t>(out.entries - 1);
  if (last < curve.size()) out.lookup[c][65535] = curve[last];
}

}  // namespace

void ExpandOutput(OutputCurve& curve, const Lut16& lut) {
  const std::size_t channels = std::min<std::size_t>(3, lut.out);
  const int n = lut.outEntries;
  if (n < 3) {
    curve.entries = 4096;
    curve.step = 16.003663003663004;
    curve.divisor = 15.0;
    for (std::size_t c = 0; c < channels; ++c) {
      for (std::uint32_t i = 0; i < 4096; ++i) curve.curves[c][i] = 16 * i;
    }
  } else {
    curve.entries = n;
    curve.step = 65535.0 / (n - 1);
    curve.divisor = 65536.0 / n;
    for (std::size_t c = 0; c < channels; ++c) {
      const std::size_t count = static_cast<std::size_t>(n);
      curve.curves[c].resize(std::max<std::size_t>(4096, count));
      for (std::size_t i = 0; i < count; ++i) curve.curves[c][i] = lut.outTables[c * count + i];
    }
  }
  for (std::size_t c = 0; c < channels; ++c) Interpolate(curve, c);
}

void ExpandOutput(OutputCurve& curve, const unsigned char* r, const unsigned char* g,
                  const unsigned char* b, int count) {
  // No more than 4096 are taken, whatever the count.
  for (int i = 0; i < std::min(count, 4096); ++i) {
    const std::size_t at = static_cast<std::size_t>(i);
    curve.curves[0][at] = r[i] * 256u;
    curve.curves[1][at] = g[i] * 256u;
    curve.curves[2][at] = b[i] * 256u;
  }
  curve.step = 257.0;
  curve.divisor = 256.0;
  for (std::size_t c = 0; c < 3; ++c) Interpolate(curve, c);
}

// The entry at 65535 keeps what it held.
void KodakCurve(Levels& table, int x0, int x1, double g, double d, double gd) {
  const double p = g / gd;
  const double k = Pow(10.0, d / gd);
  const double y1 = Pow(x1 / 65535.0, p) * 65535.0 * k;
  const double slope = y1 / (x1 - x0);
  const double intercept = -(y1 * x0) / (x1 - x0);
  for (int v = 0; v <= x1 - 1; ++v) {
    int value = 0;
    if (v > x0) value = std::max(0, static_cast<int>(v * slope + intercept));
    table[static_cast<std::size_t>(v)] = static_cast<std::uint32_t>(value);
  }
  if (x1 > 65534) return;
  for (int v = x1; v <= 65534; ++v) {
    const int t = static_cast<int>(Pow(v / 65535.0, p) * 65535.0 * k + 128.0);
    table[static_cast<std::size_t>(v)] = static_cast<std::uint32_t>(t > 65535 ? 65535 : t);
  }
}

namespace {

std::uint32_t EightBits(double x) {
  return static_cast<std::uint32_t>(std::min(255, (static_cast<int>(x + 128.0) + 127) >> 8));
}

void SrgbCurve(Levels& table, bool eightBit) {
  for (std::size_t v = 0; v <= 65535; ++v) {
    const double n = double(v) / 65535.0;
    const bool linear = n < 0.00304;
    const double x = linear ? n * 65535.0 * 12.92 : (Pow(n, 0.4167) * 1.055 - 0.055) * 65535.0;
    if (eightBit) {
      table[v] = EightBits(x);
    } else {
      table[v] = static_cast<std::uint32_t>(linear ? x : x + 0.5);
    }
  }
}

void Gamma180Curve(Levels& table, bool eightBit) {
  for (std::size_t v = 0; v <= 65535; ++v) {
    const double x = Pow(double(v) / 65535.0, 0.5556) * 65535.0;
    table[v] = eightBit ? EightBits(x) : static_cast<std::uint32_t>(x + 0.5);
  }
}

std::uint32_t Reduced(std::uint32_t value) {
  const std::int32_t eightBit = (static_cast<std::int32_t>(value) + 127) >> 8;
  return static_cast<std::uint32_t>(std::min(255, eightBit));
}

}  // namespace

void ReduceTo8(Levels& table) {
  for (std::uint32_t& value : table) value = Reduced(value);
}

OutputStage BuildOutput(int code) {
  OutputStage stage;
  Levels table = IdentityOutput().lookup[0];
  stage.outputCode = code;
  stage.status = code;
  switch (code) {
    case 8:
    case 12:
      SrgbCurve(table, true);
      stage.status = 8;
      break;
    case 9:
    case 13:
      SrgbCurve(table, false);
      stage.status = 9;
      break;
    case 10:
    case 20:
    case 24:
    case 28:
      ReduceTo8(table);
      break;
    case 11:
    case 21:
    case 25:
    case 29:
      break;
    case 22:
    case 26:
    case 30:
      Gamma180Curve(table, true);
      break;
    case 23:
    case 27:
    case 31:
      Gamma180Curve(table, false);
      break;
    case 34:
      KodakCurve(table, 0, 1024, 1.2, 0.0, 2.2);
      ReduceTo8(table);
      break;
    case 35:
      KodakCurve(table, 0, 1024, 1.2, 0.0, 2.2);
      break;
    case 36:
      KodakCurve(table, 512, 2048, 1.5, 0.2, 2.2);
      ReduceTo8(table);
      break;
    case 37:
      // 0.0 where the 8-bit twin has 0.2.
      KodakCurve(table, 512, 2048, 1.5, 0.0, 2.2);
      break;
    case 38:
      KodakCurve(table, 2048, 10240, 2.0, 0.3, 2.2);
      ReduceTo8(table);
      break;
    case 39:
      KodakCurve(table, 2048, 10240, 2.0, 0.3, 2.2);
      break;
    default:
      stage.outputCode = kNone;
      stage.status = kNone;
      break;
  }
  stage.tables = {table, table, table};
  return stage;
}

// --- The chain

int ConversionType(int inputCode, int outputCode) {
  static const int kOutputClass[40] = {1, 2, 1, 2, 3, 4, 0, 0, 1, 2, 1, 2, 1, 2, 0, 0, 5, 6, 7, 8,
                                       1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 0, 0, 1, 2, 1, 2, 1, 2};
  int inputClass = 0;
  if (inputCode == 0 || inputCode == 2) inputClass = 1;
  if (inputCode == 1 || inputCode == 3) inputClass = 2;
  const int outputClass = outputCode >= 0 && outputCode < 40 ? kOutputClass[outputCode] : 0;
  return (inputClass << 8) + outputClass;
}

namespace {

void BuildOutputStage(Pipeline& p) {
  OutputStage stage = BuildOutput(p.outputCode);
  p.outputCode = stage.outputCode;
  p.status = stage.status;
  p.output = std::move(stage.tables);
}

}  // namespace

void Reset(Pipeline& p) {
  p.inputCode = kNone;
  p.outputCode = kNone;
  p.conversionType = kNoConversionType;
  p.adjustL = p.adjustC = p.adjustH = 0;
  p.input = ThreeTables{};
}

int SetProfile(Pipeline& p, const Bytes& file, int intent, int inputCode, int outputCode, double L,
               double c, double h) {
  p.input = ThreeTables{};
  p.adjustL = p.adjustC = p.adjustH = 0;
  p.conversionType = kNoConversionType;
  p.intent = intent;
  p.inputCode = inputCode;
  p.outputCode = outputCode;
  if (inputCode != 0 && inputCode != 1) {
    p.status = kNone;
    p.outputCode = kNone;
    return 65530;
  }

  p.profile = ParseProfile(file);
  p.status = kNone;
  if (const Lut16* lut = LookupFor(p.profile, intent)) {
    p.input = BuildInput(*lut, inputCode);
    p.cells = BuildCells(*lut, intent, outputCode, L, c, h, p.profile.wtpt);
    BuildOutputStage(p);
    // Unlike after SetIntent, the status is the code itself and not what the curve reported.
    p.status = p.outputCode;
  }
  p.conversionType = ConversionType(p.inputCode, p.outputCode);
  return 0;
}

int SetIntent(Pipeline& p, int intent, int inputCode, int outputCode) {
  if (p.inputCode == inputCode && p.intent == intent && p.outputCode == outputCode) {
    return outputCode;
  }
  p.inputCode = inputCode;
  p.outputCode = outputCode;
  p.intent = intent;
  const Lut16* lut = LookupFor(p.profile, intent);
  if (!lut) return kNone;
  p.input = BuildInput(*lut, inputCode);
  p.cells = BuildCells(*lut, intent, outputCode, p.adjustL, p.adjustC, p.adjustH, p.profile.wtpt);
  BuildOutputStage(p);
  return p.outputCode;
}

int AdjustLch(Pipeline& p, double L, double c, double h) {
  const int wholeL = static_cast<int>(L), wholeC = static_cast<int>(c),
            wholeH = static_cast<int>(h);
  if (wholeL == p.adjustL && wholeC == p.adjustC && wholeH == p.adjustH) return p.outputCode;
  p.adjustL = wholeL;
  p.adjustC = wholeC;
  p.adjustH = wholeH;
  const Lut16* lut = LookupFor(p.profile, p.intent);
  if (!lut) return kNone;
  // The fractions decide nothing above, but they count here.
  p.cells = BuildCells(*lut, p.intent, p.outputCode, L, c, h, p.profile.wtpt);
  return p.outputCode;
}

int AdjustOutput(Pipeline& p, const unsigned char* r, const unsigned char* g,
                 const unsigned char* b, int count) {
  if (count == 0 || !r || !g || !b) return p.outputCode;
  const Lut16* lut = LookupFor(p.profile, p.intent);
  if (!lut) return kNone;
  OutputCurve curve = IdentityOutput();
  ExpandOutput(curve, *lut);
  ExpandOutput(curve, r, g, b, count);
  if (p.inputCode == 0) {
    for (Levels& table : curve.lookup) ReduceTo8(table);
    p.status = p.outputCode;
  }
  p.output = curve.lookup;
  return p.outputCode;
}

std::array<std::uint32_t, 3> ConvertPixel(const Pipeline& p, unsigned s0, unsigned s1,
                                          unsigned s2) {
  const std::uint32_t e0 = p.input[0][s0], e1 = p.input[1][s1], e2 = p.input[2][s2];
  const std::int32_t fx = e0 & 0xFFFF, fy = e1 & 0xFFFF, fz = e2 & 0xFFFF;
  const Cell& cell = p.cells[((e0 >> 16) * 16 + (e1 >> 16)) * 16 + (e2 >> 16)];
  std::size_t chosen;
  if (fx > fy) {
    if (fx > fz) {
      chosen = fy > fz ? 0 : 1;
    } else {
      chosen = 2;
    }
  } else if (fy > fz) {
    chosen = fx > fz ? 3 : 4;
  } else {
    chosen = 5;
  }
  std::array<std::uint32_t, 3> result{};
  for (std::size_t k = 0; k < 3; ++k) {
    std::int32_t q[4];
    for (std::size_t i = 0; i < 4; ++i) q[i] = static_cast<std::int32_t>(cell[chosen][4 * k + i]);
    const std::int32_t v = (q[0] + q[1] * fx + q[2] * fy + q[3] * fz) >> 12;
    result[k] = p.output[k].at(static_cast<std::size_t>(v));
  }
  return result;
}

namespace {

template <typename Sample>
unsigned Load(const unsigned char* buffer, std::int64_t index) {
  Sample sample;
  std::memcpy(&sample, buffer + index * std::int64_t(sizeof sample), sizeof sample);
  return sample;
}

template <typename Sample>
void Store(unsigned char* buffer, std::int64_t index, std::uint32_t value) {
  const Sample sample = static_cast<Sample>(value);
  std::memcpy(buffer + index * std::int64_t(sizeof sample), &sample, sizeof sample);
}

template <typename Source, typename Target>
void Standard(const Pipeline& p, const unsigned char* src, unsigned char* dst,
              std::int64_t pixels) {
  for (std::int64_t pixel = 0; pixel < pixels; ++pixel) {
    const auto result =
        ConvertPixel(p, Load<Source>(src, 3 * pixel), Load<Source>(src, 3 * pixel + 1),
                     Load<Source>(src, 3 * pixel + 2));
    for (std::int64_t k = 0; k < 3; ++k) {
      Store<Target>(dst, 3 * pixel + k, result[static_cast<std::size_t>(k)]);
    }
  }
}

// What a profile marked "none" yields: the output tables themselves, up to their end.
template <typename Target>
void Fill(const Pipeline& p, unsigned char* dst, std::int64_t pixels) {
  for (std::int64_t at = 0; at < std::min<std::int64_t>(3 * pixels, 65536); ++at) {
    Store<Target>(dst, at, p.output[static_cast<std::size_t>(at % 3)][std::size_t(at)]);
  }
}

bool Empty(const Pipeline& p) {
  return p.input[0].empty();
}

}  // namespace

void Convert(const Pipeline& p, const unsigned char* src, unsigned char* dst, std::int64_t pixels) {
  if (Empty(p)) return;
  const bool none = p.profile.manufacturer == Signature("none");
  if (p.inputCode != 0) {
    if (none) {
      Fill<std::uint16_t>(p, dst, pixels);
    } else {
      Standard<std::uint16_t, std::uint16_t>(p, src, dst, pixels);
    }
  } else if (p.conversionType == 257) {
    if (none) {
      Fill<std::uint8_t>(p, dst, pixels);
    } else {
      Standard<std::uint8_t, std::uint8_t>(p, src, dst, pixels);
    }
  } else if (p.conversionType == 258) {
    Standard<std::uint8_t, std::uint16_t>(p, src, dst, pixels);
  }
}

void Convert(const Pipeline& p, const unsigned char* src, unsigned short* dst,
             std::int64_t pixels) {
  if (Empty(p)) return;
  Standard<std::uint8_t, std::uint16_t>(p, src, reinterpret_cast<unsigned char*>(dst), pixels);
}

}  // namespace reference

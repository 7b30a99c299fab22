#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "checks.h"
#include "declarations.h"
#include "profiles.h"

using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;
using namespace client;
using ICC40::ICC4_HEADER::TagA2B0;
using ICC40::ICC4_HEADER::TagWtpt;

namespace {

using Word = unsigned short;

std::unique_ptr<CLut16Type> Lut(unsigned grid, Node node) {
  Bytes bytes = Mft2(3, 3, grid, 2, 2, node);
  auto lut = std::make_unique<CLut16Type>();
  lut->Initial(TagA2B0, bytes.data(), static_cast<int>(bytes.size()));
  return lut;
}

/// Each channel follows its own input, node for node.
void Identity9(int i, int j, int k, unsigned* values) {
  values[0] = static_cast<unsigned>(std::min(65535, i * 8192));
  values[1] = static_cast<unsigned>(std::min(65535, j * 8192));
  values[2] = static_cast<unsigned>(std::min(65535, k * 8192));
}

void MidGrey(int, int, int, unsigned* values) {
  values[0] = 32640;  // L* 50
  values[1] = values[2] = 32768;
}

struct CountingTable : ColorTable33 {
  using ColorTable33::Conversion;
  int Conversion(Word& c0, Word&, Word&, Word&, Word&, Word&, Word&) override {
    c0 = static_cast<Word>(c0 + 1);
    return 0;
  }
  int Conversion(int& c0, int& c1, int& c2, int& o0, int&, int&, int& o3) override {
    ++calls;
    o0 = 1000 + c0;
    o3 = c2;
    c0 = c1 = c2 = 5;
    return 0;
  }
  int calls = 0;
};

void Three() {
  CHECK_EQ(MaxLutSize, 33);
  CHECK_EQ(ColorTable33::LUT_Cell, 2048);
  CHECK_EQ(ColorTable33::LUT_Size33, 33);

  const auto lut = Lut(9, Identity9);
  auto table = std::make_unique<ColorTable33>();
  ColorTable33* virtually = table.get();
  Base* base = table.get();
  CHECK_TEXT(base->label, "ColorTable33");
  CHECK(table->positions == nullptr);
  CHECK_EQ(table->node[0][0][0][0], 0);
  CHECK_EQ(virtually->Initial(lut.get(), lut.get()), 0);
  CHECK(table->positions == nullptr);  // that overload does nothing
  CHECK_EQ(virtually->Initial(lut.get()), 0);
  CHECK_EQ(table->power, 13);
  CHECK_EQ(table->lowBits, 8191);
  CHECK_EQ(table->perAxis, 9);
  CHECK_EQ(table->ins, 3);
  CHECK_EQ(table->outs, 3);
  CHECK_EQ(table->spacing, 8192.0);
  CHECK_EQ(table->positions[7], 57344);
  CHECK_EQ(table->positions[8], 65536);
  CHECK_EQ(table->node[1][2][3][0], 8192);
  CHECK_EQ(table->node[1][2][3][1], 16384);
  CHECK_EQ(table->node[1][2][3][2], 24576);

  Word c0 = 8192, c1 = 16384, c2 = 100, o = 6;
  base->Conversion(c0, c1, c2, o, o, o, o);
  CHECK_EQ(c0, 8192);
  CHECK_EQ(c1, 16384);
  CHECK_EQ(c2, 100);
  CHECK_EQ(o, 6);
  int n0 = 12345, n1 = 40000, n2 = 8191, nothing = 6;
  virtually->Conversion(n0, n1, n2, nothing, nothing, nothing, nothing);
  CHECK_EQ(n0, 12345);
  CHECK_EQ(n1, 40000);
  CHECK_EQ(n2, 8191);
  CHECK_EQ(nothing, 6);
  unsigned char bytes[3] = {1, 2, 3};
  base->Conversion(bytes, 1);
  CHECK_EQ(bytes[0] + bytes[1] + bytes[2], 6);

  CHECK_EQ(table->TableResize(17), 0);
  CHECK_EQ(table->power, 12);
  CHECK_EQ(table->lowBits, 4095);
  CHECK_EQ(table->perAxis, 17);
  CHECK_EQ(table->spacing, 4096.0);
  CHECK_EQ(table->positions[15], 61440);
  CHECK_EQ(table->positions[16], 65535);
  CHECK_EQ(table->node[1][0][0][0], 4096);
  CHECK_EQ(table->node[1][0][0][6], 0);

  Info info;
  info.in = RGB;
  info.out = RGB;
  info.CheckConversionType();
  info.CheckWorkingBuf(nullptr, nullptr, 100);
  for (int i = 0; i < 300; ++i) {
    info.work[i] = static_cast<Word>(190 * i);  // below 57344: the last cells end at 65535
  }
  CHECK_EQ(base->Conversion(&info), 0);
  int different = 0;
  for (int i = 0; i < 300; ++i) {
    different += info.work[i] != 190 * i;
  }
  CHECK_EQ(different, 0);

  // Values above 16 bits wrap.
  std::vector<int> cells(8 * 7, 70000);
  CHECK_EQ(table->SetColorTable(cells.data(), 2), 0);
  CHECK_EQ(table->perAxis, 2);
  CHECK_EQ(table->power, 11);
  CHECK_EQ(table->lowBits, 2047);
  CHECK_EQ(table->spacing, 4096.0);
  c0 = c1 = c2 = 1023;
  base->Conversion(c0, c1, c2, o, o, o, o);
  CHECK_EQ(c2, 70000 - 65536);

  // Five points are resampled to 17.
  const auto five = Lut(5, MidGrey);
  auto other = std::make_unique<ColorTable33>();
  CHECK_EQ(other->Initial(five.get()), 0);
  CHECK_EQ(other->perAxis, 17);
  CHECK_EQ(other->lowBits, 4095);
  CHECK_EQ(other->node[16][16][16][0], 32640);
}

void Overridden() {
  const auto lut = Lut(17, MidGrey);
  auto mine = std::make_unique<CountingTable>();
  ColorTable33* table = mine.get();
  table->Initial(lut.get());
  CHECK_EQ(table->TableResize(9), 0);
  CHECK_EQ(mine->calls, 9 * 9 * 9);
  CHECK_EQ(mine->node[8][0][3][0], 5);
  CHECK_EQ(mine->node[1][0][3][3], 1000 + 8192);
  CHECK_EQ(mine->node[1][0][3][6], 3 * 8192);
  CHECK_EQ(mine->node[8][0][0][3], 1000 + 65535);

  Info info;
  info.in = RGB;
  info.out = RGB;
  info.CheckConversionType();
  info.CheckWorkingBuf(nullptr, nullptr, 50);
  std::fill(info.work, info.work + 150, Word{7});
  CHECK_EQ(static_cast<Base*>(table)->Conversion(&info), 0);
  int sum = 0;
  for (int i = 0; i < 150; ++i) {
    sum += info.work[i];
  }
  CHECK_EQ(sum, 50 * (8 + 7 + 7));
  // A count that is refused is stored, and the buffer stays.
  info.type = 256;
  CHECK_EQ(info.CheckWorkingBuf(nullptr, nullptr, 20), 65534);
  CHECK_EQ(info.spare, 65535);
  CHECK_EQ(static_cast<Base*>(table)->Conversion(&info), 0);
  CHECK_EQ(info.work[3 * 19], 9);
  CHECK_EQ(info.work[3 * 20], 8);
}

void Adjustments() {
  const auto lut = Lut(9, MidGrey);
  auto table = std::make_unique<ColorTable33>();
  table->Initial(lut.get());
  CHECK_EQ(table->Adjust_Lch(100, 0, 0), 0);
  CHECK_EQ(table->node[8][8][8][0], 65280);
  table->Adjust_Lch(-200, 0, 0);
  CHECK_EQ(table->node[0][4][8][0], 0);

  // Half the luminance: L* = 116 * cbrt(0.18419 / 2) - 16 = 36.4, within 0.05.
  table->Initial(lut.get());
  CXYZType halved;
  halved.Initial(TagWtpt, 0.9642, 0.5, 0.8249);
  CHECK_EQ(table->Adjust_WhitePoint(&halved), 0);
  CHECK(std::abs(table->node[1][2][3][0] - 36.4 * 652.8) < 0.05 * 652.8);

  // White through identity output tables. With M the sRGB matrix from XYZ and the white
  // (63195, 65535, 54073) / 65535: 255 * (0.99992, 1.00001, 1.00003), clamped and truncated.
  const auto white = Lut(9, [](int, int, int, unsigned* v) {
    v[0] = 65280;
    v[1] = v[2] = 32768;
  });
  auto out = std::make_unique<OutputTable33>();
  const struct {
    ColorSpaceSignature cs;
    int returned;
  } kCodes[] = {{Adobe, 21},    {ColorMatch100_16, 31}, {Apple, 25}, {sRGB_KodakPhoto_16, 35},
                {Adobe100, 21}, {ColorMatch_16, 31},    {sRGB, 12}};
  for (const auto& row : kCodes) {
    table->Initial(white.get());
    CHECK_EQ(table->Lab2RGB100_16_1D(out.get(), row.cs, nullptr), row.returned);
  }
  CHECK_EQ(table->node[8][8][8][0], 254 << 8);
  CHECK_EQ(table->node[8][8][8][1], 255 << 8);
  CHECK_EQ(table->node[8][8][8][2], 255 << 8);

  // The same with the white point (0xF6D6, 0x10000, 0xD32D) / 65535: blue falls to 254.94.
  CXYZType d50;
  Bytes words = WhitePointTag();
  d50.Initial(TagWtpt, words.data(), 20);
  table->Initial(white.get());
  CHECK_EQ(table->Lab2RGB100_16_1D(out.get(), sRGB, &d50), 12);
  CHECK_EQ(table->node[0][0][0][0], 254 << 8);
  CHECK_EQ(table->node[0][0][0][1], 255 << 8);
  CHECK_EQ(table->node[0][0][0][2], 254 << 8);

  // Two output entries stand for the curve of 4096 points 16 * i, which gives 65265 and 32761 for
  // the white's codes: L* 99.977, a* and b* -0.027, RGB 255 * (0.99866, 0.99958, 0.99990).
  table->Initial(white.get());
  CHECK_EQ(table->Lab2RGB100_16(white.get(), sRGB, nullptr), 12);
  CHECK_EQ(table->node[4][4][4][0], 254 << 8);
  CHECK_EQ(table->node[4][4][4][1], 254 << 8);
  CHECK_EQ(table->node[4][4][4][2], 254 << 8);
}

template <class Table>
void Wider(const char* name, int outputColor, int channels) {
  auto table = std::make_unique<Table>();
  ColorTable33* virtually = table.get();
  Base* base = table.get();
  CHECK_TEXT(base->label, name);
  CHECK(table->positions == nullptr);
  const auto lut = Lut(9, MidGrey);
  virtually->Initial(lut.get());
  std::vector<int> cells;
  for (int i = 0; i < 9 * 9 * 9; ++i) {
    for (int c = 0; c < 7; ++c) {
      cells.push_back(100 * (c + 1));
    }
  }
  table->SetColorTable(cells.data(), 9);
  Word w[7] = {0, 0, 0, 9, 9, 9, 9};
  base->Conversion(w[0], w[1], w[2], w[3], w[4], w[5], w[6]);
  int n[7] = {0, 0, 0, 9, 9, 9, 9};
  virtually->Conversion(n[0], n[1], n[2], n[3], n[4], n[5], n[6]);
  for (int c = 0; c < 7; ++c) {
    const int expected = c < channels ? 100 * (c + 1) : 9;
    CHECK_EQ(w[c], expected);
    CHECK_EQ(n[c], expected);
  }
  CHECK_EQ(table->TableResize(17), 0);
  CHECK_EQ(table->node[16][0][16][channels - 1], 100 * channels);

  Info info;
  info.in = RGB_16;
  info.out = outputColor;
  info.CheckConversionType();
  info.CheckWorkingBuf(nullptr, nullptr, 40);
  std::fill(info.work, info.work + 40 * channels, Word{65535});
  CHECK_EQ(base->Conversion(&info), 0);
  int different = 0;
  for (int i = 0; i < 40 * channels; ++i) {
    different += info.work[i] != 100 * (i % channels + 1);
  }
  CHECK_EQ(different, 0);
  unsigned char bytes[1] = {5};
  base->Conversion(bytes, 1);
  CHECK_EQ(bytes[0], 5);
  CHECK_EQ(virtually->Initial(lut.get(), nullptr), 0);
}

}  // namespace

void CheckColorTables() {
  Three();
  Overridden();
  Adjustments();
  Wider<ColorTable34>("ColorTable34", CMYK_16, 4);
  Wider<ColorTable36>("ColorTable36", CLR6_16, 6);
  Wider<ColorTable37>("ColorTable37", CLR7_16, 7);
}

#include "tests/reference/Reference.h"

#include <gtest/gtest.h>

#include "tests/reference/RandomProfile.h"

// The model against numbers worked out by hand, before anything is compared with the model.
namespace reference {
namespace {

std::vector<std::uint16_t> Repeated(const std::vector<std::uint16_t>& curve, int times) {
  std::vector<std::uint16_t> tables;
  for (int i = 0; i < times; ++i) tables.insert(tables.end(), curve.begin(), curve.end());
  return tables;
}

Lut16 LutWithCurves(const std::vector<std::uint16_t>& in, const std::vector<std::uint16_t>& out) {
  Lut16 lut;
  lut.in = lut.out = 3;
  lut.grid = 2;
  lut.inEntries = static_cast<int>(in.size());
  lut.outEntries = static_cast<int>(out.size());
  lut.inTables = Repeated(in, 3);
  lut.outTables = Repeated(out, 3);
  lut.clut.assign(24, 0);
  return lut;
}

std::vector<std::uint16_t> Line256() {
  std::vector<std::uint16_t> line;
  for (int i = 0; i < 256; ++i) line.push_back(static_cast<std::uint16_t>(257 * i));
  return line;
}

TEST(ReferenceProfile, ReadsLut16Sizes) {
  const Profile profile = ParseProfile(WriteProfile(PlainSpec(33, 256, 4096)));
  const Lut16* lut = LookupFor(profile, 0);
  ASSERT_NE(lut, nullptr);
  EXPECT_EQ(lut->inTables.size(), 768u);
  EXPECT_EQ(lut->clut.size(), 107811u);
  EXPECT_EQ(lut->outTables.size(), 12288u);
  EXPECT_EQ(lut->inTables[255], 65535);
  EXPECT_EQ(lut->outTables[0], 0);
  EXPECT_EQ(lut->outTables[12287], 65535);
}

TEST(ReferenceProfile, PicksTheTagOfTheIntentAndFallsBackToA2B0) {
  const struct {
    const char* what;
    std::vector<std::uint32_t> tags;
    int intent;
    int expectedGrid;  // 2 for A2B0, 3 for A2B1, 4 for A2B2, 0 for none
  } kRows[] = {
      {"perceptual", {Signature("A2B0"), Signature("A2B1"), Signature("A2B2")}, 0, 2},
      {"relative", {Signature("A2B0"), Signature("A2B1"), Signature("A2B2")}, 1, 3},
      {"saturation", {Signature("A2B0"), Signature("A2B1"), Signature("A2B2")}, 2, 4},
      {"absolute", {Signature("A2B0"), Signature("A2B1"), Signature("A2B2")}, 3, 3},
      {"unknown intent", {Signature("A2B1"), Signature("A2B0")}, 9, 2},
      {"fall-back", {Signature("A2B0")}, 3, 2},
      {"fall-back from saturation", {Signature("A2B1"), Signature("A2B0")}, 2, 2},
      {"no fall-back to A2B1", {Signature("A2B1")}, 0, 0},
      {"no fall-back to A2B2", {Signature("A2B2")}, 1, 0},
  };
  for (const auto& row : kRows) {
    ProfileSpec spec = PlainSpec(2, 0, 0);
    const TagSpec base = spec.tags[0];
    spec.tags.clear();
    for (std::uint32_t signature : row.tags) {
      TagSpec tag = base;
      tag.signature = signature;
      tag.grid = 2 + static_cast<int>((signature & 0xFF) - '0');
      spec.tags.push_back(tag);
    }
    const Profile profile = ParseProfile(WriteProfile(spec));
    const Lut16* lut = LookupFor(profile, row.intent);
    EXPECT_EQ(lut ? lut->grid : 0, row.expectedGrid) << row.what;
  }
}

TEST(ReferenceProfile, FirstOfTwoEqualSignaturesWins) {
  ProfileSpec spec = PlainSpec(5, 0, 0);
  spec.tags.push_back(spec.tags[0]);
  spec.tags[1].grid = 7;
  EXPECT_EQ(LookupFor(ParseProfile(WriteProfile(spec)), 0)->grid, 5);
}

Bytes HandMadeMab(unsigned curveCount, bool padded) {
  Bytes tag;
  const auto u32 = [&](std::uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      tag.push_back(static_cast<unsigned char>(v >> shift));
    }
  };
  const auto u16 = [&](unsigned v) {
    tag.push_back(static_cast<unsigned char>(v >> 8));
    tag.push_back(static_cast<unsigned char>(v));
  };
  const unsigned length = 12 + 2 * curveCount;
  const unsigned advance = padded ? (length + 3) / 4 * 4 : 14 + 2 * curveCount;
  const std::uint32_t clut = 32 + 3 * advance, aCurves = clut + 20 + 48;
  u32(Signature("mAB "));
  u32(0);
  tag.insert(tag.end(), {3, 3, 0, 0});
  for (std::uint32_t v : {32u, 0u, 0u, clut, aCurves}) u32(v);
  const auto curves = [&](unsigned first) {
    for (unsigned c = 0; c < 3; ++c) {
      u32(Signature("curv"));
      u32(0);
      u32(curveCount);
      for (unsigned i = 0; i < curveCount; ++i) u16(first + 16 * c + i);
      tag.insert(tag.end(), advance - length, 0);
    }
  };
  curves(0x1000);  // B
  tag.insert(tag.end(), {2, 2, 2});
  tag.insert(tag.end(), 13, 0);
  tag.insert(tag.end(), {2, 0, 0, 0});
  for (unsigned v = 0; v < 24; ++v) u16(0x4000 + v);
  curves(0x2000);  // A
  return tag;
}

TEST(ReferenceProfile, MabBecomesLut16) {
  const auto lut = Lut16FromMab(HandMadeMab(3, true));
  ASSERT_TRUE(lut);
  EXPECT_EQ(lut->grid, 2);
  EXPECT_EQ(lut->inEntries, 3);
  const std::vector<std::uint16_t> a = {0x2000, 0x2001, 0x2002, 0x2010, 0x2011,
                                        0x2012, 0x2020, 0x2021, 0x2022};
  EXPECT_EQ(lut->inTables, a);
  std::vector<std::uint16_t> b;
  for (std::uint16_t v : a) b.push_back(static_cast<std::uint16_t>(v - 0x1000));
  EXPECT_EQ(lut->outTables, b);
  EXPECT_EQ(lut->clut.front(), 0x4000);
  EXPECT_EQ(lut->clut.back(), 0x4017);
}

// A curve is looked for 14 + 2 x count bytes behind the one before, which is two too many when
// the count is even and the writer padded to four bytes.
TEST(ReferenceProfile, EvenCurveCountsNeedTwoBytesMoreThanPadding) {
  const auto spaced = Lut16FromMab(HandMadeMab(4, false));
  ASSERT_TRUE(spaced);
  EXPECT_EQ(spaced->inTables[4], 0x2010);
  EXPECT_EQ(spaced->inTables[11], 0x2023);

  const auto padded = Lut16FromMab(HandMadeMab(4, true));
  ASSERT_TRUE(padded);
  EXPECT_EQ(padded->inTables[3], 0x2003);
  EXPECT_EQ(padded->inTables[4], 0x2011);  // two bytes late: the second value first
}

TEST(ReferenceProfile, MabThatCannotServe) {
  const struct {
    const char* what;
    std::size_t at;
    unsigned char value;
    bool usable;
  } kRows[] = {
      {"unchanged", 4, 0, true},
      {"four inputs", 8, 4, false},
      {"two outputs", 9, 2, false},
      {"no B curves", 15, 0, false},
      {"first axis of 3", 32 + 60, 3, false},
      {"second axis of 3", 32 + 61, 3, true},
      {"second axis of 1", 32 + 61, 1, false},
      {"8-bit CLUT", 32 + 60 + 16, 1, false},
  };
  for (const auto& row : kRows) {
    Bytes tag = HandMadeMab(3, true);
    tag.at(row.at) = row.value;
    EXPECT_EQ(Lut16FromMab(tag).has_value(), row.usable) << row.what;
  }
}

TEST(ReferenceInput, Lookup) {
  const struct {
    const char* what;
    std::vector<std::uint16_t> curve;
    int code;
    std::size_t at;
    std::uint32_t expected;
  } kRows[] = {
      {"no entries: identity", {}, 1, 12345, 12345},
      {"one entry: identity", {9}, 1, 65535, 65535},
      {"two entries: identity, not interpolated", {65535, 0}, 1, 100, 100},
      {"identity, 8 bit", {}, 0, 254, 65024},
      {"identity, 8 bit, top", {}, 0, 255, 65535},
      {"256 linear entries", Line256(), 1, 40001, 40001},
      {"256 linear entries, 8 bit", Line256(), 0, 3, 768},
      {"three entries, node", {10, 20, 40}, 1, 65535, 40},
      // v = 32768: i = 1, f = 0.5 / 32767.5
      {"three entries, above the middle", {10, 20, 40}, 1, 32768, 20},
      // v = 49151: f = 16383.5 / 32767.5, 20 x (1 - f) + 40 x f + 0.5 = 30.4997
      {"three entries, three quarters", {10, 20, 40}, 1, 49151, 30},
      // v = 16384: f = 0.500015, 15.00015 + 0.5
      {"three entries, one quarter", {10, 20, 40}, 1, 16384, 15},
  };
  for (const auto& row : kRows) {
    const InputCurve curve = ExpandInput(LutWithCurves(row.curve, {}), row.code);
    for (const Levels& lookup : curve.lookup) EXPECT_EQ(lookup[row.at], row.expected) << row.what;
  }
}

// 13107 divides 65535: an entry every 5 levels.
std::vector<std::uint16_t> LongLine() {
  std::vector<std::uint16_t> line;
  for (int i = 0; i <= 13107; ++i) line.push_back(static_cast<std::uint16_t>(5 * i));
  return line;
}

TEST(ReferenceInput, MissingChannelsAreZero) {
  for (int channels : {0, 1, 2}) {
    for (const auto& curve : {std::vector<std::uint16_t>(), Line256()}) {
      Lut16 lut = LutWithCurves(curve, {});
      lut.in = channels;
      const InputCurve expanded = ExpandInput(lut, 1);
      for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(expanded.lookup[std::size_t(c)][40000], c < channels ? 40000u : 0u);
        EXPECT_EQ(expanded.lookup[std::size_t(c)][65535], c < channels ? 65535u : 0u);
      }
    }
  }
}

TEST(ReferenceInput, LongCurves) {
  const InputCurve curve = ExpandInput(LutWithCurves(LongLine(), {}), 1);
  for (std::uint32_t v = 0; v < 65536; ++v) ASSERT_EQ(curve.lookup[2][v], v);
}

TEST(ReferenceInput, LabReindexing) {
  const InputCurve lab8 = ExpandInput(LutWithCurves({}, {}), 2);
  EXPECT_EQ(lab8.lookup[0][255], 65280u);
  EXPECT_EQ(lab8.lookup[1][0], 32767u);    // old value at 32768, less 1
  EXPECT_EQ(lab8.lookup[1][255], 32513u);  // old value at 32512, plus 1
  EXPECT_EQ(lab8.lookup[2][128], 32768u);
  const InputCurve lab16 = ExpandInput(LutWithCurves({}, {}), 3);
  EXPECT_EQ(lab16.lookup[0][0], 0u);
  EXPECT_EQ(lab16.lookup[1][0], 32768u);
  EXPECT_EQ(lab16.lookup[2][32768], 0u);
  EXPECT_EQ(lab16.lookup[1][32767], 32767u);
}

TEST(ReferenceInput, Packing) {
  const struct {
    std::uint32_t position, packed;
  } kRows[] = {{0, 0},           {4095, 0x00FFF},        {4096, 0x10000},
               {65535, 0xF0FFF}, {0xFFFFFFFFu, 0xF0FFF}, {0x12345, 0x20345}};
  for (const auto& row : kRows) EXPECT_EQ(Pack(row.position), row.packed) << row.position;
  const ThreeTables tables = BuildInput(LutWithCurves({}, {}), 0);
  EXPECT_EQ(tables[2].size(), 256u);
  EXPECT_EQ(tables[2][254], 0xF0E00u);
  EXPECT_EQ(tables[2][255], 0xF0FFFu);
}

// One cell whose corners tell the six tetrahedra apart.
Grid TellTaleGrid() {
  Lut16 lut;
  lut.in = lut.out = 3;
  lut.grid = 9;
  lut.clut.assign(9 * 9 * 9 * 3, 0);
  Grid grid = LoadGrid(lut);
  const int corner[8] = {0, 192, 128, 4096, 64, 2048, 1024, 8192};
  for (int v = 0; v < 8; ++v) {
    const int i = v >> 2, j = v >> 1 & 1, k = v & 1;
    grid.nodes[static_cast<std::size_t>((i * 9 + j) * 9 + k)] = {corner[v], corner[v],
                                                                 8192 - corner[v]};
  }
  return grid;
}

TEST(ReferenceColour, MissingOutputsAreZero) {
  Lut16 lut;
  lut.in = 1;
  lut.out = 2;
  lut.grid = 9;
  lut.clut.assign(9 * 9 * 9 * 2, 700);
  EXPECT_EQ(LoadGrid(lut).At(8, 3, 1), (std::array<int, 3>{700, 700, 0}));
  lut.out = 0;
  lut.clut.clear();
  EXPECT_EQ(LoadGrid(lut).At(8, 3, 1), (std::array<int, 3>{0, 0, 0}));
}

TEST(ReferenceColour, SixTetrahedra) {
  const struct {
    int r, g, b;  // quarters of the cell
    int expected;
  } kRows[] = {
      {3, 2, 1, 2320},  // 64 x 3/4 + 960 x 2/4 + 7168 x 1/4
      {3, 1, 2, 2576},  // 64 x 3/4 + 6144 x 1/4 + 1984 x 2/4
      {2, 1, 3, 2608},  // 1856 x 2/4 + 6144 x 1/4 + 192 x 3/4
      {2, 3, 1, 2336},  // 896 x 2/4 + 128 x 3/4 + 7168 x 1/4
      {1, 3, 2, 3104},  // 4096 x 1/4 + 128 x 3/4 + 3968 x 2/4
      {1, 2, 3, 3120},  // 4096 x 1/4 + 3904 x 2/4 + 192 x 3/4
      {0, 0, 0, 0},    {2, 2, 2, 4096}, {3, 0, 3, 1536}, {3, 3, 0, 768}, {0, 3, 3, 3072},
  };
  const Grid grid = TellTaleGrid();
  Pipeline p;
  p.cells = CellsOf(grid);
  p.output = IdentityOutput().lookup;
  for (Levels& input : p.input) input = {0, 1024, 2048, 3072};
  for (const auto& row : kRows) {
    const auto exact = Evaluate(grid, 2048 * row.r, 2048 * row.g, 2048 * row.b);
    EXPECT_EQ(exact[0], row.expected) << row.r << row.g << row.b;
    EXPECT_EQ(exact[2], 8192 - row.expected) << row.r << row.g << row.b;
    const auto packed = ConvertPixel(p, static_cast<unsigned>(row.r), static_cast<unsigned>(row.g),
                                     static_cast<unsigned>(row.b));
    EXPECT_EQ(packed[1], static_cast<std::uint32_t>(row.expected)) << row.r << row.g << row.b;
  }
}

TEST(ReferenceColour, EvaluationTruncatesTowardZero) {
  Lut16 lut = LutWithCurves({}, {});
  Grid grid;
  grid.points = 2;
  grid.step = 65536;
  grid.positions = {0, 65536};
  for (int node = 0; node < 8; ++node)
    grid.nodes.push_back({node & 4 ? 1000 : 0, node & 4 ? 0 : 1000, 7});
  EXPECT_EQ(Evaluate(grid, 65535, 0, 0), (std::array<int, 3>{999, 1, 7}));
  EXPECT_EQ(Evaluate(grid, 32768, 65535, 9), (std::array<int, 3>{500, 500, 7}));
  EXPECT_EQ(LoadGrid(lut).points, 17);
}

TEST(ReferenceColour, ResizePicksEverySecondNodeOf33) {
  Lut16 lut;
  lut.in = lut.out = 3;
  lut.grid = 33;
  for (int i = 0; i < 33; ++i) {
    for (int j = 0; j < 33; ++j) {
      for (int k = 0; k < 33; ++k) {
        for (int v : {i, j, k}) lut.clut.push_back(static_cast<std::uint16_t>(v * 1000));
      }
    }
  }
  Grid grid = LoadGrid(lut);
  EXPECT_EQ(grid.points, 33);
  Resize(grid, 17);
  EXPECT_EQ(grid.At(0, 5, 15), (std::array<int, 3>{0, 10000, 30000}));
  // 65535: 31000 + trunc(1000 x 2047 / 2048)
  EXPECT_EQ(grid.At(16, 16, 1), (std::array<int, 3>{31999, 31999, 2000}));
  EXPECT_EQ(grid.positions[16], 65535);
}

TEST(ReferenceColour, ShiftLch) {
  const struct {
    const char* what;
    std::array<int, 3> node;
    double L, c, h;
    std::array<int, 3> expected;
  } kRows[] = {
      {"lighter", {32640, 32768, 32768}, 10, 0, 0, {39168, 32768, 32768}},
      {"lighter than white", {65280, 32768, 32768}, 1, 0, 0, {65280, 32768, 32768}},
      {"above 100 before", {65535, 32768, 32768}, 0, 0, 0.5, {65280, 32768, 32768}},
      {"darker than black", {100, 32768, 32768}, -50, 0, 0, {0, 32768, 32768}},
      {"chroma down to grey", {0, 49152, 32768}, 0, -65, 0, {0, 32768, 32768}},
      {"chroma up to 100", {0, 49152, 32768}, 0, 99, 0, {0, 58368, 32768}},
      // cos(0.0174533 x 90) = -6.7e-7: just below the middle
      {"a quarter turn", {0, 49152, 32768}, 0, 0, 90, {0, 32767, 49151}},
  };
  for (const auto& row : kRows) {
    Grid grid;
    grid.points = 1;
    grid.nodes = {row.node};
    ShiftLch(grid, row.L, row.c, row.h);
    EXPECT_EQ(grid.nodes[0], row.expected) << row.what;
  }
}

TEST(ReferenceColour, LabToRgb) {
  const White unit = std::array<std::int32_t, 3>{65536, 65536, 65536};
  const struct {
    const char* what;
    double L;
    int code;
    White white;
    double R, G, B;
  } kRows[] = {
      {"white, sRGB", 100, 12, std::nullopt, 254.978, 255, 255},
      // rows of the matrix added up: 1.0260, 0.9709, 1.2484
      {"equal-energy white", 100, 12, unit, 255, 247.583, 255},
      // Adobe: 1.0104, 0.9709, 1.2369
      {"equal-energy white, Adobe", 100, 22, unit, 255, 247.583, 255},
      // Apple: 1.0194, 0.9649, 1.2574
      {"equal-energy white, Apple", 100, 24, unit, 255, 246.053, 255},
      // ColorMatch: 1.0256, 0.9631, 1.2576
      {"equal-energy white, ColorMatch", 100, 31, unit, 255, 245.594, 255},
      {"black", 0, 12, std::nullopt, 0, 0, 0},
      // L = 7.9996 is still on the linear part: Y = 0.00885597; X = Y but for the roundings
      {"top of the linear part", 7.9996, 12, unit, 2.317, 2.193, 2.819},
  };
  for (const auto& row : kRows) {
    const LinearRgb rgb = LabToRgb(row.L, 0, 0, row.code, row.white);
    EXPECT_NEAR(rgb.R, row.R, 0.001) << row.what;
    EXPECT_NEAR(rgb.G, row.G, 0.001) << row.what;
    EXPECT_NEAR(rgb.B, row.B, 0.001) << row.what;
  }
}

TEST(ReferenceOutput, FixedCurves) {
  const struct {
    int code;
    std::size_t at;
    std::uint32_t expected;
  } kRows[] = {
      {8, 0, 0},          {8, 1, 1},          {12, 32768, 189},   {12, 65535, 255},
      {9, 1, 12},         {9, 100, 1292},     {13, 32768, 48191}, {13, 65535, 65535},
      {23, 32768, 44589}, {31, 65535, 65535}, {30, 65535, 255},   {11, 777, 777},
      {10, 128, 0},       {10, 129, 1},       {10, 65535, 255},   {10, 65280, 255},
      {35, 0, 0},         {35, 1, 6},         {35, 1023, 6774},   {35, 1024, 6908},
      {35, 32768, 45031}, {35, 65535, 65535}, {34, 65535, 255},   {36, 65535, 255},
      {39, 2048, 0},      {39, 10240, 16722}, {38, 10240, 65},    {38, 2048, 0},
  };
  for (const auto& row : kRows) {
    const OutputStage stage = BuildOutput(row.code);
    for (const Levels& table : stage.tables) {
      EXPECT_EQ(table[row.at], row.expected) << "code " << row.code << " at " << row.at;
    }
  }
}

TEST(ReferenceOutput, KodakMixOfTheEightBitKind) {
  Levels table = IdentityOutput().lookup[0];
  KodakCurve(table, 512, 2048, 1.5, 0.2, 2.2);
  const struct {
    std::size_t at;
    std::uint32_t expected;
  } kRows[] = {{0, 0}, {512, 0}, {513, 4}, {2047, 7600}, {2048, 7733}, {65535, 65535}};
  for (const auto& row : kRows) EXPECT_EQ(table[row.at], row.expected) << row.at;
}

TEST(ReferenceOutput, StatusAfterEachCode) {
  for (int code = 0; code <= 41; ++code) {
    const bool accepted =
        (code >= 8 && code <= 13) || (code >= 20 && code <= 31) || (code >= 34 && code <= 39);
    int status = accepted ? code : 65535;
    if (code == 12) status = 8;
    if (code == 13) status = 9;
    const OutputStage stage = BuildOutput(code);
    EXPECT_EQ(stage.status, status) << code;
    EXPECT_EQ(stage.outputCode, accepted ? code : 65535) << code;
  }
}

TEST(ReferenceOutput, ProfileCurves) {
  const struct {
    const char* what;
    std::vector<std::uint16_t> curve;
    std::size_t at;
    std::int32_t expected;
  } kRows[] = {
      {"256 entries, first node reached early", Line256(), 256, 257},
      {"256 entries, node", Line256(), 257, 257},
      // i = 4079, f = 1.0586 / 15: 65264 + 1.129 + 0.5
      {"no entries, L* of white", {}, 65280, 65265},
      // i = 2047, f = 8.5018 / 15: 32752 + 9.0686 + 0.5
      {"no entries, middle", {}, 32768, 32761},
      {"no entries, top", {}, 65535, 65520},
      {"three entries, top", {0, 0, 9}, 65535, 9},
      // f = 32767 / 21845.33 = 1.49995: 100 x (1 - f) + 0.5 = -49.49
      {"fraction beyond 1 below zero", {100, 0, 0}, 32767, -49},
  };
  for (const auto& row : kRows) {
    OutputCurve curve = IdentityOutput();
    ExpandOutput(curve, LutWithCurves({}, row.curve));
    EXPECT_EQ(static_cast<std::int32_t>(curve.lookup[1][row.at]), row.expected) << row.what;
  }
}

TEST(ReferenceOutput, LongCurvesAndMissingChannels) {
  Lut16 lut = LutWithCurves({}, LongLine());
  lut.out = 2;
  OutputCurve curve = IdentityOutput();
  ExpandOutput(curve, lut);
  EXPECT_EQ(curve.entries, 13108);
  EXPECT_EQ(curve.step, 5.0);
  for (std::uint32_t v = 0; v < 65536; v += 5) ASSERT_EQ(curve.lookup[1][v], v);
  for (std::uint32_t v = 0; v < 65536; ++v) ASSERT_EQ(curve.lookup[2][v], v);
  // The top stays where no entry of the caller's is the last one.
  const std::vector<unsigned char> zeros(4096);
  ExpandOutput(curve, zeros.data(), zeros.data(), zeros.data(), 4096);
  EXPECT_EQ(curve.lookup[0][60000], 0u);
  EXPECT_EQ(curve.lookup[0][65535], 65535u);
  EXPECT_EQ(curve.lookup[2][65535], 65535u);
}

TEST(ReferenceOutput, CallerCurves) {
  std::vector<unsigned char> ramp(256);
  for (std::size_t i = 0; i < 256; ++i) ramp[i] = static_cast<unsigned char>(i);
  OutputCurve curve = IdentityOutput();
  ExpandOutput(curve, LutWithCurves({}, {0, 1, 2}));
  ExpandOutput(curve, ramp.data(), ramp.data(), ramp.data(), 256);
  EXPECT_EQ(curve.lookup[0][257], 256u);
  EXPECT_EQ(curve.lookup[0][256], 256u);
  // The last entry comes from the count of the profile's curve: entry 2 of the ramp.
  EXPECT_EQ(curve.lookup[0][65535], 512u);
}

TEST(ReferenceOutput, ReductionIsSigned) {
  Levels table = {0,
                  128,
                  129,
                  65280,
                  65535,
                  static_cast<std::uint32_t>(-127),
                  static_cast<std::uint32_t>(-128)};
  ReduceTo8(table);
  EXPECT_EQ(table, (Levels{0, 0, 1, 255, 255, 0, 0xFFFFFFFFu}));
}

TEST(ReferenceChain, ConversionTypes) {
  const struct {
    int in, out, expected;
  } kRows[] = {{0, 12, 257}, {0, 13, 258}, {1, 12, 513}, {1, 39, 514},    {0, 4, 259},
               {1, 19, 520}, {0, 6, 256},  {2, 2, 257},  {0, 65535, 256}, {4, 12, 1}};
  for (const auto& row : kRows) {
    EXPECT_EQ(ConversionType(row.in, row.out), row.expected) << row.in << ' ' << row.out;
  }
}

TEST(ReferenceChain, FillIsBoundedByTheTables) {
  ProfileSpec spec = PlainSpec(2, 0, 0);
  spec.manufacturer = Signature("none");
  Pipeline p;
  ASSERT_EQ(SetProfile(p, WriteProfile(spec), 0, 0, 12, 0, 0, 0), 0);
  constexpr int kPixels = 21846;  // two samples more than a table has entries
  Bytes dst(3 * kPixels, 77);
  Convert(p, nullptr, dst.data(), kPixels);
  EXPECT_EQ(dst[0], 0);
  EXPECT_EQ(dst[32768], 189);
  EXPECT_EQ(dst[65535], 255);
  EXPECT_EQ(dst[65536], 77);
  EXPECT_EQ(dst[65537], 77);
}

TEST(ReferenceChain, ProfileOfBlackConvertsToBlack) {
  Lut16 lut = LutWithCurves({}, {});
  for (std::size_t node = 0; node < 8; ++node) {
    lut.clut[3 * node + 1] = lut.clut[3 * node + 2] = 32768;
  }
  const auto cells = BuildCells(lut, 0, 12, 0, 0, 0, std::nullopt);
  ASSERT_EQ(cells.size(), 4096u);
  for (const Cell& cell : cells) {
    for (const Tetrahedron& t : cell) EXPECT_EQ(t, Tetrahedron{});
  }
}

}  // namespace
}  // namespace reference

#include "profile/ProfileReader.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/profile/ProfileForms.h"

namespace kxcms {
namespace {

using namespace profile_forms;

std::string Text(Signature signature) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(signature >> shift & 0xFF);
  return text;
}

std::string Text(const Curve& curve) {
  std::ostringstream text;
  if (std::holds_alternative<IdentityCurve>(curve)) text << "identity";
  if (const auto* gamma = std::get_if<GammaCurve>(&curve)) text << "gamma " << gamma->gamma;
  if (const auto* p = std::get_if<ParametricCurve>(&curve)) {
    text << "para" << p->function << "(" << p->g << " " << p->a << " " << p->b << " " << p->c << " "
         << p->d << " " << p->e << " " << p->f << ")";
  }
  if (const auto* table = std::get_if<SampledCurve>(&curve)) {
    text << table->values.size() << "/" << table->maximum;
  }
  return text.str();
}

std::string Text(const std::array<Curve, 3>& curves) {
  return Text(curves[0]) + ", " + Text(curves[1]) + ", " + Text(curves[2]);
}

std::string Text(const Element& element) {
  std::ostringstream text;
  if (const auto* set = std::get_if<CurveSet>(&element)) return "[" + Text(set->curves) + "]";
  if (const auto* matrix = std::get_if<MatrixElement>(&element)) {
    text << "matrix";
    for (const double value : matrix->matrix) text << " " << value;
    text << " +";
    for (const double value : matrix->offset) text << " " << value;
  }
  if (const auto* grid = std::get_if<ColorGrid>(&element)) {
    text << "grid " << grid->points[0] << "x" << grid->points[1] << "x" << grid->points[2] << "/"
         << grid->maximum;
  }
  return text.str();
}

std::string Text(const LookupTable& table) {
  const char* const kEncodings[] = {"Lab", "legacy Lab", "XYZ"};
  std::string text =
      Text(table.tag) + " " + Text(table.type) + " " + kEncodings[static_cast<int>(table.pcs)];
  for (const Element& element : table.elements) text += " | " + Text(element);
  return text;
}

/// All models of a profile, in processing order.
std::string Models(const DeviceProfile& profile) {
  std::string text;
  const auto add = [&text](const std::string& model) {
    text += text.empty() ? model : "\n" + model;
  };
  for (const auto* tables : {&profile.deviceToPcs, &profile.pcsToDevice}) {
    for (const auto& table : *tables) {
      if (table) add(Text(*table));
    }
  }
  if (profile.matrixTrc) add("[" + Text(profile.matrixTrc->curves) + "] | matrix");
  return text;
}

DeviceProfile Read(const ProfileBytes& profile) {
  return ReadProfile(profile.Build());
}

constexpr char kMatrix[] = "matrix 0.5 0.25 0 0 -1.5 1 0 0 ";
constexpr char kB[] = "[3/65535, gamma 1.5, para0(2.5 0 0 0 0 0 0)]";
constexpr char kM[] = "[identity, 4/65535, 6/65535]";
constexpr char kA[] = "[para3(2.5 0.75 0.25 0.125 0.0625 0 0), identity, 2/65535]";
constexpr char kLut16[] =
    " | [2/65535, 2/65535, 2/65535] | grid 2x2x2/65535 | [3/65535, 3/65535, 3/65535]";

std::string Join(std::initializer_list<std::string> parts) {
  std::string text;
  for (const std::string& part : parts) text += part;
  return text;
}

TEST(ProfileReader, EveryFormInProcessingOrder) {
  const struct {
    const char* form;
    std::string models;
  } kRows[] = {
      {"lut16-lab", Join({"A2B0 mft2 legacy Lab", kLut16})},
      {"lut16-xyz",
       "A2B0 mft2 XYZ | [4/65535, 4/65535, 4/65535] | grid 3x3x3/65535 | "
       "[2/65535, 2/65535, 2/65535]"},
      {"lut16-xyz-backward", Join({"B2A0 mft2 XYZ | ", kMatrix, "2 + 0 0 0", kLut16})},
      {"lut8-lab",
       "A2B1 mft1 Lab | [256/255, 256/255, 256/255] | grid 2x2x2/255 | [256/255, 256/255, "
       "256/255]"},
      {"b", Join({"A2B0 mAB  Lab | ", kB})},
      {"m-matrix-b",
       Join({"A2B0 mAB  XYZ | ", kM, " | ", kMatrix, "1.5 + 0.5 -0.25 0.125 | ", kB})},
      {"a-clut-b", Join({"A2B2 mAB  Lab | ", kA, " | grid 2x3x4/255 | ", kB})},
      {"a-clut-m-matrix-b", Join({"A2B0 mAB  Lab | ", kA, " | grid 2x3x4/65535 | ", kM, " | ",
                                  kMatrix, "1.5 + 0.5 -0.25 0.125 | ", kB})},
      {"b-matrix-m-clut-a", Join({"B2A0 mBA  Lab | ", kB, " | ", kMatrix,
                                  "1.5 + 0.5 -0.25 0.125 | ", kM, " | grid 2x3x4/65535 | ", kA})},
      {"matrix-curv", "[identity, gamma 2.19922, 5/65535] | matrix"},
      {"matrix-para",
       "[para1(2 0.5 0.5 0 0 0 0), para2(2 0.5 0.25 0.25 0 0 0), "
       "para4(2.25 1 0 0.5 0.125 -0.25 0.0625)] | matrix"},
      {"full", Join({"A2B0 mAB  XYZ | ",
                     kA,
                     " | grid 2x3x4/65535 | ",
                     kM,
                     " | ",
                     kMatrix,
                     "1.5 + 0.5 -0.25 0.125 | ",
                     kB,  //
                     "\nA2B1 mft2 XYZ",
                     kLut16,  //
                     "\nA2B2 mft2 XYZ",
                     kLut16,  //
                     "\nB2A0 mBA  XYZ | ",
                     kB,
                     " | ",
                     kMatrix,
                     "1.5 + 0.5 -0.25 0.125 | ",
                     kM,
                     " | grid 2x3x4/255 | ",
                     kA,  //
                     "\nB2A1 mft2 XYZ | ",
                     kMatrix,
                     "2 + 0 0 0 | [3/65535, 3/65535, 3/65535] | ",
                     "grid 2x2x2/65535 | [2/65535, 2/65535, 2/65535]",
                     "\nB2A2 mft2 XYZ | ",
                     kMatrix,
                     "2 + 0 0 0 | [3/65535, 3/65535, 3/65535] | ",
                     "grid 2x2x2/65535 | [2/65535, 2/65535, 2/65535]",
                     "\n[gamma 2.19922, gamma 2.19922, gamma 2.19922] | matrix"})},
  };
  const std::vector<Form> forms = Forms();
  ASSERT_EQ(forms.size(), std::size(kRows));
  for (std::size_t n = 0; n < forms.size(); ++n) {
    EXPECT_EQ(forms[n].name, kRows[n].form);
    EXPECT_EQ(Models(ReadProfile(forms[n].bytes)), kRows[n].models) << forms[n].name;
  }
}

// ---- The values of tables -----------------------------------------------------------------------

// Three tables, one behind the other.
void ExpectTables(const Element& element, const Samples& values) {
  Samples joined;
  for (const Curve& curve : std::get<CurveSet>(element).curves) {
    const auto& table = std::get<SampledCurve>(curve).values;
    joined.insert(joined.end(), table.begin(), table.end());
  }
  EXPECT_EQ(joined, values);
}

TEST(ProfileReader, ValuesOfALut16) {
  const Mft2 lut = Lut16(3, 5, 4);
  const auto profile = Read(WithTag("A2B0", lut.Tag()));
  const auto& elements = profile.deviceToPcs[0]->elements;
  ASSERT_EQ(elements.size(), 3u);
  ExpectTables(elements[0], lut.inputTables);
  EXPECT_EQ(std::get<ColorGrid>(elements[1]).values, lut.colorTable);
  ExpectTables(elements[2], lut.outputTables);
}

TEST(ProfileReader, ValuesOfALut8) {
  const auto profile = Read(WithTag("B2A2", Lut8Tag(3)));
  const auto& elements = profile.pcsToDevice[2]->elements;
  ASSERT_EQ(elements.size(), 3u);
  ExpectTables(elements[0], Values(768, 1, 255));
  EXPECT_EQ(std::get<ColorGrid>(elements[1]).values, Values(81, 2, 255));
  ExpectTables(elements[2], Values(768, 3, 255));
}

TEST(ProfileReader, ValuesOfCurvesAndClut) {
  for (const int precision : {1, 2}) {
    const Elements lut = WithClut(MatrixAndB(), precision);
    const auto profile = Read(WithTag("A2B0", lut.Tag()));
    const auto& elements = profile.deviceToPcs[0]->elements;
    ASSERT_EQ(elements.size(), 5u);
    EXPECT_EQ(std::get<ColorGrid>(elements[1]).values, lut.clut);
    const auto values = [&](std::size_t element, std::size_t channel) {
      const auto& set = std::get<CurveSet>(elements[element]);
      return std::get<SampledCurve>(set.curves[channel]).values;
    };
    EXPECT_EQ(values(0, 2), Values(2, 4));
    EXPECT_EQ(values(2, 1), Values(4, 2));
    EXPECT_EQ(values(2, 2), Values(6, 3));
    EXPECT_EQ(values(4, 0), Values(3, 1));
  }
}

TEST(ProfileReader, ValuesOfColorantsAndCurves) {
  const auto profile =
      Read(MatrixProfile(CurvTag(Values(4, 1)), CurvTag(Values(300, 2)), CurvTag({})));
  const Matrix3 kExpected = {0.4360, 0.3851, 0.1431, 0.2225, 0.7169,
                             0.0606, 0.0139, 0.0971, 0.7139};
  for (std::size_t n = 0; n < 9; ++n) {
    EXPECT_NEAR(profile.matrixTrc->matrix[n], kExpected[n], 0.5 / 65536) << n;
  }
  EXPECT_EQ(std::get<SampledCurve>(profile.matrixTrc->curves[0]).values, Values(4, 1));
  EXPECT_EQ(std::get<SampledCurve>(profile.matrixTrc->curves[1]).values, Values(300, 2));
}

TEST(ProfileReader, GridsAndTablesOfEverySize) {
  for (const int points : {2, 17, 33, 64}) {
    const auto profile = Read(WithTag("A2B0", Lut16(points, 2, 4096).Tag()));
    const auto& grid = std::get<ColorGrid>(profile.deviceToPcs[0]->elements[1]);
    EXPECT_EQ(grid.points, (std::array<int, 3>{points, points, points}));
    EXPECT_EQ(grid.values.size(), 3u * static_cast<unsigned>(points * points * points));
  }
  Elements lut = WithClut(OnlyB());
  lut.gridPoints = {255, 2, 9};
  lut.clut = Values(3 * 255 * 2 * 9, 1);
  const auto profile = Read(WithTag("A2B0", lut.Tag()));
  const auto& grid = std::get<ColorGrid>(profile.deviceToPcs[0]->elements[1]);
  EXPECT_EQ(grid.points, (std::array<int, 3>{255, 2, 9}));
  EXPECT_EQ(grid.values, lut.clut);
}

// ---- Header, tag table, colours -----------------------------------------------------------------

TEST(ProfileReader, HeaderFields) {
  const Bytes bytes = FullProfile().Build();
  const auto profile = ReadProfile(bytes);
  EXPECT_EQ(profile.sizeBytes, bytes.size());
  EXPECT_EQ(profile.version, 0x04300000u);
  EXPECT_EQ(Text(profile.deviceClass), "prtr");
  EXPECT_EQ(Text(profile.colorSpace), "RGB ");
  EXPECT_EQ(profile.pcs, PcsSpace::kXyz);
  EXPECT_EQ(Text(profile.manufacturer), "none");
  EXPECT_EQ(Text(profile.model), "MODL");
  EXPECT_EQ(Text(profile.creator), "CREA");
  EXPECT_EQ(profile.headerIntent, RenderingIntent::kRelative);
}

TEST(ProfileReader, ClassesAndVersions) {
  for (const char* deviceClass : {"scnr", "mntr", "prtr", "spac"}) {
    EXPECT_EQ(Text(Read(WithTag("A2B0", Lut8Tag()).Header(12, deviceClass)).deviceClass),
              deviceClass);
  }
  for (const unsigned version :
       {0x02000000u, 0x02100000u, 0x02400000u, 0x04000000u, 0x04200000u, 0x04400000u}) {
    EXPECT_EQ(Read(WithTag("A2B0", Lut8Tag()).Header(8, version)).version, version);
  }
}

TEST(ProfileReader, IntentOfTheHeader) {
  const struct {
    std::uint32_t word;
    RenderingIntent intent;
  } kRows[] = {
      {0, RenderingIntent::kPerceptual},          {1, RenderingIntent::kRelative},
      {2, RenderingIntent::kSaturation},          {3, RenderingIntent::kAbsolute},
      {4, RenderingIntent::kPerceptual},          {0xFFFF0002, RenderingIntent::kSaturation},
      {0xFFFFFFFF, RenderingIntent::kPerceptual},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Read(WithTag("A2B0", Lut8Tag()).Header(64, row.word)).headerIntent, row.intent)
        << row.word;
  }
}

TEST(ProfileReader, TagTableAsItStands) {
  const auto profile = Read(WithTag("A2B0", Lut16().Tag())
                                .AddLink("A2B1", 0)
                                .AddTag("odd ", Bytes{'a', 'b', 'c'})
                                .AddEntry("none", 0, 0));
  // Four entries end at byte 180; the lookup tag has 52 bytes and 2 for each of 39 values.
  constexpr std::uint32_t kLut16Type = MakeSignature("mft2");
  const struct {
    const char* signature;
    std::uint32_t type, offset, sizeBytes;
  } kRows[] = {{"A2B0", kLut16Type, 180, 130},
               {"A2B1", kLut16Type, 180, 130},
               {"odd ", 0, 312, 3},
               {"none", 0, 0, 0}};
  ASSERT_EQ(profile.tags.size(), std::size(kRows));
  for (std::size_t n = 0; n < std::size(kRows); ++n) {
    EXPECT_EQ(Text(profile.tags[n].signature), kRows[n].signature);
    EXPECT_EQ(profile.tags[n].type, kRows[n].type);
    EXPECT_EQ(profile.tags[n].offset, kRows[n].offset);
    EXPECT_EQ(profile.tags[n].sizeBytes, kRows[n].sizeBytes);
  }
}

TEST(ProfileReader, BytesBehindTheProfileAreIgnored) {
  Bytes bytes = FullProfile().Build();
  const std::size_t size = bytes.size();
  bytes.resize(size + 1000, 0xFF);
  EXPECT_EQ(ReadProfile(bytes).sizeBytes, size);
}

TEST(ProfileReader, TagsMayBeLongerThanTheirContentAndLieAnywhere) {
  Bytes lut = Lut16().Tag();
  lut.resize(lut.size() + 7, 0xFF);
  EXPECT_NO_THROW(Read(WithTag("A2B0", lut)));

  Bytes atAnOddByte = {0};
  const Bytes tag = Lut16().Tag();
  atAnOddByte.insert(atAnOddByte.end(), tag.begin(), tag.end());
  const auto size = static_cast<std::uint32_t>(tag.size());
  const auto profile = Read(ProfileBytes().AddTag("priv", atAnOddByte).AddEntry("A2B0", 157, size));
  EXPECT_EQ(std::get<ColorGrid>(profile.deviceToPcs[0]->elements[1]).values, Lut16().colorTable);
}

TEST(ProfileReader, WhiteBlackAndAdaptation) {
  const auto full = Read(FullProfile());
  EXPECT_TRUE(full.hasMediaWhite);
  const Xyz kWhite = {0.9, 0.95, 0.8}, kBlack = {0.01, 0.0125, 0.0075};
  for (std::size_t n = 0; n < 3; ++n) {
    EXPECT_NEAR(full.mediaWhite[n], kWhite[n], 0.5 / 65536);
    EXPECT_NEAR((*full.mediaBlack)[n], kBlack[n], 0.5 / 65536);
  }
  EXPECT_NEAR((*full.adaptation)[2], -0.0502, 0.5 / 65536);
  EXPECT_NEAR((*full.adaptation)[6], -0.0092, 0.5 / 65536);

  const auto plain = Read(WithTag("A2B0", Lut8Tag()));
  EXPECT_FALSE(plain.hasMediaWhite);
  EXPECT_EQ(plain.mediaWhite, (Xyz{0.9642, 1, 0.8249}));
  EXPECT_FALSE(plain.mediaBlack || plain.adaptation);
}

// ---- What is of no consequence ------------------------------------------------------------------

TEST(ProfileReader, DamageOfNoConsequenceIsOverlooked) {
  const Bytes junk = {'j', 'u', 'n', 'k', 0, 0, 0, 0, 1, 2, 3};
  const auto profile = Read(WithTag("A2B0", Lut8Tag())
                                .AddTag("desc", junk)
                                .AddTag("cprt", Bytes{})
                                .AddTag("bkpt", junk)
                                .AddTag("chad", PlainTag("sf32", "too short"))
                                .AddTag("priv", junk)
                                .AddLink("priv", 0)
                                .AddTag("rXYZ", junk)
                                .AddTag("rTRC", junk));
  EXPECT_EQ(profile.description, "");
  EXPECT_EQ(profile.copyright, "");
  EXPECT_FALSE(profile.mediaBlack || profile.adaptation || profile.matrixTrc);
}

TEST(ProfileReader, AnIncompleteSetOfColorantsBesideALookupTagIsNotRead) {
  const auto profile = Read(WithTag("A2B0", Lut16().Tag(), "XYZ ")
                                .AddTag("rXYZ", XyzTag(0, 0, 0))
                                .AddTag("rTRC", CurvTag({})));
  EXPECT_TRUE(profile.deviceToPcs[0].has_value());
  EXPECT_FALSE(profile.matrixTrc.has_value());
}

// The matrix of a lut tag counts where its input is XYZ (ICC.1:2010 10.8).
TEST(ProfileReader, TheMatrixOfALutTagCountsForXyzOnly) {
  Mft2 singular = Lut16();
  singular.matrix = {};
  EXPECT_NO_THROW(Read(WithTag("A2B0", singular.Tag(), "XYZ ")));
  EXPECT_NO_THROW(Read(WithTag("B2A0", singular.Tag())));
  EXPECT_THROW(Read(WithTag("B2A0", singular.Tag(), "XYZ ")), ProfileError);
}

TEST(ProfileReader, ParametricCurvesThatAreNumbersEverywhere) {
  const struct {
    const char* what;
    unsigned function;
    std::vector<double> parameters;
  } kRows[] = {
      {"sRGB", 3, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}},
      {"0 at the break", 3, {2.2, 1, -0.25, 0.5, 0.25}},
      {"0 at the break, but for rounding", 3, {2.2, 0.7, -0.35, 0.5, 0.49999}},
      {"negative base, whole power", 3, {3, 1, -0.5, 0.5, 0}},
      {"negative base where the line is", 4, {2.2, 1, -0.25, 0.5, 0.5, 0, 0}},
      {"power never in use", 1, {2.2, -1, 2}},
      {"constant", 0, {0}},
      {"infinite at 0", 0, {-1}},
  };
  for (const auto& row : kRows) {
    const Bytes curve = ParaTag(row.function, row.parameters);
    EXPECT_NO_THROW(Read(MatrixProfile(curve, curve, curve))) << row.what;
  }
}

// ---- Texts --------------------------------------------------------------------------------------

TEST(ProfileReader, Descriptions) {
  const std::u16string kBroken = {u'a', 0xD800, u'b', 0xDC00, 0xD83D, 0xDE00, 0xD83D};
  Bytes longerThanItsTag = DescTag("cut off");
  longerThanItsTag[11] = 200;
  Bytes oddRecords = MlucTag({{"en", "US", u"records of another size"}});
  oddRecords[15] = 16;
  Bytes manyRecords = MlucTag({{"en", "US", u"more records than bytes"}});
  manyRecords[8] = 0xFF;
  Bytes outside = MlucTag({{"en", "US", u"text outside of the tag"}});
  outside[23] = 0xFF;
  const struct {
    const char* what;
    Bytes tag;
    const char* text;
  } kRows[] = {
      {"ASCII", DescTag("A scanner"), "A scanner"},
      {"ASCII before Unicode", DescTag("ASCII", u"Unicode"), "ASCII"},
      {"Unicode where ASCII is empty", DescTag("", u"Gerät"), "Gerät"},
      {"ISO 8859-1", DescTag("\xA9 nobody"), "© nobody"},
      {"ends at its NUL", DescTag(std::string_view("one\0two", 7)), "one"},
      {"count beyond the tag", longerThanItsTag, ""},
      {"text", PlainTag("text", "plain"), "plain"},
      {"text with NULs", PlainTag("text", std::string_view("plain\0\0", 7)), "plain"},
      {"empty text", PlainTag("text", ""), ""},
      {"en-US first", MlucTag({{"de", "DE", u"d"}, {"en", "GB", u"g"}, {"en", "US", u"u"}}), "u"},
      {"then en", MlucTag({{"de", "DE", u"d"}, {"en", "GB", u"g"}, {"en", "CA", u"c"}}), "g"},
      {"then the first", MlucTag({{"de", "DE", u"d"}, {"fr", "FR", u"f"}}), "d"},
      {"US without en", MlucTag({{"de", "DE", u"d"}, {"es", "US", u"s"}}), "d"},
      {"two, three, four bytes", MlucTag({{"en", "US", u"é€😀"}}), "é€😀"},
      {"lone surrogates", MlucTag({{"en", "US", kBroken}}),
       "a\uFFFD"
       "b\uFFFD😀\uFFFD"},
      {"UTF-16 with NUL", MlucTag({{"en", "US", std::u16string(u"one\0two", 7)}}), "one"},
      {"no records", MlucTag({}), ""},
      {"records of another size", oddRecords, ""},
      {"more records than bytes", manyRecords, ""},
      {"text outside of the tag", outside, ""},
      {"another type", PlainTag("data", "text"), ""},
      {"nothing", Bytes{}, ""},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Read(WithTag("A2B0", Lut8Tag()).AddTag("desc", row.tag)).description, row.text)
        << row.what;
    EXPECT_EQ(Read(WithTag("A2B0", Lut8Tag()).AddTag("cprt", row.tag)).copyright, row.text)
        << row.what;
  }
}

}  // namespace
}  // namespace kxcms

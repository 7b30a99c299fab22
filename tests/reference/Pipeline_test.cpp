#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "engine/CIccEngineS.h"
#include "tests/reference/RandomProfile.h"
#include "tests/reference/Reference.h"

// The library's engine beside the reference model: same profile files, same calls, same bytes.
namespace reference {
namespace {

using ICC40::ICC_ENG_S4::CIccEngineS;
using ICC40::ICCFILE::ColorSpaceSignature;
using ICC40::ICCFILE::Intent;

constexpr int kCodes[] = {8,  9,  10, 11, 12, 13, 20, 21, 22, 23, 24, 25,
                          26, 27, 28, 29, 30, 31, 34, 35, 36, 37, 38, 39};
constexpr int kThreadCounts[] = {1, 2, 3, 8, 16};

// A profile file for as long as the object lives.
class ProfileFile {
 public:
  explicit ProfileFile(const ProfileSpec& spec) : ProfileFile(WriteProfile(spec)) {}
  explicit ProfileFile(Bytes bytes) : bytes_(std::move(bytes)) {
    static int serial = 0;
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + '.' + test->name();
    std::replace(name.begin(), name.end(), '/', '_');
    path_ =
        std::filesystem::temp_directory_path() / ("kxcms-" + std::to_string(getpid()) + '-' + name +
                                                  '-' + std::to_string(serial++) + ".icc");
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes_.data()),
               static_cast<std::streamsize>(bytes_.size()));
    if (!file.flush()) ADD_FAILURE() << "cannot write " << path_;
  }
  ~ProfileFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  ProfileFile(const ProfileFile&) = delete;
  ProfileFile& operator=(const ProfileFile&) = delete;

  const Bytes& bytes() const { return bytes_; }
  std::string path() const { return path_.string(); }

 private:
  Bytes bytes_;
  std::filesystem::path path_;
};

struct Selection {
  int intent = 0;
  int in = 0;
  int out = 12;
  double L = 0, c = 0, h = 0;
};

std::string Describe(const Selection& s) {
  std::ostringstream text;
  text << "intent " << s.intent << ", codes " << s.in << " to " << s.out << ", offsets " << s.L
       << ' ' << s.c << ' ' << s.h;
  return text.str();
}

// An engine and the model of it, driven together.
struct Pair {
  Pair() : engine(std::make_unique<CIccEngineS>()) { UseThreads(2); }

  // The engine's constructor asks for dynamic teams, which would make the count a wish.
  static void UseThreads(int count) {
    omp_set_num_threads(count);
    omp_set_dynamic(0);
  }

  int SetProfile(const ProfileFile& file, const Selection& s) {
    const int expected =
        reference::SetProfile(model, file.bytes(), s.intent, s.in, s.out, s.L, s.c, s.h);
    const int actual = engine->SetProfile(file.path().c_str(), static_cast<Intent>(s.intent),
                                          static_cast<ColorSpaceSignature>(s.in),
                                          static_cast<ColorSpaceSignature>(s.out), s.L, s.c, s.h);
    EXPECT_EQ(actual, expected) << "SetProfile";
    return actual;
  }
  void SetIntent(const Selection& s) {
    const int expected = reference::SetIntent(model, s.intent, s.in, s.out);
    // Offsets given here are ignored.
    const int actual =
        engine->SetIntent(static_cast<Intent>(s.intent), static_cast<ColorSpaceSignature>(s.in),
                          static_cast<ColorSpaceSignature>(s.out), 31, 32, 33);
    EXPECT_EQ(actual, expected) << "SetIntent";
  }
  void Reset() {
    reference::Reset(model);
    engine->Reset();
  }
  void AdjustLch(double L, double c, double h) {
    const int expected = reference::AdjustLch(model, L, c, h);
    EXPECT_EQ(engine->Adjust_Lch(L, c, h), expected) << "Adjust_Lch";
  }
  void AdjustOutput(std::vector<unsigned char> r, std::vector<unsigned char> g,
                    std::vector<unsigned char> b) {
    const int count = static_cast<int>(r.size());
    const int expected = reference::AdjustOutput(model, r.data(), g.data(), b.data(), count);
    EXPECT_EQ(engine->Adjust_Output(r.data(), g.data(), b.data(), count), expected)
        << "Adjust_Output";
  }

  std::unique_ptr<CIccEngineS> engine;
  Pipeline model;
};

void ExpectSameWords(const std::uint32_t* actual, const std::uint32_t* expected, std::size_t count,
                     const char* what) {
  if (std::memcmp(actual, expected, count * sizeof *actual) == 0) return;
  const auto [a, e] = std::mismatch(actual, actual + count, expected);
  ADD_FAILURE() << what << ": first difference at " << a - actual << ", expected " << *e
                << ", actual " << *a << " (" << count << " words)";
}

// Run state and all three stages.
void ExpectSameTables(const Pair& pair) {
  const CIccEngineS& engine = *pair.engine;
  const Pipeline& model = pair.model;
  EXPECT_EQ(engine.inputColor, model.inputCode);
  EXPECT_EQ(engine.outputColor, model.outputCode);
  EXPECT_EQ(engine.engineStatus, model.status);
  EXPECT_EQ(engine.intent, model.intent);
  EXPECT_EQ(engine.conversionType, model.conversionType);
  EXPECT_EQ(engine.adjustL, model.adjustL);
  EXPECT_EQ(engine.adjustC, model.adjustC);
  EXPECT_EQ(engine.adjustH, model.adjustH);
  EXPECT_EQ(engine.fractionBits, 12);

  const unsigned int* const inputs[3] = {engine.inLut0, engine.inLut1, engine.inLut2};
  static const char* const kInputNames[3] = {"inLut0", "inLut1", "inLut2"};
  for (std::size_t c = 0; c < 3; ++c) {
    const Levels& expected = model.input[c];
    if (expected.empty()) {
      EXPECT_EQ(inputs[c], nullptr) << kInputNames[c];
    } else if (!inputs[c]) {
      ADD_FAILURE() << kInputNames[c] << " is absent";
    } else {
      ExpectSameWords(inputs[c], expected.data(), expected.size(), kInputNames[c]);
    }
  }
  if (!model.cells.empty()) {
    ASSERT_EQ(sizeof engine.cells, model.cells.size() * sizeof(Cell));
    ExpectSameWords(&engine.cells[0][0][0][0][0], model.cells[0][0].data(),
                    sizeof engine.cells / sizeof(std::uint32_t), "cells");
  }
  static const char* const kOutputNames[3] = {"outLut 0", "outLut 1", "outLut 2"};
  for (std::size_t c = 0; c < 3; ++c) {
    if (model.output[c].empty()) continue;
    ExpectSameWords(engine.outLut[c], model.output[c].data(), 65536, kOutputNames[c]);
  }
}

enum class Width { k8to8, k8to16, k16to16 };

constexpr std::size_t SourceBytes(Width width) {
  return width == Width::k16to16 ? 2 : 1;
}
constexpr std::size_t TargetBytes(Width width) {
  return width == Width::k8to8 ? 1 : 2;
}

Width WidthOf(const Pipeline& model) {
  if (model.inputCode != 0) return Width::k16to16;
  return model.conversionType == 258 ? Width::k8to16 : Width::k8to8;
}

Bytes RandomBytes(std::size_t count, std::uint64_t seed) {
  Dice dice(seed);
  Bytes bytes(count);
  for (unsigned char& b : bytes) b = static_cast<unsigned char>(dice.Bits() >> 32);
  return bytes;
}

void ExpectSameBytes(const Bytes& actual, const Bytes& expected, std::size_t from,
                     const std::string& what) {
  if (actual == expected) return;
  const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin());
  ADD_FAILURE() << what << ": first difference at byte "
                << (a - actual.begin()) - static_cast<std::ptrdiff_t>(from) << ", expected "
                << int(*e) << ", actual " << int(*a);
}

// Converts `src` with both. The destination lies between guard bytes, `shift` bytes off the
// allocation's alignment; what both leave there counts as well as the samples.
void ExpectSameConversion(Pair& pair, Bytes src, int pixels, std::size_t shift = 0) {
  const Width width = WidthOf(pair.model);
  const std::size_t guard = 64 + shift * TargetBytes(width);
  const std::size_t size = static_cast<std::size_t>(pixels) * 3 * TargetBytes(width);
  const Bytes before = RandomBytes(guard + size + 64, static_cast<std::uint64_t>(pixels));
  Bytes expected = before, actual = before;
  // The source too keeps its bytes, and may start anywhere its samples may.
  const std::size_t lead = shift * SourceBytes(width);
  src.insert(src.begin(), lead, 0);
  const Bytes untouched = src;

  Convert(pair.model, src.data() + lead, expected.data() + guard, pixels);
  EXPECT_EQ(pair.engine->Conversion(src.data() + lead, actual.data() + guard, pixels), 0);

  std::ostringstream what;
  what << pixels << " pixels, shift " << shift << ", " << omp_get_max_threads() << " threads";
  ExpectSameBytes(actual, expected, guard, what.str());
  ExpectSameBytes(src, untouched, lead, what.str() + ", source");
}

void ExpectSameRandomConversion(Pair& pair, int pixels, std::uint64_t seed, std::size_t shift = 0) {
  const std::size_t bytes = static_cast<std::size_t>(pixels) * 3 * SourceBytes(WidthOf(pair.model));
  ExpectSameConversion(pair, RandomBytes(bytes, seed), pixels, shift);
}

// The overload with a 16-bit destination, which asks neither the codes nor the manufacturer.
void ExpectSameWideConversion(Pair& pair, int pixels, std::uint64_t seed) {
  Bytes src = RandomBytes(static_cast<std::size_t>(pixels) * 3, seed);
  const std::vector<unsigned short> before(static_cast<std::size_t>(pixels) * 3 + 32, 0xA55A);
  std::vector<unsigned short> expected = before, actual = before;
  Convert(pair.model, src.data(), expected.data() + 16, pixels);
  EXPECT_EQ(pair.engine->Conversion(src.data(), actual.data() + 16, pixels), 0);
  const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin());
  if (a == actual.end()) return;
  ADD_FAILURE() << "8 to 16 bit, " << pixels << " pixels: first difference at sample "
                << (a - actual.begin()) - 16 << ", expected " << *e << ", actual " << *a;
}

double RandomOffset(Dice& dice, int limit) {
  switch (dice.Between(0, 3)) {
    case 0:
      return 0;
    case 1:
      return dice.Between(-limit, limit);
    default:
      return (2 * dice.Fraction() - 1) * limit;
  }
}

std::vector<unsigned char> RandomCurve(Dice& dice, int count, bool rising) {
  std::vector<unsigned char> curve;
  for (int i = 0; i < count; ++i) {
    curve.push_back(static_cast<unsigned char>(rising ? i * 255 / std::max(1, count - 1)
                                                      : dice.Between(0, 255)));
  }
  return curve;
}

// --- Random profiles, every code

constexpr int kShards = 8;
constexpr int kProfilesPerShard = 30;

// A profile's life: selected, given other codes, offsets and curves, with conversions in between.
void ExpectSameLife(Pair& pair, const ProfileSpec& spec, int turn) {
  SCOPED_TRACE(Describe(spec));
  Dice dice(static_cast<std::uint64_t>(turn) + 1000);
  const ProfileFile file(spec);

  Selection s;
  s.out = kCodes[turn % 24];
  s.in = turn / 24 % 2;
  s.intent = (turn / 48 + turn) % 4;
  if (turn % 2 == 1) {
    s.L = RandomOffset(dice, 20);
    s.c = RandomOffset(dice, 40);
    s.h = RandomOffset(dice, 400);
  }
  {
    SCOPED_TRACE("SetProfile " + Describe(s));
    pair.SetProfile(file, s);
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, dice.Between(500, 900), dice.Bits(), 1);
    // A 16-bit engine's tables serve 8-bit samples as well.
    ExpectSameWideConversion(pair, 100, dice.Bits());
  }
  {
    // Sometimes the same again, which must change nothing.
    if (!dice.OneIn(8)) s.intent = dice.Between(0, 3);
    if (dice.OneIn(2)) s.out = kCodes[dice.Between(0, 23)];
    SCOPED_TRACE("SetIntent " + Describe(s));
    pair.SetIntent(s);
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 300, dice.Bits());
  }
  {
    const double L = RandomOffset(dice, 30), c = RandomOffset(dice, 30), h = RandomOffset(dice, 90);
    SCOPED_TRACE(testing::Message() << "Adjust_Lch " << L << ' ' << c << ' ' << h);
    pair.AdjustLch(L, c, h);
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 300, dice.Bits());
  }
  if (turn % 3 == 0) {
    // The stored whole offsets come back into use.
    s.out = s.out == 12 ? 22 : 12;
    SCOPED_TRACE("SetIntent after Adjust_Lch " + Describe(s));
    pair.SetIntent(s);
    ExpectSameTables(pair);
  }
  {
    constexpr int kCounts[] = {1, 2, 3, 4, 100, 255, 256, 257, 300, 4096};
    const int count = kCounts[dice.Between(0, 9)];
    SCOPED_TRACE(testing::Message() << "Adjust_Output, count " << count);
    pair.AdjustOutput(RandomCurve(dice, count, true), RandomCurve(dice, count, dice.OneIn(2)),
                      RandomCurve(dice, count, false));
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 300, dice.Bits(), 3);
  }
}

class RandomProfiles : public testing::TestWithParam<int> {};

TEST_P(RandomProfiles, TablesAndBuffers) {
  Pair pair;
  for (int n = 0; n < kProfilesPerShard && !HasFailure(); ++n) {
    const int turn = GetParam() * kProfilesPerShard + n;
    ExpectSameLife(pair, RandomSpec(static_cast<std::uint64_t>(turn)), turn);
  }
}

// Channels that are missing, and curves of more entries than a table holds.
TEST_P(RandomProfiles, UnusualShapes) {
  Pair pair;
  for (int n = 0; n < kProfilesPerShard && !HasFailure(); ++n) {
    const int turn = GetParam() * kProfilesPerShard + n;
    ExpectSameLife(pair, UnusualSpec(static_cast<std::uint64_t>(turn)), turn);
  }
}

INSTANTIATE_TEST_SUITE_P(Shard, RandomProfiles, testing::Range(0, kShards));

// Each number of channels that a lut16 tag may have, over grids that are resampled and grids that
// are not.
TEST(Pipeline, MissingChannels) {
  constexpr int kGrids[] = {2, 9, 17, 20, 33};
  constexpr int kEntries[] = {0, 3, 256, 5000};
  Pair pair;
  int turn = 0;
  for (int in = 0; in <= 3; ++in) {
    for (int out = 0; out <= 7; ++out) {
      ++turn;
      ProfileSpec spec = PlainSpec(kGrids[turn % 5], kEntries[turn % 4], kEntries[turn / 4 % 4]);
      spec.tags[0].in = in;
      spec.tags[0].out = out;
      spec.tags[0].inCurve = CurveShape::kGamma;
      spec.tags[0].outCurve = CurveShape::kFalling;
      const ProfileFile file(spec);
      for (int code : {12, 31}) {
        Selection s;
        s.in = code % 2;
        s.out = code;
        SCOPED_TRACE(Describe(spec) + ", " + Describe(s));
        pair.SetProfile(file, s);
        EXPECT_EQ(pair.engine->outputColor, code);
        EXPECT_NE(pair.engine->engineStatus, 65535);
        ExpectSameTables(pair);
        ExpectSameRandomConversion(pair, 100, static_cast<std::uint64_t>(turn));
        pair.AdjustLch(3, -4, 5);
        ExpectSameTables(pair);
        pair.AdjustOutput({0, 90, 255}, {255, 3, 0}, {7, 7, 7});
        ExpectSameTables(pair);
        ExpectSameRandomConversion(pair, 100, static_cast<std::uint64_t>(turn));
      }
      // SetIntent builds for input codes that no selection takes.
      for (int inputCode : {2, 3}) {
        Selection s;
        s.in = inputCode;
        s.out = 13;
        SCOPED_TRACE(Describe(spec) + ", " + Describe(s));
        pair.SetIntent(s);
        ExpectSameTables(pair);
      }
      if (HasFailure()) return;
    }
  }
}

// One input, three outputs, two grid points, no entries: 100 bytes, the least that a tag can have.
TEST(Pipeline, TheLeastTagOfOneInput) {
  ProfileSpec spec = PlainSpec(2, 0, 0);
  spec.tags[0].in = 1;
  const ProfileFile file(spec);
  const struct { int code, expected; } kRows[] = {{4, 65535}, {12, 12}};
  for (const auto& row : kRows) {
    Pair pair;
    Selection s;
    s.out = row.code;
    EXPECT_EQ(pair.SetProfile(file, s), 0);
    EXPECT_EQ(pair.engine->outputColor, row.expected);
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 100, 6);
  }
}

TEST(Pipeline, LongCurves) {
  for (TagForm form : {TagForm::kLut16, TagForm::kMab}) {
    for (int entries : {4097, 5000, 32768, 65535}) {
      ProfileSpec spec = PlainSpec(9, entries, entries);
      spec.tags[0].form = form;
      spec.tags[0].inCurve = CurveShape::kRandom;
      spec.tags[0].outCurve = CurveShape::kGamma;
      const ProfileFile file(spec);
      Pair pair;
      for (int in : {0, 1, 2, 3}) {
        Selection s;
        s.in = in;
        s.out = 13;
        SCOPED_TRACE(Describe(spec) + ", " + Describe(s));
        if (in < 2) {
          pair.SetProfile(file, s);
        } else {
          pair.SetIntent(s);
        }
        ExpectSameTables(pair);
        if (in < 2) ExpectSameRandomConversion(pair, 1000, 3);
        for (int count : {1, 256, 5000}) {
          pair.AdjustOutput(Bytes(count, 10), Bytes(count, 20), Bytes(count, 30));
          ExpectSameTables(pair);
        }
      }
    }
  }
}

// Every code with both inputs, over one realistic profile; all four intents by turns.
TEST(Pipeline, EveryOutputCodeAndInput) {
  ProfileSpec spec = PlainSpec(17, 256, 256);
  spec.wtpt = {0xF351, 0x10000, 0x116CC};
  const ProfileFile file(spec);
  Pair pair;
  int turn = 0;
  for (int code : kCodes) {
    for (int in : {0, 1}) {
      Selection s;
      s.intent = turn++ % 4;
      s.in = in;
      s.out = code;
      SCOPED_TRACE(Describe(s));
      pair.SetProfile(file, s);
      EXPECT_EQ(pair.engine->outputColor, code);
      ExpectSameTables(pair);
      ExpectSameRandomConversion(pair, 257, static_cast<std::uint64_t>(code));
    }
  }
}

TEST(Pipeline, EveryOtherOutputCodeIsRefused) {
  const ProfileFile file(PlainSpec(2, 0, 0));
  Pair pair;
  for (int code = 0; code < 41; ++code) {
    if (std::find(std::begin(kCodes), std::end(kCodes), code) != std::end(kCodes)) continue;
    Selection s;
    s.out = code;
    SCOPED_TRACE(Describe(s));
    EXPECT_EQ(pair.SetProfile(file, s), 0);
    EXPECT_EQ(pair.engine->outputColor, 65535);
    EXPECT_EQ(pair.engine->engineStatus, 65535);
  }
}

TEST(Pipeline, EveryGridAndEntryCount) {
  Pair pair;
  for (int grid = 2; grid <= 33; ++grid) {
    constexpr int kCounts[] = {0, 1, 2, 3, 256, 1024, 4096};
    ProfileSpec spec = PlainSpec(grid, kCounts[grid % 7], kCounts[(grid + 4) % 7]);
    spec.tags[0].clut = ClutShape::kRandom;
    spec.tags[0].outCurve = CurveShape::kGamma;
    if (grid % 2 == 1) spec.tags[0].form = TagForm::kMab;
    SCOPED_TRACE(Describe(spec));
    const ProfileFile file(spec);
    pair.SetProfile(file, Selection{});
    ExpectSameTables(pair);
  }
}

// --- Buffers

struct Route {
  const char* what;
  int in, out;
};
constexpr Route kRoutes[] = {{"8 to 8", 0, 12}, {"8 to 16", 0, 13}, {"16 to 16", 1, 13}};
constexpr std::uint32_t kMakers[] = {0, Signature("none"), Signature("ACME")};

TEST(Pipeline, AllPixelCountsAndThreadCounts) {
  std::vector<int> counts;
  for (int n = 0; n <= 67; ++n) counts.push_back(n);
  // Around the edges of equal blocks, and of blocks that wide workers take at once.
  for (int n : {95, 96, 97, 127, 128, 129, 255, 256, 257, 1023, 1024, 1025, 1599, 1600, 1601}) {
    counts.push_back(n);
  }
  // Around the least number of pixels that several threads share, and well above.
  for (int n : {32767, 32768, 32769, 40009}) counts.push_back(n);
  for (std::uint32_t maker : kMakers) {
    ProfileSpec spec = PlainSpec(9, 256, 1024);
    spec.manufacturer = maker;
    spec.tags[0].clut = ClutShape::kRandom;
    const ProfileFile file(spec);
    for (const Route& route : kRoutes) {
      Pair pair;
      Selection s;
      s.in = route.in;
      s.out = route.out;
      pair.SetProfile(file, s);
      for (int threads : kThreadCounts) {
        Pair::UseThreads(threads);
        SCOPED_TRACE(testing::Message() << route.what << ", maker " << maker);
        for (int pixels : counts) {
          ExpectSameRandomConversion(pair, pixels, static_cast<std::uint64_t>(pixels) + 7,
                                     static_cast<std::size_t>(pixels % 5));
          if (route.in == 0) ExpectSameWideConversion(pair, pixels, 9);
        }
        if (HasFailure()) return;
      }
    }
  }
}

// All 2^24 colours of 8-bit input.
TEST(Pipeline, EveryEightBitColour) {
  enum class Curves { kOfTheCode, kSteep };
  const struct {
    const char* what;
    int grid, inEntries;
    ClutShape clut;
    CurveShape inCurve;
    int out;
    Curves curves;
  } kRows[] = {
      {"sRGB, 8 bits", 33, 1024, ClutShape::kLab, CurveShape::kGamma, 12, Curves::kOfTheCode},
      {"sRGB, 16 bits", 33, 1024, ClutShape::kLab, CurveShape::kGamma, 13, Curves::kOfTheCode},
      {"no order among nodes", 17, 256, ClutShape::kRandom, CurveShape::kRandom, 20,
       Curves::kOfTheCode},
      {"Kodak text, extreme nodes", 9, 4096, ClutShape::kExtremes, CurveShape::kGamma, 38,
       Curves::kOfTheCode},
      {"one curve that is too steep for segments", 17, 256, ClutShape::kLab, CurveShape::kGamma, 12,
       Curves::kSteep},
  };
  for (const auto& row : kRows) {
    ProfileSpec spec = PlainSpec(row.grid, row.inEntries, 4096);
    spec.tags[0].clut = row.clut;
    spec.tags[0].inCurve = row.inCurve;
    const ProfileFile file(spec);
    Pair pair;
    Selection s;
    s.out = row.out;
    pair.SetProfile(file, s);
    if (row.curves == Curves::kSteep) {
      std::vector<unsigned char> curve(256);
      for (std::size_t i = 0; i < 256; ++i) curve[i] = static_cast<unsigned char>(i * 37);
      pair.AdjustOutput(curve, curve, curve);
    }
    Bytes src(3 * 65536);
    for (std::size_t r = 0; r < 256; ++r) {
      for (std::size_t at = 0; at < 65536; ++at) {
        src[3 * at] = static_cast<unsigned char>(r);
        src[3 * at + 1] = static_cast<unsigned char>(at >> 8);
        src[3 * at + 2] = static_cast<unsigned char>(at);
      }
      SCOPED_TRACE(testing::Message() << row.what << ", red " << r);
      ExpectSameConversion(pair, src, 65536);
      ASSERT_FALSE(HasFailure());
    }
  }
}

// Each 16-bit level on each axis, on the grey diagonal, and a cloud of random colours.
TEST(Pipeline, SixteenBitSweeps) {
  for (ClutShape shape : {ClutShape::kLab, ClutShape::kExtremes}) {
    ProfileSpec spec = PlainSpec(17, 4096, 256);
    spec.tags[0].clut = shape;
    const ProfileFile file(spec);
    Pair pair;
    Selection s;
    s.in = 1;
    s.out = 31;
    pair.SetProfile(file, s);
    for (int axes = 1; axes <= 7; ++axes) {
      std::vector<std::uint16_t> samples;
      for (unsigned v = 0; v <= 65535; ++v) {
        for (unsigned c = 0; c < 3; ++c) {
          samples.push_back(static_cast<std::uint16_t>(axes >> c & 1 ? v : 20000u + 9000u * c));
        }
      }
      Bytes src(2 * samples.size());
      std::memcpy(src.data(), samples.data(), src.size());
      SCOPED_TRACE(testing::Message() << "axes " << axes);
      ExpectSameConversion(pair, src, 65536);
    }
    ExpectSameRandomConversion(pair, 200000, 5);
  }
}

TEST(Pipeline, InPlace) {
  for (std::uint32_t maker : kMakers) {
    for (const Route& route : kRoutes) {
      if (route.in == 0 && route.out == 13) continue;  // widths differ
      SCOPED_TRACE(testing::Message() << route.what << ", maker " << maker);
      ProfileSpec spec = PlainSpec(17, 256, 256);
      spec.manufacturer = maker;
      const ProfileFile file(spec);
      Pair pair;
      Selection s;
      s.in = route.in;
      s.out = route.out;
      pair.SetProfile(file, s);
      for (int threads : kThreadCounts) {
        Pair::UseThreads(threads);
        for (int pixels : {1, 2, 3, 15, 16, 17, 31, 32, 33, 64, 1000, 4097, 40009}) {
          const std::size_t size = static_cast<std::size_t>(pixels) * 3 * (route.in == 0 ? 1 : 2);
          Bytes buffer = RandomBytes(size + 64, static_cast<std::uint64_t>(pixels));
          Bytes expected = buffer;
          Convert(pair.model, buffer.data(), expected.data(), pixels);
          EXPECT_EQ(pair.engine->Conversion(buffer.data(), buffer.data(), pixels), 0);
          ExpectSameBytes(
              buffer, expected, 0,
              std::to_string(pixels) + " pixels in place, " + std::to_string(threads) + " threads");
        }
      }
    }
  }
}

// A profile marked "none" yields the output tables position by position. Positions past the end of
// a table have no required value, but nothing behind the buffer is touched.
TEST(Pipeline, FillBeyondTheTables) {
  ProfileSpec spec = PlainSpec(2, 0, 0);
  spec.manufacturer = Signature("none");
  const ProfileFile file(spec);
  for (const Route& route : {kRoutes[0], kRoutes[2]}) {
    Pair pair;
    Selection s;
    s.in = route.in;
    s.out = route.out;
    pair.SetProfile(file, s);
    for (int pixels : {21845, 21846, 21847, 50000}) {
      const std::size_t sampleBytes = route.in == 0 ? 1 : 2;
      const std::size_t size = static_cast<std::size_t>(pixels) * 3 * sampleBytes;
      Bytes src(size), expected(size + 64, 0x5A), actual(size + 64, 0x5A);
      Convert(pair.model, src.data(), expected.data(), pixels);
      EXPECT_EQ(pair.engine->Conversion(src.data(), actual.data(), pixels), 0);
      const std::size_t defined = std::min(size, 65536 * sampleBytes);
      EXPECT_TRUE(
          std::equal(actual.begin(), actual.begin() + static_cast<long>(defined), expected.begin()))
          << route.what << ", " << pixels << " pixels";
      EXPECT_EQ(Bytes(actual.end() - 64, actual.end()), Bytes(64, 0x5A)) << pixels << " pixels";
    }
  }
}

// --- Calls and their states

TEST(Pipeline, ConversionsThatDoNothing) {
  const ProfileFile file(PlainSpec(2, 0, 0));
  const struct {
    const char* what;
    int type;
    int pixels;
    bool src, dst;
  } kRows[] = {
      {"no pixels", 257, 0, true, true},
      {"negative count", 257, -1, true, true},
      {"least count", 257, INT32_MIN, true, true},
      {"no source", 257, 5, false, true},
      {"no destination", 257, 5, true, false},
      {"four channels, 8 bit", 259, 5, true, true},
      {"four channels, 16 bit", 260, 5, true, true},
      {"six channels", 261, 5, true, true},
      {"seven channels", 264, 5, true, true},
      {"no class", 256, 5, true, true},
      {"type of a 16-bit input", 513, 5, true, true},
      {"no type", 65534, 5, true, true},
      {"most pixels, no source", 257, INT32_MAX, false, true},
      {"most pixels, no destination", 257, INT32_MAX, true, false},
  };
  Pair pair;
  pair.SetProfile(file, Selection{});
  for (const auto& row : kRows) {
    pair.engine->conversionType = row.type;
    Bytes src(15, 200), dst(15, 33);
    EXPECT_EQ(pair.engine->Conversion(row.src ? src.data() : nullptr,
                                      row.dst ? dst.data() : nullptr, row.pixels),
              0)
        << row.what;
    EXPECT_EQ(dst, Bytes(15, 33)) << row.what;
  }
}

TEST(Pipeline, ProfilesWithoutAUsableTag) {
  const TagSpec plain = PlainSpec(3, 3, 3).tags[0];
  TagSpec mab = plain;
  mab.form = TagForm::kMab;
  struct Row {
    const char* what;
    std::vector<TagSpec> tags;
    int intent;
  };
  std::vector<Row> rows = {{"no tags", {}, 0}};
  const auto add = [&](const char* what, TagSpec tag, auto change) {
    change(tag);
    rows.push_back({what, {tag}, 0});
  };
  add("8-bit form", plain, [](TagSpec& t) { t.form = TagForm::kLut8; });
  add("four inputs", plain, [](TagSpec& t) { t.in = 4; });
  add("eight outputs", plain, [](TagSpec& t) { t.out = 8; });
  add("no grid", plain, [](TagSpec& t) { t.grid = 0; });
  add("one grid point", plain, [](TagSpec& t) { t.grid = 1; });
  add("34 grid points", plain, [](TagSpec& t) { t.grid = 34; });
  add("mAB, no A curves", mab, [](TagSpec& t) { t.hasA = false; });
  add("mAB, no B curves", mab, [](TagSpec& t) { t.hasB = false; });
  add("mAB, no CLUT", mab, [](TagSpec& t) { t.hasClut = false; });
  add("mAB, 8-bit CLUT", mab, [](TagSpec& t) { t.precision = 1; });
  add("mAB, third axis short", mab, [](TagSpec& t) { t.gridPerAxis = {3, 3, 2}; });
  add("mAB, two inputs", mab, [](TagSpec& t) { t.in = 2; });
  add("mAB, two outputs", mab, [](TagSpec& t) { t.out = 2; });
  add("mAB, 34 grid points", mab, [](TagSpec& t) { t.grid = 34; });
  add("only A2B1", plain, [](TagSpec& t) { t.signature = Signature("A2B1"); });

  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    ProfileSpec spec;
    spec.tags = row.tags;
    spec.manufacturer = Signature("none");
    const ProfileFile file(spec);
    Pair pair;
    // The interface goes on to report the requested code.
    EXPECT_EQ(pair.SetProfile(file, Selection{}), 0);
    EXPECT_EQ(pair.engine->outputColor, 12);
    EXPECT_EQ(pair.engine->engineStatus, 65535);
    ExpectSameTables(pair);
    Bytes src(300, 200), dst(300, 33);
    EXPECT_EQ(pair.engine->Conversion(src.data(), dst.data(), 100), 0);
    EXPECT_EQ(dst, Bytes(300, 33));
    std::vector<unsigned short> wide(300, 33);
    EXPECT_EQ(pair.engine->Conversion(src.data(), wide.data(), 100), 0);
    EXPECT_EQ(wide, std::vector<unsigned short>(300, 33));

    Selection other;
    other.out = 22;
    pair.SetIntent(other);
    EXPECT_EQ(pair.engine->outputColor, 22);
    pair.AdjustLch(5, 0, 0);
    pair.AdjustOutput({1, 2, 3}, {1, 2, 3}, {1, 2, 3});
  }
}

TEST(Pipeline, SetIntentWithoutTagKeepsTheOlderTables) {
  ProfileSpec spec = PlainSpec(9, 256, 256);
  spec.tags[0].signature = Signature("A2B1");
  const ProfileFile file(spec);
  Pair pair;
  Selection s;
  s.intent = 1;
  pair.SetProfile(file, s);
  s.intent = 0;
  s.out = 30;
  pair.SetIntent(s);
  EXPECT_EQ(pair.engine->outputColor, 30);
  EXPECT_EQ(pair.engine->intent, 0);
  ExpectSameTables(pair);
  ExpectSameRandomConversion(pair, 100, 1);
}

// The profile stays: what is asked for next is built from it, but for what is stored already.
TEST(Pipeline, AfterAReset) {
  const ProfileFile file(PlainSpec(9, 256, 256));
  const struct {
    const char* what;
    int intent, in, out;
  } kRows[] = {
      {"the codes that a reset leaves", 1, 65535, 65535},
      {"another intent", 2, 65535, 65535},
      {"another input code", 1, 0, 65535},
      {"another output code", 1, 65535, 13},
      {"the codes before", 1, 0, 12},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Pair pair;
    Selection s;
    s.intent = 1;
    s.L = 5;
    pair.SetProfile(file, s);
    pair.AdjustLch(7, 0, 0);
    pair.Reset();
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 20, 1);
    Selection asked;
    asked.intent = row.intent;
    asked.in = row.in;
    asked.out = row.out;
    pair.SetIntent(asked);
    ExpectSameTables(pair);
    pair.AdjustLch(-3, 2, 1);
    pair.AdjustOutput({0, 255}, {255, 0}, {9, 9});
    ExpectSameTables(pair);
    pair.SetIntent(asked);
    ExpectSameTables(pair);
    pair.Reset();
    pair.SetProfile(file, s);
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 100, 1);
  }
}

// SetIntent neither looks at the input code nor at the conversion type that it leaves behind.
TEST(Pipeline, SetIntentToOtherCodes) {
  ProfileSpec spec = PlainSpec(9, 256, 256);
  spec.tags[0].inCurve = CurveShape::kGamma;
  const ProfileFile file(spec);
  const struct {
    const char* what;
    int fromIn, fromOut, toIn, toOut;
  } kRows[] = {
      {"16-bit curves through the 8-bit worker", 0, 12, 0, 13},
      {"8-bit curves through the 16-bit worker", 0, 13, 0, 12},
      {"8-bit input after 16-bit input", 1, 13, 0, 12},
      {"16-bit input after 8-bit input", 0, 12, 1, 13},
      {"8-bit Lab input", 0, 12, 2, 13},
      {"16-bit Lab input", 0, 12, 3, 13},
      {"CMYK input", 1, 12, 4, 13},
      {"no input code", 0, 12, 65535, 13},
      {"refused output code", 0, 12, 0, 4},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    Pair pair;
    Selection s;
    s.in = row.fromIn;
    s.out = row.fromOut;
    pair.SetProfile(file, s);
    s.in = row.toIn;
    s.out = row.toOut;
    pair.SetIntent(s);
    ExpectSameTables(pair);
    if (pair.model.outputCode == kNone) continue;
    if (pair.model.inputCode == 0 || pair.model.inputCode == 1) {
      ExpectSameRandomConversion(pair, 500, 3);
      continue;
    }
    // 16-bit samples over tables of 256 entries: those below 256 convert, the others are bounded.
    Bytes src(2 * 300);
    for (std::size_t at = 0; at < 300; ++at) {
      const std::uint16_t sample = static_cast<std::uint16_t>(at * 37 % 256);
      std::memcpy(&src[2 * at], &sample, 2);
    }
    ExpectSameConversion(pair, src, 100);
    Bytes wild = RandomBytes(600, 4), dst(600);
    EXPECT_EQ(pair.engine->Conversion(wild.data(), dst.data(), 100), 0);
  }
}

TEST(Pipeline, UnchangedSelectionIsNotRebuilt) {
  const ProfileFile file(PlainSpec(9, 256, 256));
  Pair pair;
  Selection s;
  s.L = 5;
  pair.SetProfile(file, s);
  ExpectSameTables(pair);
  pair.engine->cells[0][0][0][0][0] ^= 1;
  const unsigned int marked = pair.engine->cells[0][0][0][0][0];
  // Offsets are no part of the comparison.
  EXPECT_EQ(pair.engine->SetProfile(file.path().c_str(), static_cast<Intent>(0),
                                    static_cast<ColorSpaceSignature>(0),
                                    static_cast<ColorSpaceSignature>(12), 7, 8, 9),
            0);
  EXPECT_EQ(pair.engine->cells[0][0][0][0][0], marked);
}

TEST(Pipeline, AdjustLchComparesWholeUnits) {
  const ProfileFile file(PlainSpec(17, 256, 256));
  Pair pair;
  pair.SetProfile(file, Selection{});
  const struct {
    const char* what;
    double L, c, h;
  } kRows[] = {
      {"nothing", 0, 0, 0},
      {"truncated to nothing", 0.4, -0.9, 0.99},
      {"lightness", 3.7, 0, 0},
      {"the same whole units", 3.1, 0.5, 0},
      {"all three", -3.5, 12, 77},
      {"back to nothing", 0, 0, 0},
      {"beyond a whole turn", 0, 0, 1000},
      {"everything", 500, -500, -1000},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    pair.AdjustLch(row.L, row.c, row.h);
    ExpectSameTables(pair);
  }
}

TEST(Pipeline, AdjustOutputThatChangesNothing) {
  const ProfileFile file(PlainSpec(2, 0, 0));
  Pair pair;
  pair.SetProfile(file, Selection{});
  unsigned char curve[4] = {9, 8, 7, 6};
  EXPECT_EQ(pair.engine->Adjust_Output(curve, curve, curve, 0), 12);
  EXPECT_EQ(pair.engine->Adjust_Output(nullptr, curve, curve, 4), 12);
  EXPECT_EQ(pair.engine->Adjust_Output(curve, nullptr, curve, 4), 12);
  EXPECT_EQ(pair.engine->Adjust_Output(curve, curve, nullptr, 4), 12);
  ExpectSameTables(pair);
}

TEST(Pipeline, AdjustOutputCounts) {
  const struct {
    const char* what;
    int count;
    int outEntries;  // of the profile: where the last entry comes from
  } kRows[] = {
      {"negative: the profile's own curve at another spacing", -1, 256},
      {"least", INT32_MIN, 3},
      {"fewer than the profile has", 10, 1024},
      {"more than the profile has", 256, 3},
      {"a profile without curves", 255, 0},
      {"more than a curve can hold", 5000, 256},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    for (int in : {0, 1}) {
      const ProfileFile file(PlainSpec(2, 0, row.outEntries));
      Pair pair;
      Selection s;
      s.in = in;
      pair.SetProfile(file, s);
      Bytes curve = RandomBytes(5001, 8);
      const int expected = reference::AdjustOutput(pair.model, curve.data(), curve.data() + 1,
                                                   curve.data(), row.count);
      EXPECT_EQ(pair.engine->Adjust_Output(curve.data(), curve.data() + 1, curve.data(), row.count),
                expected);
      ExpectSameTables(pair);
    }
  }
}

TEST(Pipeline, OneTagServesEveryIntent) {
  const ProfileFile file(PlainSpec(9, 256, 256));
  Pair pair;
  Bytes first;
  for (int intent : {0, 1, 2, 3, 4, -1}) {
    Selection s;
    s.intent = intent;
    pair.SetProfile(file, s);
    ExpectSameTables(pair);
    Bytes src = RandomBytes(300, 1), dst(300);
    pair.engine->Conversion(src.data(), dst.data(), 100);
    // Without a media white point the absolute intent is no exception.
    if (first.empty()) first = dst;
    EXPECT_EQ(dst, first) << "intent " << intent;
  }
}

TEST(Pipeline, WorkedNumbers) {
  const ProfileFile file(PlainSpec(17, 0, 0));
  Pair pair;
  Selection s;
  s.in = 1;
  s.out = 11;
  pair.SetProfile(file, s);
  // The top level lies in the last cell, one step short of its far corner.
  EXPECT_EQ(pair.engine->inLut0[65535], 15u << 16 | 4095u);
  EXPECT_EQ(pair.engine->inLut2[4096], 1u << 16);
  EXPECT_EQ(pair.engine->outLut[0][12345], 12345u);
  EXPECT_EQ(pair.engine->engineStatus, 11);

  const struct {
    int code, statusAfterSetIntent;
  } kRows[] = {{11, 11}, {12, 8}, {8, 8}, {13, 9}, {22, 22}, {34, 34}, {21, 21}, {4, 65535}};
  for (const auto& row : kRows) {
    s.out = s.out == 10 ? 20 : 10;
    pair.SetIntent(s);
    s.out = row.code;
    pair.SetIntent(s);
    EXPECT_EQ(pair.engine->engineStatus, row.statusAfterSetIntent) << row.code;
  }
}

TEST(Pipeline, HostileOffsetsStayBounded) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInf = std::numeric_limits<double>::infinity();
  constexpr double kHuge = std::numeric_limits<double>::max();
  const ProfileFile file(PlainSpec(9, 256, 256));
  Pair pair;
  Selection s;
  int turn = 0;
  for (double offset : {kNan, -kNan, kInf, -kInf, kHuge, -kHuge, 1e10, -1e10}) {
    for (int which = 0; which < 3; ++which) {
      SCOPED_TRACE(testing::Message() << offset << " as offset " << which);
      double offsets[3] = {};
      offsets[which] = offset;
      s.out = ++turn % 2 ? 12 : 13;
      EXPECT_EQ(pair.engine->SetProfile(file.path().c_str(), static_cast<Intent>(0),
                                        static_cast<ColorSpaceSignature>(0),
                                        static_cast<ColorSpaceSignature>(s.out), offsets[0],
                                        offsets[1], offsets[2]),
                0);
      EXPECT_EQ(pair.engine->Adjust_Lch(offsets[0], offsets[1], offsets[2]), s.out);
      // Nodes are whole 8-bit levels, whatever was asked.
      const unsigned int* word = &pair.engine->cells[0][0][0][0][0];
      for (std::size_t at = 0; at < sizeof pair.engine->cells / sizeof *word; at += 4) {
        ASSERT_LE(word[at] >> 12, 65280u);
        ASSERT_EQ(word[at] & 0xFFFFF, 0u);
      }
    }
  }
}

// Curves of an even count padded to four bytes, as ICC.1 has it: the second one is looked for two
// bytes too late, so that its count is 65536 times what it should be, and what is then read past
// the tag's end counts as zero.
TEST(Pipeline, PaddedCurvesOfEvenCount) {
  for (int entries : {4, 6, 16}) {
    ProfileSpec spec = PlainSpec(3, entries, entries);
    spec.tags[0].form = TagForm::kMab;
    spec.tags[0].spacing = CurveSpacing::kPadded;
    SCOPED_TRACE(Describe(spec));
    const ProfileFile file(spec);
    Pair pair;
    pair.SetProfile(file, Selection{});
    EXPECT_EQ(pair.engine->engineStatus, 12);
    ExpectSameTables(pair);
    ExpectSameRandomConversion(pair, 100, 2);
  }
}

// With 1024 entries that count asks for more memory than such a file may take.
TEST(Pipeline, PaddedCurvesTooLargeToHold) {
  ProfileSpec spec = PlainSpec(3, 1024, 1024);
  spec.tags[0].form = TagForm::kMab;
  spec.tags[0].spacing = CurveSpacing::kPadded;
  const ProfileFile file(spec);
  Pair pair;
  EXPECT_EQ(pair.engine->SetProfile(file.path().c_str(), static_cast<Intent>(0),
                                    static_cast<ColorSpaceSignature>(0),
                                    static_cast<ColorSpaceSignature>(12), 0, 0, 0),
            0);
  EXPECT_EQ(pair.engine->engineStatus, 65535);
  EXPECT_EQ(pair.engine->outputColor, 12);
  Bytes src(300, 200), dst(300, 33);
  EXPECT_EQ(pair.engine->Conversion(src.data(), dst.data(), 100), 0);
  EXPECT_EQ(dst, Bytes(300, 33));
}

// Bytes that are not there are zeros, wherever the file breaks off.
TEST(Pipeline, ShortenedFiles) {
  for (TagForm form : {TagForm::kLut16, TagForm::kMab}) {
    ProfileSpec spec = PlainSpec(5, 256, 16);
    spec.tags[0].form = form;
    spec.tags[0].outCurve = CurveShape::kGamma;
    spec.manufacturer = Signature("ACME");
    spec.wtpt = {0xF351, 0x10000, 0x116CC};
    const Bytes whole = WriteProfile(spec);
    std::vector<std::size_t> lengths = {0, 47, 50, 127, 128, 131, 132, 144, 150, 156, 167, 168};
    for (std::size_t part = 1; part <= 24; ++part) {
      lengths.push_back(168 + (whole.size() - 168) * part / 24 - part % 2);
    }
    for (std::size_t length : lengths) {
      SCOPED_TRACE(testing::Message()
                   << Describe(spec) << ", first " << length << " bytes of " << whole.size());
      const ProfileFile file(Bytes(whole.begin(), whole.begin() + static_cast<long>(length)));
      Pair pair;
      Selection s;
      s.intent = 3;
      pair.SetProfile(file, s);
      ExpectSameTables(pair);
      ExpectSameRandomConversion(pair, 50, 2);
    }
  }
}

// The tag table's sizes hold: what lies behind a tag's end is not part of it.
TEST(Pipeline, UnderstatedTagSizes) {
  for (TagForm form : {TagForm::kLut16, TagForm::kMab}) {
    ProfileSpec spec = PlainSpec(5, 256, 16);
    spec.tags[0].form = form;
    const Bytes whole = WriteProfile(spec);
    constexpr std::size_t kSizeField = 132 + 12 + 8;  // of the second tag, A2B0
    const std::size_t tagSize = std::size_t{whole[kSizeField + 2]} << 8 | whole[kSizeField + 3];
    for (std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{8}, std::size_t{11},
                             std::size_t{33}, std::size_t{52}, std::size_t{101}, tagSize / 4,
                             tagSize / 2, tagSize * 3 / 4, tagSize - 5, tagSize}) {
      Bytes bytes = whole;
      bytes[kSizeField + 2] = static_cast<unsigned char>(size >> 8);
      bytes[kSizeField + 3] = static_cast<unsigned char>(size);
      SCOPED_TRACE(testing::Message() << Describe(spec) << ", " << size << " bytes of " << tagSize);
      const ProfileFile file(bytes);
      Pair pair;
      pair.SetProfile(file, Selection{});
      ExpectSameTables(pair);
    }
  }
}

}  // namespace
}  // namespace reference

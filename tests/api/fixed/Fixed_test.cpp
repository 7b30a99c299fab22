// The fixed pipeline against the engine of the fixed interface, byte for byte.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "corpus/Corpus.h"
#include "engine/CIccEngineS.h"
#include "tests/TemporaryFile.h"
#include "tests/api/TestImage.h"

namespace {

using namespace api_test;
namespace forms = profile_forms;
using ICC40::ICC_ENG_S4::CIccEngineS;
using ICC40::ICCFILE::ColorSpaceSignature;

// The spaces that the fixed interface converts to, and its 8-bit codes for them.
const struct {
  const char* space;
  int code;
} kOutputs[] = {
    {"srgb-220", 8},    {"srgb-linear", 10},      {"srgb", 12},           {"adobe-rgb-linear", 20},
    {"adobe-18", 22},   {"apple-linear", 24},     {"apple", 26},          {"colormatch-linear", 28},
    {"colormatch", 30}, {"srgb-kodak-photo", 34}, {"srgb-kodak-mix", 36}, {"srgb-kodak-text", 38},
};

const struct {
  const char* what;
  std::uint32_t from, to;
} kFormats[] = {
    {"8 to 8", KXP_U8, KXP_U8}, {"8 to 16", KXP_U8, KXP_U16}, {"16 to 16", KXP_U16, KXP_U16}};

constexpr Shape kShape = {1009, 1};

kxp_pipeline_options FixedOptions(std::uint32_t intent = KXP_PERCEPTUAL) {
  kxp_pipeline_options options = {};
  options.size = sizeof options;
  options.intent = intent;
  options.pipeline = KXP_FIXED;
  return options;
}

// Of no manufacturer: the test's profiles have "none", which the engine gives no colours for.
Bytes Unmarked(Bytes profile) {
  std::fill_n(profile.begin() + 48, 4, static_cast<unsigned char>(0));
  return profile;
}

// Null where it is refused.
Pipeline TryFixed(const Profile& source, const char* space, const kxp_pipeline_options& options,
                  kxp_error& error) {
  kxp_pipeline* pipeline = nullptr;
  kxp_pipeline_create(source.get(), BuiltIn(space).get(), &options, &pipeline, &error);
  return Pipeline(pipeline);
}

Pipeline Fixed(const Bytes& profile, const char* space, const kxp_pipeline_options& options) {
  kxp_error error = NewError();
  Pipeline pipeline = TryFixed(FromMemory(profile), space, options, error);
  EXPECT_NE(pipeline, nullptr) << error.message;
  return pipeline;
}

// What the engine makes of packed samples.
Bytes EngineResult(CIccEngineS& engine, Bytes source, std::uint32_t from, std::uint32_t to) {
  const auto pixels = static_cast<int>(source.size() / 3) / (from == KXP_U16 ? 2 : 1);
  Bytes destination(static_cast<std::size_t>(3 * pixels * (to == KXP_U16 ? 2 : 1)));
  engine.Conversion(source.data(), destination.data(), pixels);
  return destination;
}

// Counts what was compared.
struct Compared {
  int conversions = 0, profiles = 0, refusals = 0;
};

void Compare(const Bytes& bytes, const kxp_pipeline_options& options, std::size_t output,
             Compared& compared) {
  kxp_profile* handle = nullptr;
  if (kxp_profile_from_memory(bytes.data(), bytes.size(), &handle, nullptr) != KXP_OK) return;
  const Profile profile(handle);
  kxp_error error = NewError();
  const Pipeline pipeline = TryFixed(profile, kOutputs[output].space, options, error);
  if (pipeline == nullptr) {
    ++compared.refusals;
    EXPECT_EQ(error.status, KXP_ERROR_UNSUPPORTED) << error.message;
    return;
  }
  const TemporaryFile file(bytes);
  for (const auto& format : kFormats) {
    CIccEngineS engine;
    engine.SetProfile(
        file.Path(), static_cast<ICC40::ICCFILE::Intent>(options.intent),
        format.from == KXP_U8 ? ICC40::ICCFILE::RGB : ICC40::ICCFILE::RGB_16,
        static_cast<ColorSpaceSignature>(kOutputs[output].code + (format.to == KXP_U16 ? 1 : 0)),
        options.lightness, options.chroma, options.hue);
    ASSERT_NE(engine.inLut0, nullptr) << "the engine converts nothing";
    const Conversion how = {format.from, format.to};
    const Bytes samples =
        SomeBytes(3 * kShape.width * static_cast<std::size_t>(SampleBytes(format.from)), 5);
    EXPECT_TRUE(ConvertedPlainly(pipeline.get(), kShape, how, samples) ==
                EngineResult(engine, samples, format.from, format.to))
        << kOutputs[output].space << ", " << format.what << ", intent " << options.intent;
    ++compared.conversions;
  }
}

// Half of the corpus is damaged, so that it is refused when it is read: here is what the tags would
// be in good order.
corpus::ProfileSpec InGoodOrder(corpus::ProfileSpec spec) {
  spec.manufacturer = 0;
  std::map<std::uint32_t, corpus::TagSpec> tags;
  for (corpus::TagSpec& tag : spec.tags) {
    const bool isMab = tag.form == corpus::TagForm::kMab;
    tag.in = tag.out = 3;
    for (int* const entries : {&tag.inEntries, &tag.outEntries}) {
      *entries = std::clamp(*entries, 3, 4096);
      if (isMab && *entries % 2 == 0) --*entries;
    }
    tag.spacing = corpus::CurveSpacing::kPadded;
    tag.gridPerAxis = {};
    tag.precision = 2;
    tag.hasA = tag.hasB = tag.hasClut = true;
    tags.insert({tag.signature, tag});
  }
  spec.tags.clear();
  for (const auto& [signature, tag] : tags) spec.tags.push_back(tag);
  return spec;
}

TEST(Fixed, TheBytesOfTheFixedInterfaceOverTheCorpus) {
  Compared compared;
  for (const corpus::Case& each : corpus::Cases()) {
    SCOPED_TRACE(each.name);
    for (const corpus::ProfileSpec& spec : {each.profile, InGoodOrder(each.profile)}) {
      const auto output = std::find_if(
          std::begin(kOutputs), std::end(kOutputs),
          [&](const auto& row) { return row.code == (each.selection.outputCode & ~1); });
      if (output == std::end(kOutputs)) continue;
      kxp_pipeline_options options =
          FixedOptions(static_cast<std::uint32_t>(each.selection.intent));
      options.lightness = each.selection.lightness;
      options.chroma = each.selection.chroma;
      options.hue = each.selection.hueDeg;
      Compare(corpus::WriteProfile(spec), options,
              static_cast<std::size_t>(output - std::begin(kOutputs)), compared);
    }
  }
  std::printf("%d conversions compared, %d refused\n", compared.conversions, compared.refusals);
  EXPECT_GT(compared.conversions, 100);
}

TEST(Fixed, EveryOutputIntentAndOffset) {
  Compared compared;
  const struct {
    double lightness, chroma, hue;
  } kOffsets[] = {{0, 0, 0}, {5, -8.25, 20}, {0.5, 0, 0}, {-30, 40, -400.75}};
  for (const std::uint64_t seed : {1u, 2u, 3u}) {
    corpus::ProfileSpec spec = corpus::PlainSpec(seed == 1   ? 9
                                                 : seed == 2 ? 17
                                                             : 33,
                                                 seed == 1 ? 2 : 256, seed == 3 ? 4096 : 256);
    spec.wtpt = {0xF000, 0xFF00, 0xC000};
    const Bytes profile = corpus::WriteProfile(spec);
    for (std::size_t output = 0; output < std::size(kOutputs); ++output) {
      for (std::uint32_t intent = 0; intent < 4; ++intent) {
        const auto& offset = kOffsets[(output + intent) % std::size(kOffsets)];
        kxp_pipeline_options options = FixedOptions(intent);
        options.lightness = offset.lightness;
        options.chroma = offset.chroma;
        options.hue = offset.hue;
        Compare(profile, options, output, compared);
      }
    }
  }
  EXPECT_EQ(compared.conversions, 3 * 12 * 4 * 3);
}

// Tables of an odd number of entries, which the engine reads as they stand in lutAToBType.
TEST(Fixed, CurvesAndClut) {
  forms::Elements lut;
  lut.gridPoints = {5, 5, 5};
  lut.clut = forms::Values(375, 7);
  const auto curves = [](std::size_t entries, unsigned seed) {
    return std::vector<Bytes>{profile_bytes::CurvTag(forms::Values(entries, seed)),
                              profile_bytes::CurvTag(forms::Values(entries, seed + 1)),
                              profile_bytes::CurvTag(forms::Values(entries, seed + 2))};
  };
  const std::vector<Bytes> identity(3, profile_bytes::CurvTag({}));
  const struct {
    const char* what;
    std::vector<Bytes> a, b;
  } kRows[] = {
      {"identity on both sides", identity, identity},
      {"tables before the grid", curves(257, 1), identity},
      {"tables behind the grid", identity, curves(33, 4)},
      {"long tables on both sides", curves(4097, 2), curves(5, 3)},
      {"two entries, straight", std::vector<Bytes>(3, profile_bytes::CurvTag({0, 65535})),
       identity},
      {"gamma 1", std::vector<Bytes>(3, profile_bytes::CurvTag({0x0100})), identity},
  };
  Compared compared;
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.what);
    lut.curvesA = row.a;
    lut.curvesB = row.b;
    Compare(Unmarked(forms::WithTag("A2B0", lut.Tag()).Build()), FixedOptions(), 2, compared);
  }
  EXPECT_EQ(compared.conversions, 3 * static_cast<int>(std::size(kRows)));
}

TEST(Fixed, OtherLayoutsAreTheSameBytes) {
  const Pipeline pipeline = Fixed(Unmarked(ScannerProfile()), "srgb", FixedOptions());
  const Shape shape = {37, 11};
  for (const auto& format : kFormats) {
    const Conversion how = {format.from, format.to};
    const Bytes samples = SomeBytes(
        3 * shape.width * shape.height * static_cast<std::size_t>(SampleBytes(format.from)), 3);
    const Bytes expected = ConvertedPlainly(pipeline.get(), shape, how, samples);
    for (const NamedLayout& from : AllLayouts()) {
      for (const NamedLayout& to : AllLayouts()) {
        EXPECT_TRUE(ConvertedThrough(pipeline.get(), from, to, shape, how, samples) == expected)
            << format.what << ", " << from.name << " to " << to.name;
      }
    }
  }
}

// From 16 bits to 8: the 16-bit results, rounded.
TEST(Fixed, SixteenToEightBits) {
  const Pipeline pipeline = Fixed(Unmarked(ScannerProfile()), "srgb", FixedOptions());
  const Bytes samples = SomeBytes(6 * kShape.width, 3);
  const Bytes wide = ConvertedPlainly(pipeline.get(), kShape, {KXP_U16, KXP_U16}, samples);
  const Bytes narrow = ConvertedPlainly(pipeline.get(), kShape, {KXP_U16, KXP_U8}, samples);
  for (std::size_t n = 0; n < narrow.size(); ++n) {
    std::uint16_t value;
    std::memcpy(&value, wide.data() + 2 * n, sizeof value);
    EXPECT_EQ(narrow[n], std::lround(value / 257.0)) << value;
  }
}

TEST(Fixed, AnyNumberOfThreads) {
  const Pipeline pipeline = Fixed(Unmarked(ScannerProfile()), "srgb", FixedOptions());
  const Shape shape = {100003, 3};
  const Bytes samples = SomeBytes(3 * shape.width * shape.height, 3);
  const Bytes expected = ConvertedPlainly(pipeline.get(), shape, {}, samples);
  for (const std::uint32_t threads : {2u, 3u, 8u}) {
    kxp_convert_options options = NewConvertOptions();
    options.threads = threads;
    Conversion how;
    how.options = &options;
    EXPECT_TRUE(ConvertedPlainly(pipeline.get(), shape, how, samples) == expected) << threads;
  }
}

// A grey of half alpha in every way that two images can have alpha.
TEST(Fixed, Alpha) {
  const Pipeline pipeline = Fixed(Unmarked(ScannerProfile()), "srgb", FixedOptions());
  const auto bare = [&](unsigned char r, unsigned char g, unsigned char b) {
    return ConvertedPlainly(pipeline.get(), {1, 1}, {}, {r, g, b});
  };
  const Bytes colour = bare(200, 100, 50), doubled = bare(100, 200, 255);
  const auto halved = [](const Bytes& rgb) {
    Bytes half = rgb;
    for (unsigned char& value : half) {
      value = static_cast<unsigned char>(std::lround(value * 128 / 255.0));
    }
    return half;
  };
  const struct {
    const char* what;
    Bytes source;
    std::uint32_t fromFlags, toFlags;
    Bytes color;
    unsigned char alpha;
  } kRows[] = {
      {"kept", {200, 100, 50, 128}, 0, 0, colour, 128},
      {"opaque", {200, 100, 50, 128}, 0, KXP_OPAQUE, colour, 255},
      {"associated", {200, 100, 50, 128}, 0, KXP_ASSOCIATED_ALPHA, halved(colour), 128},
      // 50 255 / 128 = 99.6, 100 255 / 128 = 199.2, and no more than 255.
      {"divided", {50, 100, 128, 128}, KXP_ASSOCIATED_ALPHA, 0, doubled, 128},
      {"divided and multiplied",
       {50, 100, 128, 128},
       KXP_ASSOCIATED_ALPHA,
       KXP_ASSOCIATED_ALPHA,
       halved(doubled),
       128},
      {"more colour than alpha", {50, 100, 200, 128}, KXP_ASSOCIATED_ALPHA, 0, doubled, 128},
      {"nothing to divide by",
       {200, 100, 50, 0},
       KXP_ASSOCIATED_ALPHA,
       KXP_ASSOCIATED_ALPHA,
       colour,
       0},
      {"multiplied by nothing", {200, 100, 50, 0}, 0, KXP_ASSOCIATED_ALPHA, {0, 0, 0}, 0},
  };
  for (const auto& row : kRows) {
    Conversion how;
    how.fromChannels = how.toChannels = 4;
    how.fromFlags = row.fromFlags;
    how.toFlags = row.toFlags;
    Bytes expected = row.color;
    expected.push_back(row.alpha);
    EXPECT_EQ(ConvertedPlainly(pipeline.get(), {1, 1}, how, row.source), expected) << row.what;
  }
}

// ---- Refusals -----------------------------------------------------------------------------------

forms::Elements Straight() {
  forms::Elements lut;
  lut.curvesA = lut.curvesB = std::vector<Bytes>(3, profile_bytes::CurvTag({}));
  lut.gridPoints = {3, 3, 3};
  lut.clut = forms::Values(81, 7);
  return lut;
}

Bytes With(const forms::Elements& lut) {
  return forms::WithTag("A2B0", lut.Tag()).Build();
}

TEST(Fixed, RefusesWhatTheFixedInterfaceConvertsWrongly) {
  using profile_bytes::CurvTag;
  const auto changed = [](auto change) {
    forms::Elements lut = Straight();
    change(lut);
    return With(lut);
  };
  const std::vector<std::uint32_t> identityMatrix = {0x10000, 0, 0,       0, 0x10000, 0,
                                                     0,       0, 0x10000, 0, 0,       0};
  const std::vector<Bytes> identity(3, CurvTag({})), gammas(3, CurvTag({0x0200}));
  const struct {
    const char* what;
    Bytes profile;
    std::uint32_t intent;
    const char* tag;
    const char* reason;  // a part of the sentence; "" where it converts
    bool isMarked = false;
  } kRows[] = {
      {"a scanner", ScannerProfile(), KXP_PERCEPTUAL, "", ""},
      {"a fallback", ScannerProfile(), KXP_ABSOLUTE, "", ""},
      {"matrix and curves", MatrixProfile(), KXP_PERCEPTUAL, "",
       "A2B0, which the profile does not have: a matrix and tone curves do not do"},
      {"neither the tag nor A2B0", forms::WithTag("A2B1", forms::Lut16().Tag()).Build(),
       KXP_SATURATION, "", "A2B2 or A2B0, which the profile does not have"},
      {"lut8Type", forms::WithTag("A2B0", forms::Lut8Tag()).Build(), KXP_PERCEPTUAL, "A2B0",
       "lut8Type"},
      {"an XYZ connection space", forms::WithTag("A2B0", forms::Lut16().Tag(), "XYZ ").Build(),
       KXP_PERCEPTUAL, "A2B0", "is XYZ"},
      {"two entries that are no line", forms::WithTag("A2B0", forms::Lut16(2, 2, 3).Tag()).Build(),
       KXP_PERCEPTUAL, "A2B0", "two entries"},
      {"34 grid points", forms::WithTag("A2B0", forms::Lut16(34, 3, 3).Tag()).Build(),
       KXP_PERCEPTUAL, "A2B0", "has 34"},
      {"manufacturer none",
       forms::WithTag("A2B0", forms::Lut16(3, 3, 3).Tag()).Header(48, "none").Build(),
       KXP_PERCEPTUAL, "", "'none'", true},
      {"lutAToBType", With(Straight()), KXP_PERCEPTUAL, "", ""},
      {"an identity matrix", changed([&](auto& lut) {
         lut.matrix = identityMatrix;
         lut.curvesM = identity;
       }),
       KXP_PERCEPTUAL, "", ""},
      {"a matrix", changed([&](auto& lut) {
         lut.matrix = forms::SomeMatrix();
         lut.curvesM = identity;
       }),
       KXP_PERCEPTUAL, "A2B0", "matrix"},
      {"an offset", changed([&](auto& lut) {
         lut.matrix = identityMatrix;
         lut.matrix[10] = 1;
         lut.curvesM = identity;
       }),
       KXP_PERCEPTUAL, "A2B0", "matrix"},
      {"M curves", changed([&](auto& lut) {
         lut.matrix = identityMatrix;
         lut.curvesM = gammas;
       }),
       KXP_PERCEPTUAL, "A2B0", "M curves"},
      {"a CLUT of bytes", changed([](auto& lut) {
         lut.precision = 1;
         lut.clut = forms::Values(81, 7, 255);
       }),
       KXP_PERCEPTUAL, "A2B0", "8-bit values"},
      {"different axes", changed([](auto& lut) {
         lut.gridPoints = {3, 3, 4};
         lut.clut = forms::Values(108, 7);
       }),
       KXP_PERCEPTUAL, "A2B0", "every axis"},
      {"no CLUT", changed([](auto& lut) {
         lut.curvesA.clear();
         lut.gridPoints.clear();
         lut.clut.clear();
       }),
       KXP_PERCEPTUAL, "A2B0", "needs a CLUT"},
      {"gamma curves", changed([&](auto& lut) { lut.curvesA = gammas; }), KXP_PERCEPTUAL, "A2B0",
       "cuts off the A curves"},
      {"an even number of entries", changed([](auto& lut) {
         lut.curvesB = std::vector<Bytes>(3, CurvTag(forms::Values(256, 3)));
       }),
       KXP_PERCEPTUAL, "A2B0", "cuts off the B curves"},
      {"different numbers of entries", changed([](auto& lut) {
         lut.curvesA = {CurvTag(forms::Values(5, 1)), CurvTag(forms::Values(7, 1)),
                        CurvTag(forms::Values(5, 1))};
       }),
       KXP_PERCEPTUAL, "A2B0", "cuts off the A curves"},
      {"a function", changed([](auto& lut) { lut.curvesB[2] = forms::ParaTag(0, {2}); }),
       KXP_PERCEPTUAL, "A2B0", "cuts off the B curves"},
  };
  for (const auto& row : kRows) {
    kxp_error error = NewError();
    const Pipeline pipeline =
        TryFixed(FromMemory(row.isMarked ? row.profile : Unmarked(row.profile)), "srgb",
                 FixedOptions(row.intent), error);
    EXPECT_EQ(pipeline != nullptr, *row.reason == '\0') << row.what << ": " << error.message;
    if (pipeline != nullptr) continue;
    EXPECT_EQ(error.status, KXP_ERROR_UNSUPPORTED) << row.what;
    EXPECT_STREQ(error.tag, row.tag) << row.what;
    EXPECT_NE(std::string(error.message).find(row.reason), std::string::npos)
        << row.what << ": " << error.message;
    EXPECT_EQ(std::string(error.message).back(), '.') << row.what;
  }
}

TEST(Fixed, DestinationsAndOptions) {
  const Profile scanner = FromMemory(Unmarked(ScannerProfile()));
  const auto with = [](auto change) {
    kxp_pipeline_options options = FixedOptions();
    change(options);
    return options;
  };
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* what;
    const char* space;
    kxp_pipeline_options options;
    kxp_status status;
    const char* reason;
  } kRows[] = {
      {"Adobe RGB (1998)", "adobe-rgb", FixedOptions(), KXP_ERROR_UNSUPPORTED, "adobe-18"},
      {"Rec. 2020", "rec2020", FixedOptions(), KXP_ERROR_UNSUPPORTED, "srgb-linear"},
      {"Lab", "lab", FixedOptions(), KXP_ERROR_UNSUPPORTED, "srgb"},
      {"black point compensation", "srgb", with([](auto& options) {
         options.intent = KXP_RELATIVE;
         options.flags = KXP_BLACK_POINT_COMPENSATION;
       }),
       KXP_ERROR_ARGUMENT, "precise"},
      {"unclipped", "srgb", with([](auto& options) { options.flags = KXP_UNCLIPPED; }),
       KXP_ERROR_ARGUMENT, "precise"},
      {"offsets of the precise pipeline", "srgb", with([](auto& options) {
         options.pipeline = KXP_PRECISE;
         options.hue = 1;
       }),
       KXP_ERROR_ARGUMENT, "fixed"},
      {"an offset that is no number", "srgb", with([=](auto& options) { options.chroma = kNaN; }),
       KXP_ERROR_ARGUMENT, "finite"},
      {"a pipeline that there is not", "srgb", with([](auto& options) { options.pipeline = 2; }),
       KXP_ERROR_ARGUMENT, "neither"},
      {"the reserved member", "srgb", with([](auto& options) { options.reserved = 1; }),
       KXP_ERROR_ARGUMENT, "reserved"},
  };
  for (const auto& row : kRows) {
    kxp_error error = NewError();
    EXPECT_EQ(TryFixed(scanner, row.space, row.options, error), nullptr) << row.what;
    EXPECT_EQ(error.status, row.status) << row.what;
    EXPECT_NE(std::string(error.message).find(row.reason), std::string::npos)
        << row.what << ": " << error.message;
  }
}

TEST(Fixed, QueriesAndProbe) {
  const Pipeline pipeline = Fixed(Unmarked(ScannerProfile()), "srgb", FixedOptions(KXP_RELATIVE));
  double number = 0;
  EXPECT_EQ(kxp_pipeline_number(pipeline.get(), KXP_PIPELINE, 0, &number), KXP_OK);
  EXPECT_EQ(number, KXP_FIXED);
  EXPECT_EQ(kxp_pipeline_number(pipeline.get(), KXP_SOURCE_FALLBACK, 0, &number), KXP_OK);
  EXPECT_EQ(number, 1);
  char text[8];
  EXPECT_EQ(kxp_pipeline_text(pipeline.get(), KXP_SOURCE_TAG, 0, text, sizeof text, nullptr),
            KXP_OK);
  EXPECT_STREQ(text, "A2B0");
  EXPECT_EQ(kxp_pipeline_text(pipeline.get(), KXP_TARGET_TAG, 0, text, sizeof text, nullptr),
            KXP_OK);
  EXPECT_STREQ(text, "builtin");

  const double device[] = {0.25, 0.5, 1.5};
  kxp_stage stages[4] = {};
  stages[0].size = sizeof(kxp_stage);
  std::size_t count = 0;
  ASSERT_EQ(kxp_probe(pipeline.get(), device, stages, 4, &count, nullptr), KXP_OK);
  ASSERT_EQ(count, 2u);
  EXPECT_STREQ(stages[0].name, "device");
  EXPECT_EQ(stages[0].values[1], 32768 / 65535.0);
  EXPECT_EQ(stages[0].clipped[2], 0.5);
  EXPECT_STREQ(stages[1].name, "encoded");
  std::uint16_t samples[] = {16384, 32768, 65535};
  const kxp_image image = PlainImage(samples, KXP_U16);
  ASSERT_EQ(kxp_convert(pipeline.get(), &image, &image, 1, 1, nullptr, nullptr), KXP_OK);
  for (int c = 0; c < 3; ++c) EXPECT_EQ(stages[1].values[c], samples[c] / 65535.0);
}

TEST(Fixed, SampleTypesOfTheFixedInterfaceAlone) {
  const Pipeline pipeline = Fixed(Unmarked(ScannerProfile()), "srgb", FixedOptions());
  float samples[3] = {};
  for (const std::uint32_t type : {KXP_F16, KXP_F32}) {
    const kxp_image image = PlainImage(samples, type), bytes = PlainImage(samples, KXP_U8);
    kxp_error error = NewError();
    EXPECT_EQ(kxp_convert(pipeline.get(), &image, &image, 1, 1, nullptr, &error),
              KXP_ERROR_ARGUMENT);
    EXPECT_STREQ(error.message, "The fixed pipeline takes and gives samples of 8 or 16 bits only.");
    float other[3] = {};
    const kxp_image result = PlainImage(other, type);
    EXPECT_EQ(kxp_convert(pipeline.get(), &bytes, &result, 1, 1, nullptr, &error),
              KXP_ERROR_ARGUMENT);
  }
}

}  // namespace

// What can be asked: of the library, of profiles and of pipelines. Expected values were read off
// the profiles' bytes, or stand in the code that wrote these.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/api/Handles.h"

namespace {

using namespace api_test;
namespace forms = profile_forms;

constexpr std::uint32_t kLastProfileKey = KXP_DESTINATION_FALLBACK;
constexpr std::uint32_t kLastPipelineKey = KXP_TARGET_FALLBACK;

// A number or the status that there is in its place.
struct Number {
  kxp_status status;
  double value;
};
template <typename Query>
Number AskNumber(const Query& query) {
  constexpr double kBefore = -77;
  Number number = {KXP_OK, kBefore};
  number.status = query(&number.value);
  EXPECT_TRUE(number.status == KXP_OK || number.value == kBefore);
  return number;
}
Number NumberOf(const Profile& profile, std::uint32_t key, std::uint32_t index = 0) {
  return AskNumber(
      [&](double* value) { return kxp_profile_number(profile.get(), key, index, value); });
}
Number NumberOf(const Pipeline& pipeline, std::uint32_t key, std::uint32_t index = 0) {
  return AskNumber(
      [&](double* value) { return kxp_pipeline_number(pipeline.get(), key, index, value); });
}

struct Text {
  kxp_status status;
  std::string value;
};
template <typename Query>
Text AskText(const Query& query) {
  char text[4096];
  std::memset(text, 'x', sizeof text);
  std::size_t length = 12345;
  const kxp_status status = query(text, sizeof text, &length);
  if (status != KXP_OK) {
    EXPECT_EQ(length, 12345u);
    EXPECT_EQ(text[0], 'x');
    return {status, ""};
  }
  EXPECT_EQ(std::strlen(text), length);
  return {status, text};
}
Text TextOf(const Profile& profile, std::uint32_t key, std::uint32_t index = 0) {
  return AskText([&](char* text, std::size_t capacity, std::size_t* length) {
    return kxp_profile_text(profile.get(), key, index, text, capacity, length);
  });
}
Text TextOf(const Pipeline& pipeline, std::uint32_t key, std::uint32_t index = 0) {
  return AskText([&](char* text, std::size_t capacity, std::size_t* length) {
    return kxp_pipeline_text(pipeline.get(), key, index, text, capacity, length);
  });
}

// ---- The library --------------------------------------------------------------------------------

TEST(Queries, TheLibrary) {
  EXPECT_STREQ(kxp_version(), "1.0.0");
  const std::set<std::string> levels = {"scalar", "portable", "avx2", "avx512"};
  EXPECT_TRUE(levels.contains(kxp_level())) << kxp_level();
  EXPECT_EQ(kxp_level(), kxp_level());
}

TEST(Queries, Statuses) {
  std::set<std::string> texts;
  for (int status = KXP_OK; status <= KXP_CANCELLED; ++status) {
    const char* const text = kxp_status_text(static_cast<kxp_status>(status));
    EXPECT_STRNE(text, "unknown status") << status;
    EXPECT_TRUE(texts.insert(text).second) << text;
    EXPECT_EQ(text, kxp_status_text(static_cast<kxp_status>(status)));
  }
  EXPECT_STREQ(kxp_status_text(static_cast<kxp_status>(KXP_CANCELLED + 1)), "unknown status");
}

TEST(Queries, TheListOfSpaces) {
  const std::vector<std::string> expected = {"srgb",
                                             "srgb-linear",
                                             "adobe-rgb",
                                             "adobe-rgb-linear",
                                             "display-p3",
                                             "display-p3-linear",
                                             "prophoto",
                                             "prophoto-linear",
                                             "ecirgb-v2",
                                             "ecirgb-v2-linear",
                                             "rec2020",
                                             "rec2020-linear",
                                             "adobe-18",
                                             "apple",
                                             "apple-linear",
                                             "colormatch",
                                             "colormatch-linear",
                                             "srgb-220",
                                             "srgb-kodak-photo",
                                             "srgb-kodak-mix",
                                             "srgb-kodak-text",
                                             "lab",
                                             "xyz"};
  std::vector<std::string> names;
  for (std::size_t n = 0; n < kxp_space_count(); ++n) {
    names.push_back(kxp_space_name(n));
    const std::string description = kxp_space_description(n);
    EXPECT_GT(description.size(), 5u) << names.back();
    EXPECT_EQ(description.find('\n'), std::string::npos) << names.back();
    EXPECT_EQ(kxp_space_name(n), kxp_space_name(n)) << "static storage";
    kxp_profile* profile = nullptr;
    EXPECT_EQ(kxp_profile_builtin(names.back().c_str(), &profile, nullptr), KXP_OK) << names.back();
    kxp_profile_release(profile);
  }
  EXPECT_EQ(names, expected);
  for (const std::size_t beyond : {kxp_space_count(), kxp_space_count() + 1, ~std::size_t{0}}) {
    EXPECT_EQ(kxp_space_name(beyond), nullptr) << beyond;
    EXPECT_EQ(kxp_space_description(beyond), nullptr) << beyond;
  }
}

// ---- Profiles -----------------------------------------------------------------------------------

struct ExpectedText {
  std::uint32_t key, index;
  std::string value;
};
struct ExpectedNumber {
  std::uint32_t key, index;
  std::optional<double> value;  // none: the profile has no such number
};

void ExpectAnswers(const std::string& what, const Profile& profile,
                   const std::vector<ExpectedText>& texts,
                   const std::vector<ExpectedNumber>& numbers) {
  for (const ExpectedText& row : texts) {
    const Text text = TextOf(profile, row.key, row.index);
    EXPECT_EQ(text.status, KXP_OK) << what << ", key " << row.key << ", index " << row.index;
    EXPECT_EQ(text.value, row.value) << what << ", key " << row.key << ", index " << row.index;
  }
  for (const ExpectedNumber& row : numbers) {
    const Number number = NumberOf(profile, row.key, row.index);
    EXPECT_EQ(number.status, row.value ? KXP_OK : KXP_ERROR_UNSUPPORTED)
        << what << ", key " << row.key << ", index " << row.index;
    if (row.value && number.status == KXP_OK) {
      EXPECT_EQ(number.value, *row.value) << what << ", key " << row.key << ", index " << row.index;
    }
  }
}

// An s15Fixed16Number as it comes back.
double AsFixed(double number) {
  return static_cast<std::int32_t>(forms::Fixed(number)) / 65536.0;
}

// Every tag that is read; see ProfileForms.h. A2B0 is a lutAToBType with a grid of 2, 3, 4 points,
// A curves of a formula, the identity and 2 entries, and B curves of 3, a gamma and a formula. A2B1
// and A2B2 are a lut16Type with 2 grid points, 2 input and 3 output entries.
TEST(Queries, AProfileWithEverything) {
  const Bytes bytes = FullProfile();
  std::vector<ExpectedText> texts = {{KXP_VERSION, 0, "4.3.0"},
                                     {KXP_CLASS, 0, "prtr"},
                                     {KXP_COLOR_SPACE, 0, "RGB "},
                                     {KXP_PCS, 0, "XYZ "},
                                     {KXP_DESCRIPTION, 0, "A device"},
                                     {KXP_COPYRIGHT, 0, "Nobody's"},
                                     {KXP_MANUFACTURER, 0, "none"},
                                     {KXP_MODEL, 0, "MODL"},
                                     {KXP_CREATOR, 0, "CREA"},
                                     {KXP_INTENT_TAG, KXP_PERCEPTUAL, "A2B0"},
                                     {KXP_INTENT_TAG, KXP_RELATIVE, "A2B1"},
                                     {KXP_INTENT_TAG, KXP_SATURATION, "A2B2"},
                                     {KXP_INTENT_TAG, KXP_ABSOLUTE, "A2B1"},
                                     {KXP_DESTINATION_TAG, KXP_PERCEPTUAL, "B2A0"},
                                     {KXP_DESTINATION_TAG, KXP_RELATIVE, "B2A1"},
                                     {KXP_DESTINATION_TAG, KXP_SATURATION, "B2A2"},
                                     {KXP_DESTINATION_TAG, KXP_ABSOLUTE, "B2A1"}};
  const char* const kTags[] = {"rXYZ", "gXYZ", "bXYZ", "desc", "cprt", "wtpt",
                               "bkpt", "chad", "rTRC", "gTRC", "bTRC", "A2B0",
                               "A2B1", "A2B2", "B2A0", "B2A1", "B2A2", "priv"};
  for (std::uint32_t n = 0; n < std::size(kTags); ++n) texts.push_back({KXP_TAG, n, kTags[n]});
  std::vector<ExpectedNumber> numbers = {
      {KXP_SIZE, 0, static_cast<double>(bytes.size())},
      {KXP_VERSION, 0, 4.3},
      {KXP_HEADER_INTENT, 0, 1},
      {KXP_WHITE, 0, AsFixed(0.9)},
      {KXP_WHITE, 1, AsFixed(0.95)},
      {KXP_WHITE, 2, AsFixed(0.8)},
      {KXP_BLACK, 0, AsFixed(0.01)},
      {KXP_BLACK, 1, AsFixed(0.0125)},
      {KXP_BLACK, 2, AsFixed(0.0075)},
      {KXP_ADAPTATION, 0, AsFixed(1.0478)},
      {KXP_ADAPTATION, 2, AsFixed(-0.0502)},
      {KXP_ADAPTATION, 3, AsFixed(0.0295)},
      {KXP_ADAPTATION, 8, AsFixed(0.7517)},
      {KXP_TAG_COUNT, 0, static_cast<double>(std::size(kTags))},
      // By 3 * intent + channel.
      {KXP_GRID, 0, 2},
      {KXP_GRID, 1, 3},
      {KXP_GRID, 2, 4},
      {KXP_GRID, 3 * KXP_RELATIVE, 2},
      {KXP_GRID, 3 * KXP_ABSOLUTE + 2, 2},
      {KXP_INPUT_ENTRIES, 0, 0},
      {KXP_INPUT_ENTRIES, 1, 0},
      {KXP_INPUT_ENTRIES, 2, 2},
      {KXP_INPUT_ENTRIES, 3 * KXP_RELATIVE, 2},
      {KXP_OUTPUT_ENTRIES, 0, 3},
      {KXP_OUTPUT_ENTRIES, 1, 0},
      {KXP_OUTPUT_ENTRIES, 2, 0},
      {KXP_OUTPUT_ENTRIES, 3 * KXP_SATURATION + 1, 3},
  };
  for (std::uint32_t intent = 0; intent < 4; ++intent) {
    numbers.push_back({KXP_INTENT_FALLBACK, intent, 0});
    numbers.push_back({KXP_DESTINATION_FALLBACK, intent, 0});
  }
  ExpectAnswers("full profile", FromMemory(bytes), texts, numbers);
}

TEST(Queries, AScanner) {
  std::vector<ExpectedText> texts = {{KXP_CLASS, 0, "scnr"},       {KXP_PCS, 0, "Lab "},
                                     {KXP_VERSION, 0, "2.4.0"},    {KXP_DESCRIPTION, 0, ""},
                                     {KXP_MODEL, 0, ""},           {KXP_CREATOR, 0, ""},
                                     {KXP_MANUFACTURER, 0, "none"}};
  std::vector<ExpectedNumber> numbers = {{KXP_WHITE, 0, 0.9642},
                                         {KXP_WHITE, 1, 1},
                                         {KXP_WHITE, 2, 0.8249},
                                         {KXP_BLACK, 1, std::nullopt},
                                         {KXP_ADAPTATION, 4, std::nullopt}};
  for (std::uint32_t intent = 0; intent < 4; ++intent) {
    texts.push_back({KXP_INTENT_TAG, intent, "A2B0"});
    texts.push_back({KXP_DESTINATION_TAG, intent, ""});
    numbers.push_back({KXP_INTENT_FALLBACK, intent, intent == KXP_PERCEPTUAL ? 0.0 : 1.0});
    for (std::uint32_t channel = 0; channel < 3; ++channel) {
      numbers.push_back({KXP_GRID, 3 * intent + channel, 5});
      numbers.push_back({KXP_INPUT_ENTRIES, 3 * intent + channel, 4});
      numbers.push_back({KXP_OUTPUT_ENTRIES, 3 * intent + channel, 6});
    }
  }
  ExpectAnswers("scanner", FromMemory(ScannerProfile()), texts, numbers);
}

// Profiles that Debian packages bring: colord-data, argyll-ref, icc-profiles-free,
// rawtherapee-data.
TEST(Queries, RealProfiles) {
  const struct {
    const char* path;
    std::vector<ExpectedText> texts;
    std::vector<ExpectedNumber> numbers;
  } kRows[] = {
      {"/usr/share/color/icc/colord/sRGB.icc",
       {{KXP_VERSION, 0, "4.4.0"},
        {KXP_CLASS, 0, "mntr"},
        {KXP_PCS, 0, "XYZ "},
        {KXP_DESCRIPTION, 0, "sRGB"},
        {KXP_COPYRIGHT, 0, "This profile is free of known copyright restrictions"},
        {KXP_MANUFACTURER, 0, ""},
        {KXP_CREATOR, 0, "lcms"},
        {KXP_TAG, 0, "desc"},
        {KXP_TAG, 12, "dmdd"},
        {KXP_INTENT_TAG, KXP_PERCEPTUAL, "matrix"},
        {KXP_INTENT_TAG, KXP_ABSOLUTE, "matrix"},
        {KXP_DESTINATION_TAG, KXP_SATURATION, "matrix"}},
       {{KXP_SIZE, 0, 20420},
        {KXP_TAG_COUNT, 0, 13},
        {KXP_HEADER_INTENT, 0, 0},
        {KXP_WHITE, 0, 0.964202880859375},
        {KXP_WHITE, 2, 0.8249053955078125},
        {KXP_BLACK, 0, std::nullopt},
        {KXP_ADAPTATION, 0, 1.048004150390625},
        {KXP_ADAPTATION, 5, -0.017059326171875},
        {KXP_ADAPTATION, 8, 0.75225830078125},
        {KXP_INTENT_FALLBACK, KXP_RELATIVE, 0},
        {KXP_GRID, 0, 0},
        {KXP_INPUT_ENTRIES, 0, 0},
        {KXP_OUTPUT_ENTRIES, 0, 0}}},
      {"/usr/share/color/argyll/ref/ClayRGB1998.icm",
       {{KXP_VERSION, 0, "2.2.0"},
        {KXP_CLASS, 0, "mntr"},
        {KXP_DESCRIPTION, 0, "Interchangeable with Adobe RGB (1998)"},
        {KXP_COPYRIGHT, 0, "Public Domain. No Warranty, Use at own risk."},
        {KXP_MANUFACTURER, 0, "none"},
        {KXP_MODEL, 0, ""},
        {KXP_CREATOR, 0, "argl"},
        {KXP_TAG, 10, "arts"}},
       {{KXP_SIZE, 0, 640},
        {KXP_VERSION, 0, 2.2},
        {KXP_TAG_COUNT, 0, 11},
        {KXP_WHITE, 0, 0.9504547119140625},
        {KXP_WHITE, 2, 1.08905029296875},
        {KXP_BLACK, 1, 0},
        {KXP_ADAPTATION, 0, std::nullopt}}},
      {"/usr/share/color/icc/sRGB.icc",
       {{KXP_DESCRIPTION, 0, "sRGB"},
        {KXP_COPYRIGHT, 0, "no copyright, use freely"},
        {KXP_MANUFACTURER, 0, "lcms"},
        {KXP_TAG, 11, "cprt"}},
       {{KXP_SIZE, 0, 6922},
        {KXP_WHITE, 0, 0.9501495361328125},
        {KXP_INPUT_ENTRIES, 3 * KXP_ABSOLUTE + 1, 1024},
        {KXP_BLACK, 0, std::nullopt}}},
      {"/usr/share/rawtherapee/iccprofiles/input/Nikon D700.icc",
       {{KXP_CLASS, 0, "scnr"},
        {KXP_PCS, 0, "XYZ "},
        {KXP_DESCRIPTION, 0, "Converted from XRite80"},
        {KXP_INTENT_TAG, KXP_RELATIVE, "A2B0"},
        {KXP_DESTINATION_TAG, KXP_RELATIVE, ""}},
       {{KXP_SIZE, 0, 216118},
        {KXP_TAG_COUNT, 0, 4},
        {KXP_GRID, 4, 33},
        {KXP_INPUT_ENTRIES, 0, 2},
        {KXP_OUTPUT_ENTRIES, 8, 2},
        {KXP_INTENT_FALLBACK, KXP_PERCEPTUAL, 0},
        {KXP_INTENT_FALLBACK, KXP_SATURATION, 1},
        {KXP_WHITE, 0, 0.9642}}},
  };
  int found = 0;
  for (const auto& row : kRows) {
    if (!std::filesystem::exists(row.path)) continue;
    ++found;
    ExpectAnswers(row.path, Opened(row.path), row.texts, row.numbers);
  }
  if (found == 0) GTEST_SKIP() << "none of the packages with profiles is installed";
}

TEST(Queries, BuiltInSpaces) {
  for (std::size_t n = 0; n < kxp_space_count(); ++n) {
    const std::string name = kxp_space_name(n);
    const Profile space = BuiltIn(name.c_str());
    EXPECT_EQ(TextOf(space, KXP_DESCRIPTION).value, name);
    if (name == "lab" || name == "xyz") {
      EXPECT_EQ(TextOf(space, KXP_CLASS).status, KXP_ERROR_UNSUPPORTED) << name;
      EXPECT_EQ(NumberOf(space, KXP_WHITE, 1).status, KXP_ERROR_UNSUPPORTED) << name;
      continue;
    }
    const bool isRendered = name.find("kodak") != std::string::npos;
    const std::string model = isRendered ? "" : "matrix";
    ExpectAnswers(name, space,
                  {{KXP_CLASS, 0, "mntr"},
                   {KXP_COLOR_SPACE, 0, "RGB "},
                   {KXP_PCS, 0, "XYZ "},
                   {KXP_INTENT_TAG, KXP_RELATIVE, model},
                   {KXP_DESTINATION_TAG, KXP_RELATIVE, model}},
                  {{KXP_SIZE, 0, 0},
                   {KXP_VERSION, 0, 0},
                   {KXP_TAG_COUNT, 0, 0},
                   {KXP_WHITE, 0, 0.9642},
                   {KXP_WHITE, 1, 1},
                   {KXP_WHITE, 2, 0.8249},
                   {KXP_INTENT_FALLBACK, KXP_SATURATION, 0}});
  }
}

// ---- Keys and indices ---------------------------------------------------------------------------

// Which keys have a number, a text or both, and how many indices: the header's list.
TEST(Queries, KeysAndIndicesOfProfiles) {
  constexpr bool kYes = true, kNo = false;
  const struct {
    std::uint32_t key;
    bool isNumber, isText;
    std::uint32_t indices;
  } kRows[] = {
      {KXP_SIZE, kYes, kNo, 1},
      {KXP_VERSION, kYes, kYes, 1},
      {KXP_CLASS, kNo, kYes, 1},
      {KXP_COLOR_SPACE, kNo, kYes, 1},
      {KXP_PCS, kNo, kYes, 1},
      {KXP_DESCRIPTION, kNo, kYes, 1},
      {KXP_COPYRIGHT, kNo, kYes, 1},
      {KXP_MANUFACTURER, kNo, kYes, 1},
      {KXP_MODEL, kNo, kYes, 1},
      {KXP_CREATOR, kNo, kYes, 1},
      {KXP_HEADER_INTENT, kYes, kNo, 1},
      {KXP_WHITE, kYes, kNo, 3},
      {KXP_BLACK, kYes, kNo, 3},
      {KXP_ADAPTATION, kYes, kNo, 9},
      {KXP_TAG, kNo, kYes, 18},
      {KXP_TAG_COUNT, kYes, kNo, 1},
      {KXP_INTENT_TAG, kNo, kYes, 4},
      {KXP_INTENT_FALLBACK, kYes, kNo, 4},
      {KXP_GRID, kYes, kNo, 12},
      {KXP_INPUT_ENTRIES, kYes, kNo, 12},
      {KXP_OUTPUT_ENTRIES, kYes, kNo, 12},
      {KXP_DESTINATION_TAG, kNo, kYes, 4},
      {KXP_DESTINATION_FALLBACK, kYes, kNo, 4},
  };
  ASSERT_EQ(std::size(kRows), kLastProfileKey);
  const Profile profile = FromMemory(FullProfile());
  for (const auto& row : kRows) {
    for (const std::uint32_t index : {0u, row.indices - 1, row.indices, row.indices + 1, ~0u}) {
      const bool isThere = index < row.indices;
      EXPECT_EQ(NumberOf(profile, row.key, index).status,
                isThere && row.isNumber ? KXP_OK : KXP_ERROR_ARGUMENT)
          << "key " << row.key << ", index " << index;
      EXPECT_EQ(TextOf(profile, row.key, index).status,
                isThere && row.isText ? KXP_OK : KXP_ERROR_ARGUMENT)
          << "key " << row.key << ", index " << index;
    }
  }
  for (const char* name : {"srgb", "lab"}) {
    const Profile space = BuiltIn(name);
    for (const std::uint32_t key : {0u, kLastProfileKey + 1, 1000u, ~0u}) {
      EXPECT_EQ(NumberOf(space, key).status, KXP_ERROR_ARGUMENT) << name << ", key " << key;
      EXPECT_EQ(TextOf(space, key).status, KXP_ERROR_ARGUMENT) << name << ", key " << key;
    }
  }
}

TEST(Queries, Pipelines) {
  const Profile full = FromMemory(FullProfile()), scanner = FromMemory(ScannerProfile());
  const Profile matrix = FromMemory(MatrixProfile()), srgb = BuiltIn("srgb"), lab = BuiltIn("lab");
  const struct {
    const char* what;
    const Profile& source;
    const Profile& destination;
    std::uint32_t intent;
    const char* sourceTag;
    double isSourceFallback;
    const char* targetTag;
    double isTargetFallback;
  } kRows[] = {
      {"the tags of the intent", full, full, KXP_PERCEPTUAL, "A2B0", 0, "B2A0", 0},
      {"saturation", full, full, KXP_SATURATION, "A2B2", 0, "B2A2", 0},
      {"absolute", full, full, KXP_ABSOLUTE, "A2B1", 0, "B2A1", 0},
      {"the only tag", scanner, srgb, KXP_RELATIVE, "A2B0", 1, "builtin", 0},
      {"the tag of the intent, once", scanner, srgb, KXP_PERCEPTUAL, "A2B0", 0, "builtin", 0},
      {"matrix to matrix", matrix, matrix, KXP_SATURATION, "matrix", 0, "matrix", 0},
      {"between spaces", srgb, srgb, KXP_ABSOLUTE, "matrix", 0, "builtin", 0},
      {"for measuring", full, lab, KXP_RELATIVE, "A2B1", 0, "builtin", 0},
  };
  for (const auto& row : kRows) {
    const Pipeline pipeline = Connect(row.source, row.destination, row.intent);
    EXPECT_EQ(NumberOf(pipeline, KXP_INTENT).value, row.intent) << row.what;
    EXPECT_EQ(TextOf(pipeline, KXP_SOURCE_TAG).value, row.sourceTag) << row.what;
    EXPECT_EQ(NumberOf(pipeline, KXP_SOURCE_FALLBACK).value, row.isSourceFallback) << row.what;
    EXPECT_EQ(TextOf(pipeline, KXP_TARGET_TAG).value, row.targetTag) << row.what;
    EXPECT_EQ(NumberOf(pipeline, KXP_TARGET_FALLBACK).value, row.isTargetFallback) << row.what;

    EXPECT_EQ(TextOf(pipeline, KXP_INTENT).status, KXP_ERROR_ARGUMENT);
    EXPECT_EQ(NumberOf(pipeline, KXP_SOURCE_TAG).status, KXP_ERROR_ARGUMENT);
    EXPECT_EQ(NumberOf(pipeline, KXP_INTENT, 1).status, KXP_ERROR_ARGUMENT);
    for (const std::uint32_t key : {0u, kLastPipelineKey + 1, ~0u}) {
      EXPECT_EQ(NumberOf(pipeline, key).status, KXP_ERROR_ARGUMENT) << key;
      EXPECT_EQ(TextOf(pipeline, key).status, KXP_ERROR_ARGUMENT) << key;
    }
  }
}

// ---- Room for texts -----------------------------------------------------------------------------

// Cut at a character, never within one: two, three and four bytes of UTF-8.
TEST(Queries, TextsAreCutAtCharacters) {
  const std::string whole = "aé中𐍈";
  ASSERT_EQ(whole.size(), 1u + 2 + 3 + 4);
  const Profile profile = FromMemory(forms::WithTag("A2B0", forms::Lut16().Tag())
                                         .AddTag("desc", forms::MlucTag({{"en", "US", u"aé中𐍈"}}))
                                         .Build());
  const struct {
    std::size_t capacity;
    const char* text;
  } kRows[] = {{1, ""},     {2, "a"},     {3, "a"},      {4, "aé"},     {5, "aé"},    {6, "aé"},
               {7, "aé中"}, {10, "aé中"}, {11, "aé中𐍈"}, {12, "aé中𐍈"}, {64, "aé中𐍈"}};
  for (const auto& row : kRows) {
    char text[65];
    std::memset(text, 'x', sizeof text);
    std::size_t length = 0;
    EXPECT_EQ(kxp_profile_text(profile.get(), KXP_DESCRIPTION, 0, text, row.capacity, &length),
              KXP_OK);
    EXPECT_STREQ(text, row.text) << row.capacity;
    EXPECT_EQ(length, whole.size()) << row.capacity;
    EXPECT_EQ(text[row.capacity], 'x') << row.capacity;
    EXPECT_EQ(kxp_profile_text(profile.get(), KXP_DESCRIPTION, 0, text, row.capacity, nullptr),
              KXP_OK);
  }
  std::size_t length = 0;
  EXPECT_EQ(kxp_profile_text(profile.get(), KXP_DESCRIPTION, 0, nullptr, 0, &length), KXP_OK);
  EXPECT_EQ(length, whole.size());
  char untouched = 'x';
  EXPECT_EQ(kxp_profile_text(profile.get(), KXP_DESCRIPTION, 0, &untouched, 0, nullptr), KXP_OK);
  EXPECT_EQ(untouched, 'x');
}

}  // namespace

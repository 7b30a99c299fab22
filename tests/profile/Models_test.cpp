#include "profile/Models.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace kxcms {
namespace {

/// A profile with the lookup tags whose digits are named, in both directions.
DeviceProfile ProfileWith(const std::string& digits, bool hasMatrixTrc) {
  DeviceProfile profile;
  for (const char digit : digits) {
    const auto n = static_cast<std::size_t>(digit - '0');
    profile.deviceToPcs[n].emplace().tag = MakeSignature("A2B0") + n;
    profile.pcsToDevice[n].emplace().tag = MakeSignature("B2A0") + n;
  }
  if (hasMatrixTrc) profile.matrixTrc.emplace();
  return profile;
}

/// The digit of the tag, "m" for matrix and curves, "-" for nothing; "*" if it is a fallback.
std::string Text(const Model& model, const DeviceProfile& profile, Signature firstTag) {
  EXPECT_FALSE(model.table != nullptr && model.matrixTrc != nullptr);
  std::ostringstream text;
  if (model.table != nullptr) {
    text << model.table->tag - firstTag;
  } else if (model.matrixTrc != nullptr) {
    EXPECT_EQ(model.matrixTrc, &*profile.matrixTrc);
    text << 'm';
  } else {
    text << '-';
  }
  if (model.isFallback) text << '*';
  return text.str();
}

TEST(Models, OfEachIntent) {
  const struct {
    const char* lookupTags;
    bool hasMatrixTrc;
    const char *perceptual, *relative, *saturation;
  } kRows[] = {
      {"", false, "-", "-", "-"},     //
      {"", true, "m", "m", "m"},      //
      {"0", false, "0", "0*", "0*"},  //
      {"0", true, "0", "0*", "0*"},   //
      {"1", false, "1*", "1", "1*"},  //
      {"1", true, "m*", "1", "m*"},   //
      {"2", false, "2*", "2*", "2"},  //
      {"2", true, "m*", "m*", "2"},   //
      {"01", true, "0", "1", "0*"},   //
      {"02", true, "0", "0*", "2"},   //
      {"12", false, "1*", "1", "2"},  //
      {"12", true, "m*", "1", "2"},   //
      {"012", false, "0", "1", "2"},  //
      {"012", true, "0", "1", "2"},   //
  };
  for (const auto& row : kRows) {
    const DeviceProfile profile = ProfileWith(row.lookupTags, row.hasMatrixTrc);
    const struct {
      RenderingIntent intent;
      const char* expected;
    } kIntents[] = {{RenderingIntent::kPerceptual, row.perceptual},
                    {RenderingIntent::kRelative, row.relative},
                    {RenderingIntent::kSaturation, row.saturation},
                    {RenderingIntent::kAbsolute, row.relative}};
    for (const auto& [intent, expected] : kIntents) {
      const auto where = std::string("tags ") + row.lookupTags +
                         (row.hasMatrixTrc ? " and matrix" : "") + ", intent " +
                         std::to_string(static_cast<int>(intent));
      EXPECT_EQ(Text(ModelFor(profile, intent), profile, MakeSignature("A2B0")), expected) << where;
      EXPECT_EQ(Text(DestinationModelFor(profile, intent), profile, MakeSignature("B2A0")),
                expected)
          << where;
    }
  }
}

TEST(Models, EachDirectionHasItsOwnTags) {
  DeviceProfile profile;
  profile.deviceToPcs[1].emplace().tag = MakeSignature("A2B1");
  profile.matrixTrc.emplace();
  const auto expect = [&](const Model& model, const char* text, Signature firstTag) {
    EXPECT_EQ(Text(model, profile, firstTag), text);
  };
  expect(ModelFor(profile, RenderingIntent::kPerceptual), "m*", MakeSignature("A2B0"));
  expect(DestinationModelFor(profile, RenderingIntent::kPerceptual), "m", MakeSignature("B2A0"));
  expect(DestinationModelFor(profile, RenderingIntent::kRelative), "m", MakeSignature("B2A0"));
}

}  // namespace
}  // namespace kxcms

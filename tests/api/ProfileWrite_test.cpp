// Profiles to tag with, as a program gets them.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

#include "tests/api/Handles.h"

namespace {

using namespace api_test;

Bytes Written(const Profile& profile, std::uint32_t version) {
  std::size_t size = 0;
  EXPECT_EQ(kxp_profile_write(profile.get(), version, nullptr, 0, &size, nullptr), KXP_OK);
  Bytes bytes(size);
  EXPECT_EQ(kxp_profile_write(profile.get(), version, bytes.data(), size, &size, nullptr), KXP_OK);
  EXPECT_EQ(size, bytes.size());
  return bytes;
}

bool IsMeasure(const std::string& name) {
  return name == "lab" || name == "xyz";
}

// Every space in every version that it has.
std::map<std::pair<std::string, std::uint32_t>, Bytes> Everything() {
  std::map<std::pair<std::string, std::uint32_t>, Bytes> everything;
  for (std::size_t n = 0; n < kxp_space_count(); ++n) {
    const std::string name = kxp_space_name(n);
    for (const std::uint32_t version : {0u, 2u, 4u}) {
      if (IsMeasure(name) && version == 2) continue;
      everything[{name, version}] = Written(BuiltIn(name.c_str()), version);
    }
  }
  return everything;
}

// ---- How it is asked ----------------------------------------------------------------------------

TEST(ProfileWrite, Room) {
  const Profile space = BuiltIn("adobe-rgb");
  const Bytes whole = Written(space, 4);
  const std::size_t size = whole.size();
  const struct {
    const char* what;
    std::size_t capacity;
    kxp_status status;
  } kRows[] = {
      {"none: the size is asked for", 0, KXP_OK},
      {"for one byte", 1, KXP_ERROR_ARGUMENT},
      {"a byte too little", size - 1, KXP_ERROR_ARGUMENT},
      {"enough", size, KXP_OK},
      {"more", size + 1, KXP_OK},
  };
  for (const auto& row : kRows) {
    const Bytes before(size + 16, 0xA5);
    Bytes room = before;
    std::size_t told = 77;
    kxp_error error = NewError();
    EXPECT_EQ(kxp_profile_write(space.get(), 4, room.data(), row.capacity, &told, &error),
              row.status)
        << row.what << ": " << error.message;
    EXPECT_EQ(told, size) << row.what;
    const bool isWritten = row.status == KXP_OK && row.capacity > 0;
    Bytes expected = before;
    if (isWritten) std::copy(whole.begin(), whole.end(), expected.begin());
    EXPECT_EQ(room, expected) << row.what;
  }
}

TEST(ProfileWrite, Versions) {
  const Profile space = BuiltIn("srgb");
  const struct {
    std::uint32_t version;
    kxp_status status;
    unsigned major, minor;
  } kRows[] = {
      {0, KXP_OK, 4, 3},
      {1, KXP_ERROR_ARGUMENT, 0, 0},
      {2, KXP_OK, 2, 4},
      {3, KXP_ERROR_ARGUMENT, 0, 0},
      {4, KXP_OK, 4, 3},
      {5, KXP_ERROR_ARGUMENT, 0, 0},
      {0x04300000, KXP_ERROR_ARGUMENT, 0, 0},
      {0xFFFFFFFF, KXP_ERROR_ARGUMENT, 0, 0},
  };
  for (const auto& row : kRows) {
    Bytes bytes(20000);
    std::size_t size = 77;
    EXPECT_EQ(
        kxp_profile_write(space.get(), row.version, bytes.data(), bytes.size(), &size, nullptr),
        row.status)
        << row.version;
    EXPECT_EQ(size > 0, row.status == KXP_OK) << row.version;
    EXPECT_EQ(bytes[8], row.major) << row.version;
    EXPECT_EQ(bytes[9] >> 4, row.minor) << row.version;
  }
}

TEST(ProfileWrite, Refusals) {
  const Profile scanner = FromMemory(ScannerProfile()), matrix = FromMemory(MatrixProfile()),
                lab = BuiltIn("lab"), xyz = BuiltIn("xyz");
  const struct {
    const char* what;
    const Profile& profile;
    std::uint32_t version;
    const char* says;
  } kRows[] = {
      {"a scanner", scanner, 4, "built-in"},
      {"a display", matrix, 2, "built-in"},
      {"Lab in version 2", lab, 2, "lab"},
      {"XYZ in version 2", xyz, 2, "xyz"},
  };
  for (const auto& row : kRows) {
    Bytes bytes(20000, 0xA5);
    const Bytes before = bytes;
    std::size_t size = 77;
    kxp_error error = NewError();
    EXPECT_EQ(kxp_profile_write(row.profile.get(), row.version, bytes.data(), bytes.size(), &size,
                                &error),
              KXP_ERROR_UNSUPPORTED)
        << row.what;
    EXPECT_EQ(size, 0u) << row.what;
    EXPECT_EQ(bytes, before) << row.what;
    EXPECT_NE(std::string(error.message).find(row.says), std::string::npos) << error.message;
  }
}

// ---- What comes ---------------------------------------------------------------------------------

// A time zone in which the date is another one; it comes back.
class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    const char* const was = getenv("TZ");
    if (was != nullptr) was_ = was;
    setenv("TZ", name, 1);
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() {
    if (was_.empty()) {
      unsetenv("TZ");
    } else {
      setenv("TZ", was_.c_str(), 1);
    }
    tzset();
  }

 private:
  std::string was_;
};

TEST(ProfileWrite, TheSameBytesAlways) {
  const auto first = Everything();
  EXPECT_EQ(first.size(), 3 * kxp_space_count() - 2);
  const TimeZone zone("XYZ-13:30");
  EXPECT_EQ(Everything(), first);
}

TEST(ProfileWrite, DefaultIsVersion4) {
  auto everything = Everything();
  for (std::size_t n = 0; n < kxp_space_count(); ++n) {
    const std::string name = kxp_space_name(n);
    EXPECT_TRUE((everything[{name, 0}] == everything[{name, 4}])) << name;
  }
}

// Rendered into sRGB, or another name for it.
TEST(ProfileWrite, ProfilesThatAreThatOfSrgb) {
  for (const std::uint32_t version : {2u, 4u}) {
    const Bytes srgb = Written(BuiltIn("srgb"), version);
    for (const char* name : {"srgb-220", "srgb-kodak-photo", "srgb-kodak-mix", "srgb-kodak-text"}) {
      EXPECT_TRUE(Written(BuiltIn(name), version) == srgb) << name;
    }
  }
}

std::string TextOf(const Profile& profile, std::uint32_t key) {
  char text[100] = "";
  EXPECT_EQ(kxp_profile_text(profile.get(), key, 0, text, sizeof text, nullptr), KXP_OK);
  return text;
}

// The library reads what it writes.
TEST(ProfileWrite, ReadBack) {
  for (const auto& [what, bytes] : Everything()) {
    const auto& [name, version] = what;
    if (IsMeasure(name)) continue;
    const Profile read = FromMemory(bytes);
    EXPECT_EQ(TextOf(read, KXP_VERSION), version == 2 ? "2.4.0" : "4.3.0") << name;
    EXPECT_EQ(TextOf(read, KXP_CLASS), "mntr") << name;
    EXPECT_EQ(TextOf(read, KXP_DESTINATION_TAG), "matrix") << name;
    const std::string copyright = TextOf(read, KXP_COPYRIGHT);
    EXPECT_EQ(copyright, "No copyright, use freely") << name;
    const std::string description = TextOf(read, KXP_DESCRIPTION);
    EXPECT_GT(description.size(), 4u) << name;
  }
}

// From a space to its own profile and back: nothing but rounding.
TEST(ProfileWrite, ConvertsAsTheSpaceDoes) {
  const Profile source = FromMemory(ScannerProfile());
  constexpr std::size_t kPixels = 2000;
  const Bytes device = SomeBytes(3 * kPixels, 11);
  for (const auto& [what, bytes] : Everything()) {
    const auto& [name, version] = what;
    if (IsMeasure(name) || name.find("kodak") != std::string::npos) continue;
    const Profile read = FromMemory(bytes);
    const Pipeline toSpace = Connect(source, BuiltIn(name.c_str())), toRead = Connect(source, read);
    Bytes from = device, bySpace(3 * kPixels), byProfile(3 * kPixels);
    const kxp_image image = PlainImage(from.data(), KXP_U8);
    const kxp_image first = PlainImage(bySpace.data(), KXP_U8);
    const kxp_image second = PlainImage(byProfile.data(), KXP_U8);
    ASSERT_EQ(kxp_convert(toSpace.get(), &image, &first, kPixels, 1, nullptr, nullptr), KXP_OK);
    ASSERT_EQ(kxp_convert(toRead.get(), &image, &second, kPixels, 1, nullptr, nullptr), KXP_OK);
    std::size_t different = 0;
    for (std::size_t n = 0; n < bySpace.size(); ++n) {
      EXPECT_LE(std::abs(bySpace[n] - byProfile[n]), 1) << name << ", version " << version;
      different += bySpace[n] != byProfile[n] ? 1 : 0;
    }
    // Those next to a tie.
    EXPECT_LE(different, bySpace.size() / 50) << name << ", version " << version;
  }
}

// A version 2 profile states the white of its space, and the absolute intent looks at it.
TEST(ProfileWrite, WhiteOfTheAbsoluteIntent) {
  // Of (0.3127, 0.3290), and of the PCS.
  constexpr float kD65[3] = {0.950456f, 1, 1.089058f}, kD50[3] = {0.9642f, 1, 0.8249f};
  const struct {
    const char* space;
    std::uint32_t version, intent;
    const float* white;
  } kRows[] = {
      {"srgb", 2, KXP_ABSOLUTE, kD65},       {"srgb", 2, KXP_RELATIVE, kD50},
      {"srgb", 4, KXP_ABSOLUTE, kD50},       {"adobe-rgb", 2, KXP_ABSOLUTE, kD65},
      {"colormatch", 2, KXP_ABSOLUTE, kD50}, {"prophoto", 2, KXP_ABSOLUTE, kD50},
  };
  for (const auto& row : kRows) {
    const Profile read = FromMemory(Written(BuiltIn(row.space), row.version));
    const Pipeline pipeline = Connect(read, BuiltIn("xyz"), row.intent);
    float pixel[3] = {1, 1, 1};
    const kxp_image image = PlainImage(pixel, KXP_F32);
    ASSERT_EQ(kxp_convert(pipeline.get(), &image, &image, 1, 1, nullptr, nullptr), KXP_OK);
    for (int n = 0; n < 3; ++n) {
      EXPECT_NEAR(pixel[n], row.white[n], 2e-5) << row.space << ", version " << row.version;
    }
  }
}

}  // namespace

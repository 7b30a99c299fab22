// Who owns what, and for how long. Under the address sanitizer a reference too many is a leak, and
// one too few a use after the end.

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "tests/TemporaryFile.h"
#include "tests/api/Handles.h"

namespace {

using namespace api_test;

Bytes Converted(const kxp_pipeline* pipeline) {
  const Bytes from = SomeBytes(300, 1);
  Bytes source = from, to(300);
  const kxp_image in = PlainImage(source.data(), KXP_U8), out = PlainImage(to.data(), KXP_U8);
  EXPECT_EQ(kxp_convert(pipeline, &in, &out, 100, 1, nullptr, nullptr), KXP_OK);
  EXPECT_EQ(source, from);
  return to;
}

TEST(Lifetime, RetainGivesTheSameObject) {
  kxp_profile* const profile = FromMemory(ScannerProfile()).release();
  EXPECT_EQ(kxp_profile_retain(profile), profile);
  EXPECT_EQ(kxp_profile_retain(profile), profile);
  kxp_profile_release(profile);
  kxp_profile_release(profile);
  double size = 0;
  EXPECT_EQ(kxp_profile_number(profile, KXP_SIZE, 0, &size), KXP_OK);
  EXPECT_EQ(size, static_cast<double>(ScannerProfile().size()));
  kxp_profile_release(profile);

  kxp_pipeline* const pipeline = ScannerToSrgb().release();
  const Bytes before = Converted(pipeline);
  EXPECT_EQ(kxp_pipeline_retain(pipeline), pipeline);
  kxp_pipeline_release(pipeline);
  EXPECT_EQ(Converted(pipeline), before);
  kxp_pipeline_release(pipeline);
}

TEST(Lifetime, ManyReferencesFromManyThreads) {
  kxp_pipeline* const pipeline = ScannerToSrgb().release();
  kxp_profile* const profile = FromMemory(ScannerProfile()).release();
  std::vector<std::thread> threads;
  for (int n = 0; n < 4; ++n) {
    threads.emplace_back([=] {
      for (int i = 0; i < 10000; ++i) {
        kxp_pipeline_retain(pipeline);
        kxp_profile_retain(profile);
        kxp_profile_release(profile);
        kxp_pipeline_release(pipeline);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(Converted(pipeline).empty());
  kxp_pipeline_release(pipeline);
  kxp_profile_release(profile);
}

// The last reference is given back by whichever thread comes last.
TEST(Lifetime, TheLastReferenceFromAnyThread) {
  for (int round = 0; round < 100; ++round) {
    kxp_profile* const profile = BuiltIn("rec2020").release();
    std::vector<std::thread> threads;
    for (int n = 0; n < 3; ++n) {
      kxp_profile_retain(profile);
      threads.emplace_back([=] { kxp_profile_release(profile); });
    }
    kxp_profile_release(profile);
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(Lifetime, NothingGivenIsKept) {
  Bytes bytes = FullProfile();
  const TemporaryFile file(bytes);
  Profile opened = Opened(file.Path()), read = FromMemory(bytes), again = FromMemory(bytes);
  const Pipeline expected = Connect(opened, read, KXP_RELATIVE);
  const Bytes pixels = Converted(expected.get());

  // Neither the bytes nor the file are needed after reading.
  std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>(0xA5));
  bytes.clear();
  bytes.shrink_to_fit();
  file.Write({});
  const Pipeline later = Connect(opened, again, KXP_RELATIVE);
  EXPECT_EQ(Converted(later.get()), pixels);

  // A pipeline needs neither of its profiles.
  opened.reset();
  read.reset();
  again.reset();
  EXPECT_EQ(Converted(expected.get()), pixels);
  EXPECT_EQ(Converted(later.get()), pixels);
}

// The file is read by every call.
TEST(Lifetime, NothingIsRememberedByName) {
  const TemporaryFile file(ScannerProfile());
  const Profile first = Opened(file.Path());
  file.Write(MatrixProfile());
  const Profile second = Opened(file.Path());
  char text[8];
  EXPECT_EQ(kxp_profile_text(first.get(), KXP_CLASS, 0, text, sizeof text, nullptr), KXP_OK);
  EXPECT_STREQ(text, "scnr");
  EXPECT_EQ(kxp_profile_text(second.get(), KXP_CLASS, 0, text, sizeof text, nullptr), KXP_OK);
  EXPECT_STREQ(text, "mntr");
}

// What follows the profile, in memory or in a file, is none of it.
TEST(Lifetime, BytesBehindAProfile) {
  Bytes bytes = ScannerProfile();
  const auto size = static_cast<double>(bytes.size());
  bytes.resize(bytes.size() + 100000, 0xA5);
  const TemporaryFile file(bytes);
  const Profile profiles[] = {FromMemory(bytes), Opened(file.Path())};
  for (const Profile& profile : profiles) {
    double number = 0;
    EXPECT_EQ(kxp_profile_number(profile.get(), KXP_SIZE, 0, &number), KXP_OK);
    EXPECT_EQ(number, size);
  }
}

}  // namespace

// Reads profiles with IccFile4 and writes them back by its three operations. What must come out is
// worked out here from the bytes of the file alone.

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "corpus/RandomProfile.h"
#include "iccfile/IccFile4.h"
#include "tests/DebianProfiles.h"
#include "tests/TemporaryFile.h"

namespace {

using Bytes = std::vector<unsigned char>;
using debian::ProfilesOf;
using debian::ReadAll;
using ICC40::ICCFILE::IccFile4;

constexpr std::size_t kHeaderBytes = 128;
constexpr std::size_t kEntryBytes = 12;

// ---- Material

struct Profile {
  bool isGenerated;
  std::string name;
  Bytes bytes;
};

struct Folder {
  Folder() : path(std::filesystem::temp_directory_path() / "kxcms_XXXXXX") {
    std::string name = path;
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  std::filesystem::path path;
};

/// Every profile, read once. A package that is not installed, or has no profiles, is a failure of
/// its own test.
const std::map<std::string, std::vector<Profile>>& Profiles() {
  static const auto profiles = [] {
    std::map<std::string, std::vector<Profile>> all;
    for (const char* package : {"colord-data", "icc-profiles-free", "argyll-ref"}) {
      for (const std::string& path : ProfilesOf(package)) {
        all[package].push_back({false, path, ReadAll(path)});
      }
    }
    const Folder folder;
    const char* sample = std::getenv("KXCMS_SAMPLE");
    const std::string make = std::string(sample != nullptr ? sample : "kxcms-sample") + " make ";
    if (std::system((make + folder.path.string()).c_str()) == 0) {
      all["generated"].push_back({true, "scanner.icc", ReadAll(folder.path / "scanner.icc")});
    }
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
      const corpus::ProfileSpec spec = corpus::RandomSpec(seed);
      all["generated"].push_back({true, corpus::Describe(spec), corpus::WriteProfile(spec)});
    }
    return all;
  }();
  return profiles;
}

template <typename Check>
void ForEachProfile(const Check& check) {
  for (const auto& [source, profiles] : Profiles()) {
    for (const Profile& profile : profiles) {
      SCOPED_TRACE(profile.name);
      check(profile);
    }
  }
}

// ---- The file as it stands

std::uint32_t U32(const Bytes& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8 | (at + i < bytes.size() ? bytes[at + i] : 0u);
  }
  return value;
}

std::size_t RoundedUp(std::size_t size) {
  return (size + 3) / 4 * 4;
}

void StoreU32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[at + i] = static_cast<unsigned char>(value >> (24 - 8 * i));
  }
}

struct Entry {
  std::uint32_t signature;
  std::size_t offset, size;
};

std::vector<Entry> TableOf(const Bytes& bytes) {
  std::vector<Entry> table(U32(bytes, kHeaderBytes));
  for (std::size_t i = 0; i < table.size(); ++i) {
    const std::size_t at = kHeaderBytes + 4 + i * kEntryBytes;
    table[i] = {U32(bytes, at), U32(bytes, at + 4), U32(bytes, at + 8)};
  }
  return table;
}

std::size_t DataBegin(const std::vector<Entry>& table) {
  return kHeaderBytes + 4 + table.size() * kEntryBytes;
}

/// Bytes of a file; those past its end are 0.
Bytes Range(const Bytes& bytes, std::size_t offset, std::size_t size) {
  Bytes range(size, 0);
  if (offset < bytes.size()) {
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                std::min(size, bytes.size() - offset), range.begin());
  }
  return range;
}

/// Whether the tags lie one behind the other in the table's order, each from a multiple of 4 on.
bool IsSequential(const std::vector<Entry>& table) {
  std::size_t next = DataBegin(table);
  for (const Entry& entry : table) {
    if (entry.offset != next) return false;
    next += RoundedUp(entry.size);
  }
  return true;
}

// ---- Writing it back

constexpr int kSizeArgument = 0x01234567;  // written as it is given

Bytes WrittenBack(const Bytes& bytes, int sizeArgument = -1) {
  const TemporaryFile original(bytes);
  IccFile4 profile;
  EXPECT_EQ(profile.ReadFile(original.Path()), 0);

  const TemporaryFile written;
  FILE* stream = std::fopen(written.Path(), "wb+");
  EXPECT_NE(stream, nullptr);
  if (stream == nullptr) return {};
  profile.WriteHeader(stream, 0);
  const int end = profile.WriteTagListHeader(stream);
  profile.WriteTagListData(stream);
  std::rewind(stream);
  profile.WriteHeader(stream, sizeArgument < 0 ? end : sizeArgument);
  EXPECT_EQ(std::fclose(stream), 0);

  Bytes result = written.Read();
  EXPECT_EQ(result.size(), static_cast<std::size_t>(end)) << "the size that the tag table returns";
  return result;
}

TEST(ProfileRoundTrip, MaterialIsThere) {
  const struct {
    const char* source;
    std::size_t least;
  } kSources[] = {
      {"colord-data", 10}, {"icc-profiles-free", 5}, {"argyll-ref", 5}, {"generated", 41}};
  std::size_t sequential = 0, shared = 0, odd = 0;
  for (const auto& row : kSources) {
    const auto found = Profiles().find(row.source);
    ASSERT_NE(found, Profiles().end()) << row.source << " has no profiles or is not installed";
    EXPECT_GE(found->second.size(), row.least) << row.source;
    std::printf("%s: %zu profiles\n", row.source, found->second.size());
  }
  ForEachProfile([&](const Profile& profile) {
    const std::vector<Entry> table = TableOf(profile.bytes);
    EXPECT_FALSE(table.empty());
    std::set<std::size_t> offsets;
    for (const Entry& entry : table) offsets.insert(entry.offset);
    sequential += !profile.isGenerated && IsSequential(table) ? 1 : 0;
    shared += offsets.size() < table.size() ? 1 : 0;
    odd += std::any_of(table.begin(), table.end(), [](const Entry& e) { return e.size % 4 != 0; });
  });
  std::printf("%zu of the packaged ones sequential, %zu with shared tags, %zu with odd sizes\n",
              sequential, shared, odd);
  // So that no check below is about nothing.
  EXPECT_GT(sequential, 0u);
  EXPECT_GT(shared, 0u);
  EXPECT_GT(odd, 0u);
}

TEST(ProfileRoundTrip, HeaderDiffersByRuleOnly) {
  ForEachProfile([](const Profile& profile) {
    const Bytes header = Range(WrittenBack(profile.bytes, kSizeArgument), 0, kHeaderBytes);
    const struct {
      const char* what;
      std::size_t from, to;
      Bytes expected;
    } kFields[] = {
        {"profile size: the argument", 0, 4, {0x01, 0x23, 0x45, 0x67}},
        {"CMM to device model: as read", 4, 56, Range(profile.bytes, 4, 52)},
        {"device attributes: 0", 56, 64, Bytes(8)},
        {"rendering intent, illuminant, creator: as read", 64, 84, Range(profile.bytes, 64, 20)},
        {"profile ID: as read", 84, 100, Range(profile.bytes, 84, 16)},
        {"reserved: 0", 100, 128, Bytes(28)},
    };
    for (const auto& field : kFields) {
      EXPECT_EQ(Range(header, field.from, field.to - field.from), field.expected) << field.what;
    }
  });
}

TEST(ProfileRoundTrip, TableListsTheTagsInOrderOneBehindTheOther) {
  ForEachProfile([](const Profile& profile) {
    const std::vector<Entry> before = TableOf(profile.bytes);
    const std::vector<Entry> after = TableOf(WrittenBack(profile.bytes));
    ASSERT_EQ(after.size(), before.size());
    std::size_t next = DataBegin(before);
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(after[i].signature, before[i].signature) << "tag " << i;
      EXPECT_EQ(after[i].offset, next) << "tag " << i;
      EXPECT_EQ(after[i].size, RoundedUp(before[i].size)) << "tag " << i;
      next += RoundedUp(before[i].size);
    }
  });
}

// A size that is no multiple of 4 takes the bytes behind the tag with it, and zeros past the end of
// the file.
TEST(ProfileRoundTrip, EveryTagKeepsItsBytes) {
  ForEachProfile([](const Profile& profile) {
    const std::vector<Entry> before = TableOf(profile.bytes);
    const Bytes written = WrittenBack(profile.bytes);
    std::size_t at = DataBegin(before);
    for (std::size_t i = 0; i < before.size(); ++i) {
      const std::size_t size = RoundedUp(before[i].size);
      EXPECT_TRUE(Range(written, at, size) == Range(profile.bytes, before[i].offset, size))
          << "tag " << i << ", " << size << " bytes";
      at += size;
    }
    EXPECT_EQ(written.size(), at);
  });
}

// From the tag table on; in the table the sizes are rounded up, and the end of the file may be.
TEST(ProfileRoundTrip, SequentialProfilesComeOutAsTheyWere) {
  ForEachProfile([](const Profile& profile) {
    const std::vector<Entry> table = TableOf(profile.bytes);
    if (!IsSequential(table)) return;
    const Bytes written = WrittenBack(profile.bytes);
    Bytes expected = Range(profile.bytes, 0, written.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
      const std::size_t at = kHeaderBytes + 4 + i * kEntryBytes + 8;
      StoreU32(expected, at, static_cast<std::uint32_t>(RoundedUp(table[i].size)));
    }
    EXPECT_TRUE(std::equal(expected.begin() + kHeaderBytes, expected.end(),
                           written.begin() + kHeaderBytes, written.end()));
  });
}

TEST(ProfileRoundTrip, WrittenProfilesReadBackTheSame) {
  ForEachProfile([](const Profile& profile) {
    const Bytes once = WrittenBack(profile.bytes);
    EXPECT_TRUE(WrittenBack(once) == once);
  });
}

// ---- Other readers

struct LcmsProfile {
  explicit LcmsProfile(const char* path) : handle(cmsOpenProfileFromFile(path, "r")) {}
  ~LcmsProfile() {
    if (handle != nullptr) cmsCloseProfile(handle);
  }
  LcmsProfile(const LcmsProfile&) = delete;
  LcmsProfile& operator=(const LcmsProfile&) = delete;

  /// The signatures of all tags that Little CMS can make sense of.
  std::vector<std::uint32_t> ReadableTags() const {
    std::vector<std::uint32_t> readable;
    const cmsInt32Number count = cmsGetTagCount(handle);
    for (cmsInt32Number i = 0; i < count; ++i) {
      const cmsTagSignature signature = cmsGetTagSignature(handle, static_cast<cmsUInt32Number>(i));
      if (cmsReadTag(handle, signature) != nullptr) readable.push_back(signature);
    }
    return readable;
  }

  cmsHPROFILE handle;
};

TEST(ProfileRoundTrip, LittleCmsReadsAsMuchAsBefore) {
  std::size_t opened = 0, tags = 0;
  ForEachProfile([&](const Profile& profile) {
    const TemporaryFile original(profile.bytes);
    const TemporaryFile written(WrittenBack(profile.bytes));
    const LcmsProfile before(original.Path()), after(written.Path());
    EXPECT_EQ(after.handle != nullptr, before.handle != nullptr);
    // It refuses generated profiles with two tags of one signature.
    if (before.handle == nullptr || after.handle == nullptr) {
      EXPECT_TRUE(profile.isGenerated);
      return;
    }
    ++opened;
    EXPECT_EQ(after.ReadableTags(), before.ReadableTags());
    tags += after.ReadableTags().size();
  });
  std::printf("%zu profiles, %zu tags\n", opened, tags);
  EXPECT_GE(opened, 50u);
  EXPECT_GE(tags, 5 * opened);
}

bool PassesIccdump(const TemporaryFile& profile) {
  return std::system(
             (std::string("iccdump -v 3 ") + profile.Path() + " >/dev/null 2>&1").c_str()) == 0;
}

// Argyll reads version 2 only; a profile that it refused before says nothing.
TEST(ProfileRoundTrip, ArgyllReadsWhatItReadBefore) {
  std::size_t passed = 0;
  ForEachProfile([&](const Profile& profile) {
    if (!PassesIccdump(TemporaryFile(profile.bytes))) return;
    EXPECT_TRUE(PassesIccdump(TemporaryFile(WrittenBack(profile.bytes))));
    ++passed;
  });
  std::printf("%zu profiles\n", passed);
  EXPECT_GE(passed, 20u) << "is iccdump (argyll) installed?";
}

}  // namespace

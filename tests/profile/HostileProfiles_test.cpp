#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <new>
#include <optional>

#include "base/Limits.h"
#include "profile/ProfileReader.h"
#include "tests/profile/ProfileForms.h"
#include "tests/profile/ProfileInvariants.h"

// Memory in use in this program, and the most there was since it was last asked for.
namespace {

std::uint64_t bytesInUse = 0;
std::uint64_t mostBytesInUse = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  bytesInUse += malloc_usable_size(memory);
  mostBytesInUse = std::max(mostBytesInUse, bytesInUse);
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory != nullptr) bytesInUse -= malloc_usable_size(memory);
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace kxcms {
namespace {

using namespace profile_forms;
using profile_invariants::Inspection;

/// What became of reading, checked: the invariants of what was read, or the form of the refusal.
struct Outcome {
  bool isRead = false;
  ProfileFault fault = ProfileFault::kDamaged;
  Signature tag = 0;
  std::uint64_t peakBytes = 0;
};

Outcome Read(const Bytes& bytes) {
  Outcome outcome;
  const std::uint64_t before = mostBytesInUse = bytesInUse;
  try {
    const DeviceProfile profile = ReadProfile(bytes);
    outcome.peakBytes = mostBytesInUse - before;
    outcome.isRead = true;
    const Inspection inspection(profile);
    EXPECT_EQ(inspection.broken(), "");
  } catch (const ProfileError& error) {
    outcome.peakBytes = mostBytesInUse - before;
    outcome.fault = error.fault;
    outcome.tag = error.tag;
    const std::string sentence = error.what();
    EXPECT_TRUE(sentence.size() > 10 && sentence.size() < 200 && sentence.back() == '.')
        << sentence;
  }
  EXPECT_LE(outcome.peakBytes, ReaderLimit(bytes.size()));
  return outcome;
}

void Put32(Bytes& bytes, std::size_t at, std::size_t value) {
  for (int n = 0; n < 4; ++n) bytes[at++] = static_cast<unsigned char>(value >> (24 - 8 * n));
}

std::uint32_t U32(const Bytes& bytes, std::size_t at) {
  return std::uint32_t{bytes[at]} << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3];
}

TEST(HostileProfiles, CutOffAnywhere) {
  for (const Form& form : Forms()) {
    for (std::size_t size = 0; size < form.bytes.size(); ++size) {
      const Bytes cut(form.bytes.begin(), form.bytes.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_FALSE(Read(cut).isRead) << form.name << " " << size;
    }
  }
}

// The same with a header that says so: good for as long as every tag is there.
TEST(HostileProfiles, ShortenedAnywhere) {
  for (const Form& form : Forms()) {
    std::size_t lastEnd = 0;
    for (std::size_t n = 0; n < U32(form.bytes, 128); ++n) {
      lastEnd = std::max<std::size_t>(
          lastEnd, U32(form.bytes, 136 + 12 * n) + U32(form.bytes, 140 + 12 * n));
    }
    for (std::size_t size = 4; size < form.bytes.size(); ++size) {
      Bytes bytes(form.bytes.begin(), form.bytes.begin() + static_cast<std::ptrdiff_t>(size));
      Put32(bytes, 0, size);
      EXPECT_EQ(Read(bytes).isRead, size >= lastEnd) << form.name << " " << size;
    }
  }
}

// A tag that has fewer bytes than its content, by the tag table.
TEST(HostileProfiles, EveryTagShortened) {
  for (const Form& form : Forms()) {
    for (std::size_t n = 0; n < U32(form.bytes, 128); ++n) {
      const std::size_t entry = 132 + 12 * n;
      const Signature tag = U32(form.bytes, entry);
      const Signature kOverlooked[] = {MakeSignature("desc"), MakeSignature("cprt"),
                                       MakeSignature("bkpt"), MakeSignature("chad"),
                                       MakeSignature("priv")};
      const bool isOverlooked =
          std::find(std::begin(kOverlooked), std::end(kOverlooked), tag) != std::end(kOverlooked);
      for (std::size_t size = 0; size < U32(form.bytes, entry + 8); ++size) {
        Bytes bytes = form.bytes;
        Put32(bytes, entry + 8, size);
        const Outcome outcome = Read(bytes);
        EXPECT_EQ(outcome.isRead, isOverlooked) << form.name << " " << n << " " << size;
        EXPECT_EQ(outcome.tag, isOverlooked ? 0 : tag) << form.name << " " << n << " " << size;
      }
    }
  }
}

TEST(HostileProfiles, EveryByteChanged) {
  for (const Form& form : Forms()) {
    Bytes bytes = form.bytes;
    for (unsigned char& byte : bytes) {
      const unsigned char original = byte;
      for (unsigned change = 1; change < 256; ++change) {
        byte = static_cast<unsigned char>(original ^ change);
        Read(bytes);
      }
      byte = original;
    }
  }
}

// ---- Memory -------------------------------------------------------------------------------------

// Six tags may share one table; each of them holds it in 16 bits.
TEST(HostileProfiles, SharedTablesDoNotMultiplyMemory) {
  constexpr const char* kTags[] = {"A2B0", "B2A0", "A2B1", "B2A1", "A2B2", "B2A2"};
  const struct {
    int gridPoints;
    std::size_t tags;
    bool isRead;
  } kRows[] = {
      // 3 MiB of bytes: 6 in memory for each tag, and 32 + 4 * 3 are allowed.
      {102, 6, true},
      // 12 MiB: 24 for each tag, and 80 are allowed.
      {161, 3, true},
      {161, 4, false},
  };
  for (const auto& row : kRows) {
    ProfileBytes profile = WithTag(kTags[0], Lut8Tag(row.gridPoints));
    for (std::size_t n = 1; n < row.tags; ++n) profile.AddLink(kTags[n], 0);
    const Outcome outcome = Read(profile.Build());
    EXPECT_EQ(outcome.isRead, row.isRead) << row.gridPoints << " " << row.tags;
    if (!row.isRead) {
      EXPECT_EQ(outcome.fault, ProfileFault::kOutOfProportion);
      EXPECT_EQ(outcome.tag, MakeSignature("B2A1"));
    }
  }
}

// Curves of the three sets at one place, for six tags.
TEST(HostileProfiles, SharedCurvesDoNotMultiplyMemory) {
  Elements lut = WithClut(MatrixAndB());
  lut.curvesB = {CurvTag(Samples(6000000)), CurvTag({}), CurvTag({})};
  lut.curvesM = lut.curvesA = {CurvTag({}), CurvTag({}), CurvTag({})};
  BigEndianBytes tag;
  tag.Append(lut.Tag()).Put32(20, 32).Put32(28, 32);
  const Bytes forward = tag.bytes();
  EXPECT_TRUE(Read(WithTag("A2B0", forward).Build()).isRead);
  const Outcome outcome =
      Read(WithTag("A2B0", forward).AddLink("A2B1", 0).AddLink("A2B2", 0).Build());
  EXPECT_FALSE(outcome.isRead);
  EXPECT_EQ(outcome.fault, ProfileFault::kOutOfProportion);
  EXPECT_EQ(outcome.tag, MakeSignature("A2B2"));
}

// Texts come last, and are empty when not enough is left for them.
TEST(HostileProfiles, TextsTakeWhatTheTablesLeave) {
  const struct {
    std::size_t textBytes;
    int gridPoints;
    std::size_t utf8Bytes;
  } kRows[] = {
      {1000, 2, 2000},
      {20000000, 2, 40000000},
      // 31 MB allow 158; six tables of 12 MB take 139, the text would take 40.
      {20000000, 157, 0},
  };
  for (const auto& row : kRows) {
    const Bytes bytes = WithTag("A2B0", Lut8Tag(row.gridPoints))
                            .AddLink("A2B1", 0)
                            .AddLink("A2B2", 0)
                            .AddLink("B2A0", 0)
                            .AddLink("B2A1", 0)
                            .AddLink("B2A2", 0)
                            .AddTag("desc", PlainTag("text", std::string(row.textBytes, '\xE4')))
                            .Build();
    EXPECT_TRUE(Read(bytes).isRead);
    EXPECT_EQ(ReadProfile(bytes).description.size(), row.utf8Bytes);
  }
}

}  // namespace
}  // namespace kxcms

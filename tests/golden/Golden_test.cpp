#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <tuple>

#include "tests/golden/ModelDigests.h"

// The list of digests and what it stands on. That the library meets it is shown by the command's
// self-test, which runs at every level, thread count and processor that there is.
namespace corpus {
namespace {

std::string GoldenText() {
  std::ifstream file(KXCMS_GOLDEN_DIGESTS, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

TEST(Golden, TheListIsTheModels) {
  const Digests model = reference::ModelDigests();
  const std::optional<Digests> golden = ParseDigests(GoldenText());
  ASSERT_TRUE(golden);
  for (const auto& [name, value] : model) {
    const auto listed = golden->find(name);
    if (listed == golden->end()) {
      ADD_FAILURE() << name << " is not listed";
    } else {
      EXPECT_EQ(Hexadecimal(listed->second), Hexadecimal(value)) << name;
    }
  }
  EXPECT_EQ(golden->size(), model.size());
  EXPECT_EQ(Format(model), GoldenText());
}

// Digests that equal one another by accident of the corpus would show less than they seem to.
TEST(Golden, PixelsDifferFromCaseToCase) {
  const Digests model = reference::ModelDigests();
  std::set<std::uint64_t> pixels;
  std::size_t cases = 0;
  for (const auto& [name, value] : model) {
    if (!name.ends_with("/pixels")) continue;
    ++cases;
    pixels.insert(value);
  }
  EXPECT_EQ(pixels.size(), cases);
  EXPECT_GT(cases, 60u);
}

TEST(Corpus, Coverage) {
  std::set<std::pair<int, int>> codes;
  std::set<std::pair<int, int>> intents;
  std::set<std::tuple<int, bool, std::uint32_t>> workers;
  int offsets = 0, adjusted = 0;
  std::set<TagForm> forms;
  std::set<int> inputs, outputs;
  int longCurves = 0;
  std::set<std::string> names;
  for (const Case& each : Cases()) {
    const Selection& s = each.selection;
    codes.insert({s.inputCode, s.outputCode});
    intents.insert({s.inputCode, s.intent});
    const std::uint32_t maker = each.profile.manufacturer;
    constexpr std::uint32_t kNone = 0x6E6F6E65;  // "none"
    workers.insert({s.inputCode, s.outputCode % 2 != 0, maker == 0 || maker == kNone ? maker : 1});
    offsets += s.lightness != 0 || s.chroma != 0 || s.hueDeg != 0;
    adjusted += each.adjusted;
    for (const TagSpec& tag : each.profile.tags) {
      forms.insert(tag.form);
      inputs.insert(tag.in);
      outputs.insert(std::min(tag.out, 4));
      longCurves += tag.inEntries > 4096 || tag.outEntries > 4096;
    }
    EXPECT_TRUE(names.insert(each.name).second) << each.name;
  }
  EXPECT_EQ(codes.size(), 2u * 24u);
  EXPECT_EQ(intents.size(), 2u * 4u);
  EXPECT_EQ(workers.size(), 2u * 2u * 3u);
  EXPECT_GT(offsets, 10);
  EXPECT_GT(adjusted, 10);
  EXPECT_EQ(forms.count(TagForm::kLut16), 1u);
  EXPECT_EQ(forms.count(TagForm::kMab), 1u);
  EXPECT_EQ(inputs, (std::set<int>{0, 1, 2, 3}));
  EXPECT_EQ(outputs, (std::set<int>{0, 1, 2, 3, 4})) << "4 stands for more";
  EXPECT_GT(longCurves, 1);
}

// Published with the hash.
TEST(Digest, KnownValues) {
  const struct {
    const char* what;
    std::vector<unsigned char> bytes;
    std::uint64_t value;
  } kRows[] = {
      {"nothing", {}, 0xcbf29ce484222325u},
      {"a", {'a'}, 0xaf63dc4c8601ec8cu},
      {"foobar", {'f', 'o', 'o', 'b', 'a', 'r'}, 0x85944171f73967e8u},
  };
  for (const auto& row : kRows) {
    Digest digest;
    digest.Add(row.bytes);
    EXPECT_EQ(digest.value(), row.value) << row.what;
  }
}

TEST(Digest, WordsAreTheirBytesLowestFirst) {
  Digest words, bytes;
  words.Add(std::vector<std::uint32_t>{0x64636261, 0xffff, 0x10000, 0x68676665, 0});
  bytes.Add(std::vector<unsigned char>{'a', 'b', 'c', 'd', 0xff, 0xff, 0, 0, 0, 0,
                                       1,   0,   'e', 'f', 'g',  'h',  0, 0, 0, 0});
  EXPECT_EQ(words.value(), bytes.value());
}

TEST(DigestList, RoundTrip) {
  const Digests digests = {{"b", 0}, {"a/x", 0xFEDCBA9876543210u}, {"c", 1}};
  EXPECT_EQ(Format(digests), "a/x fedcba9876543210\nb 0000000000000000\nc 0000000000000001\n");
  EXPECT_EQ(ParseDigests(Format(digests)), digests);
  EXPECT_EQ(ParseDigests(""), Digests());
}

TEST(DigestList, OtherTextIsRefused) {
  const struct {
    const char* what;
    const char* text;
  } kRows[] = {
      {"no digest", "a\n"},
      {"no name", " 0000000000000001\n"},
      {"15 digits", "a 000000000000001\n"},
      {"17 digits", "a 00000000000000001\n"},
      {"no digits", "a 000000000000000g\n"},
      {"a sign", "a -000000000000001\n"},
      {"a prefix", "a 0x00000000000001\n"},
      {"a third field", "a 0000000000000001 b\n"},
      {"cut off", "a 0000000000000001"},
      {"an empty line", "a 0000000000000001\n\n"},
      {"a name twice", "a 0000000000000001\na 0000000000000001\n"},
  };
  for (const auto& row : kRows) EXPECT_FALSE(ParseDigests(row.text)) << row.what;
}

}  // namespace
}  // namespace corpus

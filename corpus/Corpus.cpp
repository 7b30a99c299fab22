#include "Corpus.h"

#include <algorithm>
#include <iterator>

namespace corpus {

namespace {

constexpr int kOutputCodes[] = {8,  9,  10, 11, 12, 13, 20, 21, 22, 23, 24, 25,
                                26, 27, 28, 29, 30, 31, 34, 35, 36, 37, 38, 39};
constexpr const char* kIntents[] = {"perceptual", "relative", "saturation", "absolute"};

// A prime: no number of threads and no block of a worker divides it. Large enough for several
// threads.
constexpr int kPixels = 40009;

std::string TwoDigits(std::size_t number) {
  return {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
}

std::string Name(std::size_t number, const Selection& selection) {
  return TwoDigits(number) + (selection.inputCode == 0 ? "-rgb8-to-" : "-rgb16-to-") +
         TwoDigits(static_cast<std::size_t>(selection.outputCode)) + '-' +
         kIntents[selection.intent];
}

/// Lookup tags that lack channels, and curves of more entries than a table holds.
constexpr struct {
  TagForm form;
  int in, out, grid, inEntries, outEntries;
} kUnusualTags[] = {
    {TagForm::kLut16, 1, 3, 2, 0, 0},        {TagForm::kLut16, 2, 2, 17, 256, 1024},
    {TagForm::kLut16, 0, 1, 9, 256, 3},      {TagForm::kLut16, 3, 0, 33, 4096, 256},
    {TagForm::kLut16, 3, 3, 17, 5000, 4097}, {TagForm::kMab, 3, 3, 9, 65535, 16385},
};

ProfileSpec UnusualProfile(std::size_t number) {
  const auto& tag = kUnusualTags[number];
  ProfileSpec spec = PlainSpec(tag.grid, tag.inEntries, tag.outEntries);
  spec.tags[0].form = tag.form;
  spec.tags[0].in = tag.in;
  spec.tags[0].out = tag.out;
  spec.tags[0].inCurve = CurveShape::kGamma;
  spec.tags[0].outCurve = CurveShape::kGamma;
  return spec;
}

Bytes RandomBytes(std::size_t count, Dice& dice) {
  Bytes bytes(count);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(dice.Bits() >> 32);
  return bytes;
}

/// One that rises, one that falls, one without order.
std::array<Bytes, 3> Curves(int entries, Dice& dice) {
  std::array<Bytes, 3> curves;
  for (int i = 0; i < entries; ++i) {
    const int level = i * 255 / std::max(1, entries - 1);
    curves[0].push_back(static_cast<unsigned char>(level));
    curves[1].push_back(static_cast<unsigned char>(255 - level));
    curves[2].push_back(static_cast<unsigned char>(dice.Between(0, 255)));
  }
  return curves;
}

Digest DigestOf(const std::array<std::span<const std::uint32_t>, 3>& tables) {
  Digest digest;
  for (const auto& table : tables) digest.Add(table);
  return digest;
}

Digest DigestOf(const std::array<int, 3>& state) {
  Digest digest;
  for (const int number : state) {
    const std::uint32_t word[] = {static_cast<std::uint32_t>(number)};
    digest.Add(word);
  }
  return digest;
}

void AddResults(Digests& digests, const std::string& name, Chain& chain, Dice& dice) {
  digests[name + "/state"] = DigestOf(chain.State()).value();
  const Tables tables = chain.CurrentTables();
  digests[name + "/input"] = DigestOf(tables.input).value();
  Digest cells;
  cells.Add(tables.cells);
  digests[name + "/cells"] = cells.value();
  digests[name + "/output"] = DigestOf(tables.output).value();

  // Room for 16-bit samples on both sides. What a conversion leaves alone counts too.
  constexpr std::size_t kSamples = 3 * kPixels;
  Bytes source = RandomBytes(2 * kSamples, dice);
  Bytes destination = RandomBytes(2 * kSamples, dice);
  chain.Convert(source, destination, kPixels);
  Digest pixels;
  pixels.Add(destination);
  digests[name + "/pixels"] = pixels.value();

  std::vector<unsigned short> wide(kSamples, 0xA55A);
  chain.ConvertWide(source, wide, kPixels);
  const std::vector<std::uint32_t> samples(wide.begin(), wide.end());
  Digest widePixels;
  widePixels.Add(samples);
  digests[name + "/wide"] = widePixels.value();
}

}  // namespace

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const int inputCode : {0, 1}) {
    for (const int outputCode : kOutputCodes) {
      const std::size_t number = cases.size();
      Case next;
      // One further in the second round, so that codes meet other manufacturers and intents.
      const std::size_t turn = number + static_cast<std::size_t>(inputCode);
      next.profile = RandomSpec(turn);
      next.selection.intent = static_cast<int>(turn % 4);
      next.selection.inputCode = inputCode;
      next.selection.outputCode = outputCode;
      if (turn % 5 < 2) {
        Dice dice(turn + 1000);
        next.selection.lightness = dice.Between(-40, 40) / 2.0;
        next.selection.chroma = dice.Between(-80, 80) / 2.0;
        next.selection.hueDeg = dice.Between(-720, 720) / 2.0;
      }
      next.adjusted = turn % 5 == 1 || turn % 5 == 3;
      next.name = Name(number, next.selection);
      cases.push_back(std::move(next));
    }
  }
  for (std::size_t i = 0; i < std::size(kUnusualTags); ++i) {
    Case next;
    next.profile = UnusualProfile(i);
    next.selection.intent = static_cast<int>(i % 4);
    next.selection.inputCode = static_cast<int>(i % 2);
    next.selection.outputCode = kOutputCodes[i * 7 % std::size(kOutputCodes)];
    if (i % 3 == 0) next.selection.chroma = 12.5;
    next.adjusted = i % 3 != 1;
    next.name = Name(cases.size(), next.selection);
    cases.push_back(std::move(next));
  }
  return cases;
}

Digests DigestsOf(Chain& chain) {
  Digests digests;
  std::uint64_t seed = 0;
  for (const Case& each : Cases()) {
    Dice dice(seed++);
    const Bytes profile = WriteProfile(each.profile);
    Digest profileDigest;
    profileDigest.Add(profile);
    digests[each.name + "/profile"] = profileDigest.value();
    chain.SetProfile(profile, each.selection);
    AddResults(digests, each.name, chain, dice);
    if (!each.adjusted) continue;
    chain.AdjustLch(7.5, -12.25, 33);
    constexpr int kLengths[] = {2, 100, 256, 4096};
    chain.AdjustOutput(Curves(kLengths[seed / 5 % std::size(kLengths)], dice));
    AddResults(digests, each.name + "-adjusted", chain, dice);
  }
  return digests;
}

}  // namespace corpus

#include "tools/QuickSelfTest.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "api/pipeline.hpp"
#include "corpus/Corpus.h"
#include "tools/Refusal.h"

namespace {

// A prime, so that no block of a worker divides it.
constexpr std::size_t kPixels = 1009;

// Lookup tags that both pipelines take, with grids whose distances are and are not powers of two.
std::vector<corpus::ProfileSpec> Specs() {
  std::vector<corpus::ProfileSpec> specs = {corpus::PlainSpec(9, 256, 256),
                                            corpus::PlainSpec(17, 1024, 4096),
                                            corpus::PlainSpec(12, 4096, 256)};
  for (corpus::ProfileSpec& spec : specs) spec.tags[0].inCurve = corpus::CurveShape::kRandom;
  return specs;
}

template <typename Sample>
void AddResults(const kxcms::Pipeline& pipeline, corpus::Digest& digest) {
  corpus::Dice dice(kPixels);
  std::vector<Sample> samples(3 * kPixels);
  for (Sample& sample : samples) sample = static_cast<Sample>(dice.Bits() >> 16);
  const auto image = kxcms::Rgb(samples.data(), kPixels, 1);
  pipeline.Convert(image, image);
  const std::vector<std::uint32_t> words(samples.begin(), samples.end());
  digest.Add(words);
}

std::uint64_t DigestOf(bool isFixed) {
  kxcms::PipelineOptions options;
  options.method = isFixed ? kxcms::Method::kFixed : kxcms::Method::kPrecise;
  corpus::Digest digest;
  for (const corpus::ProfileSpec& spec : Specs()) {
    const std::vector<unsigned char> bytes = corpus::WriteProfile(spec);
    const auto source = kxcms::Profile::FromMemory(bytes.data(), bytes.size());
    for (const char* const space : {"srgb", "adobe-18"}) {
      const kxcms::Pipeline pipeline(source, kxcms::Profile::BuiltIn(space), options);
      AddResults<std::uint8_t>(pipeline, digest);
      AddResults<std::uint16_t>(pipeline, digest);
    }
  }
  return digest.value();
}

}  // namespace

void RequireQuickSelfTest(bool isFixed) {
  constexpr std::uint64_t kPrecise = 0xD412A781099C7350, kFixed = 0xF059A7875D5FBD6A;
  if (DigestOf(isFixed) != (isFixed ? kFixed : kPrecise)) {
    throw Refusal(Exit::WouldBeWrong, "selftest: this machine computes other colours");
  }
}

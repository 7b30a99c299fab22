#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "api/pipeline.h"
#include "fuzz/FuzzSupport.h"
#include "tests/profile/ProfileForms.h"

// A profile's bytes through the pipeline interface: refused with a record that says where and why,
// or read, asked for everything, and connected as source and as destination; and a few pixels.
//
// Input: 16 bytes of choices, then the profile.

namespace {

using fuzz::Bytes;
using fuzz::Input;

constexpr std::size_t kChoiceBytes = 16;
constexpr std::size_t kPixels = 37;  // whole vectors and a rest

struct Release {
  void operator()(kxp_profile* profile) const { kxp_profile_release(profile); }
  void operator()(kxp_pipeline* pipeline) const { kxp_pipeline_release(pipeline); }
};
using Profile = std::unique_ptr<kxp_profile, Release>;
using Pipeline = std::unique_ptr<kxp_pipeline, Release>;

// ---- What is there already ----------------------------------------------------------------------

Profile Read(const Bytes& bytes) {
  kxp_profile* profile = nullptr;
  FUZZ_CHECK(kxp_profile_from_memory(bytes.data(), bytes.size(), &profile, nullptr) == KXP_OK);
  return Profile(profile);
}
Profile BuiltIn(const char* name) {
  kxp_profile* profile = nullptr;
  FUZZ_CHECK(kxp_profile_builtin(name, &profile, nullptr) == KXP_OK);
  return Profile(profile);
}

struct Partners {
  Profile scanner = Read(profile_forms::WithTag("A2B0", profile_forms::Lut16().Tag()).Build());
  Profile full = Read(profile_forms::FullProfile().Build());
  Profile srgb = BuiltIn("srgb"), adobe = BuiltIn("adobe-rgb"), linear = BuiltIn("rec2020-linear"),
          eci = BuiltIn("ecirgb-v2"), lab = BuiltIn("lab"), xyz = BuiltIn("xyz");
};
const Partners& ThePartners() {
  static const Partners partners;
  return partners;
}

// ---- Refusals -----------------------------------------------------------------------------------

void CheckRecord(const kxp_error& error, kxp_status status, std::size_t profileBytes) {
  FUZZ_CHECK(error.status == status);
  const std::size_t length = strnlen(error.message, sizeof error.message);
  FUZZ_CHECK(length > 10 && length < sizeof error.message);
  for (std::size_t n = 0; n < length; ++n) {
    FUZZ_CHECK(error.message[n] >= ' ' && error.message[n] <= '~');
  }
  FUZZ_CHECK(error.message[0] >= 'A' && error.message[0] <= 'Z');
  const std::size_t tag = strnlen(error.tag, sizeof error.tag);
  FUZZ_CHECK(tag == 0 || tag == 4);
  FUZZ_CHECK(error.offset <= profileBytes);
}

// ---- Queries ------------------------------------------------------------------------------------

void AskEverything(const kxp_profile* profile) {
  for (std::uint32_t key = 0; key <= KXP_DESTINATION_FALLBACK + 1; ++key) {
    for (const std::uint32_t index : {0u, 1u, 2u, 3u, 5u, 8u, 11u, 12u, 100u, ~0u}) {
      double number = 0;
      char text[48];
      std::size_t length = 0;
      const kxp_status asNumber = kxp_profile_number(profile, key, index, &number);
      const kxp_status asText = kxp_profile_text(profile, key, index, text, sizeof text, &length);
      for (const kxp_status status : {asNumber, asText}) {
        FUZZ_CHECK(status == KXP_OK || status == KXP_ERROR_ARGUMENT ||
                   status == KXP_ERROR_UNSUPPORTED);
      }
      FUZZ_CHECK(asNumber != KXP_OK || std::isfinite(number));
      if (asText == KXP_OK) {
        const std::size_t given = strnlen(text, sizeof text);
        FUZZ_CHECK(given < sizeof text && given <= length && length - given < length + 1);
        FUZZ_CHECK(length < sizeof text - 4 ? given == length : given >= sizeof text - 4);
      }
      FUZZ_CHECK(key != 0 || (asNumber == KXP_ERROR_ARGUMENT && asText == KXP_ERROR_ARGUMENT));
    }
  }
}

// ---- Pixels -------------------------------------------------------------------------------------

kxp_image Packed(void* pixels, std::uint32_t sample) {
  constexpr std::size_t kSampleBytes[] = {1, 2, 2, 4};
  kxp_image image = {};
  image.size = sizeof image;
  auto* const first = static_cast<unsigned char*>(pixels);
  image.r = first;
  image.g = first + kSampleBytes[sample];
  image.b = first + 2 * kSampleBytes[sample];
  image.sample = sample;
  return image;
}

template <typename Sample>
std::vector<Sample> Converted(const kxp_pipeline* pipeline, Bytes source, std::uint32_t from,
                              std::uint32_t to, std::size_t pixelsAtATime) {
  constexpr std::size_t kSampleBytes[] = {1, 2, 2, 4};
  std::vector<Sample> results(3 * kPixels);
  for (std::size_t at = 0; at < kPixels; at += pixelsAtATime) {
    const kxp_image in = Packed(source.data() + 3 * at * kSampleBytes[from], from);
    const kxp_image out = Packed(results.data() + 3 * at, to);
    FUZZ_CHECK(kxp_convert(pipeline, &in, &out, std::min(pixelsAtATime, kPixels - at), 1, nullptr,
                           nullptr) == KXP_OK);
  }
  return results;
}

// What the results of the types must have in common, for one type of the source.
void CheckConversions(const kxp_pipeline* pipeline, bool isMeasure, bool isUnclipped, Input& call) {
  const std::uint32_t from = call.U8() % 4;
  const Bytes source = fuzz::SomePixels(3 * kPixels * 4, call.U8());
  const auto singles = Converted<float>(pipeline, source, from, KXP_F32, kPixels);
  FUZZ_CHECK(std::memcmp(singles.data(),
                         Converted<float>(pipeline, source, from, KXP_F32, 1).data(),
                         singles.size() * sizeof(float)) == 0);
  for (const float value : singles) {
    FUZZ_CHECK(std::isfinite(value));
    if (!isMeasure && !isUnclipped) FUZZ_CHECK(value >= 0 && value <= 1);
  }
  const auto words = Converted<std::uint16_t>(pipeline, source, from, KXP_U16, kPixels);
  FUZZ_CHECK(words == Converted<std::uint16_t>(pipeline, source, from, KXP_U16, 5));
  if (isMeasure) return;
  const auto bytes = Converted<std::uint8_t>(pipeline, source, from, KXP_U8, kPixels);
  const auto halves = Converted<std::uint16_t>(pipeline, source, from, KXP_F16, kPixels);
  for (std::size_t n = 0; n < singles.size(); ++n) {
    const double inside = std::clamp(static_cast<double>(singles[n]), 0.0, 1.0);
    FUZZ_CHECK(std::fabs(words[n] - 65535 * inside) <= 0.6);
    FUZZ_CHECK(std::fabs(bytes[n] - 255 * inside) <= 0.51);
    FUZZ_CHECK(isUnclipped || halves[n] <= 0x3C00);  // 1
  }
}

// ---- Pipelines ----------------------------------------------------------------------------------

void Connect(const Profile& source, const Profile& destination, bool isMeasure, unsigned how,
             Input& call) {
  kxp_pipeline_options options = {};
  options.size = sizeof options;
  options.intent = how % 4;
  options.flags = how / 4 % 4;
  kxp_error error = {};
  error.size = sizeof error;
  kxp_pipeline* made = nullptr;
  const kxp_status status =
      kxp_pipeline_create(source.get(), destination.get(), &options, &made, &error);
  const Pipeline pipeline(made);
  FUZZ_CHECK((made != nullptr) == (status == KXP_OK));
  const bool isContradiction =
      (options.flags & KXP_BLACK_POINT_COMPENSATION) != 0 && options.intent != KXP_RELATIVE;
  if (status != KXP_OK) {
    CheckRecord(error, status, 0);
    FUZZ_CHECK(status == KXP_ERROR_UNSUPPORTED ||
               (status == KXP_ERROR_ARGUMENT && isContradiction));
    return;
  }
  FUZZ_CHECK(!isContradiction);
  char tag[8];
  FUZZ_CHECK(kxp_pipeline_text(made, KXP_SOURCE_TAG, 0, tag, sizeof tag, nullptr) == KXP_OK);
  FUZZ_CHECK(kxp_pipeline_text(made, KXP_TARGET_TAG, 0, tag, sizeof tag, nullptr) == KXP_OK);
  CheckConversions(made, isMeasure, (options.flags & KXP_UNCLIPPED) != 0, call);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  ThePartners();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input all(data, size);
  const Bytes head = all.Take(kChoiceBytes);
  Input call(head.data(), head.size());
  const Bytes bytes = all.Rest();

  kxp_error error = {};
  error.size = sizeof error;
  kxp_profile* read = nullptr;
  const kxp_status status = kxp_profile_from_memory(bytes.data(), bytes.size(), &read, &error);
  const Profile profile(read);
  FUZZ_CHECK((read != nullptr) == (status == KXP_OK));
  if (status != KXP_OK) {
    if (bytes.data() == nullptr) return 0;  // no bytes at all are a wrong argument
    FUZZ_CHECK(status == KXP_ERROR_DAMAGED || status == KXP_ERROR_UNSUPPORTED);
    CheckRecord(error, status, bytes.size());
    return 0;
  }
  AskEverything(read);

  const Partners& partners = ThePartners();
  const struct {
    const Profile& destination;
    bool isMeasure;
  } kDestinations[] = {{partners.srgb, false}, {partners.adobe, false}, {partners.linear, false},
                       {partners.eci, false},  {partners.lab, true},    {partners.xyz, true},
                       {partners.full, false}, {profile, false}};
  // To two of them, and from one to it.
  for (int n = 0; n < 2; ++n) {
    const auto& to = kDestinations[call.U8() % std::size(kDestinations)];
    Connect(profile, to.destination, to.isMeasure, call.U8(), call);
  }
  const Profile* const kSources[] = {&partners.srgb, &partners.scanner, &partners.full};
  Connect(*kSources[call.U8() % std::size(kSources)], profile, false, call.U8(), call);
  return 0;
}

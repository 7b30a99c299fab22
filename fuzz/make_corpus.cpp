#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>

#include "fuzz/SampleFiles.h"
#include "tests/profile/ProfileForms.h"

// Writes the seeds of the corpora, or compares them with those in the tree:
// make_corpus FOLDER | make_corpus --check FOLDER. Files of other names are left alone: they are
// what the fuzzer found.

namespace {

namespace fs = std::filesystem;
using profile_bytes::Bytes;
using profile_bytes::Mab;
using profile_bytes::ProfileBytes;

class Corpus {
 public:
  Corpus(fs::path folder, bool checks) : folder_(std::move(folder)), checks_(checks) {}

  void Add(const char* target, const std::string& name, const Bytes& bytes) {
    const fs::path path = folder_ / target / (std::string("seed-") + name);
    if (checks_) {
      std::ifstream file(path, std::ios::binary);
      const std::vector<char> there(std::istreambuf_iterator<char>(file), {});
      if (file && Bytes(there.begin(), there.end()) == bytes) return;
      std::fprintf(stderr, "%s differs from what the generator makes\n", path.c_str());
      ++differences_;
      return;
    }
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  int differences() const { return differences_; }

 private:
  fs::path folder_;
  bool checks_;
  int differences_ = 0;
};

Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes Beginning(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  return bytes;
}

/// Choices at the head of an input, zeros up to `size`.
Bytes Choices(std::size_t size, std::initializer_list<unsigned> bytes) {
  Bytes head(size);
  std::size_t at = 0;
  for (const unsigned byte : bytes) head[at++] = static_cast<unsigned char>(byte);
  return head;
}

Bytes OneTag(std::string_view signature, const Bytes& tag) {
  return ProfileBytes().Header(48, "KXCM").AddTag(signature, tag).Build();
}

/// No two fields of the header alike.
Bytes FullHeader() {
  ProfileBytes profile;
  for (unsigned at = 4; at < 128; at += 4) profile.Header(at, 0x01030507u * at);
  return profile.AddTag("A2B0", fuzz::Lut16(2, 2)).Build();
}

/// A lut8 tag as the library reads it: the header of the 16-bit form.
Bytes Lut8() {
  Bytes tag = fuzz::Lut16(2, 2);
  tag[3] = '1';
  return tag;
}

void AddProfiles(Corpus& corpus) {
  const struct {
    const char* name;
    Bytes bytes;
  } kProfiles[] = {
      {"all-tags", fuzz::ScannerProfile()},
      {"plain", fuzz::PlainProfile()},
      {"matrix", fuzz::MatrixProfile()},
      {"lut16-grid-5", OneTag("A2B0", fuzz::Lut16(5, 3))},
      {"lut16-seven-outputs", OneTag("A2B2", fuzz::Lut16(2, 3, 7))},
      {"lut16-one-input", OneTag("A2B0", fuzz::Lut16(2, 0, 3, 1))},
      {"lut16-two-outputs", OneTag("A2B0", fuzz::Lut16(3, 5, 2))},
      {"lut16-no-channels", OneTag("A2B0", fuzz::Lut16(9, 3, 0, 0))},
      {"lut16-long-curves", OneTag("A2B0", fuzz::Lut16(2, 4100, 1, 1))},
      {"mab", OneTag("A2B1", fuzz::CurvesAndGrid("mAB ", 3, 5))},
      {"mab-padded", OneTag("A2B0", fuzz::CurvesAndGrid("mAB ", 2, 4, Mab::Spacing::kPadded))},
      {"mab-bytes", OneTag("A2B0", fuzz::CurvesAndGrid("mAB ", 2, 3, Mab::Spacing::kAsRead, 1))},
      {"lut8", OneTag("A2B0", Lut8())},
      {"header-only", Beginning(fuzz::PlainProfile(), 128)},
      {"cut-off", Beginning(fuzz::ScannerProfile(), 700)},
      {"full-header", FullHeader()},
      {"claims-too-much", ProfileBytes()
                              .AddTag("A2B0", fuzz::Lut16(2, 2), 0x7FFFFFFF)
                              .AddEntry("desc", 0xFFFFFFF0, 0xFFFFFFFF)
                              .ClaimTagCount(0x10000000)
                              .Build()},
  };
  for (const auto& profile : kProfiles) {
    corpus.Add("IccProfile", profile.name, profile.bytes);
    unsigned variant = 0;
    // Intent, input and output codes, offsets, pixel count, seed, two calls.
    for (const auto& head : {Choices(40, {0, 0, 12, 1, 64, 64, 64, 21, 5, 0}),
                             Choices(40, {1, 1, 13, 0, 80, 50, 90, 39, 6, 2, 0, 0, 0, 3, 0, 12}),
                             Choices(40, {3, 0, 22, 0, 64, 70, 64, 9, 7, 1, 0, 0, 1, 80, 60, 200}),
                             Choices(40, {2, 0, 35, 1, 64, 64, 64, 4, 8, 1, 0, 0, 2, 5, 4, 0})}) {
      const std::string name = std::string(profile.name) + "-" + std::to_string(variant++);
      corpus.Add("Engine", name, Joined({head, profile.bytes}));
    }
  }
}

/// Every output code, with 8-bit and 16-bit input in turn; then calls that choose odd input codes.
void AddCodes(Corpus& corpus) {
  const Bytes profile = OneTag("A2B0", fuzz::Lut16(2, 3));
  for (unsigned code = 0; code < 40; ++code) {
    corpus.Add("Engine", "code-" + std::to_string(code),
               Joined({Choices(40, {0, code / 2 % 2, code, 1, 64, 64, 64, 7, code, 0}), profile}));
  }
  unsigned variant = 0;
  for (const unsigned input : {252u, 253u, 254u}) {
    corpus.Add(
        "Engine", "input-" + std::to_string(variant++),
        Joined({Choices(40, {0, 0, 12, 1, 64, 64, 64, 7, 3, 1, 0, 0, 0, 0, input, 12}), profile}));
  }
  // Two calls; the first ends with Reset.
  corpus.Add("Engine", "reset",
             Joined({Choices(40, {1, 0, 12, 1, 64, 64, 64, 7, 3, 2, 0, 0, 3, 0, 1}), profile}));
}

void AddLookupTags(Corpus& corpus) {
  const struct {
    const char* name;
    Bytes bytes;
  } kTags[] = {
      {"lut16-2", fuzz::Lut16(2, 2)},
      {"lut16-3", fuzz::Lut16(3, 5)},
      {"lut16-9", fuzz::Lut16(9, 3)},
      {"lut16-4-outputs", fuzz::Lut16(2, 3, 4)},
      {"lut16-7-outputs", fuzz::Lut16(3, 3, 7)},
      {"lut16-1-input", fuzz::Lut16(3, 3, 3, 1)},
      {"lut16-1-output", fuzz::Lut16(3, 3, 1)},
      {"lut16-no-channels", fuzz::Lut16(9, 3, 0, 0)},
      {"lut16-long-curves", fuzz::Lut16(2, 4100, 1, 1)},
      {"mab", fuzz::CurvesAndGrid("mAB ", 2, 3)},
      {"mab-5", fuzz::CurvesAndGrid("mAB ", 5, 7)},
      {"mba", fuzz::CurvesAndGrid("mBA ", 2, 3)},
      {"mab-padded", fuzz::CurvesAndGrid("mAB ", 2, 4, Mab::Spacing::kPadded)},
      {"mab-bytes", fuzz::CurvesAndGrid("mAB ", 3, 3, Mab::Spacing::kAsRead, 1)},
      {"lut8", Lut8()},
  };
  constexpr unsigned kTables[] = {0, 1, 2, 3, 4, 5, 10, 13, 14, 15, 16};
  for (const auto& tag : kTags) {
    const bool backward = tag.bytes[1] == 'B';
    for (const unsigned table : kTables) {
      // Signature, way to the tag, table; codes and levels.
      const Bytes head = Choices(
          24, {backward ? 3u : 0u, 3, table, 1, table, 77, 3, 200, 90, 255, 255, 1, 60, 20, 180});
      corpus.Add("LookupTag", std::string(tag.name) + "-" + std::to_string(table),
                 Joined({head, tag.bytes}));
    }
  }
}

std::vector<std::pair<std::string, Bytes>> Images() {
  using namespace tiff_test;
  std::vector<std::pair<std::string, Bytes>> images = {
      {"rgb-8", fuzz::PlainTiff(4, 3, 3, 8)},
      {"rgb-16", fuzz::PlainTiff(3, 2, 3, 16)},
      {"grey-8", fuzz::PlainTiff(5, 2, 1, 8)},
      {"cmyk-8", fuzz::PlainTiff(2, 2, 4, 8)},
      {"bits", fuzz::PlainTiff(16, 2, 1, 1)},
      {"strips", ImageEntries(3, 4, 3, 8, 2, 1).AddStrips({Ramp(18), Ramp(18, 50)}).Build()},
      {"short-strips", ImageEntries(2, 3, 3, 8, 1, 1)
                           .AddStrips({Ramp(6), Ramp(6, 9), Ramp(6, 99)}, kShort, kShort)
                           .Build()},
      {"planes",
       ImageEntries(2, 2, 3, 8, 2, 2).AddStrips({Ramp(4), Ramp(4, 9), Ramp(4, 99)}).Build()},
      {"short-planes", ImageEntries(3, 3, 3, 8, 3, 2).AddStrips({Ramp(14)}).Build()},
      {"planes-16", ImageEntries(2, 2, 3, 16, 2, 2).AddStrips({Ramp(24)}).Build()},
      {"bit-planes", ImageEntries(16, 2, 3, 1, 2, 2).AddStrips({Ramp(12)}).Build()},
      {"no-rows-per-strip", ImageEntries(2, 2, 3, 8, 0, 0).AddStrips({Ramp(12)}).Build()},
      {"many-tags", ImageEntries(2, 2, 3, 8, 2, 1)
                        .AddData(282, kRational, 1, Longs({30000, 100}))
                        .AddData(283, kRational, 1, Longs({300, 0}))
                        .AddData(34675, kUndefined, 20, Ramp(20))
                        .AddData(270, kAscii, 8, Ramp(8, 65))
                        .Add(34665, kLong, 1, 60)
                        .Add(296, kShort, 1, 2)
                        .Add(700, kSbyte, 2, 5)
                        .AddStrips({Ramp(12)})
                        .Build()},
      {"compressed",
       ImageEntries(2, 2, 3, 8, 2, 1).Change(259, kShort, 1, 5).AddStrips({Ramp(12)}).Build()},
      {"signed-byte-count", ImageEntries(8, 8, 3, 8, 8, 1)
                                .Add(34665, kLong, 1, 60)
                                .AddStrips({Ramp(192)})
                                .Change(279, kSlong, 1, 192)
                                .Build()},
      {"no-byte-count-items", ImageEntries(2, 2, 3, 8, 2, 1)
                                  .AddStrips({Ramp(12)})
                                  .Change(279, kUndefined, 0, 0)
                                  .Change(257, kSlong, 1, 2)
                                  .Build()},
      {"too-large", ImageEntries(60000, 60000, 3, 16, 60000, 1).AddStrips({Ramp(12)}).Build()},
  };
  Bytes cut = fuzz::PlainTiff(4, 3, 3, 8);
  cut.resize(cut.size() - 20);
  images.emplace_back("cut-off", cut);
  return images;
}

void AddImages(Corpus& corpus) {
  for (const auto& [name, bytes] : Images()) {
    unsigned variant = 0;
    for (const auto& head :
         {Choices(32, {3, 21, 22, 20, 21, 22, 21, 21, 21, 0, 20, 60, 0, 16}),
          Choices(32, {0, 10, 22, 10, 21, 30, 40, 2, 2, 1}),
          Choices(32, {1, 255, 255, 255, 255, 255, 250, 1, 2, 3, 4, 22, 22, 20, 20, 20, 2}),
          Choices(32, {2, 19, 19, 19, 30, 30, 30, 30, 30, 3, 0, 1, 3, 1, 9})}) {
      corpus.Add("Tiff", name + "-" + std::to_string(variant++), Joined({head, bytes}));
    }
    variant = 0;
    for (const auto& head :
         {Choices(4, {0, 1}), Choices(4, {1, 1}), Choices(4, {2, 1}), Choices(4, {5, 16})}) {
      corpus.Add("FileConversion", name + "-" + std::to_string(variant++), Joined({head, bytes}));
    }
  }
  const Bytes profile = OneTag("A2B0", fuzz::CurvesAndGrid("mAB ", 2, 3));
  corpus.Add("FileConversion", "own-profile",
             Joined({Choices(4, {0, 1, static_cast<unsigned>(profile.size() % 256),
                                 static_cast<unsigned>(profile.size() / 256)}),
                     profile, fuzz::PlainTiff(4, 3, 3, 8)}));
}

void AddCalls(Corpus& corpus) {
  const auto call = [](std::initializer_list<unsigned> bytes) { return Choices(12, bytes); };
  const Bytes profile = fuzz::PlainProfile();
  const Bytes own = Joined({Choices(2, {static_cast<unsigned>(profile.size() % 256),
                                        static_cast<unsigned>(profile.size() / 256)}),
                            profile});
  const Bytes none(2);
  for (unsigned slot = 0; slot < 3; ++slot) {
    const unsigned s = 16 * slot;
    const std::string name = std::string("-") + std::to_string(slot + 1);
    corpus.Add("Interface", "convert" + name,
               Joined({none, call({s, 0, 0, 0, 12, 1}), call({s + 10, 7, 5, 1}), call({s + 9, 30}),
                       call({s + 7, 0, 1}), call({s + 8, 1, 1})}));
    corpus.Add("Interface", "sixteen-bits" + name,
               Joined({none, call({s, 5, 3, 1, 13, 0}), call({s + 11, 8, 5, 2}),
                       call({s + 4, 1, 0, 22}), call({s + 12, 8, 5, 3})}));
    corpus.Add("Interface", "adjust" + name,
               Joined({none, call({s, 0, 1, 0, 12, 1}), call({s + 6, 5, 70, 64, 64, 3}),
                       call({s + 6, 3, 64, 80, 64, 1, 2, 0, 34}), call({s + 13, 6, 1, 1})}));
    corpus.Add("Interface", "own-profile" + name,
               Joined({own, call({s, 10, 0, 0, 8, 1}), call({s + 10, 8, 5, 1}),
                       call({s, 10, 0, 0, 8, 1}), call({s + 5, 2, 1, 9})}));
    corpus.Add(
        "Interface", "failures" + name,
        Joined({none, call({s, 13, 0, 0, 12, 1}), call({s + 10, 8, 5, 1}),
                call({s, 15, 0, 0, 12, 1}), call({s, 0, 0, 233, 12, 1}), call({s, 0, 0, 0, 229, 1}),
                call({s, 8, 0, 0, 12, 1}), call({s + 10, 8, 5, 1}), call({s + 7, 3, 1})}));
  }
  corpus.Add("Interface", "three-slots",
             Joined({none, call({0, 0, 0, 0, 12, 1}), call({16, 5, 1, 1, 23, 1}),
                     call({32, 8, 0, 0, 12, 1}), call({10, 8, 5, 1}), call({26, 8, 5, 1}),
                     call({42, 8, 5, 1}), call({9, 1})}));
}

/// One profile of each form that is read, and some that are not.
void AddDeviceProfiles(Corpus& corpus) {
  using namespace profile_forms;
  for (const Form& form : Forms()) corpus.Add("DeviceProfile", form.name, form.bytes);
  const struct {
    const char* name;
    Bytes bytes;
  } kProfiles[] = {
      {"lut8-xyz", WithTag("A2B0", Lut8Tag(), "XYZ ").Build()},
      {"link", WithTag("A2B0", profile_forms::Lut16().Tag()).Header(12, "link").Build()},
      {"grey", WithTag("kTRC", CurvTag({}), "XYZ ").Header(16, "GRAY").Build()},
      {"no-model", WithTag("desc", DescTag("nothing", u"more")).Build()},
      {"cut-off", Beginning(FullProfile().Build(), 1000)},
      {"two-of-a-name", WithTag("A2B0", OnlyB().Tag()).AddLink("A2B0", 0).Build()},
      {"texts", WithTag("A2B0", OnlyB().Tag())
                    .AddTag("desc", DescTag("", u"Ger\u00E4t \U0001F600"))
                    .AddTag("cprt", PlainTag("text", "\xA9"))
                    .Build()},
  };
  for (const auto& profile : kProfiles) {
    corpus.Add("DeviceProfile", profile.name, profile.bytes);
  }
}

/// Every form of a profile that the pipeline interface reads, as source and destination, and some
/// that it refuses.
void AddPipelines(Corpus& corpus) {
  std::vector<profile_forms::Form> forms = profile_forms::Forms();
  const Bytes grid = profile_forms::WithTag("A2B0", profile_forms::Lut16(5, 3, 9).Tag()).Build();
  const Bytes flat = profile_bytes::CurvTag({7, 7}), straight = profile_bytes::CurvTag({});
  forms.push_back({"lut16-grid-5", grid});
  forms.push_back(
      {"constant-curve", profile_forms::MatrixProfile(straight, flat, straight).Build()});
  forms.push_back({"no-tags", ProfileBytes().Build()});
  forms.push_back({"cut-off", Beginning(grid, 500)});
  for (const profile_forms::Form& form : forms) {
    unsigned variant = 0;
    // Twice a destination and how to get there, with a type of samples and a seed; then a source.
    for (const auto& head : {Choices(16, {0, 0, 0, 1, 4, 1, 1, 2, 0, 1, 2, 3}),
                             Choices(16, {1, 5, 1, 4, 7, 13, 3, 5, 1, 5, 0, 6}),
                             Choices(16, {5, 3, 2, 7, 6, 2, 0, 8, 2, 9, 3, 9}),
                             Choices(16, {2, 9, 3, 10, 3, 11, 2, 11, 2, 2, 1, 12})}) {
      corpus.Add("Pipeline", form.name + "-" + std::to_string(variant++),
                 Joined({head, form.bytes}));
    }
  }
}

/// The choices that describe an image: no more and no fewer than are asked for.
struct DrawnImage {
  unsigned type, alpha, flags, strides, places, where;
};
Bytes PlacesOf(const DrawnImage& image) {
  Bytes bytes = {static_cast<unsigned char>(image.places)};
  const unsigned channels = image.alpha == 0 ? 3 : 4;
  if (image.places % 4 == 3) {
    for (unsigned c = 0; c < channels; ++c)
      bytes.insert(bytes.end(), {static_cast<unsigned char>(128 + 40 * c), 0});
  }
  bytes.push_back(static_cast<unsigned char>(image.where));
  if (image.where % 4 >= 2) bytes.insert(bytes.end(), {200, 90});
  return bytes;
}
Bytes ImageChoices(const DrawnImage& image) {
  Bytes bytes;
  for (const unsigned choice : {image.type, image.alpha, image.flags, image.strides}) {
    bytes.push_back(static_cast<unsigned char>(choice));
  }
  for (const unsigned odd : {4u, 8u, 64u, 128u}) {
    if ((image.strides & odd) != 0) bytes.push_back(200);
  }
  return Joined({bytes, PlacesOf(image)});
}
/// @param relation  of the destination to the source: in place, of its strides, or apart
Bytes ImagePair(const Bytes& shape, const DrawnImage& source, unsigned relation,
                const DrawnImage& destination) {
  const Bytes flags = {static_cast<unsigned char>(destination.flags)};
  const Bytes second = relation == 0   ? flags
                       : relation == 1 ? Joined({ImageChoices(destination), PlacesOf(destination)})
                                       : ImageChoices(destination);
  // The rest is 0: one thread of a pool.
  return Joined({shape, ImageChoices(source), Choices(1, {relation}), second, Choices(8, {})});
}

/// Pairs of images of every kind of strides and places, apart and in place.
void AddImagePairs(Corpus& corpus) {
  unsigned number = 0;
  for (const unsigned strides : {0u, 1u, 2u, 3u, 4u, 8u, 16u, 32u, 48u, 50u, 64u, 128u}) {
    for (const unsigned places : {0u, 1u, 5u, 3u}) {
      const unsigned relation = (number + number / 4) % 4, type = number % 16,
                     alpha = number / 2 % 2;
      corpus.Add("Image", "pair-" + std::to_string(number),
                 ImagePair(Choices(3, {number % 8, 5 + number, 2 + number % 5}),
                           {type / 4, alpha, number % 2, strides, places, 0}, relation,
                           {relation == 1 ? type / 4 : type % 4, alpha, number % 4, strides, places,
                            1 + number / 4 % 2}));
      ++number;
    }
  }
  // Rows of as many pixels as are converted at a time, of fewer and of more: packed, planes, with a
  // gap, backward.
  struct {
    unsigned strides, places;
  } constexpr kLayouts[] = {{0, 1}, {1, 0}, {4, 1}, {16, 1}};
  for (const auto& [strides, places] : kLayouts) {
    for (const unsigned length : {191u, 575u, 576u, 577u, 700u, 1153u}) {
      const unsigned type = number % 2, alpha = number / 2 % 2;
      corpus.Add("Image", "row-" + std::to_string(number),
                 ImagePair(Choices(5, {number % 8, 0, 255, (length - 1) % 256, (length - 1) / 256}),
                           {type, alpha, 0, strides, places, 0}, number % 3 == 0 ? 0 : 2,
                           {1 - type, alpha, number % 4, strides, places, 1}));
      ++number;
    }
  }
  for (unsigned stride = 0; stride < 5; ++stride) {
    corpus.Add("Image", "wild-" + std::to_string(stride),
               Choices(40, {250, stride, stride, stride % 2, 1, 7, 3}));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool checks = argc == 3 && std::string(argv[1]) == "--check";
  if (argc != 2 && !checks) {
    std::fprintf(stderr, "usage: make_corpus [--check] FOLDER\n");
    return 2;
  }
  Corpus corpus(argv[argc - 1], checks);
  AddProfiles(corpus);
  AddDeviceProfiles(corpus);
  AddCodes(corpus);
  AddLookupTags(corpus);
  AddImages(corpus);
  AddCalls(corpus);
  AddPipelines(corpus);
  AddImagePairs(corpus);
  return corpus.differences() == 0 ? 0 : 1;
}

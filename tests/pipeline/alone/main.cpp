// Converts pixels through the fixed pipeline, in an order and on threads of this program's own, and
// compares with libKXCMS, which is loaded for that.
// usage: pipeline_alone LIBRARY

#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "corpus/RandomProfile.h"
#include "iccfile/CXYZType.h"
#include "iccfile/IccFile4.h"
#include "interface/kxcms.h"
#include "pipeline/FixedPipeline.h"
#include "pipeline/LookupTag.h"
#include "tests/TemporaryFile.h"

namespace {

using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_ENG_S4;
using Bytes = std::vector<unsigned char>;

constexpr int kPixels = 5003;

struct Conversion {
  const char* what;
  ColorSpaceSignature input, output;
  Intent intent;
  double lightness, chroma, hueDeg;
  PixelFormat format;

  int SourceBytes() const { return format == PixelFormat::k16To16 ? 2 : 1; }
  int DestinationBytes() const { return format == PixelFormat::k8To8 ? 1 : 2; }
};

const Conversion kConversions[] = {
    {"8 to 8 bits", RGB, sRGB, Percepture, 0, 0, 0, PixelFormat::k8To8},
    {"8 to 16 bits, with offsets", RGB, Adobe_16, Relative, 5, -8, 20, PixelFormat::k8To16},
    {"16 to 16 bits, absolute", RGB_16, sRGB_KodakMix_16, Absolute, 0, 0, 0, PixelFormat::k16To16},
    {"to linear values", RGB_16, ColorMatch100_16, Saturation, 0, 0, 0, PixelFormat::k16To16},
};

std::vector<corpus::ProfileSpec> Profiles() {
  using enum corpus::TagForm;
  std::vector<corpus::ProfileSpec> specs;
  for (const std::uint64_t seed : {1, 2, 3, 4, 5, 6}) {
    corpus::ProfileSpec spec = corpus::RandomSpec(seed);
    spec.manufacturer = 0;  // so that libKXCMS converts, whatever the profile
    specs.push_back(spec);
  }
  specs.push_back(corpus::UnusualSpec(7));
  return specs;
}

Bytes SourceOf(const Conversion& conversion) {
  Bytes source(static_cast<std::size_t>(3 * kPixels * conversion.SourceBytes()));
  std::uint32_t state = 1;
  for (unsigned char& byte : source) {
    state = state * 1664525u + 1013904223u;
    byte = static_cast<unsigned char>(state >> 24);
  }
  return source;
}

iccTagBase* TagFor(IccFile4& profile, Intent intent) {
  constexpr unsigned kA2B0 = 0x41324230;
  const unsigned offset = intent == Percepture ? 0 : intent == Saturation ? 2 : 1;
  iccTagBase* tag =
      profile.GetTag(static_cast<ICC40::ICC4_HEADER::icTagSignature>(kA2B0 + offset)).get();
  return tag != nullptr ? tag : profile.GetTag(ICC40::ICC4_HEADER::A2B0).get();
}

// Empty where the profile has no lookup tag that the pipeline can use.
Bytes ConvertedAlone(const char* path, const Conversion& conversion) {
  IccFile4 profile;
  if (profile.ReadFile(path) != 0) throw std::runtime_error("the profile cannot be read");
  const LookupTag tag(TagFor(profile, conversion.intent));
  if (tag.Get() == nullptr) return {};
  std::shared_ptr<iccTagBase> white;
  if (conversion.intent == Absolute) white = profile.GetTag(ICC40::ICC4_HEADER::wtpt);
  FixedPipeline pipeline =
      MakeFixedPipeline(*tag.Get(), conversion.input,
                        {conversion.output, dynamic_cast<CXYZType*>(white.get()),
                         conversion.lightness, conversion.chroma, conversion.hueDeg});
  const Bytes source = SourceOf(conversion);
  Bytes destination(static_cast<std::size_t>(3 * kPixels * conversion.DestinationBytes()));
  const PixelWorker worker = pipeline.WorkerFor(conversion.format, kPixels);
  const auto convert = [&](int begin, int end) {
    worker(source.data(), destination.data(), begin, end);
  };
  std::thread second(convert, kPixels / 3, kPixels);
  convert(0, kPixels / 3);
  second.join();
  return destination;
}

// The second slot of the library, which prints nothing.
class Library {
 public:
  explicit Library(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
    setProfile_ = Function<decltype(setProfile_)>("KX_Icc_SetProfile_2nd");
    adjust_ = Function<decltype(adjust_)>("KX_Icc_Adjust_2nd");
    convert_ = Function<decltype(convert_)>("KX_Icc_Convert2_2nd");
  }

  Bytes Converted(const char* path, const Conversion& conversion) const {
    setProfile_(path, nullptr, conversion.intent, conversion.input, conversion.output);
    adjust_(nullptr, nullptr, nullptr, 0, conversion.lightness, conversion.chroma,
            conversion.hueDeg);
    Bytes source = SourceOf(conversion);
    Bytes destination(static_cast<std::size_t>(3 * kPixels * conversion.DestinationBytes()));
    if (convert_(source.data(), destination.data(), kPixels) != KX_RESULT_OK) {
      throw std::runtime_error("the library refuses the conversion");
    }
    return destination;
  }

 private:
  template <typename Pointer>
  Pointer Function(const char* name) const {
    void* symbol = dlsym(handle_, name);
    if (symbol == nullptr) throw std::runtime_error(std::string("the library lacks ") + name);
    return reinterpret_cast<Pointer>(symbol);
  }

  void* handle_;
  decltype(&KX_Icc_SetProfile_2nd) setProfile_;
  decltype(&KX_Icc_Adjust_2nd) adjust_;
  decltype(&KX_Icc_Convert2_2nd) convert_;
};

// @return how many conversions differ, and counts those that were compared.
int Compare(const Library& library, int& compared) {
  int different = 0;
  for (const corpus::ProfileSpec& spec : Profiles()) {
    const TemporaryFile profile(corpus::WriteProfile(spec));
    for (const Conversion& conversion : kConversions) {
      const Bytes alone = ConvertedAlone(profile.Path(), conversion);
      if (alone.empty()) continue;
      ++compared;
      if (alone == library.Converted(profile.Path(), conversion)) continue;
      std::printf("%s, %s: differs\n", corpus::Describe(spec).c_str(), conversion.what);
      ++different;
    }
  }
  return different;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::puts("usage: pipeline_alone LIBRARY");
    return 2;
  }
  try {
    const Library library(argv[1]);
    int compared = 0;
    const int different = Compare(library, compared);
    std::printf("%d conversions compared, %d differ\n", compared, different);
    return compared > 20 && different == 0 ? 0 : 1;
  } catch (const std::exception& failure) {
    std::printf("%s\n", failure.what());
    return 1;
  }
}

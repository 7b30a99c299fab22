// Lists a profile's tags and takes a few colours through its lookup table, with the library's
// classes.
// usage: explore_profile PROFILE.icc
#include <kxcms/iccfile/CLut16Type.h>
#include <kxcms/iccfile/IccFile4.h>
#include <kxcms/interface/ColorCodes.h>
#include <kxcms/units/ColorTable33.h>
#include <kxcms/units/InputTable33.h>
#include <kxcms/units/OutputTable33.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

using namespace ICC40;

namespace {

// A four-character signature as text.
std::string Text(std::uint32_t signature) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const char c = static_cast<char>(signature >> shift);
    text += c >= ' ' && c <= '~' ? c : '?';
  }
  return text;
}

void List(const ICCFILE::IccFile4& profile) {
  std::printf("class %s, %s to %s\n", Text(profile.header.deviceClass).c_str(),
              Text(profile.header.colorSpace).c_str(), Text(profile.header.pcs).c_str());
  for (const auto& tag : profile.tags) {
    std::printf("tag %s, type %s, %d bytes\n", Text(tag->tagSignature).c_str(),
                Text(tag->typeSignature).c_str(), tag->size);
  }
}

// README begin
// The lookup tag A2B0, or null if there is none with 16-bit entries.
std::shared_ptr<ICCFILE::CLut16Type> Lookup(ICCFILE::IccFile4& profile) {
  return std::dynamic_pointer_cast<ICCFILE::CLut16Type>(profile.GetTag(ICC4_HEADER::A2B0));
}

// Device RGB to Lab: input curves, colour table, output curves.
struct Tables {
  explicit Tables(ICCFILE::CLut16Type& lut) {
    input.Initial(&lut, ICCFILE::RGB_16);
    color.Initial(&lut);
    output.Initial(&lut);
  }

  // Replaces 16-bit device RGB by Lab: L* = v * 100 / 65280, a* and b* = (v - 32768) / 256.
  void Convert(unsigned short (&v)[3]) {
    unsigned short more[4] = {};  // for the fourth to seventh channel of wider tables
    input.Conversion(v[0], v[1], v[2], more[0], more[1], more[2], more[3]);
    color.Conversion(v[0], v[1], v[2], more[0], more[1], more[2], more[3]);
    output.Conversion(v[0], v[1], v[2], more[0], more[1], more[2], more[3]);
  }

  ICC_UNIT::InputTable33 input;
  ICC_UNIT::ColorTable33 color;
  ICC_UNIT::OutputTable33 output;
};
// README end

bool IsRgbToLab(const ICCFILE::IccFile4& profile, const ICCFILE::CLut16Type* lut) {
  return Text(profile.header.pcs) == "Lab " && lut != nullptr && lut->inputChannels == 3 &&
         lut->outputChannels == 3 && lut->inputTables != nullptr && lut->colorTable != nullptr &&
         lut->outputTables != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: explore_profile PROFILE.icc\n");
    return 2;
  }
  ICCFILE::IccFile4 profile;
  if (profile.ReadFile(argv[1]) != 0) {
    std::fprintf(stderr, "%s: cannot be opened\n", argv[1]);
    return 1;
  }
  // Reading takes any file; this mark is in every profile.
  if (Text(profile.header.magic) != "acsp") {
    std::fprintf(stderr, "%s: not an ICC profile\n", argv[1]);
    return 1;
  }
  List(profile);

  const auto lut = Lookup(profile);
  if (!IsRgbToLab(profile, lut.get())) {
    std::fprintf(stderr, "%s: no 16-bit lookup table from RGB to Lab\n", argv[1]);
    return 1;
  }
  // Tables hold their values inline, megabytes of them: on the heap.
  const auto tables = std::make_unique<Tables>(*lut);
  for (const unsigned short level : {0, 32768, 65535}) {
    unsigned short v[3] = {level, level, level};
    tables->Convert(v);
    std::printf("RGB %5d %5d %5d   L* %6.2f  a* %6.2f  b* %6.2f\n", level, level, level,
                v[0] * 100 / 65280.0, (v[1] - 32768) / 256.0, (v[2] - 32768) / 256.0);
  }
  return 0;
}

#include "profile/ProfileWriter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "base/Bytes.h"
#include "base/Md5.h"
#include "profile/SpaceProfile.h"

namespace kxcms {

namespace {

constexpr std::size_t kHeaderBytes = 128;
constexpr std::size_t kTagEntryBytes = 12;
constexpr std::size_t kAlignment = 4;

constexpr std::string_view kCopyright = "No copyright, use freely";

// ---- Numbers ------------------------------------------------------------------------------------

class Bytes {
 public:
  Bytes& U8(unsigned value) {
    bytes_.push_back(static_cast<unsigned char>(value));
    return *this;
  }
  Bytes& U16(unsigned value) { return U8(value >> 8).U8(value); }
  Bytes& U32(std::uint32_t value) { return U16(value >> 16).U16(value); }
  Bytes& Ascii(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  Bytes& Zeros(std::size_t count) {
    bytes_.insert(bytes_.end(), count, 0);
    return *this;
  }
  // What begins next begins at a multiple of four.
  Bytes& Align() { return Zeros((kAlignment - bytes_.size() % kAlignment) % kAlignment); }

  Bytes& Append(const Bytes& other) {
    bytes_.insert(bytes_.end(), other.bytes_.begin(), other.bytes_.end());
    return *this;
  }

  std::size_t size() const { return bytes_.size(); }
  std::vector<unsigned char> Take() { return std::move(bytes_); }

 private:
  std::vector<unsigned char> bytes_;
};

// s15Fixed16Number (ICC.1:2010 4.6), the nearest one.
std::int32_t Fixed(double number) {
  return static_cast<std::int32_t>(std::lround(number * 65536));
}
std::uint32_t FixedWord(double number) {
  return static_cast<std::uint32_t>(Fixed(number));
}

// ---- Types of tags ------------------------------------------------------------------------------

// A type's signature and its reserved zeros.
Bytes OfType(const char (&type)[5]) {
  Bytes tag;
  tag.U32(MakeSignature(type)).U32(0);
  return tag;
}

// textType (ICC.1:2001-04 6.5.17).
Bytes TextTag(std::string_view text) {
  return OfType("text").Ascii(text).U8(0);
}

// textDescriptionType (ICC.1:2001-04 6.5.16), without the Unicode and Macintosh forms.
Bytes DescriptionTag(std::string_view text) {
  constexpr std::size_t kMacintoshBytes = 67;
  Bytes tag = OfType("desc");
  tag.U32(static_cast<std::uint32_t>(text.size() + 1)).Ascii(text).U8(0);
  return tag.U32(0).U32(0).U16(0).U8(0).Zeros(kMacintoshBytes);
}

// multiLocalizedUnicodeType (ICC.1:2010 10.13) with one record, for the United States.
Bytes UnicodeTag(std::string_view ascii) {
  constexpr std::uint32_t kRecordBytes = 12, kTextAt = 28;
  Bytes tag = OfType("mluc");
  tag.U32(1).U32(kRecordBytes).Ascii("enUS");
  tag.U32(static_cast<std::uint32_t>(2 * ascii.size())).U32(kTextAt);
  for (const char character : ascii) tag.U16(static_cast<unsigned char>(character));
  return tag;
}

Bytes XyzTag(const std::array<std::int32_t, 3>& xyz) {
  Bytes tag = OfType("XYZ ");
  for (const std::int32_t word : xyz) tag.U32(static_cast<std::uint32_t>(word));
  return tag;
}

Bytes FixedArrayTag(const Matrix3& matrix) {
  Bytes tag = OfType("sf32");
  for (const double number : matrix) tag.U32(FixedWord(number));
  return tag;
}

// curveType without entries: the identity.
Bytes IdentityCurveTag() {
  return OfType("curv").U32(0);
}

Bytes ParametricTag(unsigned function, std::initializer_list<double> parameters) {
  Bytes tag = OfType("para");
  tag.U16(function).U16(0);
  for (const double parameter : parameters) tag.U32(FixedWord(parameter));
  return tag;
}

// ---- Tone curves --------------------------------------------------------------------------------

// The forms in which SpaceProfile states a space's decoding: level, a gamma, or function 3.
double Value(const Curve& curve, double x) {
  if (const auto* gamma = std::get_if<GammaCurve>(&curve)) return std::pow(x, gamma->gamma);
  const auto* p = std::get_if<ParametricCurve>(&curve);
  if (p == nullptr) return x;
  return x >= p->d ? std::pow(p->a * x + p->b, p->g) : p->c * x;
}

Bytes SampledTag(const Curve& curve) {
  Bytes tag = OfType("curv");
  tag.U32(kCurveEntries);
  for (int n = 0; n < kCurveEntries; ++n) {
    const double value = Value(curve, n / (kCurveEntries - 1.0));
    tag.U16(static_cast<unsigned>(std::lround(value * 65535)));
  }
  return tag;
}

Bytes CurveTag(const Curve& curve, ProfileVersion version) {
  if (std::holds_alternative<IdentityCurve>(curve)) return IdentityCurveTag();
  const auto* gamma = std::get_if<GammaCurve>(&curve);
  if (version == ProfileVersion::k2) {
    // One entry is a gamma as u8Fixed8Number, which has the 563/256 of Adobe RGB (1998) but
    // not 1.8.
    const double word = gamma != nullptr ? gamma->gamma * 256 : 0;
    if (gamma == nullptr || word != std::floor(word)) return SampledTag(curve);
    return OfType("curv").U32(1).U16(static_cast<unsigned>(word));
  }
  if (gamma != nullptr) return ParametricTag(0, {gamma->gamma});
  const auto& p = std::get<ParametricCurve>(curve);
  return ParametricTag(3, {p.g, p.a, p.b, p.c, p.d});
}

// ---- Colorants ----------------------------------------------------------------------------------

std::array<std::int32_t, 3> FixedXyz(const Xyz& xyz) {
  return {Fixed(xyz[0]), Fixed(xyz[1]), Fixed(xyz[2])};
}

// Columns of the matrix, rounded so that they add up to the PCS white and white is white for every
// reader: where the nearest ones do not, the one that was rounded most gives way.
std::array<std::array<std::int32_t, 3>, 3> FixedColorants(const Matrix3& matrix) {
  std::array<std::array<std::int32_t, 3>, 3> colorants;
  for (std::size_t row = 0; row < 3; ++row) {
    const auto exact = [&](std::size_t n) { return matrix[3 * row + n] * 65536; };
    std::int32_t missing = Fixed(kPcsWhite[row]);
    for (std::size_t n = 0; n < 3; ++n) {
      colorants[n][row] = Fixed(matrix[3 * row + n]);
      missing -= colorants[n][row];
    }
    while (missing != 0) {
      const int step = missing > 0 ? 1 : -1;
      const auto cutOff = [&](std::size_t n) { return step * (exact(n) - colorants[n][row]); };
      std::size_t most = 0;
      for (std::size_t n = 1; n < 3; ++n) most = cutOff(n) > cutOff(most) ? n : most;
      colorants[most][row] += step;
      missing -= step;
    }
  }
  return colorants;
}

// ---- The profile --------------------------------------------------------------------------------

struct Tag {
  Signature signature;
  std::size_t at, sizeBytes;  // in the tags' bytes
};

class Profile {
 public:
  void Add(const char (&signature)[5], const Bytes& tag) {
    tags_.push_back({MakeSignature(signature), body_.size(), tag.size()});
    body_.Append(tag).Align();
  }
  // Another tag with the bytes of the last one.
  void AddTheSame(const char (&signature)[5]) {
    Tag tag = tags_.back();
    tag.signature = MakeSignature(signature);
    tags_.push_back(tag);
  }

  std::vector<unsigned char> Complete(ProfileVersion version, Signature deviceClass,
                                      Signature colorSpace, PcsSpace pcs) const {
    const std::size_t bodyAt = kHeaderBytes + 4 + kTagEntryBytes * tags_.size();
    Bytes file;
    file.U32(static_cast<std::uint32_t>(bodyAt + body_.size())).U32(0);  // no preferred CMM
    file.U32(version == ProfileVersion::k2 ? 0x02400000 : 0x04300000).U32(deviceClass);
    file.U32(colorSpace).U32(pcs == PcsSpace::kLab ? MakeSignature("Lab ") : MakeSignature("XYZ "));
    file.U16(2026).U16(1).U16(1).U16(0).U16(0).U16(0);  // whenever it is made
    // ICC.1:2001-04 6.1.8 has no platform that is none, and readers remark on it; nothing depends
    // on which it is.
    file.U32(MakeSignature("acsp")).U32(version == ProfileVersion::k2 ? MakeSignature("MSFT") : 0);
    file.Zeros(20);  // no flags, maker, model and attributes
    file.U32(static_cast<std::uint32_t>(RenderingIntent::kPerceptual));
    for (const double number : kPcsWhite) file.U32(FixedWord(number));
    file.Zeros(kHeaderBytes - file.size());
    file.U32(static_cast<std::uint32_t>(tags_.size()));
    for (const Tag& tag : tags_) {
      file.U32(tag.signature).U32(static_cast<std::uint32_t>(bodyAt + tag.at));
      file.U32(static_cast<std::uint32_t>(tag.sizeBytes));
    }
    std::vector<unsigned char> bytes = file.Append(body_).Take();
    if (version == ProfileVersion::k4) SetId(bytes);
    return bytes;
  }

 private:
  // ICC.1:2010 7.2.18: the digest of all bytes, with flags, intent and the ID itself as zeros,
  // which they are. In version 2 the place is reserved, and zero.
  static void SetId(std::vector<unsigned char>& file) {
    constexpr std::ptrdiff_t kIdAt = 84;
    const Md5Digest id = Md5(file);
    std::copy(id.begin(), id.end(), file.begin() + kIdAt);
  }

  std::vector<Tag> tags_;
  Bytes body_;
};

void AddTexts(Profile& profile, std::string_view description, ProfileVersion version) {
  if (version == ProfileVersion::k2) {
    profile.Add("desc", DescriptionTag(description));
    profile.Add("cprt", TextTag(kCopyright));
  } else {
    profile.Add("desc", UnicodeTag(description));
    profile.Add("cprt", UnicodeTag(kCopyright));
  }
}

// lutAToBType or lutBToAType (ICC.1:2010 10.10, 10.11) with nothing but B curves, which are level.
Bytes LevelTableTag(const char (&type)[5]) {
  constexpr std::uint32_t kCurvesAt = 32;
  Bytes tag = OfType(type);
  tag.U8(3).U8(3).U16(0).U32(kCurvesAt).Zeros(16);
  for (int n = 0; n < 3; ++n) tag.Append(IdentityCurveTag());
  return tag;
}

}  // namespace

std::vector<unsigned char> WriteProfile(const RgbSpace& space, ProfileVersion version) {
  const DeviceProfile values = SpaceProfile(space);
  const Xyz white = WhiteOf(space);
  const auto colorants = FixedColorants(values.matrixTrc->matrix);
  Profile profile;
  AddTexts(profile, space.description, version);
  profile.Add("wtpt", XyzTag(FixedXyz(version == ProfileVersion::k2 ? white : kPcsWhite)));
  profile.Add("chad", FixedArrayTag(AdaptationToPcs(white)));
  profile.Add("rXYZ", XyzTag(colorants[0]));
  profile.Add("gXYZ", XyzTag(colorants[1]));
  profile.Add("bXYZ", XyzTag(colorants[2]));
  profile.Add("rTRC", CurveTag(values.matrixTrc->curves[0], version));
  profile.AddTheSame("gTRC");
  profile.AddTheSame("bTRC");
  return profile.Complete(version, values.deviceClass, values.colorSpace, values.pcs);
}

std::vector<unsigned char> WritePcsProfile(PcsSpace space) {
  const bool isLab = space == PcsSpace::kLab;
  Profile profile;
  AddTexts(profile, isLab ? "CIE Lab, D50" : "CIE XYZ, D50", ProfileVersion::k4);
  profile.Add("wtpt", XyzTag(FixedXyz(kPcsWhite)));
  profile.Add("A2B0", LevelTableTag("mAB "));
  profile.Add("B2A0", LevelTableTag("mBA "));
  return profile.Complete(ProfileVersion::k4, MakeSignature("spac"),
                          isLab ? MakeSignature("Lab ") : MakeSignature("XYZ "), space);
}

}  // namespace kxcms

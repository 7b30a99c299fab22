#include <gtest/gtest.h>

#include <optional>
#include <ostream>

#include "profile/ProfileReader.h"
#include "tests/profile/ProfileForms.h"

namespace kxcms {
namespace {

using namespace profile_forms;

/// What a refusal says.
struct Refusal {
  ProfileFault fault;
  std::string tag;  ///< "" for the profile as a whole
  std::uint64_t offset;
  std::string sentence;

  bool operator==(const Refusal&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
  const char* const kFaults[] = {"damaged", "unsupported", "out of proportion"};
  return out << kFaults[static_cast<int>(refusal.fault)] << ", tag \"" << refusal.tag << "\" at "
             << refusal.offset << ": " << refusal.sentence;
}

Refusal RefusalOf(const Bytes& bytes) {
  try {
    ReadProfile(bytes);
  } catch (const ProfileError& error) {
    std::string tag;
    for (int shift = 24; error.tag != 0 && shift >= 0; shift -= 8) {
      tag += static_cast<char>(error.tag >> shift & 0xFF);
    }
    return {error.fault, tag, error.offset, error.what()};
  }
  return {ProfileFault::kDamaged, "", 0, "accepted"};
}

struct Row {
  const char* what;
  Bytes bytes;
  const char* tag;
  std::uint64_t offset;
  const char* sentence;
};

template <std::size_t kCount>
void ExpectRefused(const Row (&rows)[kCount], ProfileFault fault) {
  for (const Row& row : rows) {
    EXPECT_EQ(RefusalOf(row.bytes), (Refusal{fault, row.tag, row.offset, row.sentence}))
        << row.what;
  }
}

Bytes Changed(Bytes bytes, std::size_t at, std::initializer_list<unsigned> values) {
  for (const unsigned value : values) bytes.at(at++) = static_cast<unsigned char>(value);
  return bytes;
}
Bytes Cut(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  return bytes;
}
/// Bytes from `at` on, as many as the text has.
Bytes Changed(Bytes bytes, std::size_t at, std::string_view text) {
  for (const char c : text) bytes.at(at++) = static_cast<unsigned char>(c);
  return bytes;
}

// A profile of one tag has it at byte 144.
constexpr std::size_t kTag = 144;

Bytes OneLut16() {
  return WithTag("A2B0", Lut16().Tag()).Build();  // 276 bytes, the tag 130
}
Bytes OneElements(const Elements& lut, std::string_view signature = "A2B0") {
  return WithTag(signature, lut.Tag()).Build();
}

TEST(ProfileDamage, Header) {
  const Row kRows[] = {
      {"nothing", {}, "", 0, "There are 0 bytes; the header and tag count of a profile take 132."},
      {"part of a header", Cut(OneLut16(), 131), "", 131,
       "There are 131 bytes; the header and tag count of a profile take 132."},
      {"another file", Changed(OneLut16(), 36, "acsq"), "", 36,
       "The file signature is 'acsq', not 'acsp'."},
      {"zeros", Bytes(200), "", 36, "The file signature is 0x00000000, not 'acsp'."},
      {"cut off", Cut(OneLut16(), 275), "", 0,
       "The header says that the profile has 276 bytes; there are 275."},
      {"a size of nothing", Changed(OneLut16(), 0, {0, 0, 0, 131}), "", 0,
       "The header says that the profile has 131 bytes; the header and tag count take 132."},
      {"a huge size", Changed(OneLut16(), 0, {255, 255, 255, 255}), "", 0,
       "The header says that the profile has 4294967295 bytes; there are 276."},
      {"a PCS that is none", Changed(OneLut16(), 20, "RGB "), "", 20,
       "The connection space is 'RGB ', not 'Lab ' or 'XYZ '."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

TEST(ProfileDamage, WhatIsNotSupported) {
  const auto changed = [](std::size_t at, std::string_view text) {
    return Changed(OneLut16(), at, text);
  };
  const Row kRows[] = {
      {"version 5", Changed(OneLut16(), 8, {5, 0, 0, 0}), "", 8,
       "The profile has version 5.0; versions 2 and 4 are supported."},
      {"version 3", Changed(OneLut16(), 8, {3, 0x12, 0, 0}), "", 8,
       "The profile has version 3.1.2; versions 2 and 4 are supported."},
      {"version 0", Changed(OneLut16(), 8, {0, 0, 0, 0}), "", 8,
       "The profile has version 0.0; versions 2 and 4 are supported."},
      {"device link", changed(12, "link"), "", 12,
       "The profile is a device link, 'link'; 'scnr', 'mntr', 'prtr' and 'spac' are supported."},
      {"abstract", changed(12, "abst"), "", 12,
       "The profile is an abstract profile, 'abst'; 'scnr', 'mntr', 'prtr' and 'spac' are "
       "supported."},
      {"named colours", changed(12, "nmcl"), "", 12,
       "The profile is a named colour profile, 'nmcl'; 'scnr', 'mntr', 'prtr' and 'spac' are "
       "supported."},
      {"another class", Changed(OneLut16(), 12, {'a', 'b', 'c', 7}), "", 12,
       "The profile is of an unknown class, 0x61626307; 'scnr', 'mntr', 'prtr' and 'spac' are "
       "supported."},
      {"grey", changed(16, "GRAY"), "", 16,
       "The colour space of the profile is 'GRAY'; 'RGB ' is supported."},
      {"CMYK", changed(16, "CMYK"), "", 16,
       "The colour space of the profile is 'CMYK'; 'RGB ' is supported."},
      {"lut8 with XYZ", WithTag("A2B0", Lut8Tag(), "XYZ ").Build(), "A2B0", kTag,
       "The tag 'A2B0' is of type 'mft1', which has no encoding for the PCS 'XYZ '."},
  };
  ExpectRefused(kRows, ProfileFault::kUnsupported);
}

TEST(ProfileDamage, TagTable) {
  const Bytes twice = WithTag("A2B0", Lut16().Tag()).AddLink("A2B0", 0).Build();
  const Row kRows[] = {
      {"more entries than bytes", WithTag("A2B0", Lut16().Tag()).ClaimTagCount(13).Build(), "", 128,
       "A tag table of 13 entries would end at byte 288 of a profile of 276."},
      {"the largest count", WithTag("A2B0", Lut16().Tag()).ClaimTagCount(0xFFFFFFFF).Build(), "",
       128, "A tag table of 4294967295 entries would end at byte 51539607672 of a profile of 276."},
      {"a tag past the end", ProfileBytes().AddEntry("priv", 145, 0).Build(), "priv", 136,
       "The tag 'priv' of 0 bytes at byte 145 does not lie within a profile of 144 bytes."},
      {"a tag that goes past the end",
       WithTag("A2B0", Lut16().Tag()).AddEntry("priv", 180, 109).Build(), "priv", 148,
       "The tag 'priv' of 109 bytes at byte 180 does not lie within a profile of 288 bytes."},
      {"offset and size that wrap",
       WithTag("A2B0", Lut16().Tag()).AddEntry("priv", 0xFFFFFFF0, 0x20).Build(), "priv", 148,
       "The tag 'priv' of 32 bytes at byte 4294967280 does not lie within a profile of 288 bytes."},
      {"a tag in the header", WithTag("A2B0", Lut16().Tag()).AddEntry("priv", 0, 4).Build(), "priv",
       148, "The tag 'priv' begins at byte 0, within the header and tag table of 156 bytes."},
      {"a tag in the tag table", WithTag("A2B0", Lut16().Tag()).AddEntry("priv", 155, 1).Build(),
       "priv", 148,
       "The tag 'priv' begins at byte 155, within the header and tag table of 156 bytes."},
      {"a tag behind the profile, in the file", Changed(OneLut16(), 0, {0, 0, 1, 0}), "A2B0", 136,
       "The tag 'A2B0' of 130 bytes at byte 144 does not lie within a profile of 256 bytes."},
      {"two of a name", twice, "A2B0", 144, "The profile has two tags 'A2B0'."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

TEST(ProfileDamage, NoModel) {
  ProfileBytes noGreenCurve;
  AddColorants(noGreenCurve).AddTag("rTRC", CurvTag({})).AddTag("bTRC", CurvTag({}));
  const Row kRows[] = {
      {"no tags", ProfileBytes().Header(20, "XYZ ").Build(), "", 128,
       "There is no tag A2B0, A2B1, A2B2, B2A0, B2A1 or B2A2, and no colorant or tone curve."},
      {"none that counts", WithTag("A2B3", Lut16().Tag(), "XYZ ").Build(), "", 128,
       "There is no tag A2B0, A2B1, A2B2, B2A0, B2A1 or B2A2, and no colorant or tone curve."},
      {"colorants with PCS Lab",
       MatrixProfile(CurvTag({}), CurvTag({}), CurvTag({})).Header(20, "Lab ").Build(), "", 128,
       "The connection space is 'Lab ', but there is no tag A2B0, A2B1, A2B2, B2A0, B2A1 or "
       "B2A2."},
      {"no green curve", noGreenCurve.Build(), "gTRC", 128,
       "Of the colorants and tone curves, 'gTRC' is missing."},
      {"grey curve", WithTag("kTRC", CurvTag({}), "XYZ ").Build(), "", 128,
       "There is no tag A2B0, A2B1, A2B2, B2A0, B2A1 or B2A2, and no colorant or tone curve."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

TEST(ProfileDamage, TableTags) {
  const auto changed = [](std::size_t at, std::initializer_list<unsigned> values) {
    return Changed(OneLut16(), kTag + at, values);
  };
  const auto cut = [](const Bytes& tag, std::size_t size) {
    return WithTag("A2B0", Cut(tag, size)).Build();
  };
  Mft2 singular = Lut16();
  singular.matrix = {Fixed(1), Fixed(2), Fixed(3), Fixed(2), Fixed(4), Fixed(6), 0, 0, Fixed(1)};
  const Row kRows[] = {
      {"another type", changed(0, {'t', 'e', 'x', 't'}), "A2B0", kTag,
       "The tag 'A2B0' is of type 'text', not 'mft1', 'mft2' or 'mAB '."},
      {"backward type", WithTag("A2B0", Backward(OnlyB()).Tag()).Build(), "A2B0", kTag,
       "The tag 'A2B0' is of type 'mBA ', not 'mft1', 'mft2' or 'mAB '."},
      {"forward type", WithTag("B2A1", OnlyB().Tag()).Build(), "B2A1", kTag,
       "The tag 'B2A1' is of type 'mAB ', not 'mft1', 'mft2' or 'mBA '."},
      {"no bytes", cut({}, 0), "A2B0", kTag,
       "The tag 'A2B0' is of type 0x00000000, not 'mft1', 'mft2' or 'mAB '."},
      {"lut16 without its head", cut(Lut16().Tag(), 51), "A2B0", kTag,
       "The tag 'A2B0' has 51 bytes, its head would end at 52."},
      {"lut8 without its head", cut(Lut8Tag(), 47), "A2B0", kTag,
       "The tag 'A2B0' has 47 bytes, its head would end at 48."},
      {"lut16 cut off", cut(Lut16().Tag(), 129), "A2B0", kTag + 52,
       "The tag 'A2B0' has 129 bytes, its tables would end at 130."},
      {"lut8 cut off", cut(Lut8Tag(), 1607), "A2B0", kTag + 48,
       "The tag 'A2B0' has 1607 bytes, its tables would end at 1608."},
      {"four inputs", changed(8, {4}), "A2B0", kTag + 8,
       "The number of input channels of the tag 'A2B0' is 4, not 3."},
      {"no outputs", changed(9, {0}), "A2B0", kTag + 9,
       "The number of output channels of the tag 'A2B0' is 0, not 3."},
      {"no grid", changed(10, {0}), "A2B0", kTag + 10,
       "The number of grid points along an axis of the tag 'A2B0' is 0, not 2 or more."},
      {"one grid point", changed(10, {1}), "A2B0", kTag + 10,
       "The number of grid points along an axis of the tag 'A2B0' is 1, not 2 or more."},
      {"more grid points than bytes", changed(10, {3}), "A2B0", kTag + 52,
       "The tag 'A2B0' has 130 bytes, its tables would end at 244."},
      {"the largest grid", changed(10, {255}), "A2B0", kTag + 52,
       "The tag 'A2B0' has 130 bytes, its tables would end at 99488332."},
      {"no input entries", changed(48, {0, 0}), "A2B0", kTag + 48,
       "The number of input table entries of the tag 'A2B0' is 0, not 2 to 4096."},
      {"one input entry", changed(48, {0, 1}), "A2B0", kTag + 48,
       "The number of input table entries of the tag 'A2B0' is 1, not 2 to 4096."},
      {"4097 output entries", changed(50, {16, 1}), "A2B0", kTag + 50,
       "The number of output table entries of the tag 'A2B0' is 4097, not 2 to 4096."},
      {"a matrix that cannot be inverted", WithTag("B2A0", singular.Tag(), "XYZ ").Build(), "B2A0",
       kTag + 12, "The matrix of the tag 'B2A0' cannot be inverted."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

TEST(ProfileDamage, CurvesAndClut) {
  const auto with = [](auto change, std::string_view signature = "A2B0") {
    Elements lut = WithClut(MatrixAndB());
    change(lut);
    return OneElements(lut, signature);
  };
  const auto offset = [](std::size_t at, std::uint32_t value) {
    return WithTag("A2B0", BigEndianBytes().Append(OnlyB().Tag()).Put32(at, value).bytes()).Build();
  };
  // B curves at 32 (20, 16 and 16 bytes), matrix at 84, M curves at 132 (12, 20 and 24 bytes), CLUT
  // at 188 (20 and 144 bytes), A curves at 352 (32, 12 and 16 bytes): 412 bytes.
  const Bytes whole = WithClut(MatrixAndB()).Tag();
  const auto cut = [&](std::size_t size) { return WithTag("A2B0", Cut(whole, size)).Build(); };
  const Row kRows[] = {
      {"no head", cut(31), "A2B0", kTag, "The tag 'A2B0' has 31 bytes, its head would end at 32."},
      {"two inputs", with([](Elements& lut) { lut.inputs = 2; }), "A2B0", kTag + 8,
       "The number of input channels of the tag 'A2B0' is 2, not 3."},
      {"four outputs", with([](Elements& lut) { lut.outputs = 4; }), "A2B0", kTag + 9,
       "The number of output channels of the tag 'A2B0' is 4, not 3."},
      {"no B curves", with([](Elements& lut) { lut.curvesB = {}; }), "A2B0", kTag + 12,
       "The tag 'A2B0' has no B curves."},
      {"M curves alone", with([](Elements& lut) { lut.matrix = {}; }), "A2B0", kTag + 16,
       "The tag 'A2B0' has M curves without a matrix."},
      {"matrix alone", with([](Elements& lut) { lut.curvesM = {}; }), "A2B0", kTag + 20,
       "The tag 'A2B0' has a matrix without M curves."},
      {"A curves alone", with([](Elements& lut) { lut.gridPoints = {}; }), "A2B0", kTag + 24,
       "The tag 'A2B0' has A curves without a CLUT."},
      {"CLUT alone", with([](Elements& lut) { lut.curvesA = {}; }), "A2B0", kTag + 28,
       "The tag 'A2B0' has a CLUT without A curves."},
      {"one grid point", with([](Elements& lut) {
         lut.gridPoints = {2, 1, 4};
       }),
       "A2B0", kTag + 189,
       "The number of grid points along an axis of the tag 'A2B0' is 1, not 2 or more."},
      {"two axes", with([](Elements& lut) {
         lut.gridPoints = {2, 3};
       }),
       "A2B0", kTag + 190,
       "The number of grid points along an axis of the tag 'A2B0' is 0, not 2 or more."},
      {"precision 0", with([](Elements& lut) { lut.precision = 0; }), "A2B0", kTag + 204,
       "The CLUT of the tag 'A2B0' has a precision of 0 bytes, not 1 or 2."},
      {"precision 3", with([](Elements& lut) { lut.precision = 3; }), "A2B0", kTag + 204,
       "The CLUT of the tag 'A2B0' has a precision of 3 bytes, not 1 or 2."},
      {"a matrix of zeros", with([](Elements& lut) { lut.matrix.assign(12, 0); }), "A2B0",
       kTag + 84, "The matrix of the tag 'A2B0' cannot be inverted."},
      {"a curve of another type",
       with([](Elements& lut) { lut.curvesM[1] = PlainTag("text", "0123456789ab"); }), "A2B0",
       kTag + 144, "A curve of the tag 'A2B0' is of type 'text', not 'curv' or 'para'."},
      {"B curves in the head", offset(12, 28), "A2B0", kTag + 12,
       "An element of the tag 'A2B0' begins at byte 28, within the head of 32 bytes."},
      {"B curves at an odd place", offset(12, 34), "A2B0", kTag + 12,
       "The curves of the tag 'A2B0' begin at byte 34, which is not a multiple of 4."},
      {"B curves outside of the tag", offset(12, 84), "A2B0", kTag + 84,
       "The tag 'A2B0' has 84 bytes, a curve would end at 96."},
      {"B curves far outside", offset(12, 0xFFFFFFFC), "A2B0", kTag + 84,
       "The tag 'A2B0' has 84 bytes, a curve would end at 4294967304."},
      {"cut off in a B curve", WithTag("A2B0", Cut(OnlyB().Tag(), 83)).Build(), "A2B0", kTag + 68,
       "The tag 'A2B0' has 83 bytes, a parametric curve would end at 84."},
      {"cut off in the CLUT", cut(351), "A2B0", kTag + 351,
       "The tag 'A2B0' has 351 bytes, a curve would end at 364."},
      {"cut off in an A curve", cut(411), "A2B0", kTag + 396,
       "The tag 'A2B0' has 411 bytes, a curve would end at 412."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

TEST(ProfileDamage, Curves) {
  // Six tags: the table ends at 204, the colorants take 20 bytes each.
  constexpr std::size_t kRed = 264;
  const auto red = [](const Bytes& curve) {
    return MatrixProfile(curve, CurvTag({}), CurvTag({})).Build();
  };
  const Bytes three = CurvTag({0, 1, 2});
  const Row kRows[] = {
      {"another type", red(PlainTag("XYZ ", "0123456789ab")), "rTRC", kRed,
       "A curve of the tag 'rTRC' is of type 'XYZ ', not 'curv' or 'para'."},
      {"no count", red(Cut(three, 11)), "rTRC", kRed,
       "The tag 'rTRC' has 11 bytes, a curve would end at 12."},
      {"cut off", red(Cut(three, 17)), "rTRC", kRed,
       "The tag 'rTRC' has 17 bytes, a curve would end at 18."},
      {"the largest count", red(Changed(three, 8, {255, 255, 255, 255})), "rTRC", kRed,
       "The tag 'rTRC' has 18 bytes, a curve would end at 8589934602."},
      {"function 5", red(ParaTag(5, {1, 1, 1, 1, 1, 1, 1, 1})), "rTRC", kRed + 8,
       "A parametric curve of the tag 'rTRC' has the function 5, which is none of 0 to 4."},
      {"function 0 cut off", red(ParaTag(0, {})), "rTRC", kRed,
       "The tag 'rTRC' has 12 bytes, a parametric curve would end at 16."},
      {"function 1 cut off", red(ParaTag(1, {1, 1})), "rTRC", kRed,
       "The tag 'rTRC' has 20 bytes, a parametric curve would end at 24."},
      {"function 2 cut off", red(ParaTag(2, {1, 1, 1})), "rTRC", kRed,
       "The tag 'rTRC' has 24 bytes, a parametric curve would end at 28."},
      {"function 3 cut off", red(ParaTag(3, {1, 1, 1, 1})), "rTRC", kRed,
       "The tag 'rTRC' has 28 bytes, a parametric curve would end at 32."},
      {"function 4 cut off", red(ParaTag(4, {1, 1, 1, 1, 1, 1})), "rTRC", kRed,
       "The tag 'rTRC' has 36 bytes, a parametric curve would end at 40."},
      {"function 1 divides by 0", red(ParaTag(1, {2, 0, 1})), "rTRC", kRed + 16,
       "A parametric curve of the tag 'rTRC' divides by its parameter a, which is 0."},
      {"function 2 divides by 0", red(ParaTag(2, {2, 0, 1, 0})), "rTRC", kRed + 16,
       "A parametric curve of the tag 'rTRC' divides by its parameter a, which is 0."},
      {"function 1 without a real power", red(ParaTag(1, {2.2, -1, 0.5})), "rTRC", kRed + 12,
       "A parametric curve of the tag 'rTRC' raises negative numbers to a broken power."},
      {"function 2 without a real power", red(ParaTag(2, {2.2, -1, 0.5, 0})), "rTRC", kRed + 12,
       "A parametric curve of the tag 'rTRC' raises negative numbers to a broken power."},
      {"function 3 without a real power at the break", red(ParaTag(3, {2.2, 1, -0.5, 1, 0.25})),
       "rTRC", kRed + 12,
       "A parametric curve of the tag 'rTRC' raises negative numbers to a broken power."},
      {"function 4 without a real power at 1", red(ParaTag(4, {0.5, -1, 0.5, 1, 0.25, 0, 0})),
       "rTRC", kRed + 12,
       "A parametric curve of the tag 'rTRC' raises negative numbers to a broken power."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

TEST(ProfileDamage, ColorantsAndWhite) {
  const Bytes profile = MatrixProfile(CurvTag({}), CurvTag({}), CurvTag({})).Build();
  const auto white = [](const Bytes& tag) {
    return WithTag("A2B0", Lut16().Tag()).AddTag("wtpt", tag).Build();
  };
  // Two entries: the lookup tag at 156, the white at 288.
  const Row kRows[] = {
      {"a colorant of another type", Changed(profile, 224, "text"), "gXYZ", 224,
       "The tag 'gXYZ' is of type 'text', not 'XYZ '."},
      {"a colorant cut off", Changed(profile, 167, {19}), "bXYZ", 252,
       "The tag 'bXYZ' has 19 bytes, its XYZ would end at 20."},
      {"a colorant of zeros", Changed(profile, 252, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), "rXYZ",
       212, "The matrix of the colorants 'rXYZ', 'gXYZ' and 'bXYZ' cannot be inverted."},
      {"two colorants alike", Changed(profile, 160, {0, 0, 0, 204}), "rXYZ", 212,
       "The matrix of the colorants 'rXYZ', 'gXYZ' and 'bXYZ' cannot be inverted."},
      {"a white of another type", white(PlainTag("text", "0123456789ab")), "wtpt", 288,
       "The tag 'wtpt' is of type 'text', not 'XYZ '."},
      {"a white cut off", white(Cut(XyzTag(1, 1, 1), 16)), "wtpt", 296,
       "The tag 'wtpt' has 16 bytes, its XYZ would end at 20."},
      {"a black white", white(XyzTag(0, 0, 0)), "wtpt", 296,
       "The media white point has an X, Y or Z of 0 or less."},
      {"a negative white", white(XyzTag(Fixed(0.9), Fixed(1), Fixed(-0.8))), "wtpt", 296,
       "The media white point has an X, Y or Z of 0 or less."},
  };
  ExpectRefused(kRows, ProfileFault::kDamaged);
}

}  // namespace
}  // namespace kxcms

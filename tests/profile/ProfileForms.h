#ifndef KXCMS_TESTS_PROFILE_PROFILEFORMS_H
#define KXCMS_TESTS_PROFILE_PROFILEFORMS_H

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/iccfile/ProfileBytes.h"

// Small profiles of every form that `ReadProfile` reads, byte by byte. No two values of a table are
// alike, so that whatever is taken from a wrong place shows.

namespace profile_forms {

using namespace profile_bytes;
using Samples = std::vector<std::uint16_t>;

/// A number as the word of an s15Fixed16Number (ICC.1:2010 4.6).
inline std::uint32_t Fixed(double number) {
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(number * 65536)));
}

/// `count` different values, others for another `seed`; at most `maximum`.
inline Samples Values(std::size_t count, unsigned seed, unsigned maximum = 65535) {
  Samples values;
  for (unsigned n = 0; n < count; ++n) {
    values.push_back(static_cast<std::uint16_t>((7919 * n + 101 * seed + 11) % (maximum + 1)));
  }
  return values;
}

/// 'para', with as many parameters as are given.
inline Bytes ParaTag(unsigned function, const std::vector<double>& parameters) {
  BigEndianBytes tag;
  tag.Text("para").U32(0).U16(function).U16(0);
  for (const double parameter : parameters) tag.U32(Fixed(parameter));
  return tag.bytes();
}

/// An 'mft2' tag of the grid and tables of the given sizes.
inline Mft2 Lut16(int gridPoints = 2, int inputEntries = 2, int outputEntries = 3) {
  Mft2 lut;
  lut.gridPoints = gridPoints;
  lut.inputEntries = inputEntries;
  lut.outputEntries = outputEntries;
  const auto nodes = static_cast<std::size_t>(gridPoints * gridPoints * gridPoints);
  lut.inputTables = Values(3 * static_cast<std::size_t>(inputEntries), 1);
  lut.colorTable = Values(3 * nodes, 2);
  lut.outputTables = Values(3 * static_cast<std::size_t>(outputEntries), 3);
  lut.matrix = {Fixed(0.5), Fixed(0.25), 0, 0, Fixed(-1.5), Fixed(1), 0, 0, Fixed(2)};
  return lut;
}

/// An 'mft1' tag: a lut8Type of `gridPoints`.
inline Bytes Lut8Tag(int gridPoints = 2) {
  const auto nodes = static_cast<std::size_t>(gridPoints * gridPoints * gridPoints);
  BigEndianBytes tag;
  tag.Text("mft1").U32(0).U8(3).U8(3).U8(static_cast<unsigned>(gridPoints)).U8(0);
  for (int n = 0; n < 9; ++n) tag.U32(n % 4 == 0 ? 0x10000 : 0);
  for (const unsigned value : Values(768, 1, 255)) tag.U8(value);
  for (const unsigned value : Values(3 * nodes, 2, 255)) tag.U8(value);
  for (const unsigned value : Values(768, 3, 255)) tag.U8(value);
  return tag.bytes();
}

/// An 'mAB ' or 'mBA ' tag of any elements. What is empty is not there, and has offset 0.
struct Elements {
  std::string_view type = "mAB ";
  int inputs = 3;
  int outputs = 3;
  std::vector<Bytes> curvesB;         ///< tags of curves, one behind the other
  std::vector<std::uint32_t> matrix;  ///< twelve words
  std::vector<Bytes> curvesM;
  std::vector<unsigned char> gridPoints;
  int precision = 2;
  Samples clut;  ///< written as bytes where the precision is 1
  std::vector<Bytes> curvesA;

  Bytes Tag() const {
    BigEndianBytes tag;
    tag.Text(type).U32(0).U8(static_cast<unsigned>(inputs)).U8(static_cast<unsigned>(outputs));
    tag.U16(0);
    for (int n = 0; n < 5; ++n) tag.U32(0);
    AppendCurves(tag, Mab::kOffsetB, curvesB);
    if (!matrix.empty()) {
      Begin(tag, Mab::kOffsetMatrix);
      for (const std::uint32_t word : matrix) tag.U32(word);
    }
    AppendCurves(tag, Mab::kOffsetM, curvesM);
    if (!gridPoints.empty()) {
      Begin(tag, Mab::kOffsetClut);
      for (std::size_t n = 0; n < 16; ++n) tag.U8(n < gridPoints.size() ? gridPoints[n] : 0u);
      tag.U8(static_cast<unsigned>(precision)).U8(0).U16(0);
      for (const unsigned value : clut) precision == 1 ? tag.U8(value) : tag.U16(value);
      tag.Align(4);
    }
    AppendCurves(tag, Mab::kOffsetA, curvesA);
    return tag.bytes();
  }

 private:
  static void Begin(BigEndianBytes& tag, std::size_t offsetAt) {
    tag.Put32(offsetAt, static_cast<std::uint32_t>(tag.size()));
  }
  static void AppendCurves(BigEndianBytes& tag, std::size_t offsetAt,
                           const std::vector<Bytes>& curves) {
    if (curves.empty()) return;
    Begin(tag, offsetAt);
    for (const Bytes& curve : curves) tag.Append(curve).Align(4);
  }
};

/// Three curves of different kinds and lengths.
inline std::vector<Bytes> SomeCurves(unsigned seed) {
  return {CurvTag(Values(3, seed)), CurvTag({0x0180}), ParaTag(0, {2.5})};
}

inline std::vector<std::uint32_t> SomeMatrix() {
  return {Fixed(0.5), Fixed(0.25), 0,          0,          Fixed(-1.5),  Fixed(1),
          0,          0,           Fixed(1.5), Fixed(0.5), Fixed(-0.25), Fixed(0.125)};
}

inline Elements OnlyB() {
  Elements lut;
  lut.curvesB = SomeCurves(1);
  return lut;
}

inline Elements MatrixAndB() {
  Elements lut = OnlyB();
  lut.curvesM = {CurvTag({}), CurvTag(Values(4, 2)), CurvTag(Values(6, 3))};
  lut.matrix = SomeMatrix();
  return lut;
}

/// With different grid points on each axis, and values of so many bytes.
inline Elements WithClut(Elements lut, int precision = 2) {
  lut.curvesA = {ParaTag(3, {2.5, 0.75, 0.25, 0.125, 0.0625}), CurvTag({}), CurvTag(Values(2, 4))};
  lut.gridPoints = {2, 3, 4};
  lut.precision = precision;
  lut.clut = Values(72, 5, precision == 1 ? 255 : 65535);
  return lut;
}

inline Elements Backward(Elements lut) {
  lut.type = "mBA ";
  return lut;
}

/// RGB to XYZ. Adds the colorants of sRGB (IEC 61966-2-1, adapted to D50) and three curves.
inline ProfileBytes& AddColorants(ProfileBytes& profile) {
  return profile.Header(20, "XYZ ")
      .AddTag("rXYZ", XyzTag(Fixed(0.4360), Fixed(0.2225), Fixed(0.0139)))
      .AddTag("gXYZ", XyzTag(Fixed(0.3851), Fixed(0.7169), Fixed(0.0971)))
      .AddTag("bXYZ", XyzTag(Fixed(0.1431), Fixed(0.0606), Fixed(0.7139)));
}
inline ProfileBytes MatrixProfile(const Bytes& red, const Bytes& green, const Bytes& blue) {
  ProfileBytes profile;
  return AddColorants(profile.Header(12, "mntr"))
      .AddTag("rTRC", red)
      .AddTag("gTRC", green)
      .AddTag("bTRC", blue);
}

/// A profile with one tag.
inline ProfileBytes WithTag(std::string_view signature, const Bytes& tag,
                            std::string_view pcs = "Lab ") {
  return ProfileBytes().Header(20, pcs).AddTag(signature, tag);
}

/// One record of a multiLocalizedUnicodeType.
struct LocalText {
  std::string_view language, country;
  std::u16string text;
};
inline Bytes MlucTag(const std::vector<LocalText>& texts) {
  BigEndianBytes tag;
  tag.Text("mluc").U32(0).U32(static_cast<std::uint32_t>(texts.size())).U32(12);
  std::size_t at = 16 + 12 * texts.size();
  for (const LocalText& local : texts) {
    tag.Text(local.language).Text(local.country);
    tag.U32(static_cast<std::uint32_t>(2 * local.text.size())).U32(static_cast<std::uint32_t>(at));
    at += 2 * local.text.size();
  }
  for (const LocalText& local : texts) {
    for (const char16_t unit : local.text) tag.U16(unit);
  }
  return tag.bytes();
}

/// A textDescriptionType (ICC.1:2001-04 6.5.17). The ASCII text gets its NUL.
inline Bytes DescTag(std::string_view ascii, const std::u16string& unicode = {}) {
  BigEndianBytes tag;
  tag.Text("desc").U32(0).U32(static_cast<std::uint32_t>(ascii.size() + 1)).Text(ascii).U8(0);
  tag.U32(0).U32(static_cast<std::uint32_t>(unicode.size()));
  for (const char16_t unit : unicode) tag.U16(unit);
  tag.U16(0).U8(0);
  for (int n = 0; n < 67; ++n) tag.U8(0);
  return tag.bytes();
}

/// Every kind of tag that is read, version 4.3.
inline ProfileBytes FullProfile() {
  ProfileBytes profile;
  AddColorants(profile)
      .Header(8, 0x04300000)
      .Header(12, "prtr")
      .Header(52, "MODL")
      .Header(64, 1)
      .Header(80, "CREA")
      .AddTag("desc", MlucTag({{"de", "DE", u"Gerät"}, {"en", "US", u"A device"}}))
      .AddTag("cprt", MlucTag({{"en", "US", u"Nobody's"}}))
      .AddTag("wtpt", XyzTag(Fixed(0.9), Fixed(0.95), Fixed(0.8)))
      .AddTag("bkpt", XyzTag(Fixed(0.01), Fixed(0.0125), Fixed(0.0075)))
      .AddTag("chad",
              MatrixTag({Fixed(1.0478), Fixed(0.0229), Fixed(-0.0502), Fixed(0.0295), Fixed(0.9905),
                         Fixed(-0.0171), Fixed(-0.0092), Fixed(0.015), Fixed(0.7517)}));
  profile.AddTag("rTRC", CurvTag({0x0233})).AddLink("gTRC", 8).AddLink("bTRC", 8);
  return profile.AddTag("A2B0", WithClut(MatrixAndB()).Tag())
      .AddTag("A2B1", Lut16().Tag())
      .AddLink("A2B2", 12)
      .AddTag("B2A0", WithClut(Backward(MatrixAndB()), 1).Tag())
      .AddTag("B2A1", Lut16(2, 3, 2).Tag())
      .AddLink("B2A2", 15)
      .AddTag("priv", PlainTag("data", "whatever"));
}

/// A profile of each form, none larger than 2 KiB.
struct Form {
  std::string name;
  Bytes bytes;
};
inline std::vector<Form> Forms() {
  return {
      {"lut16-lab", WithTag("A2B0", Lut16().Tag()).Build()},
      {"lut16-xyz", WithTag("A2B0", Lut16(3, 4, 2).Tag(), "XYZ ").Build()},
      {"lut16-xyz-backward", WithTag("B2A0", Lut16().Tag(), "XYZ ").Build()},
      {"lut8-lab", WithTag("A2B1", Lut8Tag()).Build()},
      {"b", WithTag("A2B0", OnlyB().Tag()).Build()},
      {"m-matrix-b", WithTag("A2B0", MatrixAndB().Tag(), "XYZ ").Build()},
      {"a-clut-b", WithTag("A2B2", WithClut(OnlyB(), 1).Tag()).Build()},
      {"a-clut-m-matrix-b", WithTag("A2B0", WithClut(MatrixAndB()).Tag()).Build()},
      {"b-matrix-m-clut-a", WithTag("B2A0", WithClut(Backward(MatrixAndB())).Tag()).Build()},
      {"matrix-curv", MatrixProfile(CurvTag({}), CurvTag({0x0233}), CurvTag(Values(5, 1))).Build()},
      {"matrix-para", MatrixProfile(ParaTag(1, {2, 0.5, 0.5}), ParaTag(2, {2, 0.5, 0.25, 0.25}),
                                    ParaTag(4, {2.25, 1, 0, 0.5, 0.125, -0.25, 0.0625}))
                          .Build()},
      {"full", FullProfile().Build()},
  };
}

}  // namespace profile_forms

#endif

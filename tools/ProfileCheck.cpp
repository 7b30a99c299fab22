#include "ProfileCheck.h"

#include <array>
#include <cstdint>

#include "ByteReader.h"
#include "Refusal.h"

// Offsets and layouts: ICC.1:2010, 7.2 (header), 7.3 (tag table), 10.10 (lut16Type), 10.12
// (lutAToBType), 10.5 (curveType).

namespace {

constexpr std::uint32_t Signature(const char (&text)[5]) {
  return std::uint32_t{static_cast<unsigned char>(text[0])} << 24 |
         std::uint32_t{static_cast<unsigned char>(text[1])} << 16 |
         std::uint32_t{static_cast<unsigned char>(text[2])} << 8 |
         static_cast<unsigned char>(text[3]);
}

std::string Text(std::uint32_t signature) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) text[i] = static_cast<char>(signature >> (24 - 8 * i));
  return "'" + text + "'";
}

constexpr std::uint64_t kHeaderSize = 128;
constexpr std::uint64_t kTagTable = 132;
constexpr std::uint64_t kTagEntry = 12;

constexpr std::uint64_t kCurveHeader = 12;
// What the pipeline holds of one curve.
constexpr std::uint32_t kMostCurveEntries = 4096;
// The pipeline interpolates output curves with a divisor of 65536 / n instead of 65535 / (n - 1).
// The error, 100 / (n - 1)^2 in L* for an even scale, is below half a unit from here on.
constexpr std::uint32_t kFewestOutputEntries = 16;
constexpr unsigned kFewestGridPoints = 2;
constexpr unsigned kMostGridPoints = 33;

class ProfileChecker {
 public:
  ProfileChecker(std::span<const unsigned char> bytes, const std::string& name)
      : file_(bytes), name_(name) {}

  void Check(ICC40::ICCFILE::Intent intent) {
    CheckHeader();
    CheckTagTable();
    CheckColorSpaces();
    CheckLookupTag(intent);
    if (intent == ICC40::ICCFILE::Absolute) CheckWhitePoint();
  }

 private:
  [[noreturn]] void Refuse(const std::string& reason) const {
    throw Refusal(Exit::ProfileUnusable, name_ + ": " + reason);
  }

  void CheckHeader() {
    if (!file_.Holds(0, kTagTable) || file_.U32(36) != Signature("acsp")) {
      Refuse("not an ICC profile");
    }
    const std::uint32_t size = file_.U32(0);
    if (size > file_.size()) {
      Refuse("damaged: it should have " + std::to_string(size) + " bytes and has " +
             std::to_string(file_.size()));
    }
    if (size < kTagTable) Refuse("damaged: its size field is " + std::to_string(size));
    file_ = file_.Part(0, size);
  }

  void CheckTagTable() const {
    const std::uint64_t count = file_.U32(kHeaderSize);
    if (!file_.Holds(kTagTable, count * kTagEntry)) Refuse("damaged: tag table cut off");
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t entry = kTagTable + i * kTagEntry;
      if (!file_.Holds(file_.U32(entry + 4), file_.U32(entry + 8))) {
        Refuse("damaged: tag " + Text(file_.U32(entry)) + " lies outside the file");
      }
    }
  }

  void CheckColorSpaces() const {
    const std::uint32_t deviceClass = file_.U32(12);
    const std::uint32_t device = file_.U32(16);
    const std::uint32_t connection = file_.U32(20);
    if (device != Signature("RGB ")) {
      Refuse("describes a device of colour space " + Text(device) + ", not RGB");
    }
    if (deviceClass == Signature("abst") || deviceClass == Signature("nmcl")) {
      Refuse("class " + Text(deviceClass) + " describes no device");
    }
    if (connection == Signature("XYZ ")) {
      Refuse("connection space XYZ; only profiles with connection space Lab can be used");
    }
    if (connection != Signature("Lab ")) {
      Refuse("connection space " + Text(connection) + " is not Lab");
    }
    // Such a profile yields the output tables' own contents instead of converted pixels.
    if (file_.U32(48) == Signature("none")) {
      Refuse("its manufacturer 'none' marks a test profile that converts nothing");
    }
  }

  /// The first tag with this signature; empty when there is none.
  BigEndianBytes Tag(std::uint32_t signature) const {
    const std::uint64_t count = file_.U32(kHeaderSize);
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t entry = kTagTable + i * kTagEntry;
      if (file_.U32(entry) == signature) {
        return file_.Part(file_.U32(entry + 4), file_.U32(entry + 8));
      }
    }
    return BigEndianBytes({});
  }

  void CheckLookupTag(ICC40::ICCFILE::Intent intent) const {
    constexpr std::array<std::uint32_t, ICC40::ICCFILE::kIntentCount> kTagOfIntent = {
        Signature("A2B0"), Signature("A2B1"), Signature("A2B2"), Signature("A2B1")};
    std::uint32_t signature = kTagOfIntent[intent];
    if (Tag(signature).size() == 0) signature = Signature("A2B0");
    const BigEndianBytes tag = Tag(signature);
    const std::string where = "lookup tag " + Text(signature) + " ";
    if (tag.size() == 0) {
      Refuse("no lookup tag for its class " + Text(file_.U32(12)) +
             "; profiles of matrix and curves cannot be used");
    }
    const std::uint32_t type = tag.U32(0);
    if (type == Signature("mft2")) {
      CheckLut16(tag, where);
    } else if (type == Signature("mAB ")) {
      CheckLutAToB(tag, where);
    } else if (type == Signature("mft1")) {
      Refuse(where + "has 8-bit entries (lut8Type); only 16-bit tables can be used");
    } else {
      Refuse(where + "has the unknown type " + Text(type));
    }
  }

  void CheckChannels(const BigEndianBytes& tag, const std::string& where) const {
    if (tag.U8(8) != 3 || tag.U8(9) != 3) {
      Refuse(where + "has " + std::to_string(tag.U8(8)) + " inputs and " +
             std::to_string(tag.U8(9)) + " outputs, not 3 and 3");
    }
  }

  void CheckGridPoints(unsigned points, const std::string& where) const {
    if (points < kFewestGridPoints || points > kMostGridPoints) {
      Refuse(where + "has " + std::to_string(points) + " grid points; 2 to 33 can be used");
    }
  }

  void CheckLut16(const BigEndianBytes& tag, const std::string& where) const {
    CheckChannels(tag, where);
    const unsigned points = tag.U8(10);
    CheckGridPoints(points, where);
    const std::uint32_t inputEntries = tag.U16(48);
    const std::uint32_t outputEntries = tag.U16(50);
    const std::uint64_t inputTables = 52;
    const std::uint64_t grid = inputTables + 3ull * 2 * inputEntries;
    const std::uint64_t outputTables = grid + 2ull * points * points * points * 3;
    if (!tag.Holds(0, outputTables + 3ull * 2 * outputEntries)) Refuse(where + "is cut off");
    CheckEntryCount(inputEntries, where + "input curves ");
    CheckEntryCount(outputEntries, where + "output curves ");
    CheckOutputEntryCount(outputEntries, where);
    for (unsigned c = 0; c < 3; ++c) {
      CheckShortCurve(tag, inputTables + 2ull * c * inputEntries, inputEntries, where);
      CheckShortCurve(tag, outputTables + 2ull * c * outputEntries, outputEntries, where);
    }
  }

  void CheckLutAToB(const BigEndianBytes& tag, const std::string& where) const {
    CheckChannels(tag, where);
    const std::uint64_t curvesB = tag.U32(12);
    const std::uint64_t matrix = tag.U32(16);
    const std::uint64_t curvesM = tag.U32(20);
    const std::uint64_t clut = tag.U32(24);
    const std::uint64_t curvesA = tag.U32(28);
    if (curvesB == 0 || clut == 0 || curvesA == 0) {
      Refuse(where + "has no colour grid between two sets of curves");
    }
    if (matrix != 0 && !IsIdentityMatrix(tag, matrix)) {
      Refuse(where + "has a matrix, which cannot be used");
    }
    if (curvesM != 0 && CheckCurves(tag, curvesM, where) > 2) {
      Refuse(where + "has curves beside its matrix, which cannot be used");
    }
    CheckCurves(tag, curvesA, where);
    CheckOutputEntryCount(CheckCurves(tag, curvesB, where), where);

    const unsigned points = tag.U8(clut);
    if (tag.U8(clut + 1) != points || tag.U8(clut + 2) != points) {
      Refuse(where + "has a grid of unequal sides");
    }
    CheckGridPoints(points, where);
    if (tag.U8(clut + 16) != 2) Refuse(where + "has a grid of 8-bit values; only 16-bit ones work");
    if (!tag.Holds(clut, 20 + 2ull * points * points * points * 3)) Refuse(where + "is cut off");
  }

  /// Checks three curves that follow one another, and that the library finds each of them.
  /// @return their common entry count
  std::uint32_t CheckCurves(const BigEndianBytes& tag, std::uint64_t at,
                            const std::string& where) const {
    const std::uint32_t count = tag.U32(at + 8);
    for (int c = 0; c < 3; ++c) {
      if (!tag.Holds(at, kCurveHeader)) Refuse(where + "is cut off");
      if (tag.U32(at) != Signature("curv")) {
        Refuse(where + "has curves of type " + Text(tag.U32(at)) + "; only sampled ones work");
      }
      if (tag.U32(at + 8) != count) Refuse(where + "has curves of different lengths");
      CheckEntryCount(count, where + "curves ");
      if (!tag.Holds(at + kCurveHeader, 2ull * count)) Refuse(where + "is cut off");
      CheckShortCurve(tag, at + kCurveHeader, count, where);
      // The reader steps 14 + 2n bytes from one curve to the next, which is right for odd n. It
      // does not matter for n = 0, where no entry of the others is used.
      if (count != 0 && count % 2 == 0) {
        Refuse(where + "has curves of an even number of entries, which would be misread");
      }
      at += (kCurveHeader + 2ull * count + 3) / 4 * 4;
    }
    return count;
  }

  void CheckEntryCount(std::uint32_t count, const std::string& which) const {
    if (count > kMostCurveEntries) {
      Refuse(which + "have " + std::to_string(count) + " entries; up to 4096 can be used");
    }
  }

  void CheckOutputEntryCount(std::uint32_t count, const std::string& where) const {
    if (count > 2 && count < kFewestOutputEntries) {
      Refuse(where + "has output curves of " + std::to_string(count) +
             " entries, too few to be used exactly");
    }
  }

  /// A curve of at most two entries is used as the identity, so it must be one.
  void CheckShortCurve(const BigEndianBytes& tag, std::uint64_t entries, std::uint32_t count,
                       const std::string& where) const {
    constexpr std::uint16_t kGammaOne = 0x0100;  // u8Fixed8
    const bool identity = count == 0 || count > 2 ||
                          (count == 1 && tag.U16(entries) == kGammaOne) ||
                          (count == 2 && tag.U16(entries) == 0 && tag.U16(entries + 2) == 65535);
    if (!identity) {
      Refuse(where + "has a curve of " + std::to_string(count) +
             " entries that is not the identity");
    }
  }

  static bool IsIdentityMatrix(const BigEndianBytes& tag, std::uint64_t at) {
    constexpr std::array<std::uint32_t, 12> kIdentity = {0x10000, 0, 0, 0,      0x10000,
                                                         0,       0, 0, 0x10000};
    for (std::size_t i = 0; i < kIdentity.size(); ++i) {
      if (tag.U32(at + 4 * i) != kIdentity[i]) return false;
    }
    return true;
  }

  void CheckWhitePoint() const {
    const BigEndianBytes white = Tag(Signature("wtpt"));
    const auto positive = [&white](std::uint64_t at) {
      return white.U32(at) != 0 && white.U32(at) < 0x80000000u;
    };
    if (!white.Holds(0, 20) || !positive(8) || !positive(12) || !positive(16)) {
      Refuse("no media white point, which the absolute intent needs");
    }
  }

  BigEndianBytes file_;
  const std::string& name_;
};

}  // namespace

void CheckProfile(std::span<const unsigned char> bytes, ICC40::ICCFILE::Intent intent,
                  const std::string& name) {
  ProfileChecker(bytes, name).Check(intent);
}

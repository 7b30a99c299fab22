#include "ProfileCheck.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/Bytes.h"
#include "tools/commands/ColorHandles.h"

// Offsets and layouts: ICC.1:2010, 7.2 (header), 7.3 (tag table) and 10 (tag types).

namespace {

using ICC40::ICCFILE::kIntentCount;

constexpr std::uint32_t Signature(const char (&text)[5]) {
  return std::uint32_t{static_cast<unsigned char>(text[0])} << 24 |
         std::uint32_t{static_cast<unsigned char>(text[1])} << 16 |
         std::uint32_t{static_cast<unsigned char>(text[2])} << 8 |
         static_cast<unsigned char>(text[3]);
}

/// In quotes; characters that cannot be shown are question marks.
std::string Text(std::uint32_t signature) {
  std::string text(4, '?');
  for (std::size_t i = 0; i < 4; ++i) {
    const auto c = static_cast<unsigned char>(signature >> (24 - 8 * i));
    if (c >= ' ' && c < 0x7F) text[i] = static_cast<char>(c);
  }
  return "'" + text + "'";
}

constexpr std::uint64_t kHeaderSize = 128;
constexpr std::uint64_t kTagTable = 132;
constexpr std::uint64_t kTagEntry = 12;
constexpr std::uint64_t kMostTags = 65536;  // that the library reads

constexpr std::uint64_t kCurveHeader = 12;
constexpr std::uint64_t kXyzSize = 20;
constexpr std::uint64_t kLutElements =
    32;  // where the elements of lutAToBType begin at the earliest
// What the pipeline holds of one curve.
constexpr std::uint32_t kMostCurveEntries = 4096;
// The pipeline interpolates output curves with a divisor of 65536 / n instead of 65535 / (n - 1).
// The error, 100 / (n - 1)^2 in L* for an even scale, is below half a unit from here on.
constexpr std::uint32_t kFewestOutputEntries = 16;
constexpr unsigned kFewestGridPoints = 2;
constexpr unsigned kMostGridPoints = 33;

const IntentSet kEveryIntent = IntentSet().set();

constexpr std::array<std::uint32_t, kIntentCount> kTagOfIntent = {
    Signature("A2B0"), Signature("A2B1"), Signature("A2B2"), Signature("A2B1")};

struct Entry {
  std::uint32_t signature;
  std::uint32_t offset;
  std::uint32_t size;

  std::uint64_t End() const { return std::uint64_t{offset} + size; }
  bool SamePlace(const Entry& other) const { return offset == other.offset && size == other.size; }
};

class ProfileChecker {
 public:
  explicit ProfileChecker(std::span<const unsigned char> bytes) : file_(bytes) {}

  std::vector<Finding> Inspect() {
    const std::span<const unsigned char> whole(file_.data(), file_.size());
    if (!file_.Holds(0, kTagTable)) {
      Error("not-a-profile", "not an ICC profile: it has " + std::to_string(file_.size()) +
                                 " bytes, fewer than a header");
      return findings_.list();
    }
    CheckHeader();
    const bool table = ReadTagTable();
    CheckColorSpaces();
    if (table) {
      CheckLookupTags();
      CheckWhitePoint();
      CheckOtherTags();
    }
    std::vector<Finding> findings = findings_.list();
    if (AskReader(whole, findings) == KXP_ERROR_UNSUPPORTED) {
      // What nobody converts by, libKXCMS need not be named for.
      std::erase_if(findings, [](const Finding& finding) { return finding.isOfFixedOnly; });
    }
    return findings;
  }

 private:
  void Error(const char* code, const std::string& text, IntentSet intents = kEveryIntent) {
    findings_.Add({Finding::Severity::Error, code, text, intents});
  }
  void Warn(const char* code, const std::string& text) {
    findings_.Add({Finding::Severity::Warning, code, text, IntentSet()});
  }
  /// For a sound profile that nobody here takes.
  void Note(const char* code, const std::string& text) {
    findings_.Add({Finding::Severity::Note, code, text, kEveryIntent});
  }
  /// For what libKXCMS does not read, or would misread.
  void Limit(const char* code, const std::string& text, IntentSet intents = kEveryIntent) {
    findings_.Add({Finding::Severity::Note, code, "for libKXCMS: " + text, intents, true});
  }
  /// An error of the conversions that it concerns, if any.
  void Judge(const char* code, const std::string& text, IntentSet intents) {
    if (intents.any()) {
      Error(code, text, intents);
    } else {
      Warn(code, text);
    }
  }

  void CheckHeader() {
    if (file_.U32(36) != Signature("acsp")) {
      Error("no-signature", "not an ICC profile: no 'acsp' in its header");
    }
    const std::uint32_t size = file_.U32(0);
    const std::size_t present = file_.size();
    if (size > present) {
      Error("size-field", "damaged: it should have " + std::to_string(size) + " bytes and has " +
                              std::to_string(present));
    } else if (size < kTagTable) {
      Error("size-field", "damaged: its size field is " + std::to_string(size));
    } else {
      if (size < present) {
        Warn("size-field", std::to_string(present - size) + " bytes follow behind the end that " +
                               "its size field gives");
      }
      file_ = file_.Part(0, size);
    }
    const unsigned version = file_.U8(8);
    if (version != 2 && version != 4) {
      Warn("version", "its version is " + std::to_string(version) + ", not 2 or 4");
    }
    const std::uint32_t intent = file_.U32(64);
    // The upper half is reserved.
    if ((intent & 0xFFFF) >= kIntentCount) {
      Warn("header-intent",
           "its header names the unknown rendering intent " + std::to_string(intent & 0xFFFF));
    }
    CheckIlluminant();
  }

  /// D50 in s15Fixed16; other writers round it otherwise.
  void CheckIlluminant() {
    constexpr std::array<std::uint32_t, 3> kD50 = {0xF6D6, 0x10000, 0xD32D};
    constexpr std::int64_t kRounding = 16;
    for (std::size_t i = 0; i < kD50.size(); ++i) {
      const std::int64_t difference = std::int64_t{file_.U32(68 + 4 * i)} - kD50[i];
      if (std::abs(difference) > kRounding) {
        Warn("illuminant", "the illuminant in its header is not D50");
        return;
      }
    }
  }

  /// @return whether the tags can be found
  bool ReadTagTable() {
    const std::uint64_t count = file_.U32(kHeaderSize);
    if (!file_.Holds(kTagTable, count * kTagEntry)) {
      Error("tag-table", "damaged: tag table cut off");
      return false;
    }
    if (count > kMostTags) {
      Limit("tag-table", "has " + std::to_string(count) + " tags; up to 65536 can be read");
      return false;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t at = kTagTable + i * kTagEntry;
      entries_.push_back({file_.U32(at), file_.U32(at + 4), file_.U32(at + 8)});
    }
    ChooseLookupTags();
    for (const Entry& entry : entries_) {
      if (!file_.Holds(entry.offset, entry.size)) {
        Error("tag-outside", "damaged: tag " + Text(entry.signature) + " lies outside the file");
      }
    }
    CheckDuplicates();
    CheckPlaces();
    return true;
  }

  /// The first tag of a signature counts; where a second one says something else, who knows which
  /// was meant.
  void CheckDuplicates() {
    std::map<std::uint32_t, const Entry*> first;
    for (const Entry& entry : entries_) {
      const auto [place, isNew] = first.emplace(entry.signature, &entry);
      if (isNew) continue;
      const bool same = place->second->SamePlace(entry);
      Judge("duplicate-tag", "tag " + Text(entry.signature) + " stands twice in the tag table",
            same ? IntentSet() : Users(entry.signature));
    }
  }

  /// Tags may share their bytes, all of them, and begin at multiples of four.
  void CheckPlaces() {
    std::vector<Entry> sorted = entries_;
    std::erase_if(sorted, [](const Entry& entry) { return entry.size == 0; });
    std::stable_sort(sorted.begin(), sorted.end(), [](const Entry& a, const Entry& b) {
      return std::pair(a.offset, a.size) < std::pair(b.offset, b.size);
    });
    const std::uint64_t tableEnd = kTagTable + entries_.size() * kTagEntry;
    const Entry* reaching = nullptr;  // of those before, the one that reaches furthest
    for (const Entry& entry : sorted) {
      const std::string tag = "tag " + Text(entry.signature);
      if (entry.offset < tableEnd) {
        Judge("overlap", tag + " overlaps the header or the tag table", Users(entry.signature));
      }
      if (entry.offset % 4 != 0) {
        Warn("alignment", tag + " does not begin at a multiple of four bytes");
      }
      if (reaching != nullptr && entry.offset < reaching->End() && !entry.SamePlace(*reaching)) {
        Judge("overlap",
              "tags " + Text(reaching->signature) + " and " + Text(entry.signature) + " overlap",
              Users(entry.signature) | Users(reaching->signature));
      }
      if (reaching == nullptr || entry.End() > reaching->End()) reaching = &entry;
    }
  }

  void CheckColorSpaces() {
    const std::uint32_t deviceClass = file_.U32(12);
    const std::uint32_t device = file_.U32(16);
    const std::uint32_t connection = file_.U32(20);
    if (device != Signature("RGB ")) {
      Note("device-space", "describes a device of colour space " + Text(device) + ", not RGB");
    }
    if (deviceClass == Signature("abst") || deviceClass == Signature("nmcl")) {
      Note("class", "class " + Text(deviceClass) + " describes no device");
    } else if (!IsProfileClass(deviceClass)) {
      Warn("class", "its class " + Text(deviceClass) + " is unknown");
    }
    if (connection == Signature("XYZ ")) {
      Limit("connection-space",
            "connection space XYZ; only profiles with connection space Lab can be used");
    } else if (connection != Signature("Lab ")) {
      Limit("connection-space", "connection space " + Text(connection) + " is not Lab");
    }
    // Such a profile yields the output tables' own contents instead of converted pixels.
    if (file_.U32(48) == Signature("none")) {
      Limit("manufacturer-none",
            "its manufacturer 'none' marks a test profile that converts nothing");
    }
  }

  static bool IsProfileClass(std::uint32_t deviceClass) {
    constexpr std::array<std::uint32_t, 7> kClasses = {
        Signature("scnr"), Signature("mntr"), Signature("prtr"), Signature("link"),
        Signature("spac"), Signature("abst"), Signature("nmcl")};
    return std::find(kClasses.begin(), kClasses.end(), deviceClass) != kClasses.end();
  }

  const Entry* Find(std::uint32_t signature) const {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(),
                     [signature](const Entry& entry) { return entry.signature == signature; });
    return found == entries_.end() ? nullptr : &*found;
  }

  kxcms::BigEndianView Contents(const Entry& entry) const {
    return file_.Part(entry.offset, entry.size);
  }

  void ChooseLookupTags() {
    for (std::size_t i = 0; i < lookups_.size(); ++i) {
      const Entry* own = Find(kTagOfIntent[i]);
      lookups_[i] = own != nullptr ? own : Find(Signature("A2B0"));
    }
  }

  /// The conversions that read the tag of this signature.
  IntentSet Users(std::uint32_t signature) const {
    IntentSet intents;
    for (std::size_t i = 0; i < lookups_.size(); ++i) {
      if (lookups_[i] != nullptr && lookups_[i]->signature == signature) intents.set(i);
    }
    if (signature == Signature("wtpt")) intents.set(ICC40::ICCFILE::Absolute);
    return intents;
  }

  void CheckLookupTags() {
    IntentSet without;
    for (std::size_t i = 0; i < lookups_.size(); ++i) {
      if (lookups_[i] == nullptr) without.set(i);
    }
    if (without.any()) {
      Limit("no-lookup-tag",
            "no lookup tag for its class " + Text(file_.U32(12)) +
                "; profiles of matrix and curves cannot be used",
            without);
    }
    for (const std::uint32_t signature :
         {Signature("A2B0"), Signature("A2B1"), Signature("A2B2")}) {
      lookupUsers_ = Users(signature);
      if (lookupUsers_.any()) CheckLookupTag(Contents(*Find(signature)), signature);
    }
  }

  // ---- One lookup tag: `where` begins its messages, `lookupUsers_` are the intents that it serves

  void LookupLimit(const char* code, const std::string& text) { Limit(code, text, lookupUsers_); }
  void LookupCutOff(const std::string& where) {
    Error("lookup-cut-off", where + "is cut off", lookupUsers_);
  }

  void CheckLookupTag(const kxcms::BigEndianView& tag, std::uint32_t signature) {
    const std::string where = "lookup tag " + Text(signature) + " ";
    const std::uint32_t type = tag.U32(0);
    if (type == Signature("mft2")) {
      CheckLut16(tag, where);
    } else if (type == Signature("mAB ")) {
      CheckLutAToB(tag, where);
    } else if (type == Signature("mft1")) {
      LookupLimit("lookup-type",
                  where + "has 8-bit entries (lut8Type); only 16-bit tables can be used");
    } else {
      LookupLimit("lookup-type", where + "has the unknown type " + Text(type));
    }
  }

  bool CheckChannels(const kxcms::BigEndianView& tag, const std::string& where) {
    if (tag.U8(8) == 3 && tag.U8(9) == 3) return true;
    LookupLimit("lookup-channels", where + "has " + std::to_string(tag.U8(8)) + " inputs and " +
                                       std::to_string(tag.U8(9)) + " outputs, not 3 and 3");
    return false;
  }

  void CheckGridPoints(unsigned points, const std::string& where) {
    if (points < kFewestGridPoints || points > kMostGridPoints) {
      LookupLimit("grid-points",
                  where + "has " + std::to_string(points) + " grid points; 2 to 33 can be used");
    }
  }

  void CheckLut16(const kxcms::BigEndianView& tag, const std::string& where) {
    if (!CheckChannels(tag, where)) return;
    const unsigned points = tag.U8(10);
    CheckGridPoints(points, where);
    const std::uint32_t inputEntries = tag.U16(48);
    const std::uint32_t outputEntries = tag.U16(50);
    const std::uint64_t inputTables = 52;
    const std::uint64_t grid = inputTables + 3ull * 2 * inputEntries;
    const std::uint64_t outputTables = grid + 2ull * points * points * points * 3;
    if (!tag.Holds(0, outputTables + 3ull * 2 * outputEntries)) LookupCutOff(where);
    CheckEntryCount(inputEntries, where + "input curves ");
    CheckEntryCount(outputEntries, where + "output curves ");
    CheckOutputEntryCount(outputEntries, where);
    for (unsigned c = 0; c < 3; ++c) {
      CheckShortCurve(tag, inputTables + 2ull * c * inputEntries, inputEntries, where);
      CheckShortCurve(tag, outputTables + 2ull * c * outputEntries, outputEntries, where);
    }
  }

  void CheckLutAToB(const kxcms::BigEndianView& tag, const std::string& where) {
    if (!CheckChannels(tag, where)) return;
    const std::uint64_t curvesB = tag.U32(12);
    const std::uint64_t matrix = tag.U32(16);
    const std::uint64_t curvesM = tag.U32(20);
    const std::uint64_t clut = tag.U32(24);
    const std::uint64_t curvesA = tag.U32(28);
    if (curvesB == 0 || clut == 0 || curvesA == 0) {
      LookupLimit("lookup-elements", where + "has no colour grid between two sets of curves");
    }
    for (const std::uint64_t at : {curvesB, matrix, curvesM, clut, curvesA}) {
      if (at != 0 && at < kLutElements) {
        Error("lookup-elements", where + "has an element inside its own header", lookupUsers_);
        return;
      }
    }
    if (matrix != 0 && !IsIdentityMatrix(tag, matrix)) {
      LookupLimit("lookup-matrix", where + "has a matrix, which cannot be used");
    }
    if (curvesM != 0 && CheckCurves(tag, curvesM, where).value_or(0) > 2) {
      LookupLimit("lookup-matrix", where + "has curves beside its matrix, which cannot be used");
    }
    if (curvesA != 0) CheckCurves(tag, curvesA, where);
    if (curvesB != 0) CheckOutputEntryCount(CheckCurves(tag, curvesB, where).value_or(0), where);
    if (clut != 0) CheckGrid(tag, clut, where);
  }

  void CheckGrid(const kxcms::BigEndianView& tag, std::uint64_t clut, const std::string& where) {
    const unsigned points = tag.U8(clut);
    if (tag.U8(clut + 1) != points || tag.U8(clut + 2) != points) {
      LookupLimit("grid-sides", where + "has a grid of unequal sides");
    }
    CheckGridPoints(points, where);
    const unsigned width = tag.U8(clut + 16);
    if (width != 2) {
      LookupLimit("grid-width", where + "has a grid of 8-bit values; only 16-bit ones work");
    }
    if (!tag.Holds(clut, 20 + GridBytes(tag, clut, 3, 3))) LookupCutOff(where);
  }

  /// Checks three curves that follow one another, and that the library finds each of them.
  /// @return their common entry count, unless something is wrong with them
  std::optional<std::uint32_t> CheckCurves(const kxcms::BigEndianView& tag, std::uint64_t at,
                                           const std::string& where) {
    const std::uint32_t count = tag.U32(at + 8);
    for (int c = 0; c < 3; ++c) {
      if (!tag.Holds(at, kCurveHeader)) {
        LookupCutOff(where);
        return std::nullopt;
      }
      if (tag.U32(at) != Signature("curv")) {
        LookupLimit("curve-type",
                    where + "has curves of type " + Text(tag.U32(at)) + "; only sampled ones work");
        return std::nullopt;
      }
      if (tag.U32(at + 8) != count) {
        LookupLimit("curve-lengths", where + "has curves of different lengths");
        return std::nullopt;
      }
      CheckEntryCount(count, where + "curves ");
      if (!tag.Holds(at + kCurveHeader, 2ull * count)) {
        LookupCutOff(where);
        return std::nullopt;
      }
      CheckShortCurve(tag, at + kCurveHeader, count, where);
      // The reader steps 14 + 2n bytes from one curve to the next, which is right for odd n. It
      // does not matter for n = 0, where no entry of the others is used.
      if (count != 0 && count % 2 == 0) {
        LookupLimit("curve-even",
                    where + "has curves of an even number of entries, which would be misread");
      }
      at += (kCurveHeader + 2ull * count + 3) / 4 * 4;
    }
    return count;
  }

  void CheckEntryCount(std::uint32_t count, const std::string& which) {
    if (count > kMostCurveEntries) {
      LookupLimit("curve-entries",
                  which + "have " + std::to_string(count) + " entries; up to 4096 can be used");
    }
  }

  void CheckOutputEntryCount(std::uint32_t count, const std::string& where) {
    if (count > 2 && count < kFewestOutputEntries) {
      LookupLimit("curve-entries", where + "has output curves of " + std::to_string(count) +
                                       " entries, too few to be used exactly");
    }
  }

  /// A curve of at most two entries is used as the identity, so it must be one.
  void CheckShortCurve(const kxcms::BigEndianView& tag, std::uint64_t entries, std::uint32_t count,
                       const std::string& where) {
    constexpr std::uint16_t kGammaOne = 0x0100;  // u8Fixed8
    const bool identity = count == 0 || count > 2 ||
                          (count == 1 && tag.U16(entries) == kGammaOne) ||
                          (count == 2 && tag.U16(entries) == 0 && tag.U16(entries + 2) == 65535);
    if (!identity) {
      LookupLimit("curve-short", where + "has a curve of " + std::to_string(count) +
                                     " entries that is not the identity");
    }
  }

  static bool IsIdentityMatrix(const kxcms::BigEndianView& tag, std::uint64_t at) {
    constexpr std::array<std::uint32_t, 12> kIdentity = {0x10000, 0, 0, 0,      0x10000,
                                                         0,       0, 0, 0x10000};
    for (std::size_t i = 0; i < kIdentity.size(); ++i) {
      if (tag.U32(at + 4 * i) != kIdentity[i]) return false;
    }
    return true;
  }

  void CheckWhitePoint() {
    const Entry* entry = Find(Signature("wtpt"));
    const kxcms::BigEndianView white = entry != nullptr ? Contents(*entry) : kxcms::BigEndianView();
    const auto positive = [&white](std::uint64_t at) {
      return white.U32(at) != 0 && white.U32(at) < 0x80000000u;
    };
    if (!white.Holds(0, kXyzSize) || !positive(8) || !positive(12) || !positive(16)) {
      Limit("white-point", "no media white point, which the absolute intent needs",
            IntentSet().set(ICC40::ICCFILE::Absolute));
    }
  }

  // ---- Tags that take no part in conversions

  void CheckOtherTags() {
    for (const Entry& entry : entries_) {
      if (findings_.full()) return;
      if (Users(entry.signature).any() || !file_.Holds(entry.offset, entry.size)) continue;
      const kxcms::BigEndianView tag = Contents(entry);
      const std::uint64_t needed = BytesNeeded(tag);
      if (needed > tag.size()) {
        Warn("tag-cut-off", "tag " + Text(entry.signature) + " of type " + Text(tag.U32(0)) +
                                " needs " + std::to_string(needed) + " bytes and has " +
                                std::to_string(tag.size()));
      }
    }
  }

  /// The size that a tag's own counts ask for; the size of a type's header for other types.
  static std::uint64_t BytesNeeded(const kxcms::BigEndianView& tag) {
    constexpr std::uint64_t kTypeHeader = 8;
    switch (tag.U32(0)) {
      case Signature("curv"):
      case Signature("para"):
        return CurveBytes(tag, 0);
      case Signature("XYZ "):
        return kXyzSize;
      case Signature("mft1"):
        return 48 + LutBytes(tag, 1, 256, 256);
      case Signature("mft2"):
        return 52 + LutBytes(tag, 2, tag.U16(48), tag.U16(50));
      case Signature("mAB "):
      case Signature("mBA "):
        return ElementsEnd(tag);
      default:
        return kTypeHeader;
    }
  }

  static std::uint64_t CurveBytes(const kxcms::BigEndianView& tag, std::uint64_t at) {
    if (tag.U32(at) == Signature("para")) {
      constexpr std::array<unsigned, 5> kParameters = {1, 3, 4, 5, 7};  // by function type
      const unsigned function = tag.U16(at + 8);
      return kCurveHeader + 4ull * (function < kParameters.size() ? kParameters[function] : 0);
    }
    return kCurveHeader + 2ull * tag.U32(at + 8);
  }

  /// Input tables, grid and output tables of lut8Type and lut16Type. What no file can hold ends
  /// the multiplication, here and below.
  static std::uint64_t LutBytes(const kxcms::BigEndianView& tag, std::uint64_t width,
                                std::uint64_t inputEntries, std::uint64_t outputEntries) {
    const std::uint64_t inputs = tag.U8(8);
    const std::uint64_t outputs = tag.U8(9);
    std::uint64_t nodes = outputs;
    for (std::uint64_t i = 0; i < inputs && nodes <= UINT32_MAX; ++i) nodes *= tag.U8(10);
    return width * (inputs * inputEntries + nodes + outputs * outputEntries);
  }

  static std::uint64_t GridBytes(const kxcms::BigEndianView& tag, std::uint64_t clut,
                                 unsigned inputs, unsigned outputs) {
    std::uint64_t bytes = std::uint64_t{outputs} * (tag.U8(clut + 16) == 1 ? 1 : 2);
    for (unsigned i = 0; i < inputs && bytes <= UINT32_MAX; ++i) bytes *= tag.U8(clut + i);
    return bytes;
  }

  /// Where the last element of a lutAToBType or lutBToAType ends.
  static std::uint64_t ElementsEnd(const kxcms::BigEndianView& tag) {
    const unsigned inputs = tag.U8(8);
    const unsigned outputs = tag.U8(9);
    const bool toPcs = tag.U32(0) == Signature("mAB ");
    std::uint64_t end = kLutElements;
    const auto addCurves = [&tag, &end](std::uint64_t at, unsigned count) {
      for (unsigned i = 0; at != 0 && i < count && at <= UINT32_MAX; ++i) {
        const std::uint64_t size = CurveBytes(tag, at);
        end = std::max(end, at + size);
        at += (size + 3) / 4 * 4;
      }
    };
    addCurves(tag.U32(12), toPcs ? outputs : inputs);
    if (const std::uint64_t matrix = tag.U32(16)) end = std::max(end, matrix + 48);
    addCurves(tag.U32(20), toPcs ? outputs : inputs);
    if (const std::uint64_t clut = tag.U32(24)) {
      end = std::max(end, clut + 20 + GridBytes(tag, clut, std::min(inputs, 16u), outputs));
    }
    addCurves(tag.U32(28), toPcs ? inputs : outputs);
    return end;
  }

  // ---- What converts

  /// What the strict reader of `convert` says has the last word.
  static kxp_status AskReader(std::span<const unsigned char> whole,
                              std::vector<Finding>& findings) {
    kxp_error error = {};
    error.size = sizeof error;
    kxp_profile* profile = nullptr;
    const kxp_status status = kxp_profile_from_memory(whole.data(), whole.size(), &profile, &error);
    const ProfileHandle closing(profile);
    if (status == KXP_OK) return status;
    if (status == KXP_ERROR_MEMORY) throw std::bad_alloc();
    const bool isSound = status == KXP_ERROR_UNSUPPORTED;
    const auto severity = isSound ? Finding::Severity::Note : Finding::Severity::Error;
    const bool isTold =
        std::any_of(findings.begin(), findings.end(), [severity](const Finding& finding) {
          return finding.severity == severity && finding.intents.all() && !finding.isOfFixedOnly;
        });
    if (!isTold) {
      const std::string reason = ClauseOf(error.message);
      findings.push_back({severity, isSound ? "unsupported" : "contents",
                          isSound ? reason : "damaged: " + reason, kEveryIntent});
    }
    return status;
  }

  kxcms::BigEndianView file_;
  std::vector<Entry> entries_;
  std::array<const Entry*, kIntentCount> lookups_{};  ///< by intent; null where there is none
  IntentSet lookupUsers_;
  Findings findings_;
};

}  // namespace

std::vector<Finding> InspectProfile(std::span<const unsigned char> bytes) {
  return ProfileChecker(bytes).Inspect();
}

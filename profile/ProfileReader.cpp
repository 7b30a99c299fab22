#include "profile/ProfileReader.h"

#include <algorithm>

#include "base/Limits.h"
#include "profile/TagBytes.h"

namespace kxcms {

namespace {

// ICC.1:2010 7.2 and 7.3.
constexpr std::uint64_t kHeaderBytes = 128;
constexpr std::uint64_t kTableAt = 132;
constexpr std::uint64_t kEntryBytes = 12;

constexpr Signature kRgb = MakeSignature("RGB ");

// "4.3", and "2.1.1" with a bug fix number.
std::string VersionText(std::uint32_t version) {
  const std::uint64_t major = version >> 24, minor = version >> 20 & 0xF, fix = version >> 16 & 0xF;
  return fix == 0 ? Sentence(major, ".", minor).text : Sentence(major, ".", minor, ".", fix).text;
}

const char* ClassName(Signature deviceClass) {
  switch (deviceClass) {
    case MakeSignature("link"):
      return "a device link";
    case MakeSignature("abst"):
      return "an abstract profile";
    case MakeSignature("nmcl"):
      return "a named colour profile";
    default:
      return "of an unknown class";
  }
}

// The profile's own bytes: as many as its header says.
TagBytes WholeProfile(std::span<const unsigned char> bytes) {
  TagBytes all{0, 0, BigEndianView(bytes)};
  const std::uint64_t there = bytes.size();
  if (there < kTableAt) {
    all.Refuse(there, Sentence("There are ", there,
                               " bytes; the header and tag count of a profile take 132."));
  }
  const Signature magic = all.bytes.U32(36);
  if (magic != MakeSignature("acsp")) {
    all.Refuse(36, Sentence("The file signature is ", magic, ", not 'acsp'."));
  }
  const std::uint64_t size = all.bytes.U32(0);
  if (size < kTableAt) {
    all.Refuse(0, Sentence("The header says that the profile has ", size,
                           " bytes; the header and tag count take 132."));
  }
  if (size > there) {
    all.Refuse(0, Sentence("The header says that the profile has ", size, " bytes; there are ",
                           there, "."));
  }
  all.bytes = all.bytes.Part(0, size);
  return all;
}

void ReadHeader(const TagBytes& all, DeviceProfile& profile) {
  const BigEndianView& bytes = all.bytes;
  profile.sizeBytes = bytes.size();
  profile.version = bytes.U32(8);
  const std::uint32_t major = profile.version >> 24;
  if (major != 2 && major != 4) {
    all.Refuse(8,
               Sentence("The profile has version ", VersionText(profile.version),
                        "; versions 2 and 4 are supported."),
               ProfileFault::kUnsupported);
  }

  constexpr Signature kClasses[] = {MakeSignature("scnr"), MakeSignature("mntr"),
                                    MakeSignature("prtr"), MakeSignature("spac")};
  profile.deviceClass = bytes.U32(12);
  if (std::find(std::begin(kClasses), std::end(kClasses), profile.deviceClass) ==
      std::end(kClasses)) {
    all.Refuse(12,
               Sentence("The profile is ", ClassName(profile.deviceClass), ", ",
                        profile.deviceClass, "; 'scnr', 'mntr', 'prtr' and 'spac' are supported."),
               ProfileFault::kUnsupported);
  }
  profile.colorSpace = bytes.U32(16);
  if (profile.colorSpace != kRgb) {
    all.Refuse(16,
               Sentence("The colour space of the profile is ", profile.colorSpace,
                        "; 'RGB ' is supported."),
               ProfileFault::kUnsupported);
  }
  const Signature pcs = bytes.U32(20);
  if (pcs != MakeSignature("Lab ") && pcs != MakeSignature("XYZ ")) {
    all.Refuse(20, Sentence("The connection space is ", pcs, ", not 'Lab ' or 'XYZ '."));
  }
  profile.pcs = pcs == MakeSignature("Lab ") ? PcsSpace::kLab : PcsSpace::kXyz;
  profile.manufacturer = bytes.U32(48);
  profile.model = bytes.U32(52);
  profile.creator = bytes.U32(80);
  // The upper 16 bits are not the intent's (ICC.1:2010 7.2.15).
  const unsigned intent = bytes.U16(66);
  if (intent <= 3) profile.headerIntent = static_cast<RenderingIntent>(intent);
}

void ReadTagTable(const TagBytes& all, DeviceProfile& profile) {
  const BigEndianView& bytes = all.bytes;
  const std::uint64_t size = bytes.size();
  const std::uint64_t count = bytes.U32(kHeaderBytes);
  const std::uint64_t tableEnd = kTableAt + count * kEntryBytes;
  if (tableEnd > size) {
    all.Refuse(kHeaderBytes, Sentence("A tag table of ", count, " entries would end at byte ",
                                      tableEnd, " of a profile of ", size, "."));
  }
  profile.tags.reserve(static_cast<std::size_t>(count));
  for (std::uint64_t at = kTableAt; at < tableEnd; at += kEntryBytes) {
    const TagBytes entry{bytes.U32(at), at, bytes.Part(at, kEntryBytes)};
    const std::uint32_t offset = entry.bytes.U32(4), sizeBytes = entry.bytes.U32(8);
    if (!bytes.Holds(offset, sizeBytes)) {
      entry.Refuse(4, Sentence("The tag ", entry.signature, " of ", std::uint64_t{sizeBytes},
                               " bytes at byte ", std::uint64_t{offset},
                               " does not lie within a profile of ", size, " bytes."));
    }
    if (sizeBytes > 0 && offset < tableEnd) {
      entry.Refuse(4,
                   Sentence("The tag ", entry.signature, " begins at byte ", std::uint64_t{offset},
                            ", within the header and tag table of ", tableEnd, " bytes."));
    }
    const Signature type = sizeBytes < 4 ? 0 : bytes.U32(offset);
    profile.tags.push_back({entry.signature, type, offset, sizeBytes});
  }
}

/// The tags of a profile whose tag table has been read. Borrows both.
class Tags {
 public:
  Tags(const TagBytes& all, const std::vector<TagEntry>& entries) : all_(all), entries_(entries) {}

  /// Refuses a signature that stands there twice.
  std::optional<TagBytes> Find(Signature signature) const {
    const auto isIt = [&](const TagEntry& entry) { return entry.signature == signature; };
    const auto first = std::find_if(entries_.begin(), entries_.end(), isIt);
    if (first == entries_.end()) return std::nullopt;
    const auto second = std::find_if(first + 1, entries_.end(), isIt);
    if (second != entries_.end()) {
      const auto index = static_cast<std::uint64_t>(second - entries_.begin());
      throw ProfileError(ProfileFault::kDamaged, signature, kTableAt + index * kEntryBytes,
                         Sentence("The profile has two tags ", signature, ".").text);
    }
    return TagBytes{signature, first->offset, all_.bytes.Part(first->offset, first->sizeBytes)};
  }

 private:
  const TagBytes& all_;
  const std::vector<TagEntry>& entries_;
};

// XYZType and s15Fixed16ArrayType: type, four zeros, the numbers.
constexpr std::uint64_t kNumbersAt = 8;
constexpr Signature kXyzType = MakeSignature("XYZ ");
constexpr Signature kFixedArrayType = MakeSignature("sf32");

bool HoldsNumbers(const TagBytes& tag, Signature type, std::uint64_t count) {
  return tag.Type() == type && tag.bytes.Holds(kNumbersAt, 4 * count);
}

template <std::size_t kCount>
std::array<double, kCount> NumbersOf(const TagBytes& tag) {
  std::array<double, kCount> numbers;
  for (std::size_t n = 0; n < kCount; ++n) numbers[n] = tag.S15Fixed16(kNumbersAt + 4 * n);
  return numbers;
}

Xyz ReadXyz(const TagBytes& tag) {
  if (tag.Type() != kXyzType) {
    tag.Refuse(0, Sentence("The tag ", tag.signature, " is of type ", tag.Type(), ", not 'XYZ '."));
  }
  tag.Need(kNumbersAt, 12, "its XYZ");
  return NumbersOf<3>(tag);
}

// @return whether there are any.
bool ReadLookupTables(const Tags& tags, DeviceProfile& profile, ReadBudget& budget) {
  constexpr Signature kAToB[] = {MakeSignature("A2B0"), MakeSignature("A2B1"),
                                 MakeSignature("A2B2")};
  constexpr Signature kBToA[] = {MakeSignature("B2A0"), MakeSignature("B2A1"),
                                 MakeSignature("B2A2")};
  bool any = false;
  for (std::size_t n = 0; n < 3; ++n) {
    if (const auto tag = tags.Find(kAToB[n])) {
      profile.deviceToPcs[n] = ReadLookupTable(*tag, false, profile.pcs, budget);
      any = true;
    }
    if (const auto tag = tags.Find(kBToA[n])) {
      profile.pcsToDevice[n] = ReadLookupTable(*tag, true, profile.pcs, budget);
      any = true;
    }
  }
  return any;
}

/// The tags of the three-component matrix-based model, as far as a profile has them.
struct MatrixTrcTags {
  std::array<std::optional<TagBytes>, 3> colorants, curves;
  int count = 0;
  Signature missing = 0;  ///< the first of those that are not there
};

MatrixTrcTags FindMatrixTrc(const Tags& tags) {
  constexpr Signature kColorants[] = {MakeSignature("rXYZ"), MakeSignature("gXYZ"),
                                      MakeSignature("bXYZ")};
  constexpr Signature kCurves[] = {MakeSignature("rTRC"), MakeSignature("gTRC"),
                                   MakeSignature("bTRC")};
  MatrixTrcTags found;
  const auto find = [&](Signature signature) {
    auto tag = tags.Find(signature);
    if (tag) ++found.count;
    if (!tag && found.missing == 0) found.missing = signature;
    return tag;
  };
  for (std::size_t n = 0; n < 3; ++n) found.colorants[n] = find(kColorants[n]);
  for (std::size_t n = 0; n < 3; ++n) found.curves[n] = find(kCurves[n]);
  return found;
}

MatrixTrc ReadMatrixTrc(const MatrixTrcTags& tags, ReadBudget& budget) {
  MatrixTrc model;
  for (std::size_t n = 0; n < 3; ++n) {
    const Xyz colorant = ReadXyz(*tags.colorants[n]);
    for (std::size_t row = 0; row < 3; ++row) model.matrix[3 * row + n] = colorant[row];
  }
  if (IsSingular(model.matrix)) {
    tags.colorants[0]->Refuse(kNumbersAt, Sentence("The matrix of the colorants 'rXYZ', 'gXYZ' and "
                                                   "'bXYZ' cannot be inverted."));
  }
  for (std::size_t n = 0; n < 3; ++n) {
    model.curves[n] = ReadCurve(*tags.curves[n], 0, budget).curve;
  }
  return model;
}

void ReadModels(const TagBytes& all, const Tags& tags, DeviceProfile& profile, ReadBudget& budget) {
  const bool hasLookupTable = ReadLookupTables(tags, profile, budget);
  if (profile.pcs == PcsSpace::kLab) {
    if (hasLookupTable) return;
    all.Refuse(kHeaderBytes, Sentence("The connection space is 'Lab ', but there is no tag A2B0, "
                                      "A2B1, A2B2, B2A0, B2A1 or B2A2."));
  }
  const MatrixTrcTags found = FindMatrixTrc(tags);
  if (found.missing == 0) {
    profile.matrixTrc = ReadMatrixTrc(found, budget);
  } else if (!hasLookupTable && found.count == 0) {
    all.Refuse(kHeaderBytes, Sentence("There is no tag A2B0, A2B1, A2B2, B2A0, B2A1 or B2A2, and "
                                      "no colorant or tone curve."));
  } else if (!hasLookupTable) {
    throw ProfileError(
        ProfileFault::kDamaged, found.missing, kHeaderBytes,
        Sentence("Of the colorants and tone curves, ", found.missing, " is missing.").text);
  }
}

void ReadMediaPoints(const Tags& tags, DeviceProfile& profile) {
  if (const auto tag = tags.Find(MakeSignature("wtpt"))) {
    profile.mediaWhite = ReadXyz(*tag);
    profile.hasMediaWhite = true;
    if (*std::min_element(profile.mediaWhite.begin(), profile.mediaWhite.end()) <= 0) {
      tag->Refuse(kNumbersAt, Sentence("The media white point has an X, Y or Z of 0 or less."));
    }
  }
  const auto black = tags.Find(MakeSignature("bkpt"));
  if (black && HoldsNumbers(*black, kXyzType, 3)) profile.mediaBlack = NumbersOf<3>(*black);
  const auto chad = tags.Find(MakeSignature("chad"));
  if (chad && HoldsNumbers(*chad, kFixedArrayType, 9)) profile.adaptation = NumbersOf<9>(*chad);
}

void ReadTexts(const Tags& tags, DeviceProfile& profile, ReadBudget& budget) {
  const auto read = [&](Signature signature) {
    const auto tag = tags.Find(signature);
    return tag ? ReadText(*tag, budget) : std::string();
  };
  profile.description = read(MakeSignature("desc"));
  profile.copyright = read(MakeSignature("cprt"));
}

}  // namespace

DeviceProfile ReadProfile(std::span<const unsigned char> bytes) {
  const TagBytes all = WholeProfile(bytes);
  DeviceProfile profile;
  ReadHeader(all, profile);
  ReadTagTable(all, profile);
  // The table has 12 bytes in the profile for each 16 in memory.
  ReadBudget budget(ReaderLimit(profile.sizeBytes) - profile.tags.size() * sizeof(TagEntry));
  const Tags tags(all, profile.tags);
  ReadModels(all, tags, profile, budget);
  ReadMediaPoints(tags, profile);
  ReadTexts(tags, profile, budget);
  return profile;
}

}  // namespace kxcms

#ifndef KXCMS_PROFILE_TAGBYTES_H
#define KXCMS_PROFILE_TAGBYTES_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/Bytes.h"
#include "base/ReadBudget.h"
#include "profile/ProfileReader.h"

/// @file
/// What the readers of the single tags share: a tag's bytes, and how to refuse them.

namespace kxcms {

using ICC40::ICCFILE::ReadBudget;

/// A signature in quotes, 'RGB '; one that is no text as a number, 0x00000000.
std::string Quoted(Signature signature);

/// The parts of a sentence, joined; signatures in quotes.
struct Sentence {
  std::string text;

  template <typename... Parts>
  explicit Sentence(const Parts&... parts) {
    (Add(parts), ...);
  }

 private:
  void Add(std::string_view part) { text += part; }
  void Add(std::uint64_t part) { text += std::to_string(part); }
  void Add(Signature part) { text += Quoted(part); }
};

/// The bytes of one tag, all there, borrowed; or those of the whole profile.
struct TagBytes {
  Signature signature;  ///< 0 for the whole profile
  std::uint64_t start;  ///< in the profile
  BigEndianView bytes;

  Signature Type() const { return bytes.U32(0); }

  /// Refuses for what stands at `at` of the tag; for what should stand behind its end, the end is
  /// told.
  [[noreturn]] void Refuse(std::uint64_t at, const Sentence& sentence,
                           ProfileFault fault = ProfileFault::kDamaged) const {
    throw ProfileError(fault, signature, start + std::min<std::uint64_t>(at, bytes.size()), sentence.text);
  }
  /// Refuses unless the tag holds `count` bytes from `at` on, those of `what`.
  void Need(std::uint64_t at, std::uint64_t count, std::string_view what) const;
  /// Refuses unless `sizeBytes` more may be held.
  void Charge(std::uint64_t sizeBytes, ReadBudget& budget) const;

  /// s15Fixed16Number (ICC.1:2010 4.6).
  double S15Fixed16(std::uint64_t at) const { return bytes.S32(at) / 65536.0; }
};

/// A curve, and how many bytes of the tag it takes.
struct CurveAndSize {
  Curve curve;
  std::uint64_t sizeBytes;
};
/// The curveType or parametricCurveType that begins at `at`.
CurveAndSize ReadCurve(const TagBytes& tag, std::uint64_t at, ReadBudget& budget);

/// An AToB tag, or a BToA tag if `fromPcs`, of a profile with this PCS.
LookupTable ReadLookupTable(const TagBytes& tag, bool fromPcs, PcsSpace pcs, ReadBudget& budget);

/// Whether the rows of a matrix are so nearly dependent that s15Fixed16Numbers cannot tell it from
/// a singular one.
bool IsSingular(const Matrix3& matrix);

/// The text of a textType, textDescriptionType or multiLocalizedUnicodeType as UTF-8; empty for
/// another type, for damage, and where it may not be held.
std::string ReadText(const TagBytes& tag, ReadBudget& budget);

}  // namespace kxcms

#endif

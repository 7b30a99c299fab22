#ifndef KXCMS_PROFILE_PROFILEREADER_H
#define KXCMS_PROFILE_PROFILEREADER_H

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "profile/DeviceProfile.h"

/// @file
/// Reads an ICC profile of an RGB device, strictly: what affects colour is as ICC.1 wants it, or
/// the profile is refused.

namespace kxcms {

enum class ProfileFault {
  kDamaged,          ///< against the format, cut off, or no ICC profile at all
  kUnsupported,      ///< well-formed perhaps, but not what this library converts
  kOutOfProportion,  ///< would take more memory than a profile of its size may
};

/// Why a profile is refused. `what` is one English sentence that names the numbers.
class ProfileError : public std::runtime_error {
 public:
  ProfileError(ProfileFault why, Signature where, std::uint64_t at, const std::string& sentence)
      : std::runtime_error(sentence), fault(why), tag(where), offset(at) {}

  ProfileFault fault;
  Signature tag;         ///< 0: the header, the tag table or the profile as a whole
  std::uint64_t offset;  ///< of what is wrong, or of where it is missed, from the profile's start
};

/// Reads a profile: version 2 or 4, class scnr, mntr, prtr or spac, RGB, PCS Lab or XYZ; with
/// AToB0..2 or BToA0..2 tags of lut16Type, lut8Type, lutAToBType and lutBToAType, or the colorants
/// and tone curves of the three-component matrix-based model, or several of these.
///
/// Refused is what is damaged in: the header's size, signature and PCS; any entry of the tag table;
/// the tags named above; wtpt. Nothing else takes part in a conversion, and other damage is
/// overlooked: a text that cannot be read is empty, a chad or bkpt tag that cannot be read is
/// absent, an unknown rendering intent of the header is perceptual, and the illuminant of the
/// header and tags of other names are not looked at. In particular:
/// - The profile is as long as its header says. Bytes behind it are ignored; fewer are refused.
/// - Tags may share their data, lie anywhere behind the tag table, and be longer than what they
///   hold, not shorter. Two tags of one name are refused if the name is read at all.
/// - Tags of both versions are read in both.
/// - Colorants and curves are read with PCS XYZ alone. An incomplete set of them is refused where
///   there is no lookup tag, and otherwise not read.
/// - Colorants and lookup matrices that cannot be inverted are refused; so are parametric curves
///   that raise negative numbers to a broken power or divide by 0.
/// - lut8Type with PCS XYZ is refused: ICC.1 defines no 8-bit encoding of it.
/// - D2Bx and B2Dx tags (version 4.3) are not read; the tags above stand beside them.
/// - The description is the text of en-US, else the first of any en, else the first text of a
///   multiLocalizedUnicodeType; the ASCII text, or if it is empty the Unicode text, of a
///   textDescriptionType. Texts end at their first NUL. What is no valid UTF-16 becomes U+FFFD;
///   bytes above 127 in 8-bit texts are taken for ISO 8859-1.
///
/// @param bytes  the whole profile; borrowed, and not needed afterwards.
/// @return what holds at most `ReaderLimit` of the profile's size.
/// @throws ProfileError, bad_alloc.
DeviceProfile ReadProfile(std::span<const unsigned char> bytes);

}  // namespace kxcms

#endif

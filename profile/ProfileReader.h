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
/// absent, an unknown rendering intent of the header is perceptual, and tags of other names are not
/// looked into. In particular:
/// - The profile is as long as its header says. Bytes behind it are ignored; fewer are refused.
/// - Tags may share their data. A tag may be longer than its content, never shorter. Two tags of
/// one
///   name are refused if the name is read at all.
/// - The colorants and curves belong together and to PCS XYZ. With PCS Lab they are not read. An
///   incomplete set is refused if the profile has no lookup tag, else not read.
/// - Colorants and lookup matrices that cannot be inverted are refused; so are parametric curves
///   that raise a negative number to a broken power or divide by 0.
/// - lut8Type with PCS XYZ is refused: ICC.1:2010 10.9 gives it no encoding.
/// - The D2Bx and B2Dx tags of version 4.3 are not read; a profile that has them has the tags
/// above.
/// - The description is the text of en-US, else of any en, else the first (multiLocalizedUnicode),
/// or
///   the ASCII text, else the Unicode text (textDescription). Texts end at their first NUL; invalid
///   UTF-16 becomes U+FFFD; bytes of 8-bit texts above 127 are taken for ISO 8859-1.
///
/// @param bytes  the whole profile; borrowed, and not needed afterwards.
/// @return what holds at most `ReaderLimit` of the profile's size.
/// @throws ProfileError, bad_alloc.
DeviceProfile ReadProfile(std::span<const unsigned char> bytes);

}  // namespace kxcms

#endif

#ifndef KXCMS_TOOLS_VERIFICATION_H
#define KXCMS_TOOLS_VERIFICATION_H

#include <span>
#include <string>
#include <vector>

#include "TiffCheck.h"
#include "iccfile/IccFile4.h"
#include "tiff/CTiff.h"

// The library's readers take bytes that they cannot read for zeros and go on without what there is
// no memory for. The command compares what they hold with what the files hold.

/// Refuses a profile that is not, byte for byte, the one that was checked.
void VerifyProfile(const ICC40::ICCFILE::IccFile4& profile, std::span<const unsigned char> bytes);

/// Refuses an image that is not what its file holds.
/// @param fd     the file that `form` was made from
/// @param image  as read from it, with interleaved pixels and nothing changed
void VerifyImage(int fd, const std::string& name, const TiffForm& form, KX_Tiff_STL3::CTiff& image);

/// What stands before the pixels in a file that the image was just saved to: header, directory,
/// data of the tags.
std::vector<unsigned char> BytesBeforePixels(const KX_Tiff_STL3::CTiff& image);

#endif

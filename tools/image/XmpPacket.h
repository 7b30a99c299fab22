#ifndef KXCMS_TOOLS_IMAGE_XMPPACKET_H
#define KXCMS_TOOLS_IMAGE_XMPPACKET_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// @file
/// XMP packets (ISO 16684-1) as texts, of which only what is asked for is looked at.

namespace kxcms::image {

/// Takes a property out of a packet, written as attribute or element. @return whether it was there.
bool RemoveXmpProperty(std::string& packet, std::string_view space, std::string_view property);

/// A packet whose rest stands in markers of its own, as a JPEG file has it where one marker is too
/// small, and that rest, as one packet; none if either is of a form that cannot be joined.
std::optional<std::string> JoinedXmp(std::string packet, std::string_view rest);

/// The other way round.
struct DividedXmp {
  std::string packet;  ///< names the rest, and holds nothing else
  std::string digest;  ///< by which it is named, 32 digits
  std::vector<unsigned char> rest;
};
DividedXmp DivideXmp(std::span<const unsigned char> packet);

}  // namespace kxcms::image

#endif

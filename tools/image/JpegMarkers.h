#ifndef KXCMS_TOOLS_IMAGE_JPEGMARKERS_H
#define KXCMS_TOOLS_IMAGE_JPEGMARKERS_H

#include <cstddef>
#include <string_view>

namespace kxcms::image {

// What begins the application data of each kind, with the zero bytes that belong to it.
constexpr std::string_view kExifMark("Exif\0\0", 6);
constexpr std::string_view kXmpMark("http://ns.adobe.com/xap/1.0/\0", 29);
// Behind it: 32 digits that the packet names it by, its whole size and where this part begins.
constexpr std::string_view kXmpRestMark("http://ns.adobe.com/xmp/extension/\0", 35);
constexpr std::string_view kIccMark("ICC_PROFILE\0", 12);
constexpr std::string_view kPhotoshopMark("Photoshop 3.0\0", 14);
constexpr std::string_view kJfifMark("JFIF\0", 5);
constexpr std::string_view kAdobeMark("Adobe", 5);

/// Bytes that a marker holds: 65535 and two fewer, which count them.
constexpr std::size_t kMostInMarker = 65533;
/// Digits of the name of a further part of XMP.
constexpr std::size_t kXmpDigestDigits = 32;

}  // namespace kxcms::image

#endif

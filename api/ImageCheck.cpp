#include "api/ImageCheck.h"

#include <cstdint>

#include "api/Failure.h"

namespace kxcms {

namespace {

constexpr std::uint32_t kSampleTypes = 4;

[[noreturn]] void Refuse(const char* what, const char* why) {
  throw Failure{KXP_ERROR_ARGUMENT, {"The ", what, " image ", why}};
}

template <typename Byte>
struct Placed {
  Image<Byte> image;
  ByteRange extent;
};

// `what` is "source" or "destination".
template <typename Byte>
Placed<Byte> Checked(const kxp_image* given, std::size_t width, std::size_t height,
                     std::uint32_t knownFlags, const char* what) {
  if (given == nullptr) Refuse(what, "is a null pointer.");
  const kxp_image image = Known(given, sizeof(kxp_image), "kxp_image");
  if (image.r == nullptr || image.g == nullptr || image.b == nullptr) {
    Refuse(what, "has no address for one of its samples.");
  }
  if (image.sample >= kSampleTypes) Refuse(what, "has an unknown type of samples.");
  if ((image.flags & ~knownFlags) != 0) Refuse(what, "has a flag that it cannot have.");
  Image<Byte> checked = {{{static_cast<Byte*>(image.r), static_cast<Byte*>(image.g),
                           static_cast<Byte*>(image.b), static_cast<Byte*>(image.a)},
                          image.pixel_stride,
                          static_cast<SampleType>(image.sample),
                          (image.flags & KXP_ASSOCIATED_ALPHA) != 0},
                         image.row_stride,
                         static_cast<std::int64_t>(width),
                         static_cast<std::int64_t>(height)};
  std::ptrdiff_t& pixelStride = checked.firstRow.pixelStride;
  if (pixelStride == 0) {
    pixelStride = SizeOf(checked.firstRow.type) * (image.a != nullptr ? 4 : 3);
  }
  if (checked.rowStride == 0 && __builtin_mul_overflow(pixelStride, width, &checked.rowStride)) {
    Refuse(what, "is larger than any memory.");
  }
  const auto extent = ExtentOf(checked);
  if (!extent) Refuse(what, "reaches past the ends of memory.");
  return {checked, *extent};
}

}  // namespace

ImagePair CheckedImages(const kxp_image* source, const kxp_image* destination, std::size_t width,
                        std::size_t height) {
  const auto from =
      Checked<const unsigned char>(source, width, height, KXP_ASSOCIATED_ALPHA, "source");
  const auto to = Checked<unsigned char>(destination, width, height,
                                         KXP_ASSOCIATED_ALPHA | KXP_OPAQUE, "destination");
  if (OverlapsItself(to.image)) {
    Refuse("destination", "has samples that share bytes: its strides are too small.");
  }
  if (OverlapOf(from.image, from.extent, to.image, to.extent) == Overlap::kPartial) {
    Refuse("destination", "overlaps the source other than in place.");
  }
  return {from.image, to.image,
          (destination->flags & KXP_OPAQUE) != 0 ? AlphaResult::kOpaque : AlphaResult::kKept};
}

}  // namespace kxcms

#include "ImageBytes.h"

namespace KX_Tiff_STL3 {

ImageGeometry GeometryOf(Tiff& image) {
  return {image.GetTagValue(ImageWidth), image.GetTagValue(ImageLength),
          image.GetTagValue(SamplesPerPixel), image.GetTagValue(BitsPerSample)};
}

std::uint64_t ImageBytes(CTiff& image) {
  if (!image.GetImageBuf()) return 0;
  if (const auto byteCounts = image.GetTag(StripByteCounts)) return byteCounts->GetValue();
  return ChunkyBytes(GeometryOf(image));
}

}  // namespace KX_Tiff_STL3

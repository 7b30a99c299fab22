#include "tools/image/WebpCheck.h"

#include <webp/decode.h>

#include <algorithm>
#include <array>

#include "tools/image/BitOrder.h"
#include "tools/image/ImageError.h"

namespace kxcms::image {

void CheckWebp(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes, bool isReversed,
               std::uint32_t width, std::uint32_t height) {
  // The size stands in the first chunk, whichever of the three kinds it is.
  std::array<unsigned char, 64> start;
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(sizeBytes, start.size()));
  bytes.Read(at, start.data(), count);
  if (isReversed) ReverseBits({start.data(), count});
  int foundWidth = 0, foundHeight = 0;
  if (WebPGetInfo(start.data(), count, &foundWidth, &foundHeight) == 0) {
    RefuseDamaged("its WebP data are none");
  }
  if (static_cast<std::uint32_t>(foundWidth) != width ||
      static_cast<std::uint32_t>(foundHeight) != height) {
    RefuseDamaged("its WebP data are of another size than their strip or tile");
  }
}

}  // namespace kxcms::image

#ifndef KXCMS_TOOLS_IMAGE_DEFLATECHECK_H
#define KXCMS_TOOLS_IMAGE_DEFLATECHECK_H

#include <zlib.h>

#include <cstdint>
#include <memory>

#include "tools/image/InputBytes.h"

namespace kxcms::image {

/// Looks at the check sums of Deflate's data (RFC 1950), which a decoder that is asked for rows
/// does not come to. One object for all strips or tiles, of which there may be one a row.
class DeflateCheck {
 public:
  DeflateCheck();
  ~DeflateCheck();
  DeflateCheck(const DeflateCheck&) = delete;
  DeflateCheck& operator=(const DeflateCheck&) = delete;

  /// Throws an `ImageError` if the sum is wrong, or if the data are of another size.
  /// @param isReversed   whether the bits of each byte come the other way round
  /// @param wantedBytes  bytes when decoded; also right are `paddedBytes`, those of a last strip
  ///                     that is as long as the others
  void Check(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes, bool isReversed,
             std::uint64_t wantedBytes, std::uint64_t paddedBytes);

 private:
  z_stream stream_ = {};
  std::unique_ptr<unsigned char[]> input_, output_;
};

}  // namespace kxcms::image

#endif

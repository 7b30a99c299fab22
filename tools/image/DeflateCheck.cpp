#include "tools/image/DeflateCheck.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <vector>

#include "tools/image/BitOrder.h"
#include "tools/image/ImageError.h"

namespace kxcms::image {

namespace {

class Inflater {
 public:
  Inflater() {
    if (inflateInit(&stream_) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  z_stream& stream() { return stream_; }

 private:
  z_stream stream_ = {};
};

}  // namespace

void CheckDeflate(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes,
                  bool isReversed, std::uint64_t wantedBytes, std::uint64_t paddedBytes) {
  constexpr std::size_t kBlockBytes = 1u << 16;
  std::vector<unsigned char> input(kBlockBytes), output(kBlockBytes);
  Inflater inflater;
  z_stream& stream = inflater.stream();
  std::uint64_t decoded = 0;
  int status = Z_OK;
  while (status == Z_OK && decoded <= paddedBytes) {
    if (stream.avail_in == 0) {
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(sizeBytes, kBlockBytes));
      if (count == 0) break;
      bytes.Read(at, input.data(), count);
      if (isReversed) ReverseBits({input.data(), count});
      at += count;
      sizeBytes -= count;
      stream.next_in = input.data();
      stream.avail_in = static_cast<uInt>(count);
    }
    stream.next_out = output.data();
    stream.avail_out = static_cast<uInt>(output.size());
    status = inflate(&stream, Z_NO_FLUSH);
    decoded += output.size() - stream.avail_out;
  }
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  if (status != Z_STREAM_END || (decoded != wantedBytes && decoded != paddedBytes)) {
    RefuseDamaged("its pixels, or the check sum of Deflate behind them, have changed");
  }
}

}  // namespace kxcms::image

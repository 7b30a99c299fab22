#include "tools/image/DeflateCheck.h"

#include <algorithm>
#include <new>

#include "tools/image/BitOrder.h"
#include "tools/image/ImageError.h"

namespace kxcms::image {

namespace {

constexpr std::size_t kBlockBytes = 1u << 16;

}  // namespace

// The blocks are written before they are read: no need for zeros.
DeflateCheck::DeflateCheck()
    : input_(new unsigned char[kBlockBytes]), output_(new unsigned char[kBlockBytes]) {
  if (inflateInit(&stream_) != Z_OK) throw std::bad_alloc();
}

DeflateCheck::~DeflateCheck() {
  inflateEnd(&stream_);
}

void DeflateCheck::Check(const InputBytes& bytes, std::uint64_t at, std::uint64_t sizeBytes,
                         bool isReversed, std::uint64_t wantedBytes, std::uint64_t paddedBytes) {
  // Also after a piece that ended in the middle.
  inflateReset(&stream_);
  stream_.avail_in = 0;
  std::uint64_t decoded = 0;
  int status = Z_OK;
  while (status == Z_OK && decoded <= paddedBytes) {
    if (stream_.avail_in == 0) {
      const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(sizeBytes, kBlockBytes));
      if (count == 0) break;
      bytes.Read(at, input_.get(), count);
      if (isReversed) ReverseBits({input_.get(), count});
      at += count;
      sizeBytes -= count;
      stream_.next_in = input_.get();
      stream_.avail_in = static_cast<uInt>(count);
    }
    stream_.next_out = output_.get();
    stream_.avail_out = static_cast<uInt>(kBlockBytes);
    status = inflate(&stream_, Z_NO_FLUSH);
    decoded += kBlockBytes - stream_.avail_out;
  }
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  if (status != Z_STREAM_END || (decoded != wantedBytes && decoded != paddedBytes)) {
    RefuseDamaged("its pixels, or the check sum of Deflate behind them, have changed");
  }
}

}  // namespace kxcms::image

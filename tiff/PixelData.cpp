#include "PixelData.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "FileStream.h"
#include "LittleEndian.h"
#include "TagData.h"

namespace KX_Tiff_STL3 {
namespace {

/// a * b, or 2^64 - 1 when that is too large.
std::uint64_t BoundedProduct(std::uint64_t a, std::uint64_t b) {
  std::uint64_t product = 0;
  if (__builtin_mul_overflow(a, b, &product)) return std::numeric_limits<std::uint64_t>::max();
  return product;
}

}  // namespace

std::uint64_t ChunkyBytes(const ImageGeometry& geometry) {
  const std::uint64_t pixelCount = std::uint64_t{geometry.length} * geometry.width;
  return BoundedProduct(BoundedProduct(pixelCount, geometry.bits), geometry.samples) >> 3;
}

std::uint64_t PlanarBytes(std::uint64_t pixelCount, unsigned samples, unsigned sampleBytes) {
  return BoundedProduct(pixelCount, (samples == 3 ? 3u : 4u) * sampleBytes);
}

int BytesPerRow(int bits, int width, int samples) {
  const auto rowBits = static_cast<int>(static_cast<unsigned>(bits) * static_cast<unsigned>(width) *
                                        static_cast<unsigned>(samples));
  return static_cast<int>(std::ceil(rowBits * 0.125));
}

std::uint64_t BytesOfRows(int rowBytes, int length) {
  if (rowBytes <= 0 || length <= 0) return 0;
  return static_cast<std::uint64_t>(rowBytes) * static_cast<std::uint64_t>(length);
}

std::uint64_t PixelBufferBytes(const ImageGeometry& geometry, std::uint64_t stripBytes) {
  const int rowBytes =
      BytesPerRow(static_cast<int>(geometry.bits), static_cast<int>(geometry.width),
                  static_cast<int>(geometry.samples));
  return std::max({stripBytes, ChunkyBytes(geometry),
                   BytesOfRows(rowBytes, static_cast<int>(geometry.length))});
}

StripArray::StripArray(const TiffTag& tag)
    : bytes_(tag.data), itemBytes_(tag.type == TIFF_SHORT ? 2 : 4) {
  std::uint64_t sizeBytes = TagDataBytes(tag);
  if (!IsOutOfLine(tag)) {
    StoreU32(inline_, tag.value);
    bytes_ = inline_;
    sizeBytes = sizeof inline_;
  }
  size_ = bytes_ ? std::min<std::uint64_t>(tag.count, sizeBytes / itemBytes_) : 0;
}

std::uint32_t StripArray::operator[](std::uint64_t index) const {
  if (index >= size_) return 0;
  LittleEndianReader item(bytes_ + index * itemBytes_, itemBytes_);
  return itemBytes_ == 2 ? item.U16() : item.U32();
}

StripTable::StripTable(const TiffTag& stripOffsets, const TiffTag& stripByteCounts)
    : offsets(stripOffsets),
      byteCounts(stripByteCounts),
      stripCount(std::min<std::uint64_t>(stripOffsets.count, byteCounts.Size())),
      totalBytes(0) {
  for (std::uint64_t i = 0; i < stripCount; ++i) totalBytes += byteCounts[i];
}

void GatherStrips(FILE* file, const StripTable& strips, unsigned char* pixels) {
  for (std::uint64_t i = 0; i < strips.stripCount; ++i) {
    const std::uint32_t stripBytes = strips.byteCounts[i];
    if (stripBytes == 0) continue;
    ReadAt(file, strips.offsets[i], pixels, stripBytes);
    pixels += stripBytes;
  }
}

template <typename Sample>
void InterleavePlanes(const unsigned char* planes, std::uint64_t availableBytes,
                      std::uint64_t pixelCount, unsigned planeCount, unsigned char* pixels) {
  for (unsigned plane = 0; plane < planeCount; ++plane) {
    const std::uint64_t present = std::min(availableBytes / sizeof(Sample), pixelCount);
    unsigned char* to = pixels + plane * sizeof(Sample);
    for (std::uint64_t i = 0; i < present; ++i) {
      std::memcpy(to, planes, sizeof(Sample));
      planes += sizeof(Sample);
      to += planeCount * sizeof(Sample);
    }
    availableBytes -= present * sizeof(Sample);
    if (present < pixelCount) {
      std::copy_n(planes, availableBytes, to);
      return;
    }
  }
}

template void InterleavePlanes<unsigned char>(const unsigned char*, std::uint64_t, std::uint64_t,
                                              unsigned, unsigned char*);
template void InterleavePlanes<unsigned short>(const unsigned char*, std::uint64_t, std::uint64_t,
                                               unsigned, unsigned char*);

void HoldPixels(TiffTag& stripOffsets, unsigned char* buffer) {
  if (stripOffsets.count != 1 || IsOutOfLine(stripOffsets)) {
    stripOffsets.type = TIFF_LONG;
    stripOffsets.count = 1;
  }
  stripOffsets.data = buffer;
}

bool HoldsPixels(const TiffTag& stripOffsets) {
  return stripOffsets.data && !IsOutOfLine(stripOffsets);
}

}  // namespace KX_Tiff_STL3

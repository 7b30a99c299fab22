#include "PixelData.h"

#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "../base/Bytes.h"
#include "../base/FileStream.h"
#include "../base/SaturatingMath.h"
#include "StripOffsetsTag.h"
#include "TagData.h"

namespace KX_Tiff_STL3 {

std::uint64_t ChunkyBytes(const ImageGeometry& geometry) {
  const std::uint64_t pixelCount = std::uint64_t{geometry.length} * geometry.width;
  return SaturatingProduct(SaturatingProduct(pixelCount, geometry.bits), geometry.samples) >> 3;
}

std::uint64_t PlanarBytes(std::uint64_t pixelCount, unsigned samples, unsigned sampleBytes) {
  return SaturatingProduct(pixelCount, (samples == 3 ? 3u : 4u) * sampleBytes);
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

std::unique_ptr<unsigned char[]> UnfilledPixels(std::uint64_t bytes) {
  std::unique_ptr<unsigned char[]> pixels(new unsigned char[bytes]);
  constexpr std::uintptr_t kHugePage = std::uintptr_t{1} << 21;
  const auto begin = reinterpret_cast<std::uintptr_t>(pixels.get());
  const std::uintptr_t firstHugePage = (begin + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t end = (begin + bytes) & ~(kHugePage - 1);
  // A page of 4 KiB costs a fault of its own, altogether more time than the conversion takes. A
  // refusal changes nothing.
  if (firstHugePage < end) {
    static_cast<void>(
        madvise(reinterpret_cast<void*>(firstHugePage), end - firstHugePage, MADV_HUGEPAGE));
  }
  return pixels;
}

StripArray::StripArray(const TiffTag& tag)
    : bytes_(tag.data), itemBytes_(tag.type == TIFF_SHORT && tag.count != 1 ? 2 : 4) {
  std::uint64_t sizeBytes = TagDataBytes(tag);
  if (!IsOutOfLine(tag)) {
    kxcms::StoreLittle32(inline_, tag.value);
    bytes_ = inline_;
    sizeBytes = sizeof inline_;
  }
  size_ = bytes_ ? std::min<std::uint64_t>(tag.count, sizeBytes / itemBytes_) : 0;
}

std::uint32_t StripArray::operator[](std::uint64_t index) const {
  if (index >= size_) return 0;
  kxcms::LittleEndianReader item(bytes_ + index * itemBytes_, itemBytes_);
  return itemBytes_ == 2 ? item.U16() : item.U32();
}

StripTable::StripTable(const TiffTag& stripOffsets, const TiffTag& stripByteCounts)
    : offsets(stripOffsets),
      byteCounts(stripByteCounts),
      stripCount(std::min<std::uint64_t>(stripOffsets.count, byteCounts.Size())),
      totalBytes(0) {
  for (std::uint64_t i = 0; i < stripCount; ++i) totalBytes += byteCounts[i];
}

namespace {

/// A file with more strips than one to this many bytes is read as a whole: a seek and a read for
/// each of some million strips would take minutes.
constexpr std::uint64_t kFileBytesPerSeek = 512;

/// As `ReadAt` of a file, from its bytes.
void CopyAt(const std::vector<unsigned char>& bytes, std::uint64_t offset, unsigned char* to,
            std::uint64_t sizeBytes) {
  const std::uint64_t from = std::min<std::uint64_t>(offset, bytes.size());
  const std::uint64_t present = std::min(sizeBytes, bytes.size() - from);
  std::copy_n(bytes.data() + from, present, to);
  std::fill_n(to + present, sizeBytes - present, static_cast<unsigned char>(0));
}

}  // namespace

bool AreGatheredFromCopy(FILE* file, const StripTable& strips) {
  return strips.stripCount > FileBytes(file) / kFileBytesPerSeek;
}

void GatherStrips(FILE* file, const StripTable& strips, unsigned char* pixels) {
  const bool copiesFile = AreGatheredFromCopy(file, strips);
  std::vector<unsigned char> bytes(copiesFile ? FileBytes(file) : 0);
  if (copiesFile) ReadAt(file, 0, bytes.data(), bytes.size());
  for (std::uint64_t i = 0; i < strips.stripCount; ++i) {
    const std::uint32_t stripBytes = strips.byteCounts[i];
    if (stripBytes == 0) continue;
    if (copiesFile) {
      CopyAt(bytes, strips.offsets[i], pixels, stripBytes);
    } else {
      ReadAt(file, strips.offsets[i], pixels, stripBytes);
    }
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

void HoldPixels(TiffTag& stripOffsets, unsigned char* buffer, std::uint64_t pixelBytes) {
  if (stripOffsets.count != 1 || IsOutOfLine(stripOffsets)) {
    stripOffsets.type = TIFF_LONG;
    stripOffsets.count = 1;
  }
  SetPixels(stripOffsets, buffer, pixelBytes);
}

void SetPixels(TiffTag& stripOffsets, unsigned char* buffer, std::uint64_t pixelBytes) {
  stripOffsets.data = buffer;
  if (auto* tag = dynamic_cast<StripOffsetsTag*>(&stripOffsets)) {
    tag->pixels = buffer;
    tag->pixelBytes = pixelBytes;
  }
}

bool HoldsPixels(const TiffTag& stripOffsets) {
  return stripOffsets.data && !IsOutOfLine(stripOffsets);
}

std::optional<std::uint64_t> HeldPixelBytes(const TiffTag& stripOffsets) {
  const auto* tag = dynamic_cast<const StripOffsetsTag*>(&stripOffsets);
  if (!tag || !tag->data || tag->pixels != tag->data) return std::nullopt;
  return tag->pixelBytes;
}

}  // namespace KX_Tiff_STL3

#ifndef KXCMS_PIPELINE_PRECISE_PIXELRUN_H
#define KXCMS_PIPELINE_PRECISE_PIXELRUN_H

#include <cstddef>
#include <cstdint>

// Included by the sources of the instruction-set levels: plain declarations only, no inline
// functions, which the linker could keep in their widest form for every CPU.

namespace kxcms {

/// How a sample is stored, in the byte order of the machine. Integers count from 0 to their largest
/// value for 0 to 1; half is IEEE 754 binary16, float is binary32.
enum class SampleType : std::uint8_t { kUInt8, kUInt16, kHalf, kFloat };

/// Bytes of a sample.
constexpr int SizeOf(SampleType type) {
  return type == SampleType::kUInt8 ? 1 : type == SampleType::kFloat ? 4 : 2;
}

/// Pixels at equal distances in memory: where the first one's samples lie, R, G, B and alpha, and
/// how many bytes further the next one's. Nothing needs to be aligned. Samples of one pixel may lie
/// anywhere: interleaved in any order, with other bytes between them, or in planes of their own.
template <typename Byte>
struct PixelRun {
  Byte* samples[4];  ///< [3] is null where there is no alpha
  std::ptrdiff_t pixelStride;
  SampleType type;
  /// R, G and B are stored times alpha. Means nothing without alpha.
  bool isAssociated;
};

using SourceRun = PixelRun<const unsigned char>;
using DestinationRun = PixelRun<unsigned char>;

/// What a destination with alpha gets: the source's alpha, where it has one, or 1.
enum class AlphaResult : std::uint8_t { kKept, kOpaque };

}  // namespace kxcms

#endif

#include "BitsPerSampleTag.h"

#include <algorithm>

#include "../base/Bytes.h"
#include "TagData.h"

namespace KX_Tiff_STL3 {
namespace {

// SamplesPerPixel is a SHORT.
constexpr unsigned kMaxSamples = 65535;

}  // namespace

BitsPerSampleTag::BitsPerSampleTag(unsigned tagAndType, unsigned sampleCount, unsigned bitDepth,
                                   FILE* file)
    : TiffTag(tagAndType, sampleCount, bitDepth, file) {
  if (file || count < 2 || count > kMaxSamples) return;
  auto entries = NewTagData(tag, std::max<std::uint64_t>(2 * count, TagDataBytes(*this)));
  for (unsigned i = 0; i < count; ++i) kxcms::StoreLittle16(entries.get() + 2 * i, value);
  data = entries.release();
}

BitsPerSampleTag::~BitsPerSampleTag() = default;

unsigned BitsPerSampleTag::GetValue() const {
  if (count == 1) return value;
  return data ? kxcms::LittleEndianReader(data, 2).U16() : 0;
}

}  // namespace KX_Tiff_STL3

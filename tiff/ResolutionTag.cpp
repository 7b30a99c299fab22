#include "ResolutionTag.h"

#include "../base/Bytes.h"
#include "TagData.h"

namespace KX_Tiff_STL3 {

ResolutionTag::ResolutionTag(unsigned tagAndType, unsigned itemCount, unsigned dotsPerUnit,
                             FILE* file)
    : TiffTag(tagAndType, itemCount, dotsPerUnit, file) {
  if (file || TagDataBytes(*this) > kStandInTagBytes) return;
  data = NewTagData(tag, TagDataBytes(*this)).release();
  kxcms::StoreLittle32(data, value * kResolutionDenominator);
  kxcms::StoreLittle32(data + 4, kResolutionDenominator);
}

ResolutionTag::~ResolutionTag() = default;

unsigned ResolutionTag::GetValue() const {
  if (!data) return 0;
  kxcms::LittleEndianReader rational(data, kRationalBytes);
  const unsigned numerator = rational.U32();
  const unsigned denominator = rational.U32();
  return denominator ? numerator / denominator : 0;
}

}  // namespace KX_Tiff_STL3

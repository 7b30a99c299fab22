#include "CXYZType.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

namespace {

/// The word that `Initial` stores for a double: the sign is dropped after rounding (so -0.5 gives
/// 0x7FFF, not 0x8000), and the bytes are in file order. Both are kept so that results stay
/// identical. Values beyond the range of s15Fixed16 give its largest word, NaN gives 0.
int UnsignedFileWord(double value) {
  constexpr double kLargest = 2147483647.0;
  const double scaled = value * 65536 + 0.5;
  const double bounded = std::isnan(scaled) ? 0.0 : std::clamp(scaled, -kLargest, kLargest);
  const auto word = static_cast<std::int32_t>(bounded);
  return static_cast<int>(
      kxcms::SwapBigEndian(static_cast<std::uint32_t>(word < 0 ? -word : word)));
}

}  // namespace

CXYZType::CXYZType() : fixedX(0), fixedY(0), fixedZ(0), X(0.0), Y(0.0), Z(0.0) {
  size = 20;
}

CXYZType::~CXYZType() = default;

void Parse(CXYZType& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseBase(tag, signature, bytes, budget);
  kxcms::BigEndianReader reader = bytes.ReadFrom(8);
  tag.fixedX = reader.S32();
  tag.fixedY = reader.S32();
  tag.fixedZ = reader.S32();
  tag.X = FromS15Fixed16(tag.fixedX);
  tag.Y = FromS15Fixed16(tag.fixedY);
  tag.Z = FromS15Fixed16(tag.fixedZ);
}

int CXYZType::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes, int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

int CXYZType::Initial(ICC4_HEADER::icTagSignature signature, double x, double y, double z) {
  tagSignature = signature;
  X = x;
  Y = y;
  Z = z;
  fixedX = UnsignedFileWord(x);
  fixedY = UnsignedFileWord(y);
  fixedZ = UnsignedFileWord(z);
  return 0;
}

int CXYZType::Save(FILE* stream) {
  if (stream == nullptr) return 0;
  unsigned char bytes[20] = {'X', 'Y', 'Z', ' '};
  std::memcpy(bytes + 8, &fixedX, 4);
  std::memcpy(bytes + 12, &fixedY, 4);
  std::memcpy(bytes + 16, &fixedZ, 4);
  std::fwrite(bytes, 1, sizeof bytes, stream);
  return 0;
}

}  // namespace ICCFILE
}  // namespace ICC40

#include "CChad.h"

#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

CChad::CChad() : matrix{} {}

CChad::~CChad() = default;

void Parse(CChad& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseBase(tag, signature, bytes, budget);
  kxcms::BigEndianReader reader = bytes.ReadFrom(8);
  for (auto& row : tag.matrix) {
    for (double& element : row) element = FromS15Fixed16(reader.S32());
  }
}

int CChad::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes, int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

}  // namespace ICCFILE
}  // namespace ICC40

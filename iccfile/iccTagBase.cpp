#include "iccTagBase.h"

#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

iccTagBase::iccTagBase() : ICC4_HEADER::icTagBase{}, tagSignature{}, size(0), data(nullptr) {}

iccTagBase::~iccTagBase() {
  delete[] data;
}

int iccTagBase::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes,
                        int sizeBytes) {
  const TagBytes source = CallersBytes(bytes, sizeBytes);
  ReadBudget budget(ReaderLimit(source.present));
  ParseBase(*this, signature, source, budget);
  return size;
}

int iccTagBase::Initial(ICC4_HEADER::icTagSignature signature,
                        ICC4_HEADER::icTagTypeSignature type) {
  tagSignature = signature;
  typeSignature = type;
  size = 0;
  Replace(data, {});
  return 0;
}

int iccTagBase::Read(FILE*) {
  return 0;
}

int iccTagBase::Save(FILE*) {
  return 0;
}

}  // namespace ICCFILE
}  // namespace ICC40

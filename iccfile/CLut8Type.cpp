#include "CLut8Type.h"

#include "LutTagParsing.h"

namespace ICC40 {
namespace ICCFILE {

CLut8Type::CLut8Type()
    : inputChannels(0),
      outputChannels(0),
      gridPoints(0),
      reservedByte(0),
      matrix{},
      inputEntries(0),
      outputEntries(0),
      inputTables(nullptr),
      colorTable(nullptr),
      outputTables(nullptr) {}

CLut8Type::~CLut8Type() {
  delete[] inputTables;
  delete[] colorTable;
  delete[] outputTables;
}

// By the header of the 16-bit form: a real 'mft1' tag (ICC.1:2010 10.9) has no entry counts, and
// the first four bytes of its input tables are taken for them. Kept so that results stay identical.
void Parse(CLut8Type& tag, ICC4_HEADER::icTagSignature signature, const TagBytes& bytes,
           ReadBudget& budget) {
  ParseTableTag(tag, signature, bytes, budget);
}

int CLut8Type::Initial(ICC4_HEADER::icTagSignature signature, unsigned char* bytes, int sizeBytes) {
  return ParseAlone(*this, signature, bytes, sizeBytes);
}

}  // namespace ICCFILE
}  // namespace ICC40

#include "units/kernels/GridKernels.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "engine/Info.h"
#include "tests/reference/RandomProfile.h"
#include "units/ColorTable33.h"
#include "units/ColorTable34.h"
#include "units/ColorTable36.h"
#include "units/ColorTable37.h"

// The buffer conversions of the colour tables, whose workers differ by instruction set, against the
// 16-bit conversion pixel by pixel.

using namespace ICC40::ICC_UNIT;

namespace {

enum class NodeValues { kWords, kAnyInt };

template <typename Table>
std::unique_ptr<Table> RandomTable(reference::Dice& dice, int gridPoints, NodeValues values) {
  auto table = std::make_unique<Table>();
  std::vector<int> cells(static_cast<std::size_t>(gridPoints) * gridPoints * gridPoints * 7);
  for (int& value : cells) {
    value = values == NodeValues::kWords ? dice.Between(0, 65535) : static_cast<int>(dice.Bits());
  }
  table->SetColorTable(cells.data(), gridPoints);
  return table;
}

template <typename Table, int kSamples>
void ExpectSame(NodeValues values) {
  reference::Dice dice(kSamples);
  for (const int gridPoints : {9, 17, 33, 5}) {
    const auto table = RandomTable<Table>(dice, gridPoints, values);
    const int pixels = 3000;
    Info info;
    info.workingCount = pixels;
    info.workingSize = pixels * kSamples;
    info.workingBuf = new unsigned short[static_cast<std::size_t>(info.workingSize)];
    std::vector<unsigned short> expected(static_cast<std::size_t>(info.workingSize));
    for (int p = 0; p < pixels; ++p) {
      unsigned short v[7] = {};
      for (int s = 0; s < kSamples; ++s) {
        // Ties and cell boundaries beside any level.
        const int any = dice.Between(0, 65535);
        const int sample = p % 3 == 0 ? any : p % 3 == 1 ? any & 0xF800 : (any & 0xF800) | 1024;
        v[s] = static_cast<unsigned short>(sample);
        info.workingBuf[p * kSamples + s] = v[s];
      }
      table->Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
      std::copy_n(v, kSamples, &expected[static_cast<std::size_t>(p) * kSamples]);
    }
    EXPECT_EQ(static_cast<Base&>(*table).Conversion(&info), 0);
    const std::vector<unsigned short> actual(info.workingBuf, info.workingBuf + info.workingSize);
    EXPECT_EQ(actual, expected) << kSamples << " samples, " << gridPoints << " grid points";
  }
}

// Inverts after the table's own conversion.
class Inverting : public ColorTable33 {
 public:
  using ColorTable33::Conversion;
  int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override {
    c0 = static_cast<unsigned short>(~c0);
    c1 = static_cast<unsigned short>(~c1);
    c2 = static_cast<unsigned short>(~c2);
    return 0;
  }
};

}  // namespace

TEST(GridKernels, BufferAndPixelConversionsAgree) {
  ExpectSame<ColorTable33, 3>(NodeValues::kWords);
  ExpectSame<ColorTable34, 4>(NodeValues::kWords);
  ExpectSame<ColorTable36, 6>(NodeValues::kWords);
  ExpectSame<ColorTable37, 7>(NodeValues::kWords);
}

TEST(GridKernels, SumsWrap) {
  ExpectSame<ColorTable33, 3>(NodeValues::kAnyInt);
  ExpectSame<ColorTable34, 4>(NodeValues::kAnyInt);
  ExpectSame<ColorTable36, 6>(NodeValues::kAnyInt);
  ExpectSame<ColorTable37, 7>(NodeValues::kAnyInt);
}

TEST(GridKernels, ADerivedTablesOwnConversionIsCalled) {
  reference::Dice dice(1);
  const auto table = RandomTable<Inverting>(dice, 9, NodeValues::kWords);
  Info info;
  info.workingCount = 1;
  info.workingSize = 3;
  info.workingBuf = new unsigned short[3]{1, 2, 3};
  EXPECT_EQ(static_cast<Base&>(*table).Conversion(&info), 0);
  EXPECT_EQ(info.workingBuf[0], 65534);
  EXPECT_EQ(info.workingBuf[2], 65532);
}

#include "units/kernels/GridKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "base/CpuLevel.h"
#include "tests/reference/RandomProfile.h"
#include "units/ColorTable33.h"
#include "units/ColorTable34.h"
#include "units/ColorTable36.h"
#include "units/ColorTable37.h"
#include "units/Info.h"

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

struct Level {
  const char* name;
  GridKernel (*kernel)(int samplesPerPixel);
};

// Those that this processor runs.
std::vector<Level> Levels() {
  std::vector<Level> levels = {{"portable", PortableGridKernel}};
#if defined(__x86_64__)
  if (ICC40::SupportedCpuLevel() >= ICC40::CpuLevel::kAvx2) {
    levels.push_back({"avx2", Avx2GridKernel});
  }
#endif
  return levels;
}

using Samples = std::vector<unsigned short>;

// Also ties and cell boundaries, beside any sample.
template <int kSamples>
Samples RandomPixels(reference::Dice& dice, int pixels) {
  Samples samples;
  for (int p = 0; p < pixels; ++p) {
    for (int s = 0; s < kSamples; ++s) {
      const int any = dice.Between(0, 65535);
      const int sample = p % 3 == 0 ? any : p % 3 == 1 ? any & 0xF800 : (any & 0xF800) | 1024;
      samples.push_back(static_cast<unsigned short>(sample));
    }
  }
  return samples;
}

template <int kSamples>
Samples PixelByPixel(ColorTable33& table, Samples samples) {
  for (auto pixel = samples.begin(); pixel != samples.end(); pixel += kSamples) {
    unsigned short v[7] = {};
    std::copy_n(pixel, kSamples, v);
    table.Conversion(v[0], v[1], v[2], v[3], v[4], v[5], v[6]);
    std::copy_n(v, kSamples, pixel);
  }
  return samples;
}

Samples ThroughRunState(Base& table, const Samples& samples, int pixels) {
  Info info;
  info.workingCount = pixels;
  info.workingSize = static_cast<int>(samples.size());
  info.workingBuf = new unsigned short[samples.size()];
  std::copy(samples.begin(), samples.end(), info.workingBuf);
  EXPECT_EQ(table.Conversion(&info), 0);
  return {info.workingBuf, info.workingBuf + info.workingSize};
}

// With a guard on both sides, which must stay.
Samples ThroughKernel(GridKernel kernel, const ColorTable33& table, const Samples& samples,
                      int pixels) {
  constexpr unsigned short kGuard = 0xA5C3;
  Samples guarded(8, kGuard);
  guarded.insert(guarded.end(), samples.begin(), samples.end());
  guarded.resize(guarded.size() + 8, kGuard);
  kernel({table.grid[0][0][0], table.shift, table.mask}, guarded.data() + 8, pixels);
  EXPECT_EQ(Samples(guarded.begin(), guarded.begin() + 8), Samples(8, kGuard));
  EXPECT_EQ(Samples(guarded.end() - 8, guarded.end()), Samples(8, kGuard));
  return {guarded.begin() + 8, guarded.end() - 8};
}

template <typename Table, int kSamples>
void ExpectSame(NodeValues values) {
  reference::Dice dice(kSamples);
  for (const int gridPoints : {9, 17, 33, 5}) {
    const auto table = RandomTable<Table>(dice, gridPoints, values);
    for (const int pixels : {0, 1, 2, 3000}) {
      SCOPED_TRACE(testing::Message() << kSamples << " samples, " << gridPoints << " grid points, "
                                      << pixels << " pixels");
      const Samples samples = RandomPixels<kSamples>(dice, pixels);
      const Samples expected = PixelByPixel<kSamples>(*table, samples);
      EXPECT_EQ(ThroughRunState(*table, samples, pixels), expected);
      for (const Level& level : Levels()) {
        EXPECT_EQ(ThroughKernel(level.kernel(kSamples), *table, samples, pixels), expected)
            << level.name;
      }
    }
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

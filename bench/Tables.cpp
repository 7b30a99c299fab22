#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Setup.h"
#include "iccfile/CLut16Type.h"
#include "units/ColorTable33.h"
#include "units/ColorTable34.h"
#include "units/ColorTable36.h"
#include "units/ColorTable37.h"
#include "units/Info.h"

namespace Bench {

namespace {

using namespace ICC40::ICC_UNIT;
using ICC40::ICCFILE::CLut16Type;

constexpr int kPixels = 1 << 20;
constexpr int kGridPoints = 17;

/// A lookup tag whose nodes lie on different slopes in every channel.
std::unique_ptr<CLut16Type> MakeLut(int channels) {
  auto lut = std::make_unique<CLut16Type>();
  lut->inputChannels = 3;
  lut->outputChannels = static_cast<unsigned char>(channels);
  lut->gridPoints = kGridPoints;
  lut->colorTable = new unsigned short[kGridPoints * kGridPoints * kGridPoints * channels];
  unsigned short* value = lut->colorTable;
  for (int i = 0; i < kGridPoints; ++i) {
    for (int j = 0; j < kGridPoints; ++j) {
      for (int k = 0; k < kGridPoints; ++k) {
        for (int c = 0; c < channels; ++c) {
          *value++ = static_cast<unsigned short>((i * (c + 1) + j * (c + 3) + k * 7) * 65535 /
                                                 ((2 * c + 11) * (kGridPoints - 1)));
        }
      }
    }
  }
  return lut;
}

/// The picture's pixels as the first three samples of `channels`.
std::vector<unsigned short> SpreadOut(const Setup& setup, int channels) {
  const std::vector<std::uint16_t>& photo = setup.material.photo.samples16;
  std::vector<unsigned short> samples(static_cast<std::size_t>(channels) * kPixels);
  // From the middle of the picture, where it has texture.
  auto from = photo.begin() + static_cast<std::ptrdiff_t>(photo.size() / 6 * 3);
  for (auto to = samples.begin(); to != samples.end(); to += channels, from += 3) {
    std::copy_n(from, 3, to);
  }
  return samples;
}

using Buffer = std::vector<unsigned short>;

void ConvertBuffer(Base& table, Buffer& buffer) {
  Info info;
  info.workingBuf = buffer.data();
  info.workingCount = kPixels;
  info.workingSize = static_cast<int>(buffer.size());
  table.Conversion(&info);
  info.workingBuf = nullptr;  // stays the vector's
}

// A pixel a call, through the virtual slot that defines the result.
void ConvertPixelByPixel(Base& table, Buffer& buffer, int channels) {
  const auto end = buffer.data() + buffer.size();
  for (unsigned short* p = buffer.data(); p != end; p += channels) {
    unsigned short unused = 0;
    table.Conversion(p[0], p[1], p[2], channels > 3 ? p[3] : unused, channels > 4 ? p[4] : unused,
                     channels > 5 ? p[5] : unused, channels > 6 ? p[6] : unused);
  }
}

/// Times `convert(buffer)` alone; it works in place, so the pixels are put back before each run.
template <typename Convert>
void RunInPlace(benchmark::State& state, const Setup& setup, int channels, const Convert& convert) {
  using Clock = std::chrono::steady_clock;
  UseThreads(1);
  const Buffer pixels = SpreadOut(setup, channels);
  Buffer buffer = pixels;
  for (auto _ : state) {
    std::copy(pixels.begin(), pixels.end(), buffer.begin());
    const auto start = Clock::now();
    convert(buffer);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  state.counters["pixels"] = kPixels;
}

template <typename Table>
void Register(const Setup& setup, const std::string& className, int channels) {
  const std::string name = std::to_string(channels) + " channels, photo";
  const std::unique_ptr<CLut16Type> lut = MakeLut(channels);
  const auto own = std::make_shared<Table>();
  own->Initial(lut.get());
  Buffer expected = SpreadOut(setup, channels);
  ConvertPixelByPixel(*own, expected, channels);

  for (const Library& library : setup.libraries) {
    const std::shared_ptr<Table> table = library.MakeTable<Table>(className);
    table->Initial(lut.get());
    Buffer actual = SpreadOut(setup, channels);
    ConvertBuffer(*table, actual);
    if (actual != expected) {
      throw std::runtime_error(className + " at level " + library.LevelName() +
                               " differs from its own pixels");
    }
    AddCase(setup, "table", name, library.LevelName(),
            [&setup, table, channels](benchmark::State& state) {
              RunInPlace(state, setup, channels,
                         [&table](Buffer& buffer) { ConvertBuffer(*table, buffer); });
            })
        ->UseManualTime();
  }
  AddCase(setup, "table", name, kPlain, [&setup, own, channels](benchmark::State& state) {
    RunInPlace(state, setup, channels,
               [&](Buffer& buffer) { ConvertPixelByPixel(*own, buffer, channels); });
  })->UseManualTime();
}

}  // namespace

void RegisterTables(const Setup& setup) {
  Register<ColorTable33>(setup, "ColorTable33", 3);
  Register<ColorTable34>(setup, "ColorTable34", 4);
  Register<ColorTable36>(setup, "ColorTable36", 6);
  Register<ColorTable37>(setup, "ColorTable37", 7);
}

}  // namespace Bench

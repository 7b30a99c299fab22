#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "base/CpuLevel.h"
#include "bench/Setup.h"
#include "pipeline/FixedConversion.h"
#include "profile/ProfileReader.h"

// The fixed pipeline as handles have it, beside the fixed interface's rows of the same names.

namespace Bench {

namespace {

using kxcms::AlphaResult;
using kxcms::FixedConversion;
using kxcms::SampleType;

kxcms::DeviceProfile ReadProfile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), {}};
  if (bytes.empty()) throw std::runtime_error(path + ": cannot be read");
  return kxcms::ReadProfile(bytes);
}

struct HandleFormat {
  const char* name;
  SampleType from, to;
};
constexpr HandleFormat kHandleFormats[] = {
    {"8 to 8", SampleType::kUInt8, SampleType::kUInt8},
    {"8 to 16", SampleType::kUInt8, SampleType::kUInt16},
    {"16 to 16", SampleType::kUInt16, SampleType::kUInt16},
};

constexpr int BytesOf(SampleType type) {
  return type == SampleType::kUInt8 ? 1 : 2;
}

template <typename Byte>
kxcms::PixelRun<Byte> Packed(Byte* first, SampleType type) {
  const int size = BytesOf(type);
  return {{first, first + size, first + 2 * size, nullptr}, 3 * size, type, false};
}

}  // namespace

void RegisterFixed(const Setup& setup) {
  static const kxcms::DeviceProfile profile = ReadProfile(setup.material.profile);
  static const FixedConversion conversion(profile, ICC40::ICCFILE::sRGB, {});
  const char* const level = ICC40::NameOf(ICC40::ChosenCpuLevel());
  const int pixels = setup.material.Pixels();
  static std::vector<unsigned char> results;
  results.assign(std::size_t{6} * static_cast<std::size_t>(pixels), 1);
  for (const HandleFormat& format : kHandleFormats) {
    for (const Picture* picture : {&setup.material.photo, &setup.material.random}) {
      Measure(setup, "handle", std::string(format.name) + ", " + picture->name, level,
              [=](benchmark::State& state) {
                const auto from = Packed(picture->Bytes(BytesOf(format.from)), format.from);
                const auto to = Packed(results.data(), format.to);
                for (auto _ : state) {
                  conversion.Convert(from, to, AlphaResult::kKept, pixels);
                  benchmark::ClobberMemory();
                }
                state.counters["pixels"] = pixels;
              });
    }
  }
  Measure(setup, "creation", "fixed, all tables", level, [](benchmark::State& state) {
    for (auto _ : state) {
      benchmark::DoNotOptimize(FixedConversion(profile, ICC40::ICCFILE::sRGB, {}));
    }
  });
}

}  // namespace Bench

#include "bench/Material.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>

#include "tiff/CTiff.h"
#include "tools/sample/SampleProfile.h"
#include "tools/sample/Scanner.h"
#include "tools/sample/Scene.h"

namespace Bench {

namespace {

constexpr int kSamples = 3;
constexpr int kResolution = 300;

void WriteProfile(const std::string& path) {
  const std::vector<unsigned char> bytes = MakeSampleProfile();
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

std::vector<std::uint16_t> ScanOfScene() {
  std::vector<std::uint16_t> samples;
  samples.reserve(std::size_t{kSamples} * Scene::kWidth * Scene::kLength);
  for (int y = 0; y < Scene::kLength; ++y) {
    for (int x = 0; x < Scene::kWidth; ++x) {
      for (const double value : Scanner::FromLab(Scene::Lab(x, y))) {
        samples.push_back(static_cast<std::uint16_t>(std::lround(value * 65535)));
      }
    }
  }
  return samples;
}

void ReduceTo8Bits(Picture& picture) {
  picture.samples8.resize(picture.samples16.size());
  std::transform(picture.samples16.begin(), picture.samples16.end(), picture.samples8.begin(),
                 [](std::uint16_t v) { return static_cast<std::uint8_t>((v + 128) / 257); });
}

Picture TiledScene(int width, int length) {
  const std::vector<std::uint16_t> scan = ScanOfScene();
  constexpr std::size_t kRow = std::size_t{kSamples} * Scene::kWidth;
  Picture picture = {"photo", {}, {}};
  picture.samples16.resize(std::size_t{kSamples} * width * length);
  auto out = picture.samples16.begin();
  for (int y = 0; y < length; ++y) {
    const auto row = scan.begin() + static_cast<std::ptrdiff_t>(y % Scene::kLength * kRow);
    for (std::size_t left = std::size_t{kSamples} * width; left > 0;) {
      const std::size_t count = std::min(left, kRow);
      out = std::copy_n(row, count, out);
      left -= count;
    }
  }
  ReduceTo8Bits(picture);
  return picture;
}

Picture RandomPixels(int width, int length) {
  Picture picture = {"random", {}, {}};
  picture.samples16.resize(std::size_t{kSamples} * width * length);
  std::mt19937_64 generator(1);
  std::generate(picture.samples16.begin(), picture.samples16.end(),
                [&generator] { return static_cast<std::uint16_t>(generator()); });
  ReduceTo8Bits(picture);
  return picture;
}

void WriteTiff(const Picture& picture, int width, int length, int bits, const std::string& path) {
  KX_Tiff_STL3::CTiff image(width, length, kResolution, kSamples, bits, 1);
  if (image.GetImageBuf() == nullptr) throw std::runtime_error("no memory for " + path);
  std::memcpy(image.GetImageBuf(), picture.Bytes(bits / 8),
              picture.samples8.size() * static_cast<std::size_t>(bits / 8));
  if (image.SaveFile(path.c_str()) != 0) throw std::runtime_error("cannot write " + path);
}

}  // namespace

Material::Material(const std::string& folder, int theWidth, int theLength)
    : width(theWidth),
      length(theLength),
      profile(folder + "/scanner.icc"),
      sameProfile(folder + "/scanner-2.icc"),
      photo(TiledScene(width, length)),
      random(RandomPixels(width, length)) {
  WriteProfile(profile);
  WriteProfile(sameProfile);
  WriteTiff(photo, width, length, 8, folder + "/photo-8.tif");
  WriteTiff(photo, width, length, 16, folder + "/photo-16.tif");
}

}  // namespace Bench

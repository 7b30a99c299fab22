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

// The scene, enlarged between its pixels' centres.
class EnlargedScene {
 public:
  EnlargedScene(int width, int length)
      : scan_(ScanOfScene()),
        stepX_((Scene::kWidth - 1.0) / std::max(width - 1, 1)),
        stepY_((Scene::kLength - 1.0) / std::max(length - 1, 1)) {}

  double At(int x, int y, int channel) const {
    const int left = std::min(static_cast<int>(x * stepX_), Scene::kWidth - 2);
    const int top = std::min(static_cast<int>(y * stepY_), Scene::kLength - 2);
    const double toRight = x * stepX_ - left;
    const auto row = [&](int line) {
      const std::size_t at = kSamples * (std::size_t{Scene::kWidth} * line + left) + channel;
      return std::lerp(scan_[at], scan_[at + kSamples], toRight);
    };
    return std::lerp(row(top), row(top + 1), y * stepY_ - top);
  }

 private:
  std::vector<std::uint16_t> scan_;
  double stepX_, stepY_;
};

// Every sample has grain of its own. A repeated pattern would teach the branch prediction of the
// plain worker and of lcms2 what comes next, which no photograph does.
Picture GrainyScene(const char* name, double grain, int width, int length) {
  const EnlargedScene scene(width, length);
  Picture picture = {name, {}, {}};
  picture.samples16.reserve(std::size_t{kSamples} * width * length);
  std::mt19937 generator(1);
  for (int y = 0; y < length; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < kSamples; ++c) {
        const double noise = grain * 65535 * (generator() / 2147483647.5 - 1);
        const double sample = std::clamp(scene.At(x, y, c) + noise, 0.0, 65535.0);
        picture.samples16.push_back(static_cast<std::uint16_t>(std::lround(sample)));
      }
    }
  }
  ReduceTo8Bits(picture);
  return picture;
}

std::vector<Picture> CalmerScenes(int width, int length) {
  constexpr struct {
    const char* name;
    double grain;
  } kScenes[] = {{"no grain", 0}, {"grain 0.2 %", 0.002}, {"grain 0.5 %", 0.005}};
  std::vector<Picture> scenes;
  for (const auto& scene : kScenes) {
    scenes.push_back(GrainyScene(scene.name, scene.grain, width, length));
    scenes.back().samples16 = {};
  }
  return scenes;
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
      photo(GrainyScene("photo", 0.01, width, length)),
      random(RandomPixels(width, length)),
      calmer(CalmerScenes(width, length)) {
  WriteProfile(profile);
  WriteProfile(sameProfile);
  WriteTiff(photo, width, length, 8, folder + "/photo-8.tif");
  WriteTiff(photo, width, length, 16, folder + "/photo-16.tif");
}

}  // namespace Bench

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Colorimetry.h"
#include "SampleProfile.h"
#include "Scanner.h"
#include "Scene.h"
#include "codes/ColorCodes.h"
#include "interface/kxcms.h"
#include "tiff/CTiff.h"

namespace {

using namespace ICC40::ICCFILE;
using KX_Tiff_STL3::CTiff;

constexpr int kResolution = 300;
constexpr int kSamples = Scene::kWidth * Scene::kLength * 3;

std::string ProfilePath(const std::string& folder) {
  return folder + "/scanner.icc";
}
std::string ScanPath(const std::string& folder, int bits) {
  return folder + "/scan-" + std::to_string(bits) + ".tif";
}

double MaxSample(int bits) {
  return bits == 16 ? 65535 : 255;
}

unsigned GetSample(const unsigned char* samples, int bits, int index) {
  if (bits == 8) return samples[index];
  std::uint16_t sample;
  std::memcpy(&sample, samples + 2 * std::size_t(index), sizeof sample);
  return sample;
}

void PutSample(unsigned char* samples, int bits, int index, unsigned value) {
  if (bits == 8) {
    samples[index] = static_cast<unsigned char>(value);
    return;
  }
  const auto sample = static_cast<std::uint16_t>(value);
  std::memcpy(samples + 2 * std::size_t(index), &sample, sizeof sample);
}

void Save(CTiff& image, const std::string& path) {
  if (image.SaveFile(path.c_str()) != 0) throw std::runtime_error("cannot write " + path);
}

void Make(const std::string& folder) {
  std::string profilePath = ProfilePath(folder);
  const std::vector<unsigned char> profile = MakeSampleProfile();
  std::ofstream file(profilePath, std::ios::binary);
  file.write(reinterpret_cast<const char*>(profile.data()),
             static_cast<std::streamsize>(profile.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + profilePath);

  for (const int bits : {8, 16}) {
    CTiff scan(Scene::kWidth, Scene::kLength, kResolution, 3, bits, 1);
    for (int y = 0, index = 0; y < Scene::kLength; ++y) {
      for (int x = 0; x < Scene::kWidth; ++x) {
        for (const double value : Scanner::FromLab(Scene::Lab(x, y))) {
          PutSample(scan.GetImageBuf(), bits, index++,
                    static_cast<unsigned>(std::lround(value * MaxSample(bits))));
        }
      }
    }
    scan.SetIccProfile(profilePath.data());
    Save(scan, ScanPath(folder, bits));
  }
}

/// Converts a scan's pixels with the C interface into a new image.
void ConvertBuffers(const std::string& folder, int bits, const std::string& resultPath) {
  using Clock = std::chrono::steady_clock;
  const auto milliseconds = [](Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
  };
  CTiff scan(ScanPath(folder, bits).c_str());
  CTiff result(Scene::kWidth, Scene::kLength, kResolution, 3, bits, 1);
  if (scan.GetImageBuf() == nullptr) throw std::runtime_error("cannot read the scan");

  const auto start = Clock::now();
  const int output = KX_Icc_SetProfile_2nd(ProfilePath(folder).c_str(), nullptr, Percepture,
                                           bits == 16 ? RGB_16 : RGB, bits == 16 ? sRGB_16 : sRGB);
  const auto ready = Clock::now();
  if (output == kNoColorCode ||
      KX_Icc_Convert2_2nd(scan.GetImageBuf(), result.GetImageBuf(), kSamples / 3) != 0) {
    throw std::runtime_error("the library refuses the profile");
  }
  const auto done = Clock::now();
  Save(result, resultPath);
  std::printf("set-up %.0f ms, conversion %.1f ms\n", milliseconds(ready - start),
              milliseconds(done - ready));
}

struct Difference {
  void Add(double deltaE) {
    sum += deltaE;
    largest = std::max(largest, deltaE);
    ++count;
  }
  double sum = 0;
  double largest = 0;
  int count = 0;
};

bool IsInSrgb(const Vector3& lab) {
  const Vector3 rgb = XyzToLinearSrgb(LabToXyz(lab));
  return std::all_of(rgb.begin(), rgb.end(), [](double v) { return v >= 0 && v <= 1; });
}

/// Prints how far an sRGB file lies from the colours of the scene.
void Compare(const std::string& path) {
  CTiff result(path.c_str());
  if (result.GetImageBuf() == nullptr || result.Width != Scene::kWidth ||
      result.Length != Scene::kLength || result.Samples != 3) {
    throw std::runtime_error(path + " is not a converted sample");
  }
  Difference all;
  Difference inGamut;
  for (int y = 0, index = 0; y < Scene::kLength; ++y) {
    for (int x = 0; x < Scene::kWidth; ++x) {
      Vector3 encoded;
      for (double& v : encoded) {
        v = GetSample(result.GetImageBuf(), result.Bits, index++) / MaxSample(result.Bits);
      }
      const Vector3 truth = Scene::Lab(x, y);
      const double deltaE = DeltaE76(truth, SrgbToLab(encoded));
      all.Add(deltaE);
      if (IsInSrgb(truth)) inGamut.Add(deltaE);
    }
  }
  std::printf(
      "CIE76 mean %.2f, max %.2f; within sRGB (%.1f %% of the pixels) mean %.2f, max %.2f\n",
      all.sum / all.count, all.largest, 100.0 * inGamut.count / all.count,
      inGamut.sum / inGamut.count, inGamut.largest);
}

int Usage() {
  std::cerr << "usage: kxcms-sample make FOLDER\n"
               "       kxcms-sample convert FOLDER 8|16 RESULT.tif\n"
               "       kxcms-sample compare RESULT.tif\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const std::string verb = arguments.empty() ? "" : arguments[0];
  try {
    if (verb == "make" && arguments.size() == 2) {
      Make(arguments[1]);
    } else if (verb == "convert" && arguments.size() == 4 &&
               (arguments[2] == "8" || arguments[2] == "16")) {
      ConvertBuffers(arguments[1], std::stoi(arguments[2]), arguments[3]);
    } else if (verb == "compare" && arguments.size() == 2) {
      Compare(arguments[1]);
    } else {
      return Usage();
    }
  } catch (const std::exception& failure) {
    std::cerr << "kxcms-sample: " << failure.what() << '\n';
    return 1;
  }
  return 0;
}

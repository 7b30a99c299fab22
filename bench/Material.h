#ifndef KXCMS_BENCH_MATERIAL_H
#define KXCMS_BENCH_MATERIAL_H

#include <cstdint>
#include <string>
#include <vector>

namespace Bench {

/// A picture at both depths, three samples a pixel.
struct Picture {
  const char* name;
  std::vector<std::uint8_t> samples8;
  std::vector<std::uint16_t> samples16;

  const unsigned char* Bytes(int sampleBytes) const {
    return sampleBytes == 1 ? samples8.data()
                            : reinterpret_cast<const unsigned char*>(samples16.data());
  }
};

/// What all cases work on: the sample scanner's profile (33 grid points, curves of 1024 entries), a
/// photo-like picture (the sample scene enlarged, with grain of 1 %), one of random pixels, and the
/// scene with less grain, at 8 bits.
///
/// Constructing it writes scanner.icc, the same as scanner-2.icc, and the photo-like picture as
/// photo-8.tif and photo-16.tif into the folder.
struct Material {
  Material(const std::string& folder, int width, int length);

  int Pixels() const { return width * length; }

  int width, length;
  std::string profile;
  std::string sameProfile;  ///< under another name
  Picture photo;
  Picture random;
  std::vector<Picture> calmer;
};

}  // namespace Bench

#endif

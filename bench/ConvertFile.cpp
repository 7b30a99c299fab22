// Converts one TIFF file through the C interface, as a process of its own. The last line that it
// prints is the time of KX_Icc_ConvertFile alone, in seconds.
// usage: kxcms_bench_file PROFILE 8|16 IN.tif OUT.tif

#include <chrono>
#include <cstdio>
#include <cstring>

#include "interface/kxcms.h"

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const bool is16 = std::strcmp(argv[2], "16") == 0;
  const int output = is16 ? KX_COLOR_SRGB_16 : KX_COLOR_SRGB;
  if (KX_Icc_SetProfileF(argv[1], nullptr, KX_INTENT_PERCEPTUAL,
                         is16 ? KX_COLOR_RGB_16 : KX_COLOR_RGB, output) != output) {
    return 1;
  }
  // Tables that the first conversion makes belong to the profile's selection.
  alignas(2) unsigned char pixels[6 * 256] = {};
  KX_Icc_Convert2(pixels, pixels, 256);
  const auto start = std::chrono::steady_clock::now();
  if (KX_Icc_ConvertFile(argv[3], argv[4]) != output) return 1;
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  std::printf("%.6f\n", time.count());
  return 0;
}

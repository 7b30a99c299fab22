// What a program does that converts pictures and tags them:
//   tagging spaces                lists the built-in spaces
//   tagging write SPACE VERSION   writes the profile to standard output
//   tagging convert SPACE BITS    converts sRGB pixels, three numbers from 0 to 1 a line, to a
//   space,
//                                 in samples of 8, 16 or 32 (float) bits, and prints them likewise

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "api/pipeline.h"

namespace {

kxp_profile* Space(const char* name) {
  kxp_profile* profile = nullptr;
  if (kxp_profile_builtin(name, &profile, nullptr) != KXP_OK) std::exit(1);
  return profile;
}

int Write(const char* name, const char* version) {
  kxp_profile* const space = Space(name);
  std::size_t size = 0;
  std::vector<unsigned char> bytes(1 << 16);
  kxp_error error = {};
  error.size = sizeof error;
  const kxp_status status = kxp_profile_write(space, static_cast<std::uint32_t>(std::atoi(version)),
                                              bytes.data(), bytes.size(), &size, &error);
  kxp_profile_release(space);
  if (status != KXP_OK) std::fprintf(stderr, "%s\n", error.message);
  return std::fwrite(bytes.data(), 1, size, stdout) == size && status == KXP_OK ? 0 : 1;
}

template <typename Sample>
int Convert(const kxp_pipeline* pipeline, std::uint32_t type, double maximum) {
  for (float from[3]; std::cin >> from[0] >> from[1] >> from[2];) {
    Sample to[3];
    kxp_image source = {}, destination = {};
    source.size = destination.size = sizeof(kxp_image);
    source.sample = KXP_F32;
    destination.sample = type;
    source.r = from, source.g = from + 1, source.b = from + 2;
    destination.r = to, destination.g = to + 1, destination.b = to + 2;
    if (kxp_convert(pipeline, &source, &destination, 1, 1, nullptr, nullptr) != KXP_OK) return 1;
    std::printf("%.9g %.9g %.9g\n", to[0] / maximum, to[1] / maximum, to[2] / maximum);
  }
  return 0;
}

int Convert(const char* name, const std::string& bits) {
  kxp_profile *const source = Space("srgb"), *const destination = Space(name);
  kxp_pipeline_options options = {};
  options.size = sizeof options;
  options.intent = KXP_RELATIVE;
  kxp_pipeline* pipeline = nullptr;
  kxp_status status = kxp_pipeline_create(source, destination, &options, &pipeline, nullptr);
  kxp_profile_release(source);
  kxp_profile_release(destination);
  if (status != KXP_OK) return 1;
  int result = 1;
  if (bits == "8") result = Convert<std::uint8_t>(pipeline, KXP_U8, 255);
  if (bits == "16") result = Convert<std::uint16_t>(pipeline, KXP_U16, 65535);
  if (bits == "32") result = Convert<float>(pipeline, KXP_F32, 1);
  kxp_pipeline_release(pipeline);
  return result;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string task = count > 1 ? arguments[1] : "";
  if (task == "write" && count == 4) return Write(arguments[2], arguments[3]);
  if (task == "convert" && count == 4) return Convert(arguments[2], arguments[3]);
  if (task != "spaces") return 1;
  for (std::size_t n = 0; n < kxp_space_count(); ++n) std::puts(kxp_space_name(n));
  return 0;
}

// Converts an image of 8-bit RGBA pixels from a device profile to sRGB, in place, on two threads.

// README begin
#include <cstdint>
#include <kxcms/pipeline.hpp>
#include <vector>

// The pipeline from a profile file to sRGB. Throws kxcms::Error if the profile cannot be used.
kxcms::Pipeline MakePipeline(const char* path) {
  kxcms::PipelineOptions options;
  options.intent = kxcms::Intent::kRelative;
  options.blackPointCompensation = true;
  return {kxcms::Profile::Open(path), kxcms::Profile::BuiltIn("srgb"), options};
}

// Converts pixels in place; alpha stays as it is.
void ConvertRgba(const kxcms::Pipeline& pipeline, std::vector<std::uint8_t>& pixels,
                 std::size_t width, std::size_t height) {
  const auto image = kxcms::Rgba(pixels.data(), width, height);
  kxcms::ConvertOptions options;
  options.threads = 2;
  pipeline.Convert(image, image, options);
}
// README end

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: convert_image_cpp PROFILE\n");
    return 2;
  }
  std::vector<std::uint8_t> pixels = {255, 255, 255, 255, 200, 100, 50, 128};
  try {
    ConvertRgba(MakePipeline(argv[1]), pixels, 2, 1);
  } catch (const kxcms::Error& error) {
    std::fprintf(stderr, "%s: %s\n", argv[1], error.what());
    return 1;
  }
  std::printf("white: %d %d %d\n", pixels[0], pixels[1], pixels[2]);
  std::printf("brown: %d %d %d, alpha %d\n", pixels[4], pixels[5], pixels[6], pixels[7]);
  return 0;
}

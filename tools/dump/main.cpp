#include <CLI/CLI.hpp>
#include <array>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "../IntentNames.h"
#include "../OutputSpaces.h"
#include "Trace.h"

namespace {

using namespace ICC40::ICCFILE;

std::map<std::string, Intent> Intents() {
  std::map<std::string, Intent> intents;
  for (std::size_t i = 0; i < kIntentNames.size(); ++i) {
    intents[kIntentNames[i]] = static_cast<Intent>(i);
  }
  return intents;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Prints one colour at every stage of a conversion.");
  TraceRequest request{};
  request.depth = 8;
  request.intent = Percepture;
  std::string space = "srgb";
  app.add_option("PROFILE", request.profile, "ICC profile of the device")->required();
  app.add_option("R", request.device[0])->required()->check(CLI::Range(65535));
  app.add_option("G", request.device[1])->required()->check(CLI::Range(65535));
  app.add_option("B", request.device[2])->required()->check(CLI::Range(65535));
  app.add_option("--depth", request.depth, "bits a sample (default: 8)")
      ->check(CLI::IsMember({8, 16}));
  app.add_option("--intent", request.intent,
                 "perceptual, relative, saturation or absolute (default: perceptual)")
      ->transform(CLI::CheckedTransformer(Intents()));
  app.add_option("--to", space, "output colour space as in kxcms convert (default: srgb)");
  app.add_option("--lightness", request.lightness, "offset in L*, -100 to 100")
      ->check(CLI::Range(-100, 100));
  app.add_option("--chroma", request.chroma, "offset in C*, -100 to 100")
      ->check(CLI::Range(-100, 100));
  app.add_option("--hue", request.hueDeg, "offset in degrees of hue, -360 to 360")
      ->check(CLI::Range(-360, 360));
  CLI11_PARSE(app, argc, argv);
  try {
    const OutputSpace* output = FindOutputSpace(space);
    if (output == nullptr) throw std::runtime_error("unknown output space " + space);
    request.output = output->Code(request.depth);
    for (const int sample : request.device) {
      if (sample >> request.depth != 0) {
        throw std::runtime_error(std::to_string(sample) + " is no sample of " +
                                 std::to_string(request.depth) + " bits");
      }
    }
    PrintTrace(request);
  } catch (const std::exception& failure) {
    std::cerr << "kxcms-dump: " << failure.what() << '\n';
    return 1;
  }
  return 0;
}

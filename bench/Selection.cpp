#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include "bench/Lcms.h"
#include "bench/Setup.h"

namespace Bench {

namespace {

struct Depth {
  const char* name;
  int bytes;
  int input, srgb, adobe;
};

constexpr Depth kDepths[] = {
    {"8-bit input", 1, KX_COLOR_RGB, KX_COLOR_SRGB, KX_COLOR_ADOBE},
    {"16-bit input", 2, KX_COLOR_RGB_16, KX_COLOR_SRGB_16, KX_COLOR_ADOBE_16},
};

constexpr int kCurveEntries = 256;

void SetProfile(const Library& library, const Setup& setup, int intent, const Depth& depth,
                int output) {
  library.selection.setProfile(setup.material.profile.c_str(), nullptr, intent, depth.input,
                               output);
}

// Curves that stretch the scale a little, differently at each turn.
void AdjustCurves(const Library& library, int turn) {
  unsigned char curve[kCurveEntries];
  for (int i = 0; i < kCurveEntries; ++i) {
    curve[i] = static_cast<unsigned char>(i - i / (turn == 0 ? 32 : 64));
  }
  library.selection.adjust(curve, curve, curve, kCurveEntries, 0, 0, 0);
}

// ---- The peer. Its profiles stay open where the library's file stays the same.

LcmsProfile LcmsGamma18() {
  // The primaries and white of Adobe RGB (1998).
  const cmsCIExyY white = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 1.8);
  cmsToneCurve* const curves[3] = {curve, curve, curve};
  LcmsProfile profile(cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(curve);
  return profile;
}

void RunLcmsFromFile(benchmark::State& state, const Setup& setup, const Depth& depth) {
  for (auto _ : state) {
    const LcmsTransform transform = MakeLcmsTransform(OpenLcmsProfile(setup.material.profile),
                                                      depth.bytes, LcmsSrgb(), depth.bytes);
    if (transform == nullptr) return state.SkipWithError("lcms2 refuses the profile");
  }
}

void RunLcmsAgain(benchmark::State& state, const Setup& setup, const Depth& depth,
                  bool changesIntent) {
  const LcmsProfile scanner = OpenLcmsProfile(setup.material.profile);
  const LcmsProfile outputs[2] = {LcmsSrgb(), LcmsGamma18()};
  int turn = 0;
  for (auto _ : state) {
    turn ^= 1;
    const LcmsTransform transform = MakeLcmsTransform(
        scanner, depth.bytes, outputs[changesIntent ? 0 : turn], depth.bytes,
        changesIntent && turn == 1 ? INTENT_RELATIVE_COLORIMETRIC : INTENT_PERCEPTUAL);
    if (transform == nullptr) return state.SkipWithError("lcms2 refuses the profile");
  }
}

// ---- The requests

/// A request of which every call finds something to do: `turn` alternates between 0 and 1.
struct Request {
  const char* name;
  std::function<void(const Library& library, const Setup& setup, const Depth& depth, int turn)>
      call;
  /// The same with lcms2, or empty.
  std::function<void(benchmark::State& state, const Setup& setup, const Depth& depth)> peer;
  bool isAlsoMeasuredBusy;
};

const Request kRequests[] = {
    {"another profile",
     [](const Library& library, const Setup& setup, const Depth& depth, int turn) {
       const std::string& path = turn == 0 ? setup.material.profile : setup.material.sameProfile;
       library.selection.setProfile(path.c_str(), nullptr, KX_INTENT_PERCEPTUAL, depth.input,
                                    depth.srgb);
     },
     RunLcmsFromFile, false},
    {"the same again",
     [](const Library& library, const Setup& setup, const Depth& depth, int) {
       SetProfile(library, setup, KX_INTENT_PERCEPTUAL, depth, depth.srgb);
     },
     nullptr, false},
    {"other intent",
     [](const Library& library, const Setup& setup, const Depth& depth, int turn) {
       SetProfile(library, setup, turn == 0 ? KX_INTENT_PERCEPTUAL : KX_INTENT_RELATIVE, depth,
                  depth.srgb);
     },
     [](benchmark::State& state, const Setup& setup, const Depth& depth) {
       RunLcmsAgain(state, setup, depth, true);
     },
     false},
    {"other output code",
     [](const Library& library, const Setup& setup, const Depth& depth, int turn) {
       SetProfile(library, setup, KX_INTENT_PERCEPTUAL, depth,
                  turn == 0 ? depth.srgb : depth.adobe);
     },
     [](benchmark::State& state, const Setup& setup, const Depth& depth) {
       RunLcmsAgain(state, setup, depth, false);
     },
     true},
    {"lightness and chroma",
     [](const Library& library, const Setup&, const Depth&, int turn) {
       library.selection.adjust(nullptr, nullptr, nullptr, 0, turn == 0 ? 3 : -3, 5, 0);
     },
     nullptr, false},
    {"output curves",
     [](const Library& library, const Setup&, const Depth&, int turn) {
       AdjustCurves(library, turn);
     },
     nullptr, false},
};

/// A thread that does nothing but run.
class BusyCore {
 public:
  BusyCore()
      : thread_([](const std::stop_token& stop) {
          while (!stop.stop_requested()) {
          }
        }) {}

 private:
  std::jthread thread_;
};

void RunLibrary(benchmark::State& state, const Setup& setup, const Request& request,
                const Depth& depth, bool isUsed) {
  UseDefaultThreads();
  const Library& library = setup.Best();
  // Few enough to cost nothing themselves.
  alignas(2) unsigned char pixels[6 * kWarmUpPixels] = {};
  const auto take = [&](int turn, bool isConverting) {
    request.call(library, setup, depth, turn);
    if (isConverting) library.selection.convert(pixels, pixels, kWarmUpPixels);
  };
  SetProfile(library, setup, KX_INTENT_PERCEPTUAL, depth, depth.srgb);
  // Curves that the process keeps once they are made belong to neither turn.
  take(1, true);
  take(0, true);
  int turn = 0;
  for (auto _ : state) {
    turn ^= 1;
    take(turn, isUsed);
  }
}

}  // namespace

void RegisterSelection(const Setup& setup) {
  const std::string group = "selection";
  const char* level = setup.Best().LevelName();
  for (const Depth& depth : kDepths) {
    for (const Request& request : kRequests) {
      const std::string name = std::string(depth.name) + ", " + request.name;
      const auto measure = [&](const std::string& suffix, bool isUsed, bool isBusy) {
        Measure(setup, group, name + suffix, level,
                [&setup, &request, &depth, isUsed, isBusy](benchmark::State& state) {
                  const std::unique_ptr<BusyCore> busy(isBusy ? new BusyCore : nullptr);
                  RunLibrary(state, setup, request, depth, isUsed);
                });
      };
      measure("", false, false);
      if (request.peer) {
        Measure(setup, group, name, kLcms, [&setup, &request, &depth](benchmark::State& state) {
          request.peer(state, setup, depth);
        });
      }
      measure(", then 256 pixels", true, false);
      if (request.isAlsoMeasuredBusy) measure(", other core busy", false, true);
    }
  }
}

}  // namespace Bench

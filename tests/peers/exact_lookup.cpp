// Colours through the double-precision evaluation, for tests that compare it with others: three
// numbers a line in, three out. Without a profile it gives the CIEDE2000 differences of pairs of
// Lab colours, six numbers a line.

#include <array>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "exact/ColorDifference.h"
#include "exact/Conversion.h"
#include "profile/ProfileReader.h"

namespace {

using kxcms::DeviceProfile;
using kxcms::RenderingIntent;
using kxcms::exact::Conversion;
using kxcms::exact::Destination;
using kxcms::exact::Measure;
using kxcms::exact::Options;
using kxcms::exact::Stage;
using kxcms::exact::Trace;
using kxcms::exact::Triple;

constexpr char kUsage[] =
    "usage: exact_lookup [--intent perceptual|relative|saturation|absolute] [--bpc] [--unclipped]\n"
    "                    [--to lab|xyz|SPACE|PROFILE] [--as real|16|8|stages] PROFILE < COLOURS\n"
    "       exact_lookup --difference < PAIRS\n";

struct UsageError {};

DeviceProfile Load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  return kxcms::ReadProfile({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
}

RenderingIntent IntentOf(const std::string& name) {
  constexpr const char* kNames[] = {"perceptual", "relative", "saturation", "absolute"};
  for (std::size_t n = 0; n < std::size(kNames); ++n) {
    if (name == kNames[n]) return static_cast<RenderingIntent>(n);
  }
  throw UsageError();
}

struct Task {
  Options options;
  std::string destination = "lab";
  std::string form = "real";
  std::string source;
};

Task ParseArguments(int count, char** arguments) {
  Task task;
  for (int n = 1; n < count; ++n) {
    const std::string argument = arguments[n];
    const auto value = [&]() -> std::string {
      if (++n == count) throw UsageError();
      return arguments[n];
    };
    if (argument == "--intent") {
      task.options.intent = IntentOf(value());
    } else if (argument == "--bpc") {
      task.options.blackPointCompensation = true;
    } else if (argument == "--unclipped") {
      task.options.unclipped = true;
    } else if (argument == "--to") {
      task.destination = value();
    } else if (argument == "--as") {
      task.form = value();
    } else if (task.source.empty() && argument.substr(0, 2) != "--") {
      task.source = argument;
    } else {
      throw UsageError();
    }
  }
  if (task.source.empty()) throw UsageError();
  return task;
}

void Print(const char* name, const Triple& values) {
  std::printf("%s %.10g %.10g %.10g\n", name, values[0], values[1], values[2]);
}

void PrintStages(const Trace& trace) {
  Print("device:", trace.device);
  for (const Stage& stage : trace.sourceStages) Print(stage.name, stage.values);
  Print("PCS Lab:", trace.pcsLab);
  Print("PCS XYZ:", trace.pcsXyz);
  Print("Lab:", trace.lab);
  Print("XYZ:", trace.xyz);
  if (trace.linear) {
    Print("linear:", trace.linear->linear);
    Print("clipped:", trace.linear->clipped);
    Print("clipped by:", trace.linear->clippedBy);
  }
  if (trace.pcsEncoded) Print("encoded PCS:", *trace.pcsEncoded);
  for (const Stage& stage : trace.destinationStages) Print(stage.name, stage.values);
  Print("result:", trace.result);
}

void PrintResult(const Trace& trace, const std::string& form) {
  if (form == "real") {
    std::printf("%.12g %.12g %.12g\n", trace.result[0], trace.result[1], trace.result[2]);
  } else if (form == "16") {
    std::printf("%d %d %d\n", trace.result16[0], trace.result16[1], trace.result16[2]);
  } else if (form == "8" && trace.result8) {
    const auto& [r, g, b] = *trace.result8;
    std::printf("%d %d %d\n", r, g, b);
  } else if (form == "stages") {
    PrintStages(trace);
  } else {
    throw UsageError();
  }
}

void LookUp(const Task& task) {
  const DeviceProfile source = Load(task.source);
  DeviceProfile other;
  Destination destination = Measure::kLab;
  if (task.destination == "xyz") {
    destination = Measure::kXyz;
  } else if (const auto* space = kxcms::FindRgbSpace(task.destination)) {
    destination = space;
  } else if (task.destination != "lab") {
    other = Load(task.destination);
    destination = &other;
  }
  const Conversion conversion(source, destination, task.options);
  for (Triple color; std::cin >> color[0] >> color[1] >> color[2];) {
    PrintResult(conversion.Evaluate(color), task.form);
  }
}

void PrintDifferences() {
  for (Triple a, b; std::cin >> a[0] >> a[1] >> a[2] >> b[0] >> b[1] >> b[2];) {
    std::printf("%.6f\n", kxcms::DeltaE2000(a, b));
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count == 2 && arguments[1] == std::string("--difference")) {
      PrintDifferences();
    } else {
      LookUp(ParseArguments(count, arguments));
    }
  } catch (const UsageError&) {
    std::fputs(kUsage, stderr);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "exact_lookup: %s\n", error.what());
    return 1;
  }
  return 0;
}

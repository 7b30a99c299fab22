#include "pipeline/precise/Trace.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "pipeline/precise/Connection.h"
#include "pipeline/precise/PcsStages.h"
#include "pipeline/precise/StageBuilder.h"
#include "pipeline/precise/kernels/PreciseKernels.h"
#include "profile/Models.h"

namespace kxcms {

namespace {

using Triple = std::array<double, 3>;

// Into [0, 1]; 0 for what is not a number.
Triple Clipped(const Triple& values) {
  Triple clipped;
  for (std::size_t n = 0; n < 3; ++n) clipped[n] = values[n] > 0 ? std::min(values[n], 1.0) : 0;
  return clipped;
}

// How much of values that is; of what is not a number, nothing.
Triple CutOff(const Triple& values) {
  const Triple used = Clipped(values);
  Triple cut{};
  for (std::size_t n = 0; n < 3; ++n) {
    if (values[n] < 0 || values[n] > 1) cut[n] = values[n] - used[n];
  }
  return cut;
}

const char* NameOf(const LookupTable& table, std::size_t n) {
  const Element& element = table.elements[n];
  if (std::holds_alternative<ColorGrid>(element)) return "grid";
  if (std::holds_alternative<MatrixElement>(element)) return "matrix";
  const auto isGrid = [](const Element& other) { return std::holds_alternative<ColorGrid>(other); };
  const auto here = table.elements.begin() + static_cast<std::ptrdiff_t>(n);
  const bool isBeforeGrid = std::any_of(here, table.elements.end(), isGrid);
  const bool isFirst = n == 0, isLast = n + 1 == table.elements.size();
  // ICC.1:2010 10.10 and 10.11: B curves stand beside the PCS, A curves beside the device.
  if (table.type == MakeSignature("mAB ")) {
    return isBeforeGrid ? "A curves" : isLast ? "B curves" : "M curves";
  }
  if (table.type == MakeSignature("mBA ")) {
    const bool isBehindGrid = std::any_of(table.elements.begin(), here, isGrid);
    return isBehindGrid ? "A curves" : isFirst ? "B curves" : "M curves";
  }
  return isBeforeGrid ? "input curves" : "output curves";
}

class Tracer {
 public:
  explicit Tracer(const Triple& device) : device_(Clipped(device)) {
    Note("device", device_, CutOff(device));
  }

  // The colour behind what a builder holds. Stages that are added to it later can change what
  // those before them clip: to be asked first.
  Triple Behind(const StageBuilder& builder) const {
    PixelBlock block{};
    for (std::size_t c = 0; c < 3; ++c) block.values[c][0] = static_cast<float>(device_[c]);
    const std::vector<Stage>& stages = builder.Stages();
    ChosenPreciseKernels().run({stages.data(), static_cast<int>(stages.size())}, block, 1);
    Triple values;
    for (std::size_t c = 0; c < 3; ++c) values[c] = block.values[c][0] * builder.Unit()[c];
    return values;
  }

  void Note(const char* name, const Triple& values, const Triple& clipped = {}) {
    stages_.push_back({name, values, clipped});
  }
  void Note(const char* name, const StageBuilder& builder) { Note(name, Behind(builder)); }

  // Curves and grids clip what comes in.
  void Follow(const LookupTable& table, StageBuilder& builder) {
    for (std::size_t n = 0; n < table.elements.size(); ++n) {
      const bool clips = !std::holds_alternative<MatrixElement>(table.elements[n]);
      const Triple cut = clips ? CutOff(Behind(builder)) : Triple{};
      builder.Add(table.elements[n]);
      Note(NameOf(table, n), Behind(builder), cut);
    }
  }

  // The colour as a pixel of floats.
  Triple Converted(const PrecisePipeline& pipeline) const {
    float from[3], to[3];
    for (std::size_t c = 0; c < 3; ++c) from[c] = static_cast<float>(device_[c]);
    const auto* const in = reinterpret_cast<const unsigned char*>(from);
    auto* const out = reinterpret_cast<unsigned char*>(to);
    constexpr std::ptrdiff_t kSize = sizeof(float);
    pipeline.Convert(
        {{in, in + kSize, in + 2 * kSize, nullptr}, 3 * kSize, SampleType::kFloat, false},
        {{out, out + kSize, out + 2 * kSize, nullptr}, 3 * kSize, SampleType::kFloat, false},
        AlphaResult::kKept, 1);
    return {to[0], to[1], to[2]};
  }

  std::vector<TracedStage> Take() { return std::move(stages_); }

 private:
  Triple device_;
  std::vector<TracedStage> stages_;
};

}  // namespace

std::vector<TracedStage> Trace(const PrecisePipeline& pipeline, const DeviceProfile& source,
                               const PreciseDestination& destination, const PreciseOptions& options,
                               const Triple& device) {
  Arena arena;
  StageBuilder builder(arena);
  Tracer tracer(device);

  const Model model = ModelFor(source, options.intent);
  if (model.table != nullptr) {
    tracer.Follow(*model.table, builder);
  } else {
    builder.Add(CurveSet{model.matrixTrc->curves});
    tracer.Note("tone curves", builder);
  }

  // From here on copies go to places that a conversion passes without stopping.
  const PcsValues pcs = PcsValuesOf(model);
  const AffineMap same = Diagonal({1, 1, 1});
  const auto noteXyz = [&](const char* name, const Adaptation& adaptation, const AffineMap& then) {
    StageBuilder copy = builder;
    AddPcsToXyz(pcs, adaptation, then, false, copy);
    tracer.Note(name, copy);
    return tracer.Behind(copy);
  };
  StageBuilder toLab = builder;
  AddPcsToLab(pcs, {}, LabOfParts(), false, toLab);
  tracer.Note("PCS Lab", toLab);
  noteXyz("PCS XYZ", {}, same);

  const auto* const* const profile = std::get_if<const DeviceProfile*>(&destination);
  const Adaptation adaptation =
      AdaptationOf(source, profile != nullptr ? *profile : nullptr, options);
  if (options.intent == RenderingIntent::kAbsolute || options.blackPointCompensation) {
    noteXyz("adapted XYZ", adaptation, same);
  }

  Triple cut{};
  if (const auto* space = std::get_if<const RgbSpace*>(&destination)) {
    const Triple linear = noteXyz("linear", adaptation, {Inverse(RgbToPcs(**space)), {}});
    if (!options.unclipped) cut = CutOff(linear);
  } else if (profile != nullptr) {
    const Model target = DestinationModelFor(**profile, options.intent);
    if (target.table == nullptr) {
      cut = CutOff(noteXyz("linear", adaptation, InverseColorants(target.matrixTrc->matrix)));
    } else {
      const PcsEncoding encoding = target.table->pcs;
      const auto addPcs = encoding == PcsEncoding::kXyz ? AddPcsToXyz : AddPcsToLab;
      addPcs(pcs, adaptation, EncodingOf(encoding), false, builder);
      tracer.Note("PCS encoded", builder);
      tracer.Follow(*target.table, builder);
    }
  }
  tracer.Note("encoded", tracer.Converted(pipeline), cut);
  return tracer.Take();
}

std::vector<TracedStage> TraceEnds(const RunConverter& converter, const Triple& device) {
  constexpr std::ptrdiff_t kSize = sizeof(std::uint16_t);
  const Triple clipped = Clipped(device);
  std::uint16_t samples[3];
  for (std::size_t c = 0; c < 3; ++c) {
    samples[c] = static_cast<std::uint16_t>(std::lround(clipped[c] * 65535));
  }
  const auto colorOf = [&samples] {
    return Triple{samples[0] / 65535.0, samples[1] / 65535.0, samples[2] / 65535.0};
  };
  std::vector<TracedStage> stages = {{"device", colorOf(), CutOff(device)}};
  auto* const bytes = reinterpret_cast<unsigned char*>(samples);
  converter.Convert(
      {{bytes, bytes + kSize, bytes + 2 * kSize, nullptr}, 3 * kSize, SampleType::kUInt16, false},
      {{bytes, bytes + kSize, bytes + 2 * kSize, nullptr}, 3 * kSize, SampleType::kUInt16, false},
      AlphaResult::kKept, 1);
  stages.push_back({"encoded", colorOf(), {}});
  return stages;
}

}  // namespace kxcms

#include "pipeline/precise/PrecisePipeline.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "pipeline/precise/Connection.h"
#include "pipeline/precise/PcsStages.h"
#include "pipeline/precise/StageBuilder.h"
#include "pipeline/precise/kernels/PreciseKernels.h"
#include "profile/Models.h"

namespace kxcms {

namespace {

bool IsMissing(const Model& model) {
  return model.table == nullptr && model.matrixTrc == nullptr;
}

UsedModel UseOf(const Model& model) {
  return {model.table != nullptr ? model.table->tag : 0, model.isFallback};
}

StageList ListOf(const std::vector<Stage>& stages) {
  return {stages.data(), static_cast<int>(stages.size())};
}

// What stands between the source's model and the destination.
struct Bridge {
  PcsValues pcs;
  Adaptation adaptation;
};

void AddSpace(const Bridge& bridge, const RgbSpace& space, bool isClipped, StageBuilder& builder) {
  const AffineMap toLinear = {Inverse(RgbToPcs(space)), {}};
  // An encoding that clips takes any numbers.
  const bool clipsLight = isClipped && space.transfer == Transfer::kLinear;
  AddPcsToXyz(bridge.pcs, bridge.adaptation, toLinear, clipsLight, builder);
  builder.AddEncoding(space.transfer, !isClipped);
}

void AddProfile(const Bridge& bridge, const Model& model, StageBuilder& builder) {
  if (model.table == nullptr) {
    AddPcsToXyz(bridge.pcs, bridge.adaptation, InverseColorants(model.matrixTrc->matrix), true,
                builder);
    builder.AddInverse(model.matrixTrc->curves);
    return;
  }
  const PcsEncoding encoding = model.table->pcs;
  const auto addPcs = encoding == PcsEncoding::kXyz ? AddPcsToXyz : AddPcsToLab;
  // The first element clips, if it has a domain.
  addPcs(bridge.pcs, bridge.adaptation, EncodingOf(encoding), false, builder);
  builder.Add(model.table->elements);
  builder.AddScaling();
}

// Integers: parts of 65535 (ICC.1:2010 6.3.4.2). Floats: the numbers themselves.
void AddColorimetry(const Bridge& bridge, Colorimetry colorimetry, bool isInteger,
                    StageBuilder& builder) {
  if (colorimetry == Colorimetry::kLab) {
    const AffineMap result = isInteger ? EncodingOf(PcsEncoding::kLab) : LabOfParts();
    AddPcsToLab(bridge.pcs, bridge.adaptation, result, isInteger, builder);
  } else {
    const AffineMap result = isInteger ? EncodingOf(PcsEncoding::kXyz) : Diagonal({1, 1, 1});
    AddPcsToXyz(bridge.pcs, bridge.adaptation, result, isInteger, builder);
  }
}

}  // namespace

PrecisePipeline::PrecisePipeline(const DeviceProfile& source, const PreciseDestination& destination,
                                 const PreciseOptions& options)
    : isColorimetry_(std::holds_alternative<Colorimetry>(destination)) {
  const Model sourceModel = ModelFor(source, options.intent);
  if (IsMissing(sourceModel)) {
    throw PipelineError(PipelineFault::kNoModel, 0, "the source profile does not lead to the PCS");
  }
  sourceModel_ = UseOf(sourceModel);
  const auto* const* const profile = std::get_if<const DeviceProfile*>(&destination);
  Model destinationModel;
  if (profile != nullptr) {
    destinationModel = DestinationModelFor(**profile, options.intent);
    if (IsMissing(destinationModel)) {
      throw PipelineError(PipelineFault::kNoModel, 0,
                          "the destination profile does not lead from the PCS");
    }
    destinationModel_ = UseOf(destinationModel);
  }

  StageBuilder builder(arena_);
  const Bridge bridge = {AddDeviceToPcs(sourceModel, builder),
                         AdaptationOf(source, profile != nullptr ? *profile : nullptr, options)};
  StageBuilder forFloats = builder;
  if (profile != nullptr) {
    AddProfile(bridge, destinationModel, builder);
    forFloats = builder;
  } else if (const auto* space = std::get_if<const RgbSpace*>(&destination)) {
    AddSpace(bridge, **space, true, builder);
    if (options.unclipped) {
      AddSpace(bridge, **space, false, forFloats);
    } else {
      forFloats = builder;
    }
  } else {
    AddColorimetry(bridge, std::get<Colorimetry>(destination), true, builder);
    AddColorimetry(bridge, std::get<Colorimetry>(destination), false, forFloats);
  }
  forIntegers_ = builder.Stages();
  forFloats_ = forFloats.Stages();
  program_.forIntegers = ListOf(forIntegers_);
  program_.forFloats = ListOf(forFloats_);
  MakeLevels8();
}

// All levels go through the first stage once, if it works channel by channel.
void PrecisePipeline::MakeLevels8() {
  static_assert(kBlockPixels >= 256);
  PixelBlock block{};
  for (float* values : block.values) {
    for (int level = 0; level < 256; ++level) {
      values[level] = static_cast<float>(level) * (1.0f / 255);
    }
  }
  const bool isTabled = !forIntegers_.empty() && forIntegers_[0].kind == StageKind::kCurves;
  program_.tabledStages = isTabled ? 1 : 0;
  ChosenPreciseKernels().run({forIntegers_.data(), program_.tabledStages}, block, 256);
  auto* const levels = arena_.New<float[256]>(3);
  for (std::size_t c = 0; c < 3; ++c) std::copy_n(block.values[c], 256, levels[c]);
  program_.levels8 = levels;
}

bool PrecisePipeline::CanGive(SampleType type) const {
  return !isColorimetry_ || type == SampleType::kUInt16 || type == SampleType::kFloat;
}

void PrecisePipeline::Convert(const SourceRun& source, const DestinationRun& destination,
                              AlphaResult alpha, std::int64_t count) const {
  ChosenPreciseKernels().convert(program_, source, destination, alpha, count);
}

}  // namespace kxcms

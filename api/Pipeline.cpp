#include <cmath>
#include <memory>
#include <string>
#include <string_view>

#include "api/Answers.h"
#include "api/Failure.h"
#include "api/Objects.h"
#include "codes/ColorCodeTable.h"
#include "pipeline/FixedConversion.h"

using namespace kxcms;

namespace {

constexpr std::uint32_t kIntents = 4;
constexpr std::uint32_t kFlags = KXP_BLACK_POINT_COMPENSATION | KXP_UNCLIPPED;

kxp_status StatusOf(PipelineFault fault) {
  return fault == PipelineFault::kContradiction ? KXP_ERROR_ARGUMENT : KXP_ERROR_UNSUPPORTED;
}

// Whatever the locale.
char AsCapital(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

// Of the struct's first version, without the members of the fixed pipeline.
constexpr std::size_t kFirstOptionsBytes = offsetof(kxp_pipeline_options, pipeline);

kxp_pipeline_options CheckedOptions(const kxp_pipeline_options* given) {
  if (given == nullptr) return {};
  const std::size_t leastBytes =
      given->size == kFirstOptionsBytes ? kFirstOptionsBytes : sizeof(kxp_pipeline_options);
  const auto options = Known(given, leastBytes, "kxp_pipeline_options");
  Require(options.intent < kIntents, "The intent is none of the four.");
  Require((options.flags & ~kFlags) == 0, "The options of the pipeline have an unknown flag.");
  Require(options.pipeline <= KXP_FIXED, "The pipeline is neither precise nor fixed.");
  Require(options.reserved == 0, "The reserved member of kxp_pipeline_options is not 0.");
  const double offsets[] = {options.lightness, options.chroma, options.hue};
  for (const double offset : offsets) {
    Require(std::isfinite(offset), "An offset is not a finite number.");
    Require(offset == 0 || options.pipeline == KXP_FIXED,
            "Offsets in lightness, chroma and hue belong to the fixed pipeline.");
  }
  Require(options.flags == 0 || options.pipeline == KXP_PRECISE,
          "Black point compensation and unclipped results belong to the precise pipeline.");
  return options;
}

// What a tone curve of the fixed pipeline gives has no definition but that pipeline.
void RefuseRendered(const kxp_profile& profile) {
  if (profile.kind != ProfileKind::kRendered) return;
  throw Failure{
      KXP_ERROR_UNSUPPORTED,
      {"No precise conversion knows ", profile.name,
       ": its tone curve renders the picture as the fixed pipeline alone does. What comes "
       "out is described by \"srgb\"."}};
}

PreciseDestination DestinationOf(const kxp_profile& profile) {
  switch (profile.kind) {
    case ProfileKind::kDevice:
      break;
    case ProfileKind::kRgbSpace:
    case ProfileKind::kRendered:
      return profile.space;
    case ProfileKind::kLab:
      return Colorimetry::kLab;
    case ProfileKind::kXyz:
      return Colorimetry::kXyz;
  }
  return profile.device.get();
}

void MakePrecise(const kxp_profile& source, const kxp_profile& destination,
                 const kxp_pipeline_options& options, kxp_pipeline& pipeline) {
  RefuseRendered(source);
  RefuseRendered(destination);
  pipeline.source = source.device;
  pipeline.target = destination.device;
  pipeline.destination = DestinationOf(destination);
  pipeline.options.intent = pipeline.intent;
  pipeline.options.blackPointCompensation = (options.flags & KXP_BLACK_POINT_COMPENSATION) != 0;
  pipeline.options.unclipped = (options.flags & KXP_UNCLIPPED) != 0;
  auto made =
      std::make_unique<PrecisePipeline>(*source.device, pipeline.destination, pipeline.options);
  pipeline.precise = made.get();
  pipeline.converter = std::move(made);
}

// ---- The fixed pipeline -------------------------------------------------------------------------

// The 8-bit code of a space that the fixed interface converts to, by its name; null for others.
const ColorCode* FixedOutput(std::string_view space) {
  for (const ColorCode& code : kColorCodes) {
    if (code.bits == 8 && code.curve != EncodingCurve::kNone && space == code.command) return &code;
  }
  return nullptr;
}

// "srgb-220, srgb-linear, ..."
std::string FixedOutputs() {
  std::string names;
  for (const ColorCode& code : kColorCodes) {
    if (code.bits != 8 || code.curve == EncodingCurve::kNone) continue;
    names += (names.empty() ? "" : ", ") + std::string(code.command);
  }
  return names;
}

void MakeFixed(const kxp_profile& source, const kxp_profile& destination,
               const kxp_pipeline_options& options, kxp_pipeline& pipeline) {
  const ColorCode* const output =
      destination.kind != ProfileKind::kDevice ? FixedOutput(destination.name) : nullptr;
  if (output == nullptr) {
    throw Failure{KXP_ERROR_UNSUPPORTED, {"The fixed pipeline converts to ", FixedOutputs(), "."}};
  }
  pipeline.converter = std::make_unique<FixedConversion>(
      *source.device, output->code,
      FixedOptions{pipeline.intent, options.lightness, options.chroma, options.hue});
}

// ---- Queries ------------------------------------------------------------------------------------

std::string NameOf(const UsedModel& model) {
  return model.tag == 0 ? "matrix" : TextOf(model.tag);
}

Answer Ask(const kxp_pipeline& pipeline, std::uint32_t key, std::uint32_t index) {
  if (index != 0) return NoSuchQuestion{};
  const RunConverter& converter = *pipeline.converter;
  switch (key) {
    case KXP_INTENT:
      return Number(static_cast<double>(pipeline.intent));
    case KXP_SOURCE_TAG:
      return Text(NameOf(converter.SourceModel()));
    case KXP_SOURCE_FALLBACK:
      return Number(converter.SourceModel().isFallback);
    case KXP_TARGET_TAG:
      return Text(pipeline.isToProfile ? NameOf(converter.DestinationModel()) : "builtin");
    case KXP_TARGET_FALLBACK:
      return Number(pipeline.isToProfile && converter.DestinationModel().isFallback);
    case KXP_PIPELINE:
      return Number(pipeline.precise != nullptr ? KXP_PRECISE : KXP_FIXED);
    default:
      return NoSuchQuestion{};
  }
}

}  // namespace

kxp_status kxp_pipeline_create(const kxp_profile* source, const kxp_profile* destination,
                               const kxp_pipeline_options* options, kxp_pipeline** pipeline,
                               kxp_error* error) {
  return Guarded(error, [&] {
    Require(pipeline != nullptr, "The pointer that is to receive the pipeline is null.");
    *pipeline = nullptr;
    Require(source != nullptr, "The source profile is null.");
    Require(destination != nullptr, "The destination profile is null.");
    Require(source->device != nullptr, "Lab and XYZ are destinations only.");
    const kxp_pipeline_options checked = CheckedOptions(options);
    auto made = std::make_unique<kxp_pipeline>();
    made->intent = static_cast<RenderingIntent>(checked.intent);
    made->isToProfile = destination->kind == ProfileKind::kDevice;
    const auto make = checked.pipeline == KXP_FIXED ? MakeFixed : MakePrecise;
    try {
      make(*source, *destination, checked, *made);
      *pipeline = made.release();
    } catch (const PipelineError& fault) {
      std::string sentence = fault.what();
      sentence[0] = AsCapital(sentence[0]);
      throw Failure{StatusOf(fault.fault), {sentence, "."}, fault.tag};
    }
  });
}

kxp_pipeline* kxp_pipeline_retain(kxp_pipeline* pipeline) {
  if (pipeline != nullptr) pipeline->references.Add();
  return pipeline;
}

void kxp_pipeline_release(kxp_pipeline* pipeline) {
  if (pipeline != nullptr && pipeline->references.Remove()) delete pipeline;
}

kxp_status kxp_pipeline_number(const kxp_pipeline* pipeline, uint32_t key, uint32_t index,
                               double* value) {
  if (pipeline == nullptr) return KXP_ERROR_ARGUMENT;
  return Guarded(nullptr, [&] { return GiveNumber(Ask(*pipeline, key, index), value); });
}

kxp_status kxp_pipeline_text(const kxp_pipeline* pipeline, uint32_t key, uint32_t index, char* text,
                             size_t capacity, size_t* length) {
  if (pipeline == nullptr) return KXP_ERROR_ARGUMENT;
  return Guarded(nullptr,
                 [&] { return GiveText(Ask(*pipeline, key, index), text, capacity, length); });
}

#include <memory>

#include "api/Answers.h"
#include "api/Failure.h"
#include "api/Objects.h"

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

PreciseOptions CheckedOptions(const kxp_pipeline_options* given) {
  PreciseOptions options;
  if (given == nullptr) return options;
  const auto known = Known(given, sizeof(kxp_pipeline_options), "kxp_pipeline_options");
  Require(known.intent < kIntents, "The intent is none of the four.");
  Require((known.flags & ~kFlags) == 0, "The options of the pipeline have an unknown flag.");
  options.intent = static_cast<RenderingIntent>(known.intent);
  options.blackPointCompensation = (known.flags & KXP_BLACK_POINT_COMPENSATION) != 0;
  options.unclipped = (known.flags & KXP_UNCLIPPED) != 0;
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

std::string NameOf(const UsedModel& model) {
  return model.tag == 0 ? "matrix" : TextOf(model.tag);
}

Answer Ask(const kxp_pipeline& pipeline, std::uint32_t key, std::uint32_t index) {
  if (index != 0) return NoSuchQuestion{};
  const PrecisePipeline& precise = pipeline.precise;
  const bool isToProfile = std::holds_alternative<const DeviceProfile*>(pipeline.destination);
  switch (key) {
    case KXP_INTENT:
      return Number(static_cast<double>(pipeline.options.intent));
    case KXP_SOURCE_TAG:
      return Text(NameOf(precise.SourceModel()));
    case KXP_SOURCE_FALLBACK:
      return Number(precise.SourceModel().isFallback);
    case KXP_TARGET_TAG:
      return Text(isToProfile ? NameOf(precise.DestinationModel()) : "builtin");
    case KXP_TARGET_FALLBACK:
      return Number(isToProfile && precise.DestinationModel().isFallback);
    default:
      return NoSuchQuestion{};
  }
}

}  // namespace

PreciseDestination kxcms::DestinationOf(const kxp_profile& profile) {
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

kxp_status kxp_pipeline_create(const kxp_profile* source, const kxp_profile* destination,
                               const kxp_pipeline_options* options, kxp_pipeline** pipeline,
                               kxp_error* error) {
  return Guarded(error, [&] {
    Require(pipeline != nullptr, "The pointer that is to receive the pipeline is null.");
    *pipeline = nullptr;
    Require(source != nullptr, "The source profile is null.");
    Require(destination != nullptr, "The destination profile is null.");
    Require(source->device != nullptr, "Lab and XYZ are destinations only.");
    RefuseRendered(*source);
    RefuseRendered(*destination);
    const PreciseOptions checked = CheckedOptions(options);
    try {
      *pipeline = new kxp_pipeline(*source, *destination, checked);
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

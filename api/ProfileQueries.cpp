#include <cstdio>

#include "api/Answers.h"
#include "api/Objects.h"
#include "profile/Models.h"

using namespace kxcms;

namespace {

constexpr std::uint32_t kIntents = 4;
constexpr std::uint32_t kChannels = 3;

template <std::size_t N>
Answer At(const std::array<double, N>& values, std::uint32_t index) {
  return index < N ? Number(values[index]) : NoSuchQuestion{};
}

template <std::size_t N>
Answer At(const std::optional<std::array<double, N>>& values, std::uint32_t index) {
  if (index >= N) return NoSuchQuestion{};
  return values ? Number((*values)[index]) : NoAnswer{};
}

Answer Version(std::uint32_t version) {
  const unsigned major = version >> 24, minor = version >> 20 & 15, fix = version >> 16 & 15;
  char text[16];
  std::snprintf(text, sizeof text, "%u.%u.%u", major, minor, fix);
  return Value{major + minor / 10.0, text};
}

std::string NameOf(const Model& model) {
  if (model.table != nullptr) return TextOf(model.table->tag);
  return model.matrixTrc != nullptr ? "matrix" : "";
}

// Calls with the model that serves an intent, where there is one.
template <typename Ask>
Answer OfModel(const DeviceProfile& profile,
               Model (*modelFor)(const DeviceProfile&, RenderingIntent), std::uint32_t intent,
               const Ask& ask) {
  if (intent >= kIntents) return NoSuchQuestion{};
  return ask(modelFor(profile, static_cast<RenderingIntent>(intent)));
}

double EntriesOf(const Curve& curve) {
  const auto* sampled = std::get_if<SampledCurve>(&curve);
  return sampled != nullptr ? static_cast<double>(sampled->values.size()) : 0;
}

// Entries of a channel's first or last curve, 0 without one.
double Entries(const Model& model, std::uint32_t channel, bool last) {
  if (model.table == nullptr) {
    return model.matrixTrc == nullptr || last ? 0 : EntriesOf(model.matrixTrc->curves[channel]);
  }
  const std::vector<Element>& elements = model.table->elements;
  if (elements.empty()) return 0;
  const auto* curves = std::get_if<CurveSet>(last ? &elements.back() : &elements.front());
  return curves != nullptr ? EntriesOf(curves->curves[channel]) : 0;
}

double GridPoints(const Model& model, std::uint32_t channel) {
  if (model.table == nullptr) return 0;
  for (const Element& element : model.table->elements) {
    if (const auto* grid = std::get_if<ColorGrid>(&element)) return grid->points[channel];
  }
  return 0;
}

// Lab and XYZ are built in, and have nothing but a name.
Answer AskMeasure(const kxp_profile& profile, std::uint32_t key, std::uint32_t index) {
  if (key == KXP_DESCRIPTION && index == 0) return Text(profile.name);
  if (key < KXP_SIZE || key > KXP_DESTINATION_FALLBACK) return NoSuchQuestion{};
  return NoAnswer{};
}

Answer Ask(const kxp_profile& handle, std::uint32_t key, std::uint32_t index) {
  if (handle.device == nullptr) return AskMeasure(handle, key, index);
  const DeviceProfile& profile = *handle.device;
  const auto single = [index](Answer answer) {
    return index == 0 ? std::move(answer) : Answer(NoSuchQuestion{});
  };
  const std::uint32_t intent = index / kChannels, channel = index % kChannels;
  switch (key) {
    case KXP_SIZE:
      return single(Number(static_cast<double>(profile.sizeBytes)));
    case KXP_VERSION:
      return single(Version(profile.version));
    case KXP_CLASS:
      return single(Text(TextOf(profile.deviceClass)));
    case KXP_COLOR_SPACE:
      return single(Text(TextOf(profile.colorSpace)));
    case KXP_PCS:
      return single(Text(profile.pcs == PcsSpace::kLab ? "Lab " : "XYZ "));
    case KXP_DESCRIPTION:
      return single(Text(handle.space != nullptr ? handle.name : profile.description));
    case KXP_COPYRIGHT:
      return single(Text(profile.copyright));
    case KXP_MANUFACTURER:
      return single(Text(TextOf(profile.manufacturer)));
    case KXP_MODEL:
      return single(Text(TextOf(profile.model)));
    case KXP_CREATOR:
      return single(Text(TextOf(profile.creator)));
    case KXP_HEADER_INTENT:
      return single(Number(static_cast<double>(profile.headerIntent)));
    case KXP_WHITE:
      return At(profile.mediaWhite, index);
    case KXP_BLACK:
      return At(profile.mediaBlack, index);
    case KXP_ADAPTATION:
      return At(profile.adaptation, index);
    case KXP_TAG:
      if (index >= profile.tags.size()) return NoSuchQuestion{};
      return Text(TextOf(profile.tags[index].signature));
    case KXP_TAG_COUNT:
      return single(Number(static_cast<double>(profile.tags.size())));
    case KXP_INTENT_TAG:
      return OfModel(profile, ModelFor, index, [](const Model& m) { return Text(NameOf(m)); });
    case KXP_INTENT_FALLBACK:
      return OfModel(profile, ModelFor, index, [](const Model& m) { return Number(m.isFallback); });
    case KXP_GRID:
      return OfModel(profile, ModelFor, intent,
                     [&](const Model& m) { return Number(GridPoints(m, channel)); });
    case KXP_INPUT_ENTRIES:
      return OfModel(profile, ModelFor, intent,
                     [&](const Model& m) { return Number(Entries(m, channel, false)); });
    case KXP_OUTPUT_ENTRIES:
      return OfModel(profile, ModelFor, intent,
                     [&](const Model& m) { return Number(Entries(m, channel, true)); });
    case KXP_DESTINATION_TAG:
      return OfModel(profile, DestinationModelFor, index,
                     [](const Model& m) { return Text(NameOf(m)); });
    case KXP_DESTINATION_FALLBACK:
      return OfModel(profile, DestinationModelFor, index,
                     [](const Model& m) { return Number(m.isFallback); });
    default:
      return NoSuchQuestion{};
  }
}

}  // namespace

kxp_status kxp_profile_number(const kxp_profile* profile, uint32_t key, uint32_t index,
                              double* value) {
  if (profile == nullptr) return KXP_ERROR_ARGUMENT;
  return Guarded(nullptr, [&] { return GiveNumber(Ask(*profile, key, index), value); });
}

kxp_status kxp_profile_text(const kxp_profile* profile, uint32_t key, uint32_t index, char* text,
                            size_t capacity, size_t* length) {
  if (profile == nullptr) return KXP_ERROR_ARGUMENT;
  return Guarded(nullptr,
                 [&] { return GiveText(Ask(*profile, key, index), text, capacity, length); });
}

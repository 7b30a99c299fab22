#include "tools/commands/ColorStore.h"

#include <algorithm>

#include "tools/Sha256.h"

namespace {

using Bytes = std::vector<unsigned char>;

std::string TextOf(const kxp_pipeline& pipeline, std::uint32_t what) {
  char text[32] = "";
  kxp_pipeline_text(&pipeline, what, 0, text, sizeof text, nullptr);
  return text;
}

bool IsSet(const kxp_pipeline& pipeline, std::uint32_t what) {
  double value = 0;
  return kxp_pipeline_number(&pipeline, what, 0, &value) == KXP_OK && value != 0;
}

std::string DescriptionOf(const kxp_profile& profile) {
  std::size_t size = 0;
  if (kxp_profile_text(&profile, KXP_DESCRIPTION, 0, nullptr, 0, &size) != KXP_OK) return {};
  std::string text(size + 1, '\0');
  if (kxp_profile_text(&profile, KXP_DESCRIPTION, 0, text.data(), text.size(), &size) != KXP_OK) {
    return {};
  }
  text.resize(text.find('\0'));
  return text;
}

}  // namespace

ColorStore::ColorStore(const ConvertRequest& request, std::size_t most, bool withDigests)
    : request_(request),
      most_(most),
      withDigests_(withDigests),
      destination_(OpenDestination(request.to)) {
  if (request.tag == "auto") {
    tag_ = destination_.bytes;
  } else if (request.tag != "none") {
    tag_ = NamedProfile(request.tag);
    ReadProfileBytes(*tag_, "profile " + request.tag);
  }
  if (tag_ && withDigests_) tagSha256_ = Sha256Of(*tag_);
  if (request.profile) Named(*request.profile);
  if (request.assume) Named(*request.assume);
}

const Bytes& ColorStore::Named(const std::string& name) {
  const std::lock_guard<std::mutex> guard(lock_);
  const auto found = named_.find(name);
  return found != named_.end() ? found->second
                               : named_.emplace(name, NamedProfile(name)).first->second;
}

std::shared_ptr<ColorStore::Slot> ColorStore::SlotFor(const Bytes& profile) {
  const std::lock_guard<std::mutex> guard(lock_);
  const auto found = std::find_if(
      slots_.begin(), slots_.end(),
      [&profile](const std::shared_ptr<Slot>& slot) { return slot->profile == profile; });
  if (found != slots_.end()) {
    slots_.splice(slots_.begin(), slots_, found);
    return slots_.front();
  }
  auto slot = std::make_shared<Slot>();
  slot->profile = profile;
  slots_.push_front(slot);
  if (slots_.size() > most_) slots_.pop_back();
  return slot;
}

std::shared_ptr<const DeviceColors> ColorStore::From(const Bytes& profile,
                                                     const std::string& name) {
  const std::shared_ptr<Slot> slot = SlotFor(profile);
  // Whoever comes second waits for the pipeline instead of making it too; others go on.
  const std::lock_guard<std::mutex> guard(slot->making);
  if (slot->colors == nullptr) slot->colors = Made(profile, name);
  return slot->colors;
}

std::shared_ptr<const DeviceColors> ColorStore::Made(const Bytes& bytes,
                                                     const std::string& name) const {
  const ProfileHandle profile = ReadProfileBytes(bytes, name);
  kxp_pipeline_options options = {};
  options.size = sizeof options;
  options.intent = request_.intent;
  options.flags = request_.blackPointCompensation ? KXP_BLACK_POINT_COMPENSATION : 0;
  options.pipeline = request_.isFixed ? KXP_FIXED : KXP_PRECISE;
  options.lightness = request_.lightness;
  options.chroma = request_.chroma;
  options.hue = request_.hueDeg;
  kxp_error error = {};
  error.size = sizeof error;
  kxp_pipeline* made = nullptr;
  if (kxp_pipeline_create(profile.get(), destination_.profile.get(), &options, &made, &error) !=
      KXP_OK) {
    RefuseProfile(name + " to " + destination_.name, error);
  }
  auto colors = std::make_shared<DeviceColors>();
  colors->pipeline.reset(made);
  if (withDigests_) colors->sha256 = Sha256Of(bytes);
  colors->description = DescriptionOf(*profile);
  colors->sourceTag = TextOf(*made, KXP_SOURCE_TAG);
  colors->targetTag = TextOf(*made, KXP_TARGET_TAG);
  colors->isSourceFallback = IsSet(*made, KXP_SOURCE_FALLBACK);
  colors->isTargetFallback = IsSet(*made, KXP_TARGET_FALLBACK);
  return colors;
}

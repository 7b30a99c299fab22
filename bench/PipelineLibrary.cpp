#include "bench/PipelineLibrary.h"

namespace Bench {

namespace {

void Require(kxp_status status, const kxp_error& error) {
  if (status != KXP_OK) throw std::runtime_error(error.message);
}

}  // namespace

PipelineLibrary::PipelineLibrary(const std::string& path, CpuLevel level, const std::string& folder)
    : copy_(path, level, folder), srgb_(nullptr, nullptr) {
  copy_.Find("kxp_level", level_);
  copy_.Find("kxp_profile_from_memory", profileFromMemory_);
  copy_.Find("kxp_profile_builtin", profileBuiltin_);
  copy_.Find("kxp_profile_release", profileRelease_);
  copy_.Find("kxp_pipeline_create", pipelineCreate_);
  copy_.Find("kxp_pipeline_release", pipelineRelease_);
  copy_.Find("kxp_convert", convert_);
  const LevelInForce inForce(level);
  if (std::string(LevelName()) != ICC40::NameOf(level)) {
    throw std::runtime_error(path + " chose the level " + LevelName());
  }
  kxp_error error{};
  error.size = sizeof error;
  kxp_profile* profile = nullptr;
  Require(profileBuiltin_("srgb", &profile, &error), error);
  srgb_ = {profile, profileRelease_};
}

ProfileHandle PipelineLibrary::ReadProfile(const std::vector<unsigned char>& bytes) const {
  kxp_error error{};
  error.size = sizeof error;
  kxp_profile* profile = nullptr;
  Require(profileFromMemory_(bytes.data(), bytes.size(), &profile, &error), error);
  return {profile, profileRelease_};
}

PipelineHandle PipelineLibrary::MakePipeline(const ProfileHandle& source, std::uint32_t intent,
                                             std::uint32_t pipeline) const {
  kxp_pipeline_options options{};
  options.size = sizeof options;
  options.intent = intent;
  options.pipeline = pipeline;
  kxp_error error{};
  error.size = sizeof error;
  kxp_pipeline* made = nullptr;
  Require(pipelineCreate_(source.get(), srgb_.get(), &options, &made, &error), error);
  return {made, pipelineRelease_};
}

kxp_image PackedImage(const unsigned char* first, std::uint32_t sample) {
  auto* const r = const_cast<unsigned char*>(first);
  kxp_image image{};
  image.size = sizeof image;
  image.r = r;
  image.g = r + BytesOf(sample);
  image.b = r + 2 * BytesOf(sample);
  image.sample = sample;
  return image;
}

}  // namespace Bench

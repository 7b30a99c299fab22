#ifndef KXCMS_BENCH_PIPELINELIBRARY_H
#define KXCMS_BENCH_PIPELINELIBRARY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/pipeline.h"
#include "bench/SharedCopy.h"

namespace Bench {

/// References to objects of the library, given back at the end.
using ProfileHandle = std::unique_ptr<kxp_profile, decltype(&kxp_profile_release)>;
using PipelineHandle = std::unique_ptr<kxp_pipeline, decltype(&kxp_pipeline_release)>;

/// A copy of libKXPipeline, its workers held to one instruction-set level. Its functions throw
/// runtime_error with what the library says of a refusal.
class PipelineLibrary {
 public:
  /// Throws as SharedCopy does.
  PipelineLibrary(const std::string& path, CpuLevel level, const std::string& folder);

  const char* LevelName() const { return level_(); }

  ProfileHandle ReadProfile(const std::vector<unsigned char>& bytes) const;
  /// To sRGB. `pipeline` is KXP_PRECISE or KXP_FIXED.
  PipelineHandle MakePipeline(const ProfileHandle& source, std::uint32_t intent,
                              std::uint32_t pipeline) const;
  /// One row, on this thread.
  void Convert(const PipelineHandle& pipeline, const kxp_image& source,
               const kxp_image& destination, int pixels) const {
    if (convert_(pipeline.get(), &source, &destination, static_cast<std::size_t>(pixels), 1,
                 nullptr, nullptr) != KXP_OK) {
      throw std::runtime_error("kxp_convert fails");
    }
  }

 private:
  SharedCopy copy_;
  decltype(&kxp_level) level_;
  decltype(&kxp_profile_from_memory) profileFromMemory_;
  decltype(&kxp_profile_builtin) profileBuiltin_;
  decltype(&kxp_profile_release) profileRelease_;
  decltype(&kxp_pipeline_create) pipelineCreate_;
  decltype(&kxp_pipeline_release) pipelineRelease_;
  decltype(&kxp_convert) convert_;
  ProfileHandle srgb_;
};

/// Bytes of a sample of type KXP_U8, KXP_U16 or KXP_F32.
constexpr int BytesOf(std::uint32_t sample) {
  return sample == KXP_U8 ? 1 : sample == KXP_U16 ? 2 : 4;
}

/// Interleaved RGB. Sources are only read.
kxp_image PackedImage(const unsigned char* first, std::uint32_t sample);

}  // namespace Bench

#endif

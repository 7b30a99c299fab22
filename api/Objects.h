#ifndef KXCMS_API_OBJECTS_H
#define KXCMS_API_OBJECTS_H

#include <atomic>
#include <cstdint>
#include <memory>

#include "api/pipeline.h"
#include "pipeline/precise/PrecisePipeline.h"
#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

// What stands behind the handles.

namespace kxcms {

/// How many owners an object has. The last one to give its reference back deletes it.
class References {
 public:
  void Add() { count_.fetch_add(1, std::memory_order_relaxed); }
  /// @return whether that was the last one.
  [[nodiscard]] bool Remove() { return count_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

 private:
  std::atomic<std::size_t> count_{1};
};

/// What a handle of a profile stands for.
enum class ProfileKind {
  kDevice,    ///< a profile that was read
  kRgbSpace,  ///< a built-in space
  kRendered,  ///< an output of the fixed pipeline alone: a space, and a tone curve that renders
  kLab,
  kXyz
};

}  // namespace kxcms

struct kxp_profile {
  kxcms::References references;
  kxcms::ProfileKind kind = kxcms::ProfileKind::kDevice;
  /// A file's profile, or the model of a built-in RGB space, so that it can be a source; without a
  /// model for kRendered, null for Lab and XYZ. Shared with the pipelines made of it.
  std::shared_ptr<const kxcms::DeviceProfile> device;
  const kxcms::RgbSpace* space = nullptr;  ///< of kRgbSpace, and what describes kRendered
  const char* name = "";                   ///< of a built-in space
};

struct kxp_pipeline {
  kxcms::References references;
  kxcms::RenderingIntent intent = kxcms::RenderingIntent::kPerceptual;
  std::unique_ptr<const kxcms::RunConverter> converter;
  bool isToProfile = false;  ///< of a file: it has a model that serves the intent

  /// What a precise one was made of, for looking into it: shared with the handles. Null for the
  /// fixed pipeline; `target` is null for Lab and XYZ, too.
  const kxcms::PrecisePipeline* precise = nullptr;
  std::shared_ptr<const kxcms::DeviceProfile> source, target;
  kxcms::PreciseDestination destination;
  kxcms::PreciseOptions options;
};

#endif

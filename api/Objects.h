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

namespace kxcms {

/// What the handle of a profile is as a destination; borrows its parts.
PreciseDestination DestinationOf(const kxp_profile& profile);

}  // namespace kxcms

struct kxp_pipeline {
  kxp_pipeline(const kxp_profile& from, const kxp_profile& to,
               const kxcms::PreciseOptions& howToConvert)
      : source(from.device),
        target(to.device),
        destination(kxcms::DestinationOf(to)),
        options(howToConvert),
        precise(*source, destination, options) {}

  kxcms::References references;
  /// Shared with the handles that it was made of, for looking into a conversion. `target` is null
  /// for Lab and XYZ.
  std::shared_ptr<const kxcms::DeviceProfile> source, target;
  kxcms::PreciseDestination destination;
  kxcms::PreciseOptions options;
  kxcms::PrecisePipeline precise;
};

#endif

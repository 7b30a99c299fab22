#ifndef KXCMS_TOOLS_REPORT_TARGET_H
#define KXCMS_TOOLS_REPORT_TARGET_H

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "api/pipeline.hpp"
#include "exact/Conversion.h"
#include "profile/RgbSpaces.h"

namespace kxcms::report {

/// Where colours are converted to: a built-in space, or an RGB profile.
class Target {
 public:
  explicit Target(const RgbSpace& space);
  /// @param name  how reports call the profile
  /// @throw kxcms::ProfileError, kxcms::Error, std::invalid_argument  it cannot be used, or what
  ///   its device values look like cannot be told
  Target(std::string name, std::span<const unsigned char> bytes);

  const std::string& name() const { return name_; }
  /// Null for a profile.
  const RgbSpace* space() const { return space_; }
  /// For pipelines.
  const Profile& profile() const { return profile_; }
  /// D50 for a space.
  const Xyz& mediaWhite() const { return space_ == nullptr ? device_->mediaWhite : kPcsWhite; }
  /// For the evaluation in double precision; borrowed.
  exact::Destination Exactly() const;

  /// The colour that device values in [0, 1] stand for, in Lab relative to the white of the medium.
  exact::Triple LabOf(const exact::Triple& encoded) const;
  /// The same of values of 65535.
  exact::Triple LabOf(const std::array<std::uint16_t, 3>& levels) const;

 private:
  std::string name_;
  const RgbSpace* space_ = nullptr;
  Profile profile_;
  // Of a space, and of a profile with a matrix and curves: what each of 65536 levels of a channel
  // stands for, and what becomes of these.
  std::array<std::shared_ptr<const std::vector<double>>, 3> linear_;
  Matrix3 toPcs_{};
  std::unique_ptr<DeviceProfile> device_;
  std::unique_ptr<exact::Conversion> toLab_;
};

}  // namespace kxcms::report

#endif

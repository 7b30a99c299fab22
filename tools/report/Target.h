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

/// Device values of 65535.
using Levels16 = std::array<std::uint16_t, 3>;

/// A conversion in double precision, of levels: what becomes of each channel by itself is looked
/// up.
class LevelConversion {
 public:
  explicit LevelConversion(exact::Conversion conversion);

  const exact::Conversion& conversion() const { return conversion_; }
  /// The same bits as `exact::Conversion::Result` of levels / 65535.
  exact::Triple Result(const Levels16& levels) const {
    return conversion_.ResultOf({alone_[levels[0]][0], alone_[levels[1]][1], alone_[levels[2]][2]});
  }

 private:
  exact::Conversion conversion_;
  std::vector<exact::Triple> alone_;  ///< of each level in all channels
};

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
  exact::Triple LabOf(const Levels16& levels) const;

 private:
  std::string name_;
  const RgbSpace* space_ = nullptr;
  Profile profile_;
  // Of a space: what it makes of a level, and what becomes of three of these.
  Matrix3 toPcs_{};
  std::vector<double> linear_;
  // Of a profile.
  std::unique_ptr<DeviceProfile> device_;
  std::unique_ptr<LevelConversion> toLab_;
};

}  // namespace kxcms::report

#endif

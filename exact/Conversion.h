#ifndef KXCMS_EXACT_CONVERSION_H
#define KXCMS_EXACT_CONVERSION_H

#include <array>
#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

#include "exact/Elements.h"
#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

/// @file
/// The plain evaluation of a conversion in double precision, colour by colour and stage by stage.
/// It defines what a precise conversion computes; how fast it does so is of no concern here.

namespace kxcms::exact {

/// Colorimetry for measuring, relative to D50 as the profile connection space is.
enum class Measure { kLab, kXyz };

/// A built-in space, an RGB profile, or colorimetry.
using Destination = std::variant<const RgbSpace*, const DeviceProfile*, Measure>;

struct Options {
  RenderingIntent intent = RenderingIntent::kPerceptual;
  bool blackPointCompensation = false;  ///< with the relative intent alone
  /// For built-in spaces: `Trace::result` goes on beyond [0, 1].
  bool unclipped = false;
};

/// What comes out of a processing element.
struct Stage {
  /// Of lut8Type and lut16Type: "matrix", "input curves", "CLUT", "output curves". Of lutAToBType
  /// and lutBToAType: "A curves", "CLUT", "M curves", "matrix", "B curves". Of the matrix-based
  /// model: "curves", "matrix".
  const char* name;
  Triple values;
};

/// Linear values of a destination that has primaries.
struct LinearStages {
  Triple linear;
  Triple clipped;    ///< into [0, 1]
  Triple clippedBy;  ///< linear - clipped
};

/// A colour on its way.
struct Trace {
  Triple device;  ///< clipped into [0, 1]; 0 where it was not a number
  std::vector<Stage> sourceStages;
  // What the profile says, relative to the medium.
  Triple pcsLab;
  Xyz pcsXyz;
  // After the intent and black point compensation.
  Triple lab;
  Xyz xyz;
  std::optional<LinearStages> linear;
  /// What a lookup tag of the destination receives.
  std::optional<Triple> pcsEncoded;
  std::vector<Stage> destinationStages;
  /// Device values in [0, 1], unless options said otherwise; L*, a*, b*; or X, Y, Z.
  Triple result;
  /// Rounded to nearest, halves up: device values times 65535; L* 65535 / 100, (a* + 128) 257,
  /// (b* + 128) 257; or XYZ times 32768, within 0 to 65535.
  std::array<std::uint16_t, 3> result16;
  /// Device values times 255; colorimetry has no 8-bit form.
  std::optional<std::array<std::uint8_t, 3>> result8;
};

/// The black point of a source, by ISO 18619: device (0, 0, 0) through the relative model, as
/// grey, at most L* 50.
/// @throw std::invalid_argument  there is no model
Xyz SourceBlackPoint(const DeviceProfile& profile);
/// The black point of a destination. Of a matrix-based model the same; of lookup tags the estimate
/// of ISO 18619 from greys that go to the device and back.
/// @throw std::invalid_argument  a model is missing
Xyz DestinationBlackPoint(const DeviceProfile& profile);

class Conversion {
 public:
  /// Both profiles are borrowed.
  /// @throw std::invalid_argument  what cannot be done, in a sentence: a profile has no model; a
  ///   curve or the matrix of a destination cannot be undone; black point compensation with another
  ///   intent than relative.
  Conversion(const DeviceProfile& source, const Destination& destination, const Options& options);

  Trace Evaluate(const Triple& device) const;
  /// `Trace::result` alone, the same bits, for many colours.
  Triple Result(const Triple& device) const { return ResultOf(Alone(device)); }
  /// The same in two steps, for device values that come again and again: what becomes of each
  /// channel by itself, through the profile's first curves, and what of the three together.
  Triple Alone(const Triple& device) const;
  Triple ResultOf(const Triple& alone) const;

  const Model& SourceModel() const { return sourceModel_; }
  /// Of a profile only.
  const Model& DestinationModel() const { return destinationModel_; }
  /// D50 for built-in spaces and colorimetry.
  const Xyz& SourceWhite() const { return sourceWhite_; }
  const Xyz& DestinationWhite() const { return destinationWhite_; }
  /// Where black points are compensated. Built-in spaces and colorimetry have 0.
  const Xyz& SourceBlack() const { return sourceBlack_; }
  const Xyz& DestinationBlack() const { return destinationBlack_; }

 private:
  void ToSpace(const RgbSpace& space, Trace& trace) const;
  void ToProfile(Trace& trace) const;
  /// Whether the colour itself changes between the two profiles, and what it becomes then.
  bool IsRendered() const;
  Xyz Rendered(const Xyz& xyz) const;
  static Triple Encoded(const RgbSpace& space, const Triple& linear);
  /// By `undone_`.
  Triple Encoded(const Triple& linear) const;

  Destination destination_;
  Options options_;
  Model sourceModel_, destinationModel_;
  Xyz sourceWhite_, destinationWhite_;
  Xyz sourceBlack_{}, destinationBlack_{};
  Matrix3 pcsToLinear_{};             ///< of built-in spaces and matrix-based models
  std::vector<InverseCurve> undone_;  ///< the curves of such a model, three of them
};

}  // namespace kxcms::exact

#endif

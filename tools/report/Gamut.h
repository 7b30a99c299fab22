#ifndef KXCMS_TOOLS_REPORT_GAMUT_H
#define KXCMS_TOOLS_REPORT_GAMUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "exact/Elements.h"

/// @file
/// The gamut of a device, as the image in Lab of the surface of its cube of values.

namespace kxcms::report {

/// Device values in [0, 1] to L*, a*, b*.
using ToLab = std::function<exact::Triple(const exact::Triple&)>;

using Triangle = std::array<exact::Triple, 3>;

/// The six faces, all turned outward, as triangles: 2 `steps`^2 a face.
std::vector<Triangle> DeviceSurface(const ToLab& toLab, std::size_t steps);

/// What the surface encloses, in cubic units of Lab. Where it folds over itself, what is enclosed
/// the wrong way round counts against the rest.
double EnclosedVolume(const std::vector<Triangle>& surface);

struct Point {
  double x, y;
};
/// A line of a cut through the surface.
using Segment = std::array<Point, 2>;

/// The surface at a lightness, x = a*, y = b*.
std::vector<Segment> CutAtLightness(const std::vector<Triangle>& surface, double lightness);
/// The surface in the half plane of a hue, x = C*, y = L*.
std::vector<Segment> CutAtHue(const std::vector<Triangle>& surface, double hueDeg);
/// What a closed cut encloses, in square units.
double EnclosedArea(const std::vector<Segment>& cut);

/// The share, by volume in Lab, of the device's colours for which `isInside` holds: of
/// `steps`^3 cells of device values, each judged by its middle.
double ShareInside(const ToLab& toLab, const std::function<bool(const exact::Triple&)>& isInside,
                   std::size_t steps);

/// What a closed surface of triangles encloses, to ask of many colours whether they are in it.
class Solid {
 public:
  explicit Solid(const std::vector<Triangle>& surface);

  /// Whether the surface winds around a colour. On the surface itself, either may be the answer.
  bool Contains(const exact::Triple& lab) const;

 private:
  std::vector<Triangle> surface_;
  double lowA_ = 0, lowB_ = 0, cell_ = 1;            ///< squares of the a*, b* plane
  std::vector<std::vector<std::uint32_t>> squares_;  ///< triangles above or below each
};

}  // namespace kxcms::report

#endif

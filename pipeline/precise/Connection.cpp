#include "pipeline/precise/Connection.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "pipeline/precise/BlackPoints.h"

namespace kxcms {

Adaptation AdaptationOf(const DeviceProfile& source, const DeviceProfile* destination,
                        const PreciseOptions& options) {
  Adaptation adaptation;
  if (options.intent == RenderingIntent::kAbsolute) {
    // ICC.1:2010 6.3.2.2 and D.6.2: XYZ times the source's media white, by the destination's.
    const Xyz& to = destination != nullptr ? destination->mediaWhite : kPcsWhite;
    for (std::size_t n = 0; n < 3; ++n) adaptation.scale[n] = source.mediaWhite[n] / to[n];
  }
  if (options.blackPointCompensation) {
    if (options.intent != RenderingIntent::kRelative) {
      throw PipelineError(PipelineFault::kContradiction, 0,
                          "black point compensation belongs to the relative colorimetric intent");
    }
    adaptation = BlackPointCompensation(source, destination);
  }
  return adaptation;
}

AffineMap InverseColorants(const Matrix3& colorants) {
  const Matrix3 inverse = Inverse(colorants);
  const bool isFinite =
      std::all_of(inverse.begin(), inverse.end(), [](double x) { return std::isfinite(x); });
  if (!isFinite) {
    throw PipelineError(PipelineFault::kNotInvertible, MakeSignature("rXYZ"),
                        "the colorants rXYZ, gXYZ, bXYZ of the destination lie in a plane, so they "
                        "cannot be undone");
  }
  return {inverse, {}};
}

}  // namespace kxcms

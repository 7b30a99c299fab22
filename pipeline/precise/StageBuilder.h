#ifndef KXCMS_PIPELINE_PRECISE_STAGEBUILDER_H
#define KXCMS_PIPELINE_PRECISE_STAGEBUILDER_H

#include <array>
#include <vector>

#include "pipeline/precise/Arena.h"
#include "pipeline/precise/Stages.h"
#include "profile/DeviceProfile.h"
#include "profile/RgbSpaces.h"

namespace kxcms {

/// matrix x + offset.
struct AffineMap {
  Matrix3 matrix;
  std::array<double, 3> offset;
};
AffineMap Diagonal(const std::array<double, 3>& factors, const std::array<double, 3>& offset = {});
/// First `inner`, then `outer`.
AffineMap Product(const AffineMap& outer, const AffineMap& inner);

/// Appends the stages of a conversion to a list, in processing order. The numbers are in double
/// precision until a stage takes them. A copy goes on from where the original stands.
class StageBuilder {
 public:
  /// The tables of stages go into the arena, which is borrowed.
  explicit StageBuilder(Arena& arena) : arena_(&arena) {}

  void Add(const std::vector<Element>& elements);
  void Add(const CurveSet& set);
  void Add(const ColorGrid& grid);
  /// @param clips  the results, into [0, 1].
  void Add(const AffineMap& map, bool clips);

  /// CIE Lab to X/Xn, Y/Yn, Z/Zn (CIE 15:2004, 8.2.1.1).
  /// @param lab   what comes in to (L* + 16) / 116, a* / 500, b* / 200; without mixing them.
  /// @param then  from there on.
  void AddLabToXyz(const AffineMap& lab, const AffineMap& then, bool clips);
  /// The other direction.
  /// @param before  what comes in to X/Xn, Y/Yn, Z/Zn.
  /// @param lab     (L* + 16) / 116, a* / 500, b* / 200 to what goes out; without mixing them.
  void AddXyzToLab(const AffineMap& before, const AffineMap& lab, bool clips);

  /// Undoes the curves of a matrix-based model. May throw PipelineError with the tag of one.
  void AddInverse(const std::array<Curve, 3>& curves);
  void AddEncoding(Transfer transfer, bool isOdd);
  /// Brings values within [0, 1], as they mean.
  void AddScaling();

  const std::vector<Stage>& Stages() const { return stages_; }

 private:
  template <typename Parameters>
  Parameters* Append(StageKind kind, const Parameters* Stage::*member,
                     const Parameters& parameters);
  AffineMap WithUnits(const AffineMap& map) const;
  void ClipWhatComesIn();

  Arena* arena_;
  std::vector<Stage> stages_;
  /// A number as it stands, times this, is the value that it means.
  std::array<double, 3> unit_ = {1, 1, 1};
  bool* clips_ = nullptr;  ///< of the last stage, if its results may lie beyond [0, 1]
};

}  // namespace kxcms

#endif

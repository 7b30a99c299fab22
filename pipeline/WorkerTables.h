#ifndef KXCMS_PIPELINE_WORKERTABLES_H
#define KXCMS_PIPELINE_WORKERTABLES_H

#include <cstdint>
#include <memory>

#include "pipeline/FixedTables.h"
#include "pipeline/kernels/CompactTables.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// What the tables of each stage of a pipeline hold: another number every time that they are
/// filled. 0 stands for nothing.
struct StageVersions {
  std::uint64_t input = 1, cells = 1, output = 1;

  bool operator==(const StageVersions&) const = default;
};

/// The compact tables of the fast workers, for conversions of one format. Made from the tables of a
/// pipeline, which they do not refer to, and not changed any more: when a stage of it is filled
/// again, others are made. Any number of threads may read them.
class WorkerTables {
 public:
  /// @param tables     of a pipeline, borrowed for the time of the call
  /// @param versions   of what these hold
  /// @param withPairs  whether the worker reads CompactTables::coordinatePairs
  /// @param older      of the same pipeline and format, or null: its memory is used again, and in
  /// it
  ///                   the compact form of every stage whose version is still the same. Without it
  ///                   may throw bad_alloc.
  static std::unique_ptr<WorkerTables> Make(const FixedTables& tables,
                                            const StageVersions& versions, PixelFormat format,
                                            bool withPairs,
                                            std::unique_ptr<WorkerTables> older = nullptr);
  WorkerTables(const WorkerTables&) = delete;
  WorkerTables& operator=(const WorkerTables&) = delete;

  /// Whether they are made of a pipeline's tables as these are now.
  bool AreOf(const StageVersions& versions) const { return versions_ == versions; }

  /// What a worker of the format reads. Null where the tables have no compact form: 16-bit samples
  /// over 256 entries, and what no stage of a pipeline fills in, which is input entries beyond cell
  /// 15 or fraction 4095, nodes that are not bytes times 256, and cells whose corners disagree.
  const CompactTables* compact() const { return areCompact_ ? &compact_ : nullptr; }

 private:
  // The large members are written before they are read, page by page as a format needs them.
  WorkerTables() = default;

  bool MakeInput(const FixedTables& tables, PixelFormat format, bool withPairs);
  bool MakeGrid(const Cell (*cells)[16][16]);
  void MakeOutput(const std::uint32_t (*output)[kLevels16], PixelFormat format);

  StageVersions versions_;
  StageVersions made_ = {0, 0, 0};  // of the compact forms that are here
  bool areCompact_ = false;
  CompactTables compact_{};

  StepCurve steps_;
  alignas(64) std::uint8_t coordinateBytes_[3][2][kLevels8];
  TetrahedronRecord records_[kCells * 6];
  std::uint8_t output8_[3][kLevels16];
  std::uint16_t output16_[3][kLevels16];
  std::uint16_t coordinates_[3][kLevels16];
  std::uint32_t coordinatePairs_[kLevels8 * kLevels8];
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

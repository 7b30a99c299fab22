#ifndef KXCMS_PIPELINE_LOOKUPTAG_H
#define KXCMS_PIPELINE_LOOKUPTAG_H

#include <memory>

#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Whether a lookup tag has the colour table that its counts promise. One of no outputs is empty.
bool HasColorTable(const ICCFILE::CLut16Type& lut);

/// Whether the pipeline can be built from a lookup tag: up to three inputs, up to seven outputs, 2
/// to 33 grid points, and every table that its counts promise. An input that is missing counts as
/// 0 at every level, an output as node values of 0 with identity for its curve.
bool IsUsable(const ICCFILE::CLut16Type& lut);

/// Whether converting a tag of curves and a CLUT gives such a lookup tag: three inputs, three to
/// seven outputs, curves on both sides and a 16-bit CLUT that covers the grid of its first
/// dimension.
bool IsConvertible(const ICCFILE::CLut& lut);

/// A profile's lookup tag in the form that the pipeline is built from. Converts a `CLut` on the way
/// and owns the conversion; borrows a `CLut16Type`.
class LookupTag {
 public:
  LookupTag() = default;
  /// `tag` may be null. May throw bad_alloc.
  explicit LookupTag(ICCFILE::iccTagBase* tag);

  /// Null when there is no tag or the pipeline cannot use it.
  ICCFILE::CLut16Type* Get() const { return lut_; }

 private:
  std::unique_ptr<ICCFILE::CLut16Type> converted_;
  ICCFILE::CLut16Type* lut_ = nullptr;
};

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

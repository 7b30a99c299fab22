#ifndef KXCMS_PIPELINE_PRECISE_PIPELINEERROR_H
#define KXCMS_PIPELINE_PRECISE_PIPELINEERROR_H

#include <stdexcept>
#include <string>

#include "profile/DeviceProfile.h"

namespace kxcms {

enum class PipelineFault {
  kNoModel,        ///< a profile does not lead to the connection space, or not from it
  kNotInvertible,  ///< a curve or the colorants of a destination cannot be undone
  kContradiction,  ///< options that do not go together
  kNotFinite,      ///< numbers of a profile lead beyond what floats hold
  kNotFixed,       ///< what the fixed pipeline would convert wrongly, or not at all
};

/// Why a pipeline cannot be made. `what` is one English sentence.
class PipelineError : public std::runtime_error {
 public:
  PipelineError(PipelineFault why, Signature where, const std::string& sentence)
      : std::runtime_error(sentence), fault(why), tag(where) {}

  PipelineFault fault;
  Signature tag;  ///< of the profile in question, or 0
};

}  // namespace kxcms

#endif

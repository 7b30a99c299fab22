#ifndef KXCMS_BENCH_PRECISEPROFILES_H
#define KXCMS_BENCH_PRECISEPROFILES_H

#include <vector>

namespace Bench {

/// Profiles of the sample scanner in other forms, as files' bytes, written by Little CMS.
struct PreciseProfile {
  const char* name;
  std::vector<unsigned char> bytes;
};

/// lut16Type with 17 and 33 grid points, their output tables straight lines or not, lutAToBType and
/// the matrix-based model. Throws runtime_error.
std::vector<PreciseProfile> MakePreciseProfiles();

}  // namespace Bench

#endif

#ifndef KXCMS_BENCH_PLAINWORKER_H
#define KXCMS_BENCH_PLAINWORKER_H

#include "engine/CIccEngineS.h"

namespace Bench {

/// Samples and codes of a conversion to sRGB.
struct Format {
  const char* name;
  int sourceBytes, destinationBytes;  ///< per sample
  int input, output;                  ///< KX_ColorCode

  int PixelTraffic() const { return 3 * (sourceBytes + destinationBytes); }
};

/// The scalar worker over a whole buffer, on the tables that an engine holds. It reads what the
/// library reads at level "scalar", compiled with the same flags. Each thread takes one of as many
/// parts.
void ConvertPlainly(const ICC40::ICC_ENG_S4::CIccEngineS& engine, const Format& format,
                    const unsigned char* source, unsigned char* destination, int pixels,
                    int threads = 1);

}  // namespace Bench

#endif

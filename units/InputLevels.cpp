#include "units/InputLevels.h"

#include <utility>

#include "units/ToneCurve.h"

namespace ICC40 {
namespace ICC_UNIT {

void IndexBy8BitSamples(InputLookups lookups) {
  for (auto& channel : lookups) {
    for (int x = 0; x < 255; ++x) channel[x] = channel[x * 256];
    channel[255] = channel[kTopLevel];
  }
}

void IndexBy8BitLab(InputLookups lookups) {
  // Signed bytes: code x belongs at level (x ^ 128) * 256. The change is made in place with x
  // rising, so that x = 128 reads what x = 0 wrote and ends at the unchanged middle value; the -1
  // and +1, which may wrap, and the missing special case of L* 255 are kept as they are.
  for (unsigned int x = 0; x < 256; ++x) {
    const unsigned int level = (x ^ 128) * 256;
    const unsigned int offset = x < 128 ? ~0u : 1u;
    lookups[0][x] = lookups[0][x * 256];
    lookups[1][x] = lookups[1][level] + offset;
    lookups[2][x] = lookups[2][level] + offset;
  }
}

void IndexBy16BitLab(InputLookups lookups) {
  // Signed words: code v belongs at v ^ 0x8000. The pair 32767 and 65535 stays unswapped:
  // kept so that results stay identical.
  for (int v = 0; v < 32767; ++v) {
    std::swap(lookups[1][v], lookups[1][v ^ 0x8000]);
    std::swap(lookups[2][v], lookups[2][v ^ 0x8000]);
  }
}

}  // namespace ICC_UNIT
}  // namespace ICC40

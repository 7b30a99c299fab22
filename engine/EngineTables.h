#ifndef KXCMS_ENGINE_ENGINETABLES_H
#define KXCMS_ENGINE_ENGINETABLES_H

#include <cstdint>

namespace ICC40 {
namespace ICC_ENG_S4 {

// What the engine needs to know about its tables beyond its fixed fields stands behind
// `CIccEngineS::inLutAux0`, an array of 32-bit words that lives and dies with the input tables.

/// Word of that array: number of entries of each input table, 256 or 65536.
constexpr int kInputLevelsWord = 0;
/// Its length in words.
constexpr int kEngineTableWords = 1;

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

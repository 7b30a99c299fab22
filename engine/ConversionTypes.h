#ifndef KXCMS_ENGINE_CONVERSIONTYPES_H
#define KXCMS_ENGINE_CONVERSIONTYPES_H

#include "engine/CIccEngineS.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Conversion types (see Info::CheckConversionType) of 8-bit input that the engine converts.
constexpr int kType8To8 = 257;
constexpr int kType8To16 = 258;

/// Below this many pixels a parallel region costs more than it saves: none is opened.
constexpr int kMinParallelPixels = 32768;

/// Whether an engine has the input tables that every conversion needs.
bool HasTables(const CIccEngineS& engine);

/// Whether an engine whose samples keep their width yields the output tables' own contents: a
/// sample by its position, whatever the source is.
bool IsFilled(const CIccEngineS& engine);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

#ifndef KXCMS_ENGINE_ENGINETABLES_H
#define KXCMS_ENGINE_ENGINETABLES_H

#include <array>
#include <cstdint>

#include "engine/CIccEngineS.h"
#include "pipeline/kernels/CompactTables.h"
#include "pipeline/kernels/Kernels.h"

// What the engine needs beyond its fixed fields: compact forms of its tables for the fast workers.
// They live and die with the input tables, are found by the engine's address, and are made from the
// contract tables when a conversion first needs them.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Sample widths of a conversion.
enum class PixelFormat { k8To8, k8To16, k16To16 };

/// The engine's arrays of input levels: the input tables, then the auxiliary ones, first channel
/// first.
using InputArrays = std::array<const unsigned int*, 6>;

/// Gives the engine room for compact forms, to be called whenever it has got six new arrays of
/// `inputLevels` entries, 256 or 65536. May throw bad_alloc, and then has given nothing.
void HoldEngineTables(const CIccEngineS& engine, std::uint32_t inputLevels);

/// To be called before these arrays are deleted.
void DropEngineTables(const CIccEngineS& engine);

/// Entries of each of the engine's input tables. Where a program has put arrays of its own in place
/// of all three, those that the input code asks for.
std::uint32_t InputLevels(const CIccEngineS& engine);

/// Whether all six arrays are the engine's own, with `inputLevels` entries each.
bool HasOwnInputTables(const CIccEngineS& engine, std::uint32_t inputLevels);

/// To be called when the input tables, the cells or the output tables changed: the compact forms
/// are out of date.
void InputTablesChanged(const CIccEngineS& engine);
void CellsChanged(const CIccEngineS& engine);
void OutputTablesChanged(const CIccEngineS& engine);

/// The tables of a fast worker out of `kernels`, brought up to date where they lie: not for several
/// threads at once. Null where there are none: for arrays that a program has put in place of the
/// input tables, for 16-bit samples over 256-entry tables, and for what the engine does not
/// make, which is input entries beyond cell 15 or fraction 4095, nodes that are not bytes times
/// 256, and cells whose corners disagree.
const CompactTables* CurrentCompactTables(const CIccEngineS& engine, PixelFormat format,
                                          const KernelSet& kernels);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

#ifndef KXCMS_ENGINE_ENGINETABLES_H
#define KXCMS_ENGINE_ENGINETABLES_H

#include <array>
#include <cstdint>

#include "engine/CIccEngineS.h"
#include "pipeline/kernels/CompactTables.h"
#include "pipeline/kernels/Kernels.h"

// What the engine needs beyond its fixed fields: compact forms of its tables for the fast workers.
// They stand behind `CIccEngineS::inLutAux0`, an array of 32-bit words that lives and dies with the
// input tables, and are made from the contract tables when a conversion first needs them.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Sample widths of a conversion.
enum class PixelFormat { k8To8, k8To16, k16To16 };

/// The engine's input tables, first channel first.
using InputArrays = std::array<const unsigned int*, 3>;

/// Gives the engine room for compact forms, to be called whenever it gets new input tables: `input`
/// (borrowed), with `inputLevels` entries per channel, 256 or 65536. May throw bad_alloc.
/// @return an array for `inLutAux0`.
unsigned int* NewEngineTables(const InputArrays& input, std::uint32_t inputLevels);

/// To be called before `inLutAux0` is deleted: whatever gets its memory next is not to pass for it.
void DisownEngineTables(CIccEngineS& engine);

/// Entries of each of the engine's input tables. Where a program has put arrays of its own in place
/// of all three, those that the input code asks for.
std::uint32_t InputLevels(const CIccEngineS& engine);

/// Whether the engine's input tables are its own, with `inputLevels` entries per channel.
bool HasOwnInputTables(const CIccEngineS& engine, std::uint32_t inputLevels);

/// To be called when the input tables, the cells or the output tables changed: the compact forms
/// are out of date.
void InputTablesChanged(const CIccEngineS& engine);
void CellsChanged(const CIccEngineS& engine);
void OutputTablesChanged(const CIccEngineS& engine);

/// The tables of a fast worker out of `kernels`, brought up to date in the engine's own array: not
/// for several threads at once. Null where there are none: for arrays that a program has put into
/// the engine's fields, for 16-bit samples over 256-entry tables, and for what the engine does not
/// make, which is input entries beyond cell 15 or fraction 4095, nodes that are not bytes times
/// 256, and cells whose corners disagree.
const CompactTables* CurrentCompactTables(const CIccEngineS& engine, PixelFormat format,
                                          const KernelSet& kernels);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

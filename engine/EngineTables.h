#ifndef KXCMS_ENGINE_ENGINETABLES_H
#define KXCMS_ENGINE_ENGINETABLES_H

#include <cstdint>

#include "engine/CIccEngineS.h"
#include "engine/kernels/Kernels.h"
#include "engine/kernels/WorkerTables.h"

// What the engine needs beyond its fixed fields: compact forms of its tables for the fast workers.
// They stand behind `CIccEngineS::inLutAux0`, an array of 32-bit words that lives and dies with the
// input tables, and are made from the contract tables when a conversion first needs them.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Sample widths of a conversion.
enum class PixelFormat { k8To8, k8To16, k16To16 };

/// Gives the engine room for the compact forms of tables with `inputLevels` entries per channel,
/// 256 or 65536. To be called whenever its input tables were made. May throw bad_alloc.
/// @return an array for `inLutAux0`.
unsigned int* NewEngineTables(std::uint32_t inputLevels);

/// Entries of each of the engine's input tables. Where a program has put its own arrays into the
/// engine's fields, those that the input code asks for.
std::uint32_t InputLevels(const CIccEngineS& engine);

/// To be called when the cells or the output tables changed: the compact forms are out of date.
void CellsChanged(const CIccEngineS& engine);
void OutputTablesChanged(const CIccEngineS& engine);

/// The tables of a fast worker, brought up to date; null where there are none: for arrays that a
/// program has put into the engine's fields, for cells that are not bytes times 256 or whose
/// corners disagree (the engine makes none such), and for 16-bit samples over 256-entry tables. Not
/// for several threads at once.
const WorkerTables* CurrentWorkerTables(const CIccEngineS& engine, PixelFormat format);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

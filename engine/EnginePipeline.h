#ifndef KXCMS_ENGINE_ENGINEPIPELINE_H
#define KXCMS_ENGINE_ENGINEPIPELINE_H

#include <cstddef>

#include "engine/CIccEngineS.h"
#include "pipeline/FixedPipeline.h"

// The pipeline behind an engine, whose tables are the engine's own fields and arrays.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// The pipeline that fills the engine's tables. Made at the first call, which may throw bad_alloc.
///
/// The engine's layout has no room for it, and what its fields point to belongs to programs as much
/// as to the library: so it stands elsewhere, and nothing leads there but the engine's address.
/// Whatever a program does to the arrays makes no difference.
FixedPipeline& PipelineOf(CIccEngineS& engine);

/// @return null before the first call of PipelineOf.
FixedPipeline* FindPipeline(const CIccEngineS& engine);

/// To be called when an engine begins and when it ends: the next one at its address gets another
/// pipeline.
void DropPipeline(const CIccEngineS& engine);

/// Gives the engine and its pipeline arrays for input tables of so many entries, six by the
/// engine's layout, of which three are used. Those that are there stay if they are of this size and
/// none of them is a program's: heap and system would pass them to and fro, which takes longer than
/// to fill them. May throw bad_alloc; some of the fields may be null then.
void ProvideInputArrays(CIccEngineS& engine, std::size_t levels);

/// Deletes whatever arrays the input fields hold.
void ReleaseInputArrays(CIccEngineS& engine);

/// The engine's pipeline, if its input fields hold the pipeline's arrays; null where a program has
/// put others in their place.
FixedPipeline* OwnPipelineOf(const CIccEngineS& engine);

/// The tables that the engine's fields lead to, whosever they are. Where a program has put arrays
/// of its own in place of all three input tables, these have the entries that the input code asks
/// for.
FixedTables TablesOf(const CIccEngineS& engine);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

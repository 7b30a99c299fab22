#ifndef KXCMS_ENGINE_FILECONVERSION_H
#define KXCMS_ENGINE_FILECONVERSION_H

#include "engine/CIccEngineS.h"

// The two ways of `CIccEngineS::Conversion(inPath, outPath)`. They write the same bytes and print
// the same lines.

namespace ICC40 {
namespace ICC_ENG_S4 {

/// Reads the whole image, converts it and writes it: the definition, for every file.
/// @return as `CIccEngineS::Conversion`.
int ConvertWholeImage(CIccEngineS& engine, char const* inPath, char const* outPath);

/// Passes the image through pieces of memory for `piecePixels` pixels (1 up to what one thread
/// converts alone), which stay in the processor's caches: to store an image in fresh memory takes
/// longer than to convert it.
/// @return whether it was done. Otherwise nothing was written or printed: the image is not one of
///         plain strips, the engine does not replace every pixel in its place, a file is none that
///         may be emptied while the other is still to be read, or a file could not be opened.
bool ConvertInPieces(CIccEngineS& engine, char const* inPath, char const* outPath, int piecePixels);

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#endif

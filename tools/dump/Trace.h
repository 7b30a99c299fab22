#ifndef KXCMS_TOOLS_DUMP_TRACE_H
#define KXCMS_TOOLS_DUMP_TRACE_H

#include <array>
#include <string>

#include "codes/ColorCodes.h"

/// What to convert, and how.
struct TraceRequest {
  std::string profile;        ///< path
  std::array<int, 3> device;  ///< R, G, B within the depth
  int depth;                  ///< bits a sample, 8 or 16, of input and output
  ICC40::ICCFILE::Intent intent;
  ICC40::ICCFILE::ColorSpaceSignature output;  ///< of the same depth
  int lightness, chroma, hueDeg;               ///< offsets in whole units
};

/// Converts one colour through the first engine slot and prints on standard output what every stage
/// makes of it. The stages before the engine's own tables are made once more with the library's
/// classes; throws a runtime_error when they lead to other tables, when the stages do not give what
/// the conversion gives, or when the profile cannot be traced.
void PrintTrace(const TraceRequest& request);

#endif

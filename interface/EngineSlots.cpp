#include "interface/EngineSlots.h"

// One file, so that the order of construction is the order of these lines.
ICC40::ICC_ENG_S4::CIccEngineS IccEngine;
ICC40::ICC_ENG_S4::CIccEngineS IccEngine_2nd;
ICC40::ICC_ENG_S4::CIccEngineS IccEngine_3rd;

char const* Name() {
  return "Icc";
}

#ifndef KXCMS_INTERFACE_ENGINESLOTS_H
#define KXCMS_INTERFACE_ENGINESLOTS_H

#include "../engine/CIccEngineS.h"

/// @file
/// The three engine slots behind the C interface.

///@{
/// An engine slot. The three are constructed in this order when the library is loaded and destroyed
/// in the reverse order when it is unloaded. One thread at a time each; they share nothing but the
/// OpenMP runtime, whose number of threads their construction sets for the loading thread only.
extern KX_API ICC40::ICC_ENG_S4::CIccEngineS IccEngine;
extern KX_API ICC40::ICC_ENG_S4::CIccEngineS IccEngine_2nd;
extern KX_API ICC40::ICC_ENG_S4::CIccEngineS IccEngine_3rd;
///@}

/// Section name that `KX_Icc_Adjust` passes to `ConfigGetInt`. @return "Icc", static storage.
KX_API char const* Name();

#endif

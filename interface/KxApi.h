#ifndef KXCMS_INTERFACE_KXAPI_H
#define KXCMS_INTERFACE_KXAPI_H

// Forwards to where the header stands now: this path stays for programs that include it.
#include "../base/KxApi.h"

#endif

#ifndef KXCMS_INTERFACE_RESULTCODES_H
#define KXCMS_INTERFACE_RESULTCODES_H

// Forwards to where the header stands now: this path stays for programs that include it.
#include "../codes/ResultCodes.h"

#endif

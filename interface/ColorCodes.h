#ifndef KXCMS_INTERFACE_COLORCODES_H
#define KXCMS_INTERFACE_COLORCODES_H

// Forwards to where the header stands now: this path stays for programs that include it.
#include "../codes/ColorCodes.h"

#endif

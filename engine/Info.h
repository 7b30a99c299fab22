#ifndef KXCMS_ENGINE_INFO_H
#define KXCMS_ENGINE_INFO_H

// Forwards to where the header stands now: this path stays for programs that include it.
#include "../units/Info.h"

#endif

#include "codes/ColorCodes.h"

const char* const strColor[ICC40::ICCFILE::kColorCodeCount] = {
#define KX_ROW(value, name8, name16, ...) #name8, #name16,
    KX_COLOR_CODES(KX_ROW)
#undef KX_ROW
};

const char* const strIntent[4] = {
#define KX_ROW(value, name, ...) #name,
    KX_INTENTS(KX_ROW)
#undef KX_ROW
};

#include "codes/ResultCodes.h"

const char* const strErr[40] = {
    "IccNoError", "InputColorError", "NotInputProfile",  "NotOutputProfile",
    "UnUsedFun",  "UnDefinedError",  "UnKnownErrorCode",
};

#include "colormath/RgbMatrices.h"

// The rounded values are the definition, since results must stay identical bit for bit.

const double sRGB_D50[9] = {
    0.4361, 0.3851, 0.1431,  // X
    0.2225, 0.7169, 0.0606,  // Y
    0.0139, 0.0971, 0.7141,  // Z
};

const double inv_sRGB_D50[9] = {
    3.1341,  -1.6174, -0.4907,  // R
    -0.9788, 1.9163,  0.0334,   // G
    0.072,   -0.229,  1.4054,   // B
};

const double AdobeRGB_D50[9] = {
    0.6098, 0.2053, 0.1492,  // X
    0.3111, 0.6257, 0.0632,  // Y
    0.0195, 0.0609, 0.7448,  // Z
};

// The row of G is that of inv_sRGB_D50: it is 0 for the red and the blue primary and 1 for the
// white, which the two spaces share.
const double inv_AdobeRGB_D50[9] = {
    1.9625,  -0.6107, -0.3414,  // R
    -0.9788, 1.9163,  0.0334,   // G
    0.0287,  -0.1407, 1.3489,   // B
};

const double AppleRGB_D50[9] = {
    0.4756, 0.3397, 0.149,   // X
    0.2552, 0.6726, 0.0723,  // Y
    0.0185, 0.1133, 0.6933,  // Z
};

const double inv_AppleRGB_D50[9] = {
    2.8513,  -1.361,  -0.4709,  // R
    -1.0928, 2.035,   0.0227,   // G
    0.1027,  -0.2965, 1.4512,   // B
};

const double ColorMatchRGB_D50[9] = {
    0.5095, 0.3209, 0.1339,  // X
    0.275,  0.6581, 0.067,   // Y
    0.0243, 0.1088, 0.6921,  // Z
};

const double inv_ColorMatchRGB_D50[9] = {
    2.6416,  -1.2231, -0.3929,  // R
    -1.1121, 2.0592,  0.016,    // G
    0.0822,  -0.2808, 1.4562,   // B
};

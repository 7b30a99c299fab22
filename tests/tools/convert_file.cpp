// Converts a TIFF file through the library's own entry points, for comparison with the command.
// convert_file PROFILE INTENT INPUT_CODE OUTPUT_CODE L C H IN.tif OUT.tif

#include <cstdlib>

#include "codes/ColorCodes.h"
#include "interface/EngineSlots.h"
#include "interface/kxcms.h"

int main(int argc, char** argv) {
  using namespace ICC40::ICCFILE;
  if (argc != 10) return 2;
  IccEngine_2nd.SetProfile(argv[1], static_cast<Intent>(std::atoi(argv[2])),
                           static_cast<ColorSpaceSignature>(std::atoi(argv[3])),
                           static_cast<ColorSpaceSignature>(std::atoi(argv[4])), std::atof(argv[5]),
                           std::atof(argv[6]), std::atof(argv[7]));
  return KX_Icc_ConvertFile_2nd(argv[8], argv[9]) == kNoColorCode ? 1 : 0;
}

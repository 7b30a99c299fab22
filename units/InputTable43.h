#ifndef KXCMS_UNITS_INPUTTABLE43_H
#define KXCMS_UNITS_INPUTTABLE43_H

#include "../iccfile/CLut16Type.h"
#include "Base.h"

namespace ICC40 {
namespace ICC_UNIT {

/// Input curves of four channels, interpolated at each call.
class KX_API InputTable43 : public Base {
 public:
  /// Curves 0, depth 16, step 0.
  InputTable43();
  ~InputTable43() override;

  /// Replaces c0, c1, c2, o0 by the interpolated value of their channel's curve; o1..o3 are
  /// untouched. Needs `Initial`; without it nothing changes. @return 0.
  int Conversion(unsigned short& c0, unsigned short& c1, unsigned short& c2, unsigned short& o0,
                 unsigned short& o1, unsigned short& o2, unsigned short& o3) override;
  int Conversion(unsigned char* buffer, int count) override;
  /// Does nothing. @return 0.
  int Conversion(Info* info) override;

  /// Copies the input tables of `lut` (up to 4 channels). Curves of two entries are interpolated
  /// like longer ones; fewer give a defined result. Of more than 4096 entries the first are held,
  /// at the spacing of all: levels past these convert to the last one held. A null tag or absent
  /// input tables change nothing. @return 0.
  int Initial(ICCFILE::CLut16Type* lut);

  double step;                   ///< curve input spacing, 65535 / (entries - 1); 0 = no curves
  unsigned int curves[4][4096];  ///< curve of each channel, its first 4096 16-bit values
  unsigned int depth;            ///< 16
};

}  // namespace ICC_UNIT
}  // namespace ICC40

#endif

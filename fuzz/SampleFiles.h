#ifndef KXCMS_FUZZ_SAMPLEFILES_H
#define KXCMS_FUZZ_SAMPLEFILES_H

#include <cstdint>
#include <vector>

#include "tests/iccfile/ProfileBytes.h"
#include "tests/tiff/TiffBytes.h"

// Small whole files to begin with, made of numbers: for the seeds of the corpora and for the
// targets that need a good profile or image at hand.

namespace fuzz {

using Samples = std::vector<std::uint16_t>;

/// `channels` curves of `entries` values, one behind the other: v, v / 2, v / 3, ...
inline Samples Ramps(int channels, int entries) {
  Samples values;
  for (int c = 0; c < channels; ++c) {
    for (int i = 0; i < entries; ++i) {
      values.push_back(static_cast<std::uint16_t>(65535 * i / (entries - 1) / (c + 1)));
    }
  }
  return values;
}

/// A grid of Lab (lut16 encoding): L* rises with the inputs' mean, a* and b* with their
/// differences; outputs past the third are the inputs' maximum.
inline Samples LabGrid(int gridPoints, int outputs) {
  Samples values;
  const int top = gridPoints - 1;
  for (int r = 0; r < gridPoints; ++r) {
    for (int g = 0; g < gridPoints; ++g) {
      for (int b = 0; b < gridPoints; ++b) {
        const int node[3] = {65280 * (r + g + b) / (3 * top), 32768 + 16000 * (r - g) / top,
                             32768 + 16000 * (g - b) / top};
        for (int c = 0; c < outputs; ++c) {
          values.push_back(static_cast<std::uint16_t>(
              c < 3 ? node[c] : 65535 * std::max(r, std::max(g, b)) / top));
        }
      }
    }
  }
  return values;
}

inline profile_bytes::Bytes Lut16(int gridPoints, int entries, int outputs = 3, int inputs = 3) {
  profile_bytes::Mft2 lut;
  lut.inputs = inputs;
  lut.outputs = outputs;
  lut.gridPoints = gridPoints;
  lut.inputEntries = lut.outputEntries = entries;
  lut.inputTables = Ramps(inputs, entries);
  lut.colorTable = LabGrid(gridPoints, outputs);
  lut.outputTables = Ramps(outputs, entries);
  return lut.Tag();
}

/// A tag of curves and a CLUT, all elements present.
inline profile_bytes::Bytes CurvesAndGrid(
    std::string_view type, int gridPoints, int entries,
    profile_bytes::Mab::Spacing spacing = profile_bytes::Mab::Spacing::kAsRead, int precision = 2) {
  profile_bytes::Mab lut;
  lut.type = type;
  for (int c = 0; c < 3; ++c) {
    lut.curvesA.push_back(Ramps(1, entries));
    lut.curvesB.push_back(Ramps(1, entries));
    lut.curvesM.push_back(Ramps(1, entries));
  }
  lut.gridPoints.assign(3, static_cast<unsigned char>(gridPoints));
  lut.precision = precision;
  lut.clut = LabGrid(gridPoints, 3);
  lut.spacing = spacing;
  return lut.Tag();
}

/// Every kind of tag; a lookup tag for each intent.
inline profile_bytes::Bytes ScannerProfile() {
  using namespace profile_bytes;
  return ProfileBytes()
      .Header(48, "KXCM")
      .AddTag("desc", PlainTag("desc", "a scanner"))
      .AddTag("cprt", PlainTag("text", "nobody's"))
      .AddTag("wtpt", XyzTag(0xF351, 0x10000, 0x116CC))
      .AddTag("chad", MatrixTag({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x10000}))
      .AddTag("A2B0", Lut16(3, 4))
      .AddTag("A2B1", CurvesAndGrid("mAB ", 2, 3))
      .AddLink("A2B2", 4)
      .AddTag("B2A0", CurvesAndGrid("mBA ", 2, 3))
      .AddTag("rTRC", CurvTag({}))
      .AddTag("gTRC", CurvTag({0x0200}))
      .AddTag("bTRC", CurvTag({0, 20000, 65535}))
      .AddTag("rXYZ", XyzTag(0x6FA2, 0x38F5, 0x0390))
      .AddTag("targ", PlainTag("text", "CTI3"))
      .Build();
}

/// One lookup tag, and the manufacturer "none".
inline profile_bytes::Bytes PlainProfile() {
  return profile_bytes::ProfileBytes().AddTag("A2B0", Lut16(2, 2)).Build();
}

/// No lookup tag.
inline profile_bytes::Bytes MatrixProfile() {
  using namespace profile_bytes;
  return ProfileBytes()
      .AddTag("rXYZ", XyzTag(0x6FA2, 0x38F5, 0x0390))
      .AddTag("rTRC", CurvTag({0x0200}))
      .Build();
}

/// A chunky image in one strip with an embedded profile of 12 bytes.
inline tiff_test::Bytes PlainTiff(unsigned width, unsigned length, unsigned samples,
                                  unsigned bits) {
  using namespace tiff_test;
  return ImageEntries(width, length, samples, bits, length, 1)
      .AddData(34675, kUndefined, 12, Ramp(12))
      .AddStrips({Ramp(std::size_t{width} * length * samples * bits / 8, 3, 7)})
      .Build();
}

}  // namespace fuzz

#endif

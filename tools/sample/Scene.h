#ifndef KXCMS_TOOLS_SAMPLE_SCENE_H
#define KXCMS_TOOLS_SAMPLE_SCENE_H

#include "Colorimetry.h"

/// A picture made of known colours: a landscape with sky, hills, a face and a balloon, grain over
/// it, a grey scale and three rows of patches under it. Always the same.
namespace Scene {

constexpr int kWidth = 768;
constexpr int kLength = 512;

/// The colour of a pixel as the scanner of this program can see it.
Vector3 Lab(int x, int y);

}  // namespace Scene

#endif

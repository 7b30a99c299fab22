#include "OutputSpaces.h"

namespace {

using namespace ICC40::ICCFILE;

constexpr OutputSpace kSpaces[] = {
    {"srgb", sRGB, "sRGB"},
    {"srgb-linear", sRGB100, "sRGB primaries, linear"},
    {"srgb-220", sRGB220, "sRGB primaries, the curve of srgb"},
    {"srgb-kodak-photo", sRGB_KodakPhoto, "sRGB primaries, Kodak tone curve for photographs"},
    {"srgb-kodak-mix", sRGB_KodakMix, "sRGB primaries, Kodak tone curve for mixed originals"},
    {"srgb-kodak-text", sRGB_KodakText, "sRGB primaries, Kodak tone curve for text"},
    {"adobe", Adobe, "Adobe RGB primaries, gamma 1.8"},
    {"adobe-linear", Adobe100, "Adobe RGB primaries, linear"},
    {"apple", Apple, "Apple RGB primaries, gamma 1.8"},
    {"apple-linear", Apple100, "Apple RGB primaries, linear"},
    {"colormatch", ColorMatch, "ColorMatch RGB primaries, gamma 1.8"},
    {"colormatch-linear", ColorMatch100, "ColorMatch RGB primaries, linear"},
};

}  // namespace

std::span<const OutputSpace> OutputSpaces() {
  return kSpaces;
}

const OutputSpace* FindOutputSpace(std::string_view name) {
  for (const OutputSpace& space : kSpaces) {
    if (space.name == name) return &space;
  }
  return nullptr;
}

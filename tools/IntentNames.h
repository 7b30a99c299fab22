#ifndef KXCMS_TOOLS_INTENTNAMES_H
#define KXCMS_TOOLS_INTENTNAMES_H

#include <array>

/// The rendering intents by their numbers (ICC.1:2010 7.2.15), which every interface here uses.
constexpr std::array<const char*, 4> kIntentNames = {"perceptual", "relative", "saturation",
                                                     "absolute"};

#endif

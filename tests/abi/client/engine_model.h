#pragma once

// What engine and interface checks share: a scan profile and the rule of the pixel worker.

#include <cstdint>
#include <string>

#include "declarations.h"

namespace client {

/// Lab codes of the profile's grid, 17 points an axis, no two nodes alike.
void ScanNode(int i, int j, int k, unsigned* values);

/// Path of a profile with that grid under A2B0, linear curves and a media white point.
std::string ScanProfile();

/// One output sample of one pixel, from the engine's tables.
std::uint32_t ModelSample(const ICC40::ICC_ENG_S4::CIccEngineS& engine, unsigned s0, unsigned s1,
                          unsigned s2, int channel);

}  // namespace client

#ifndef KXCMS_TOOLS_SAMPLE_SAMPLEPROFILE_H
#define KXCMS_TOOLS_SAMPLE_SAMPLEPROFILE_H

#include <vector>

/// The scanner's profile: class 'scnr', RGB to Lab, one lookup tag of type lut16Type with 33 grid
/// points (ICC.1:2001-04).
std::vector<unsigned char> MakeSampleProfile();

#endif

#ifndef KXCMS_TESTS_INTERFACE_TESTPROFILE_H
#define KXCMS_TESTS_INTERFACE_TESTPROFILE_H

#include <cstdint>
#include <vector>

/// Where the eight nodes of the profile begin: behind header, tag table, tag header, input curves.
constexpr int kTestProfileNodes = 128 + 4 + 12 + 52 + 3 * 2 * 2;

/// A scanner profile (ICC.1:2010 7.2, 10.8) whose only tag is an A2B0 of type lut16Type with two
/// grid points: L* rises from 0 at black to 100 at white with the mean of R, G, B, and a* = b* = 0,
/// so that every conversion to an RGB space is grey.
inline std::vector<unsigned char> GreyScannerProfile() {
  std::vector<unsigned char> bytes;
  const auto u16 = [&bytes](unsigned value) {
    bytes.push_back(static_cast<unsigned char>(value >> 8));
    bytes.push_back(static_cast<unsigned char>(value));
  };
  const auto u32 = [&u16](std::uint32_t value) {
    u16(value >> 16);
    u16(value & 0xFFFF);
  };
  const auto signature = [&bytes](const char* text) { bytes.insert(bytes.end(), text, text + 4); };

  u32(0);  // size, filled in below
  u32(0);
  u32(0x02400000);
  signature("scnr");
  signature("RGB ");
  signature("Lab ");
  bytes.resize(36);
  signature("acsp");
  bytes.resize(128);

  constexpr std::uint32_t kTagOffset = 128 + 4 + 12;
  constexpr std::uint32_t kTagSize = 52 + 2 * (3 * 2 + 8 * 3 + 3 * 2);
  u32(1);
  signature("A2B0");
  u32(kTagOffset);
  u32(kTagSize);

  signature("mft2");
  u32(0);
  bytes.insert(bytes.end(), {3, 3, 2, 0});
  for (int i = 0; i < 9; ++i) u32(i % 4 == 0 ? 0x10000 : 0);
  u16(2);  // entries of an input curve
  u16(2);  // and of an output curve
  for (int curve = 0; curve < 3; ++curve) {
    u16(0);
    u16(65535);
  }
  for (int node = 0; node < 8; ++node) {
    const int ones = (node >> 2 & 1) + (node >> 1 & 1) + (node & 1);
    u16(0xFF00 * static_cast<unsigned>(ones) / 3);  // 0xFF00 is L* 100
    u16(0x8000);
    u16(0x8000);
  }
  for (int curve = 0; curve < 3; ++curve) {
    u16(0);
    u16(65535);
  }
  bytes[2] = static_cast<unsigned char>(bytes.size() >> 8);
  bytes[3] = static_cast<unsigned char>(bytes.size());
  return bytes;
}

#endif

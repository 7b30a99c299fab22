#pragma once

// Profiles and lookup tags in memory, byte by byte.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "checks.h"

namespace client {

/// The three numbers of a grid node, from its position on each axis.
using Node = void (*)(int i, int j, int k, unsigned* values);

/// 'mft2' tag. Input and output curves are linear from 0 to 65535.
inline Bytes Mft2(unsigned ins, unsigned outs, unsigned grid, unsigned inEntries,
                  unsigned outEntries, Node node) {
  Bytes tag;
  tag.Text("mft2").Big32(0).U8(ins).U8(outs).U8(grid).U8(0);
  for (int i = 0; i < 9; ++i) {
    tag.Big32(i % 4 == 0 ? 0x10000 : 0);
  }
  tag.Big16(inEntries).Big16(outEntries);
  for (unsigned c = 0; c < ins; ++c) {
    for (unsigned i = 0; i < inEntries; ++i) {
      tag.Big16(65535 * i / (inEntries - 1));
    }
  }
  const int n = static_cast<int>(grid);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      for (int k = 0; k < n; ++k) {
        unsigned values[7] = {};
        node(i, j, k, values);
        for (unsigned c = 0; c < outs; ++c) {
          tag.Big16(values[c]);
        }
      }
    }
  }
  for (unsigned c = 0; c < outs; ++c) {
    for (unsigned i = 0; i < outEntries; ++i) {
      tag.Big16(65535 * i / (outEntries - 1));
    }
  }
  return tag;
}

/// 'XYZ ' tag of the D50 white as s15Fixed16 words.
inline Bytes WhitePointTag() {
  Bytes tag;
  tag.Text("XYZ ").Big32(0).Big32(0xF6D6).Big32(0x10000).Big32(0xD32D);
  return tag;
}

using TagTable = std::vector<std::pair<std::uint32_t, Bytes>>;

/// A whole profile: header (every byte of it distinct enough to tell fields apart), table, tags.
inline Bytes Profile(const TagTable& tags, std::uint32_t manufacturer) {
  std::uint32_t offset = 132 + 12 * static_cast<std::uint32_t>(tags.size());
  Bytes table, data;
  table.Big32(static_cast<std::uint32_t>(tags.size()));
  for (const auto& [signature, bytes] : tags) {
    table.Big32(signature).Big32(offset).Big32(static_cast<std::uint32_t>(bytes.size()));
    data.Append(bytes).Zeros((4 - bytes.size() % 4) % 4);
    offset = 132 + 12 * static_cast<std::uint32_t>(tags.size()) +
             static_cast<std::uint32_t>(data.size());
  }
  Bytes file;
  file.Big32(offset).Text("test").Big32(0x02400000).Text("scnr").Text("RGB ").Text("Lab ");
  for (unsigned part : {2024, 2, 29, 12, 34, 56}) {
    file.Big16(part);
  }
  file.Text("acsp").Text("plat").Big32(1).Big32(manufacturer).Text("modl").Text("attribut");
  file.Big32(1).Big32(0xF6D6).Big32(0x10000).Big32(0xD32D).Text("crea");
  for (unsigned i = 0; i < 44; ++i) {
    file.U8(i);
  }
  return file.Append(table).Append(data);
}

}  // namespace client

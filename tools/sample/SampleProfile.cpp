#include "SampleProfile.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "Scanner.h"

namespace {

constexpr int kGridPoints = 33;
constexpr int kInputEntries = 1024;
constexpr int kOutputEntries = 4096;
// The grid divides light by its cube root or so: even steps to the eye.
constexpr double kGridGamma = 2.4;

class BigEndianWriter {
 public:
  void U8(unsigned v) { bytes.push_back(static_cast<unsigned char>(v)); }
  void U16(unsigned v) {
    U8(v >> 8);
    U8(v & 0xFF);
  }
  void U32(std::uint32_t v) {
    U16(v >> 16);
    U16(v & 0xFFFF);
  }
  void Text(const std::string& text) { bytes.insert(bytes.end(), text.begin(), text.end()); }
  void Zeros(std::size_t count) { bytes.insert(bytes.end(), count, 0); }
  void Append(const std::vector<unsigned char>& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
  }
  void PadToFour() { Zeros((4 - bytes.size() % 4) % 4); }

  std::vector<unsigned char> bytes;
};

unsigned ToU16(double scaled) {
  return static_cast<unsigned>(std::clamp(std::lround(scaled), 0L, 65535L));
}

/// lut16Type's Lab: L* of 100 at 65280, 256 steps a unit of a* and b*.
void WriteLab(BigEndianWriter& out, const Vector3& lab) {
  out.U16(ToU16(std::clamp(lab[0], 0.0, 100.0) * 652.8));
  out.U16(ToU16((lab[1] + 128) * 256));
  out.U16(ToU16((lab[2] + 128) * 256));
}

std::vector<unsigned char> LookupTag() {
  BigEndianWriter out;
  out.Text("mft2");
  out.U32(0);
  for (const int size : {3, 3, kGridPoints, 0}) out.U8(static_cast<unsigned>(size));
  for (int i = 0; i < 9; ++i) out.U32(i % 4 == 0 ? 0x10000 : 0);
  out.U16(kInputEntries);
  out.U16(kOutputEntries);
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < kInputEntries; ++i) {
      const double light = Scanner::Linearize(c, i / (kInputEntries - 1.0));
      out.U16(ToU16(std::pow(light, 1 / kGridGamma) * 65535));
    }
  }
  const auto lightAt = [](int i) { return std::pow(i / (kGridPoints - 1.0), kGridGamma); };
  for (int r = 0; r < kGridPoints; ++r) {
    for (int g = 0; g < kGridPoints; ++g) {
      for (int b = 0; b < kGridPoints; ++b) {
        WriteLab(out, Scanner::LightToLab({lightAt(r), lightAt(g), lightAt(b)}));
      }
    }
  }
  for (int c = 0; c < 3; ++c) {
    for (int i = 0; i < kOutputEntries; ++i) out.U16(ToU16(i * 65535.0 / (kOutputEntries - 1)));
  }
  return std::move(out.bytes);
}

std::vector<unsigned char> DescriptionTag(const std::string& text) {
  BigEndianWriter out;
  out.Text("desc");
  out.U32(0);
  out.U32(static_cast<std::uint32_t>(text.size() + 1));
  out.Text(text);
  out.U8(0);
  out.Zeros(4 + 4 + 2 + 1 + 67);  // no Unicode, no ScriptCode text
  return std::move(out.bytes);
}

std::vector<unsigned char> CopyrightTag(const std::string& text) {
  BigEndianWriter out;
  out.Text("text");
  out.U32(0);
  out.Text(text);
  out.U8(0);
  return std::move(out.bytes);
}

void WriteD50(BigEndianWriter& out) {
  out.U32(0xF6D6);
  out.U32(0x10000);
  out.U32(0xD32D);
}

std::vector<unsigned char> WhitePointTag() {
  BigEndianWriter out;
  out.Text("XYZ ");
  out.U32(0);
  WriteD50(out);
  return std::move(out.bytes);
}

}  // namespace

std::vector<unsigned char> MakeSampleProfile() {
  const std::pair<const char*, std::vector<unsigned char>> tags[] = {
      {"desc", DescriptionTag("Sample scanner")},
      {"cprt", CopyrightTag("No copyright, use freely")},
      {"wtpt", WhitePointTag()},
      {"A2B0", LookupTag()},
  };
  const std::uint32_t tagCount = std::size(tags);
  BigEndianWriter table;
  BigEndianWriter data;
  const std::uint32_t dataStart = 128 + 4 + 12 * tagCount;
  table.U32(tagCount);
  for (const auto& [signature, bytes] : tags) {
    table.Text(signature);
    table.U32(dataStart + static_cast<std::uint32_t>(data.bytes.size()));
    table.U32(static_cast<std::uint32_t>(bytes.size()));
    data.Append(bytes);
    data.PadToFour();
  }

  BigEndianWriter out;
  out.U32(dataStart + static_cast<std::uint32_t>(data.bytes.size()));
  out.U32(0);
  out.U32(0x02400000);  // version 2.4
  out.Text("scnrRGB Lab ");
  for (const unsigned part : {2024u, 1u, 1u, 0u, 0u, 0u}) out.U16(part);  // a fixed date
  out.Text("acsp");
  out.Zeros(28);  // platform to rendering intent: none, perceptual
  WriteD50(out);
  out.Zeros(48);
  out.Append(table.bytes);
  out.Append(data.bytes);
  return std::move(out.bytes);
}

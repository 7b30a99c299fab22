#include "RandomProfile.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <sstream>
#include <string_view>

namespace corpus {
namespace {

constexpr int kEntryCounts[] = {0, 1, 2, 3, 256, 1024, 4096};

class BigEndianWriter {
 public:
  void U8(unsigned v) { bytes.push_back(static_cast<unsigned char>(v)); }
  void U16(unsigned v) {
    U8(v >> 8);
    U8(v);
  }
  void U32(std::uint32_t v) {
    U16(v >> 16);
    U16(v & 0xFFFF);
  }
  void Text(std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); }
  void Zeros(std::size_t count) { bytes.insert(bytes.end(), count, 0); }
  void PadTo4() { Zeros((4 - bytes.size() % 4) % 4); }
  void PatchU32(std::size_t at, std::uint32_t v) {
    for (std::size_t i = 0; i < 4; ++i) {
      bytes[at + i] = static_cast<unsigned char>(v >> (24 - 8 * i));
    }
  }
  std::vector<unsigned char> bytes;
};

unsigned Clamped(double v) {
  return static_cast<unsigned>(std::clamp(v, 0.0, 65535.0) + 0.5);
}

// One curve of `entries` values.
std::vector<unsigned> Curve(CurveShape shape, int entries, Dice& dice) {
  const double gamma = 0.4 + 2.2 * dice.Fraction();
  const unsigned level = static_cast<unsigned>(dice.Between(0, 65535));
  std::vector<unsigned> values;
  for (int i = 0; i < entries; ++i) {
    const double x = entries > 1 ? i / (entries - 1.0) : 1.0;
    switch (shape) {
      case CurveShape::kLine:
        values.push_back(Clamped(65535 * x));
        break;
      case CurveShape::kGamma:
        values.push_back(Clamped(65535 * std::pow(x, gamma)));
        break;
      case CurveShape::kFalling:
        values.push_back(Clamped(65535 * (1 - x)));
        break;
      case CurveShape::kRandom:
        values.push_back(static_cast<unsigned>(dice.Between(0, 65535)));
        break;
      case CurveShape::kExtremes:
        values.push_back(dice.OneIn(2) ? 65535 : 0);
        break;
      case CurveShape::kFlat:
        values.push_back(level);
        break;
    }
  }
  return values;
}

// Node values in file order: first input slowest, the channels of a node together.
std::vector<unsigned> Clut(const TagSpec& tag, const std::array<int, 3>& points, Dice& dice) {
  std::vector<unsigned> values;
  const auto at = [](int index, int count) { return count > 1 ? index / (count - 1.0) : 0.0; };
  for (int i = 0; i < points[0]; ++i) {
    for (int j = 0; j < points[1]; ++j) {
      for (int k = 0; k < points[2]; ++k) {
        const double r = at(i, points[0]), g = at(j, points[1]), b = at(k, points[2]);
        const double noise = dice.Fraction() - 0.5;
        const double L = 65280 * (0.25 * r + 0.65 * g + 0.1 * b);
        const double lab[3] = {L + 60 * noise, 32768 + 256 * 90 * (r - g) + 40 * noise,
                               32768 + 256 * 90 * (0.5 * r + 0.5 * g - b) - 40 * noise};
        for (int c = 0; c < tag.out; ++c) {
          switch (tag.clut) {
            case ClutShape::kLab:
              values.push_back(Clamped(lab[c % 3]));
              break;
            case ClutShape::kRandom:
              values.push_back(static_cast<unsigned>(dice.Between(0, 65535)));
              break;
            case ClutShape::kExtremes:
              values.push_back(dice.OneIn(2) ? 65535 : 0);
              break;
            case ClutShape::kNearGrey:
              values.push_back(c % 3 == 0 ? Clamped(65535 * (r + g + b) / 3)
                                          : static_cast<unsigned>(dice.Between(32760, 32776)));
              break;
          }
        }
      }
    }
  }
  return values;
}

void WriteCurveTables(BigEndianWriter& w, CurveShape shape, int channels, int entries, Dice& dice) {
  for (int c = 0; c < channels; ++c) {
    for (unsigned v : Curve(shape, entries, dice)) w.U16(v);
  }
}

void WriteLut16(BigEndianWriter& w, const TagSpec& tag, Dice& dice) {
  w.Text(tag.form == TagForm::kLut16 ? "mft2" : "mft1");
  w.U32(0);
  w.U8(static_cast<unsigned>(tag.in));
  w.U8(static_cast<unsigned>(tag.out));
  w.U8(static_cast<unsigned>(tag.grid));
  w.U8(0);
  // A matrix that would be seen if it were used.
  for (int i = 0; i < 9; ++i) w.U32(static_cast<std::uint32_t>(dice.Bits()));
  w.U16(static_cast<unsigned>(tag.inEntries));
  w.U16(static_cast<unsigned>(tag.outEntries));
  WriteCurveTables(w, tag.inCurve, tag.in, tag.inEntries, dice);
  for (unsigned v : Clut(tag, {tag.grid, tag.grid, tag.grid}, dice)) w.U16(v);
  WriteCurveTables(w, tag.outCurve, tag.out, tag.outEntries, dice);
}

void WriteCurves(BigEndianWriter& w, const TagSpec& tag, CurveShape shape, int channels,
                 int entries, Dice& dice) {
  for (int c = 0; c < channels; ++c) {
    w.Text("curv");
    w.U32(0);
    w.U32(static_cast<std::uint32_t>(entries));
    for (unsigned v : Curve(shape, entries, dice)) w.U16(v);
    if (tag.spacing == CurveSpacing::kReader) {
      w.Zeros(2);
    } else {
      w.PadTo4();
    }
  }
}

void WriteMab(BigEndianWriter& w, const TagSpec& tag, Dice& dice) {
  std::array<int, 3> points = tag.gridPerAxis;
  if (points[0] == 0) points = {tag.grid, tag.grid, tag.grid};

  w.Text("mAB ");
  w.U32(0);
  w.U8(static_cast<unsigned>(tag.in));
  w.U8(static_cast<unsigned>(tag.out));
  w.U16(0);
  constexpr std::size_t kOffsetB = 12, kOffsetMatrix = 16, kOffsetM = 20, kOffsetClut = 24,
                        kOffsetA = 28;
  w.Zeros(20);

  if (tag.hasB) {
    w.PatchU32(kOffsetB, static_cast<std::uint32_t>(w.bytes.size()));
    WriteCurves(w, tag, tag.outCurve, tag.out, tag.outEntries, dice);
    w.PadTo4();
  }
  // Matrix and M curves lie there and must make no difference.
  w.PatchU32(kOffsetMatrix, static_cast<std::uint32_t>(w.bytes.size()));
  for (int i = 0; i < 12; ++i) w.U32(static_cast<std::uint32_t>(dice.Bits()));
  w.PatchU32(kOffsetM, static_cast<std::uint32_t>(w.bytes.size()));
  WriteCurves(w, tag, CurveShape::kRandom, 3, 3, dice);
  w.PadTo4();
  if (tag.hasClut) {
    w.PatchU32(kOffsetClut, static_cast<std::uint32_t>(w.bytes.size()));
    for (std::size_t axis = 0; axis < 16; ++axis) {
      w.U8(axis < 3 ? static_cast<unsigned>(points[axis]) : 0);
    }
    w.U8(static_cast<unsigned>(tag.precision));
    w.Zeros(3);
    for (unsigned v : Clut(tag, points, dice)) {
      if (tag.precision == 2) {
        w.U16(v);
      } else {
        w.U8(v >> 8);
      }
    }
    w.PadTo4();
  }
  if (tag.hasA) {
    w.PatchU32(kOffsetA, static_cast<std::uint32_t>(w.bytes.size()));
    WriteCurves(w, tag, tag.inCurve, tag.in, tag.inEntries, dice);
  }
}

struct WrittenTag {
  std::uint32_t signature;
  std::vector<unsigned char> bytes;
};

constexpr std::uint32_t Code(const char (&text)[5]) {
  return static_cast<std::uint32_t>(text[0]) << 24 | static_cast<std::uint32_t>(text[1]) << 16 |
         static_cast<std::uint32_t>(text[2]) << 8 | static_cast<std::uint32_t>(text[3]);
}

std::vector<WrittenTag> WriteTags(const ProfileSpec& spec, Dice& dice) {
  std::vector<WrittenTag> tags;
  {
    BigEndianWriter w;
    w.Text("desc");
    w.U32(0);
    w.Text("any\1");  // 12 + 1 bytes: a size that is no multiple of four
    w.U8(0);
    tags.push_back({Code("desc"), w.bytes});
  }
  for (const TagSpec& tag : spec.tags) {
    BigEndianWriter w;
    if (tag.form == TagForm::kMab) {
      WriteMab(w, tag, dice);
    } else {
      WriteLut16(w, tag, dice);
    }
    tags.push_back({tag.signature, w.bytes});
  }
  if (spec.wtpt) {
    BigEndianWriter w;
    w.Text("XYZ ");
    w.U32(0);
    for (std::int32_t word : *spec.wtpt) w.U32(static_cast<std::uint32_t>(word));
    // Somewhere among the others.
    const auto at = static_cast<std::size_t>(dice.Between(0, static_cast<int>(tags.size())));
    tags.insert(tags.begin() + static_cast<std::ptrdiff_t>(at), {Code("wtpt"), w.bytes});
  }
  return tags;
}

}  // namespace

std::vector<unsigned char> WriteProfile(const ProfileSpec& spec) {
  Dice dice(spec.seed ^ 0xABCDEF);
  const std::vector<WrittenTag> tags = WriteTags(spec, dice);

  BigEndianWriter w;
  w.U32(0);  // profile size, patched below
  w.Text("none");
  w.U32(0x02400000);
  w.Text("scnr");
  w.Text("RGB ");
  w.Text("Lab ");
  for (unsigned v : {2004u, 5u, 6u, 7u, 8u, 9u}) w.U16(v);
  w.Text("acsp");
  w.Zeros(8);
  w.U32(spec.manufacturer);
  w.Text("none");  // device model: not the field that selects the worker
  w.Zeros(12);
  for (std::uint32_t v : {0x0000F6D6u, 0x00010000u, 0x0000D32Du}) w.U32(v);
  w.Zeros(128 - w.bytes.size());

  w.U32(static_cast<std::uint32_t>(tags.size()));
  const std::size_t table = w.bytes.size();
  w.Zeros(12 * tags.size());
  for (std::size_t t = 0; t < tags.size(); ++t) {
    w.PatchU32(table + 12 * t, tags[t].signature);
    w.PatchU32(table + 12 * t + 4, static_cast<std::uint32_t>(w.bytes.size()));
    w.PatchU32(table + 12 * t + 8, static_cast<std::uint32_t>(tags[t].bytes.size()));
    w.bytes.insert(w.bytes.end(), tags[t].bytes.begin(), tags[t].bytes.end());
    if (t + 1 < tags.size() || spec.padLastTag) w.PadTo4();
  }
  w.PatchU32(0, static_cast<std::uint32_t>(w.bytes.size()));
  return w.bytes;
}

ProfileSpec RandomSpec(std::uint64_t seed) {
  Dice dice(seed);
  ProfileSpec spec;
  spec.seed = seed;
  const std::uint32_t otherMaker = static_cast<std::uint32_t>(dice.Bits()) | 1;
  const std::uint32_t makers[] = {otherMaker, 0, Code("none")};
  spec.manufacturer = makers[seed % 3];

  // A2B0 alone, with one other, all three, or without A2B0.
  static const std::vector<std::uint32_t> kSets[] = {
      {Code("A2B0")},
      {Code("A2B0"), Code("A2B1")},
      {Code("A2B2"), Code("A2B0")},
      {Code("A2B1"), Code("A2B0"), Code("A2B2")},
      {Code("A2B1"), Code("A2B2")},
      {Code("A2B0"), Code("A2B1"), Code("A2B0")},
  };
  const auto& signatures = kSets[dice.Between(0, 5)];
  for (std::size_t t = 0; t < signatures.size(); ++t) {
    TagSpec tag;
    tag.signature = signatures[t];
    tag.form = dice.OneIn(3) ? TagForm::kMab : TagForm::kLut16;
    const std::uint64_t turn = seed + 13 * t;
    tag.grid = 2 + static_cast<int>(turn % 32);
    tag.inEntries = kEntryCounts[turn % 7];
    tag.outEntries = kEntryCounts[(turn / 7 + 3) % 7];
    tag.inCurve = static_cast<CurveShape>(dice.Between(0, 5));
    tag.outCurve = static_cast<CurveShape>(dice.Between(0, 5));
    // Half of the tables are the smooth kind that real devices have.
    tag.clut = dice.OneIn(2) ? ClutShape::kLab : static_cast<ClutShape>(dice.Between(1, 3));
    if (tag.form == TagForm::kLut16 && dice.OneIn(6)) tag.out = dice.Between(4, 7);
    if (tag.form == TagForm::kMab && dice.OneIn(4)) {
      // More nodes than the first axis asks for: the surplus is left unread.
      tag.gridPerAxis = {tag.grid, std::min(33, tag.grid + 1), std::min(33, tag.grid + 2)};
    }
    spec.tags.push_back(tag);
  }
  if (!dice.OneIn(3)) {
    spec.wtpt = {dice.Between(0x8000, 0x12000), dice.Between(0x8000, 0x12000),
                 dice.Between(0x4000, 0x12000)};
    if (dice.OneIn(8)) (*spec.wtpt)[0] = -(*spec.wtpt)[0];
  }
  spec.padLastTag = !dice.OneIn(3);
  return spec;
}

ProfileSpec UnusualSpec(std::uint64_t seed) {
  constexpr int kEntries[] = {0, 3, 256, 4095, 4097, 5000, 8192, 16385, 65535};
  ProfileSpec spec = RandomSpec(seed);
  Dice dice(seed + 0x5EED);
  std::uint64_t turn = seed;
  for (TagSpec& tag : spec.tags) {
    if (tag.form == TagForm::kLut16) {
      tag.in = static_cast<int>(turn % 4);
      tag.out = static_cast<int>((turn / 4 + turn) % 8);
    }
    tag.inEntries = kEntries[dice.Between(0, 8)];
    tag.outEntries = kEntries[dice.Between(0, 8)];
    turn += 5;
  }
  return spec;
}

ProfileSpec PlainSpec(int grid, int inEntries, int outEntries) {
  ProfileSpec spec;
  spec.seed = static_cast<std::uint64_t>(grid) << 32 | static_cast<std::uint64_t>(inEntries) << 16 |
              static_cast<std::uint64_t>(outEntries);
  TagSpec tag;
  tag.signature = Code("A2B0");
  tag.grid = grid;
  tag.inEntries = inEntries;
  tag.outEntries = outEntries;
  spec.tags.push_back(tag);
  return spec;
}

std::string Describe(const ProfileSpec& spec) {
  std::ostringstream text;
  text << "seed " << spec.seed << std::hex << ", maker " << spec.manufacturer << std::dec;
  for (const TagSpec& tag : spec.tags) {
    text << ", ";
    for (int shift = 24; shift >= 0; shift -= 8) {
      text << static_cast<char>(tag.signature >> shift & 0xFF);
    }
    text << (tag.form == TagForm::kMab     ? " mAB"
             : tag.form == TagForm::kLut16 ? " lut16"
                                           : " lut8")
         << " grid " << tag.grid << " inputs " << tag.in << " outputs " << tag.out << " entries "
         << tag.inEntries << '/' << tag.outEntries << " shapes " << static_cast<int>(tag.inCurve)
         << static_cast<int>(tag.clut) << static_cast<int>(tag.outCurve);
  }
  text << (spec.wtpt ? ", wtpt" : ", no wtpt");
  return text.str();
}

}  // namespace corpus

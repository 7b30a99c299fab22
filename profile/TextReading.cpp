#include "profile/TagBytes.h"

// textType, multiLocalizedUnicodeType (ICC.1:2010 10.13), and textDescriptionType
// (ICC.1:2001-04 6.5.17).

namespace kxcms {

namespace {

/// A text as it stands in a tag, up to its first NUL.
struct EncodedText {
  BigEndianView bytes;
  bool isUtf16 = false;  ///< else ASCII, with ISO 8859-1 for what is not
};

// `count` bytes of 8-bit text; none if not all of them are there.
EncodedText NarrowText(const BigEndianView& tag, std::uint64_t at, std::uint64_t count) {
  if (!tag.Holds(at, count)) return {};
  std::uint64_t length = 0;
  while (length < count && tag.U8(at + length) != 0) ++length;
  return {tag.Part(at, length), false};
}

EncodedText WideText(const BigEndianView& tag, std::uint64_t at, std::uint64_t count) {
  if (!tag.Holds(at, count)) return {};
  std::uint64_t length = 0;
  while (length + 2 <= count && tag.U16(at + length) != 0) length += 2;
  return {tag.Part(at, length), true};
}

// The ASCII text of a description, or its Unicode text if that is empty.
EncodedText DescriptionText(const BigEndianView& tag) {
  const std::uint64_t asciiCount = tag.U32(8);
  const EncodedText ascii = NarrowText(tag, 12, asciiCount);
  if (ascii.bytes.size() > 0 || !tag.Holds(12, asciiCount)) return ascii;
  // Language and count of 16-bit units.
  const std::uint64_t unicodeAt = 12 + asciiCount;
  return WideText(tag, unicodeAt + 8, 2 * std::uint64_t{tag.U32(unicodeAt + 4)});
}

// The text of en-US, else the first of any en, else the first.
EncodedText LocalizedText(const BigEndianView& tag) {
  constexpr std::uint64_t kRecordsAt = 16, kRecordBytes = 12;
  constexpr std::uint16_t kEnglish = 'e' << 8 | 'n', kUnitedStates = 'U' << 8 | 'S';
  const std::uint64_t count = tag.U32(8);
  if (tag.U32(12) != kRecordBytes || !tag.Holds(kRecordsAt, count * kRecordBytes)) return {};
  std::uint64_t best = kRecordsAt;
  int bestRank = 0;
  for (std::uint64_t n = 0; n < count; ++n) {
    const std::uint64_t record = kRecordsAt + n * kRecordBytes;
    const int rank = tag.U16(record) != kEnglish ? 0 : tag.U16(record + 2) != kUnitedStates ? 1 : 2;
    if (rank > bestRank) {
      best = record;
      bestRank = rank;
    }
  }
  return count == 0 ? EncodedText{} : WideText(tag, tag.U32(best + 8), tag.U32(best + 4));
}

EncodedText FindText(const TagBytes& tag) {
  switch (tag.Type()) {
    case MakeSignature("text"):
      return NarrowText(tag.bytes, 8, tag.bytes.size() < 8 ? 0 : tag.bytes.size() - 8);
    case MakeSignature("desc"):
      return DescriptionText(tag.bytes);
    case MakeSignature("mluc"):
      return LocalizedText(tag.bytes);
    default:
      return {};
  }
}

void AppendUtf8(std::string& text, std::uint32_t codePoint) {
  const auto add = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (codePoint < 0x80) {
    add(codePoint);
    return;
  }
  if (codePoint < 0x800) {
    add(0xC0 | codePoint >> 6);
  } else {
    if (codePoint < 0x10000) {
      add(0xE0 | codePoint >> 12);
    } else {
      add(0xF0 | codePoint >> 18);
      add(0x80 | (codePoint >> 12 & 0x3F));
    }
    add(0x80 | (codePoint >> 6 & 0x3F));
  }
  add(0x80 | (codePoint & 0x3F));
}

void AppendUtf16(std::string& text, const BigEndianView& units) {
  constexpr std::uint32_t kReplacement = 0xFFFD;
  const auto isHigh = [](std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; };
  const auto isLow = [](std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; };
  for (std::size_t at = 0; at < units.size(); at += 2) {
    const std::uint32_t unit = units.U16(at), next = units.U16(at + 2);
    if (isHigh(unit) && isLow(next)) {
      AppendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
      at += 2;
    } else {
      AppendUtf8(text, isHigh(unit) || isLow(unit) ? kReplacement : unit);
    }
  }
}

}  // namespace

std::string ReadText(const TagBytes& tag, ReadBudget& budget) {
  const EncodedText encoded = FindText(tag);
  // At most two bytes of UTF-8 for one of ISO 8859-1, and three for two of UTF-16.
  const std::uint64_t mostBytes = 2 * std::uint64_t{encoded.bytes.size()};
  if (!budget.Take(mostBytes)) return {};
  std::string text;
  text.reserve(static_cast<std::size_t>(mostBytes));
  if (encoded.isUtf16) {
    AppendUtf16(text, encoded.bytes);
  } else {
    for (std::size_t at = 0; at < encoded.bytes.size(); ++at) {
      AppendUtf8(text, encoded.bytes.U8(at));
    }
  }
  return text;
}

}  // namespace kxcms

#include "profile/TagBytes.h"

// textType (ICC.1:2010 10.22), multiLocalizedUnicodeType (10.13), and textDescriptionType
// (ICC.1:2001-04 6.5.17).

namespace kxcms {

namespace {

void AppendUtf8(std::string& text, std::uint32_t codePoint) {
  const auto add = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (codePoint < 0x80) {
    add(codePoint);
  } else if (codePoint < 0x800) {
    add(0xC0 | codePoint >> 6);
    add(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    add(0xE0 | codePoint >> 12);
    add(0x80 | (codePoint >> 6 & 0x3F));
    add(0x80 | (codePoint & 0x3F));
  } else {
    add(0xF0 | codePoint >> 18);
    add(0x80 | (codePoint >> 12 & 0x3F));
    add(0x80 | (codePoint >> 6 & 0x3F));
    add(0x80 | (codePoint & 0x3F));
  }
}

std::string FromLatin1(const BigEndianView& bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size() && bytes.U8(at) != 0; ++at) {
    AppendUtf8(text, bytes.U8(at));
  }
  return text;
}

constexpr bool IsHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool IsLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

std::string FromUtf16(const BigEndianView& bytes) {
  constexpr std::uint32_t kReplacement = 0xFFFD;
  std::string text;
  for (std::size_t at = 0; bytes.Holds(at, 2); at += 2) {
    const std::uint32_t unit = bytes.U16(at);
    if (unit == 0) break;
    if (IsHighSurrogate(unit) && bytes.Holds(at + 2, 2) && IsLowSurrogate(bytes.U16(at + 2))) {
      AppendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (bytes.U16(at + 2) - 0xDC00u));
      at += 2;
    } else {
      AppendUtf8(text, IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  return text;
}

// The bytes of a text; none if not all of them are there.
BigEndianView TextBytes(const BigEndianView& tag, std::uint64_t at, std::uint64_t count) {
  return tag.Holds(at, count) ? tag.Part(at, count) : BigEndianView();
}

std::string FromDescription(const BigEndianView& tag) {
  const std::uint64_t asciiCount = tag.U32(8);
  const std::string ascii = FromLatin1(TextBytes(tag, 12, asciiCount));
  if (!ascii.empty() || !tag.Holds(12, asciiCount + 8)) return ascii;
  const std::uint64_t unicodeCount = tag.U32(12 + asciiCount + 4);
  return FromUtf16(TextBytes(tag, 12 + asciiCount + 8, 2 * unicodeCount));
}

std::string FromLocalized(const BigEndianView& tag) {
  constexpr std::uint64_t kRecordsAt = 16, kRecordBytes = 12;
  constexpr std::uint16_t kEnglish = 'e' << 8 | 'n', kUnitedStates = 'U' << 8 | 'S';
  const std::uint64_t count = tag.U32(8);
  if (count == 0 || tag.U32(12) != kRecordBytes || !tag.Holds(kRecordsAt, count * kRecordBytes)) {
    return {};
  }
  const auto rank = [&](std::uint64_t record) {
    if (tag.U16(record) != kEnglish) return 0;
    return tag.U16(record + 2) == kUnitedStates ? 2 : 1;
  };
  std::uint64_t best = kRecordsAt;
  for (std::uint64_t n = 1; n < count; ++n) {
    const std::uint64_t record = kRecordsAt + n * kRecordBytes;
    if (rank(record) > rank(best)) best = record;
  }
  return FromUtf16(TextBytes(tag, tag.U32(best + 8), tag.U32(best + 4)));
}

}  // namespace

std::string ReadText(const TagBytes& tag, ReadBudget& budget) {
  // Two bytes of UTF-8 for one of ISO 8859-1, three for two of UTF-16; twice that while it grows.
  if (!budget.Take(4 * std::uint64_t{tag.bytes.size()})) return {};
  switch (tag.Type()) {
    case MakeSignature("text"):
      return FromLatin1(tag.bytes.Part(8, tag.bytes.size()));
    case MakeSignature("desc"):
      return FromDescription(tag.bytes);
    case MakeSignature("mluc"):
      return FromLocalized(tag.bytes);
    default:
      return {};
  }
}

}  // namespace kxcms

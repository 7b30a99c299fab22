#include <memory>

#include "fuzz/FuzzSupport.h"
#include "fuzz/ProfileView.h"
#include "iccfile/CChad.h"
#include "iccfile/CCurveType.h"
#include "iccfile/CDataType.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/CTextDescriptionType.h"
#include "iccfile/CTextType.h"
#include "iccfile/CXYZType.h"
#include "iccfile/IccFile4.h"

// A profile's bytes: the tag list is the one in the bytes, each tag holds its own bytes (what is
// not there as 0) and fields that agree with them; written and read again, the list is the same.

namespace {

using namespace ICC40::ICCFILE;
using fuzz::Bytes;
using fuzz::Entry;
using fuzz::EntryAt;
using fuzz::EntryCount;
using fuzz::FileView;
using fuzz::MemoryFile;

using fuzz::kEntryBytes;
using fuzz::kHeaderBytes;
using fuzz::kTableAt;

/// A profile within these limits must be held and written completely.
constexpr std::uint64_t kSureToHoldBytes = 24 << 20;
constexpr std::uint64_t kRoundTripBytes = 256 << 10;
/// What a tag takes at most besides its bytes and tables: objects, reference counts, spare values.
constexpr std::uint64_t kTagAllowance = 16 * 256;

template <typename Value>
void CheckTable(const Value* table, std::uint64_t count, const FileView& bytes, std::uint64_t at) {
  if (table == nullptr) return;
  for (std::uint64_t i = 0; i < count; ++i) {
    FUZZ_CHECK(table[i] == (sizeof(Value) == 1 ? bytes.U8(at + i) : bytes.U16(at + 2 * i)));
    // The rest is zeros; its last value stands for them.
    if (at + sizeof(Value) * i > bytes.size() && i + 1 < count) i = count - 2;
  }
}

template <typename Lut>
std::uint64_t CheckTableTag(const Lut& lut, const FileView& bytes) {
  constexpr std::uint64_t kValueBytes = sizeof(*lut.colorTable);
  FUZZ_CHECK(lut.inputChannels == bytes.U8(8) && lut.outputChannels == bytes.U8(9));
  FUZZ_CHECK(lut.gridPoints == bytes.U8(10) && lut.reservedByte == bytes.U8(11));
  for (int i = 0; i < 9; ++i) FUZZ_CHECK(lut.matrix[i] == bytes.S32(12 + 4u * unsigned(i)));
  FUZZ_CHECK(lut.inputEntries == bytes.U16(48) && lut.outputEntries == bytes.U16(50));
  const std::uint64_t g = lut.gridPoints;
  const std::uint64_t input = std::uint64_t{lut.inputChannels} * lut.inputEntries;
  const std::uint64_t color = g * g * g * lut.outputChannels;
  const std::uint64_t output = std::uint64_t{lut.outputChannels} * lut.outputEntries;
  CheckTable(lut.inputTables, input, bytes, 52);
  CheckTable(lut.colorTable, color, bytes, 52 + kValueBytes * input);
  CheckTable(lut.outputTables, output, bytes, 52 + kValueBytes * (input + color));
  return kValueBytes * ((lut.inputTables ? input : 0) + (lut.colorTable ? color : 0) +
                        (lut.outputTables ? output : 0));
}

std::uint64_t HeldBytes(const CCurveType* curve) {
  return curve != nullptr && curve->entries != nullptr ? 2 * std::uint64_t{curve->count} : 0;
}

/// Curves follow one another, 2 * count + 14 bytes apart.
template <std::size_t kSlots>
std::uint64_t CheckCurves(CCurveType* const (&curves)[kSlots], std::size_t channels,
                          std::uint64_t offset, const FileView& bytes) {
  std::uint64_t held = 0;
  for (std::size_t i = 0; i < kSlots; ++i) {
    if (curves[i] == nullptr) continue;
    FUZZ_CHECK(i < channels && offset != 0);
    FUZZ_CHECK(curves[i]->count == bytes.U32(offset + 8));
    FUZZ_CHECK(curves[i]->data == nullptr);
    CheckTable(curves[i]->entries, curves[i]->count, bytes, offset + 12);
    offset += 2 * std::uint64_t{curves[i]->count} + 14;
    held += HeldBytes(curves[i]);
  }
  return held;
}

std::uint64_t CheckCLut(const CLut& lut, const FileView& bytes) {
  FUZZ_CHECK(lut.inputChannels == bytes.U8(8) && lut.outputChannels == bytes.U8(9));
  FUZZ_CHECK(lut.offsetB == bytes.U32(12) && lut.offsetMatrix == bytes.U32(16));
  FUZZ_CHECK(lut.offsetM == bytes.U32(20) && lut.offsetClut == bytes.U32(24));
  FUZZ_CHECK(lut.offsetA == bytes.U32(28));
  const bool aToB = lut.tagSignature >> 8 == 0x413242;
  std::uint64_t held =
      CheckCurves(lut.curvesB, aToB ? lut.outputChannels : lut.inputChannels, lut.offsetB, bytes) +
      CheckCurves(lut.curvesA, aToB ? lut.inputChannels : lut.outputChannels, lut.offsetA, bytes) +
      HeldBytes(lut.curveM);
  FUZZ_CHECK(lut.grid == nullptr || lut.offsetClut != 0);
  if (lut.grid == nullptr || lut.grid->values == nullptr) return held;
  const LutGrid& grid = *lut.grid;
  std::uint64_t values = lut.outputChannels;
  for (unsigned i = 0; i < 16; ++i) {
    FUZZ_CHECK(grid.gridPoints[i] == bytes.U8(std::uint64_t{lut.offsetClut} + i));
    if (i < lut.inputChannels) values *= grid.gridPoints[i];
  }
  FUZZ_CHECK(grid.precision == bytes.U8(std::uint64_t{lut.offsetClut} + 16));
  const std::uint64_t at = std::uint64_t{lut.offsetClut} + 20;
  if (grid.precision == 1) CheckTable(grid.values, values, bytes, at);
  if (grid.precision == 2) {
    CheckTable(reinterpret_cast<const unsigned short*>(grid.values), values, bytes, at);
  }
  return held + values * grid.precision;
}

std::uint64_t CheckText(const unsigned char* text, int size, const FileView& bytes) {
  if (text == nullptr || size <= 8) return 0;
  CheckTable(text, static_cast<unsigned>(size) - 8, bytes, 8);
  return static_cast<unsigned>(size) - 8;
}

/// The class and fields of a tag against its bytes. @return bytes that its tables hold.
std::uint64_t CheckFields(iccTagBase& tag, const FileView& bytes) {
  FUZZ_CHECK(tag.typeSignature == bytes.U32(0) && tag.reserved == 0);
  if (const auto* xyz = dynamic_cast<CXYZType*>(&tag)) {
    FUZZ_CHECK(xyz->fixedX == bytes.S32(8) && xyz->fixedY == bytes.S32(12));
    FUZZ_CHECK(xyz->fixedZ == bytes.S32(16));
    FUZZ_CHECK(xyz->X == xyz->fixedX / 65536.0 && xyz->Y == xyz->fixedY / 65536.0);
    FUZZ_CHECK(xyz->Z == xyz->fixedZ / 65536.0);
    return 0;
  }
  if (const auto* chad = dynamic_cast<CChad*>(&tag)) {
    for (unsigned i = 0; i < 9; ++i) {
      FUZZ_CHECK(chad->matrix[i / 3][i % 3] == bytes.S32(8 + 4 * i) / 65536.0);
    }
    return 0;
  }
  if (const auto* curve = dynamic_cast<CCurveType*>(&tag)) {
    FUZZ_CHECK(curve->count == bytes.U32(8));
    CheckTable(curve->entries, curve->count, bytes, 12);
    return HeldBytes(curve);
  }
  if (const auto* text = dynamic_cast<CTextType*>(&tag)) {
    return CheckText(text->text, text->size, bytes);
  }
  if (const auto* text = dynamic_cast<CTextDescriptionType*>(&tag)) {
    FUZZ_CHECK(text->length == (text->size > 8 ? static_cast<unsigned>(text->size) - 8 : 0));
    return CheckText(text->text, text->size, bytes);
  }
  if (const auto* lut = dynamic_cast<CLut16Type*>(&tag)) return CheckTableTag(*lut, bytes);
  if (const auto* lut = dynamic_cast<CLut8Type*>(&tag)) return CheckTableTag(*lut, bytes);
  if (const auto* lut = dynamic_cast<CLut*>(&tag)) return CheckCLut(*lut, bytes);
  FUZZ_CHECK(dynamic_cast<CDataType*>(&tag) != nullptr);
  return 0;
}

struct ListSizes {
  std::uint64_t claimed = 0;  ///< sum of the tags' sizes
  std::uint64_t charged = 0;  ///< at least what reading may have taken from its budget
};

ListSizes CheckTags(IccFile4& profile, const Bytes& file) {
  const FileView view(file.data(), file.size());
  const std::size_t expected = EntryCount(view);
  FUZZ_CHECK(profile.tags.size() <= expected);
  ListSizes sizes;
  for (std::size_t i = 0; i < profile.tags.size(); ++i) {
    iccTagBase& tag = *profile.tags[i];
    const Entry entry = EntryAt(view, i);
    const FileView bytes = view.Tag(entry);
    FUZZ_CHECK(tag.tagSignature == entry.signature);
    FUZZ_CHECK(static_cast<std::uint32_t>(tag.size) ==
               static_cast<std::uint32_t>(entry.paddedSize));
    const auto first = profile.GetTag(tag.tagSignature);
    FUZZ_CHECK(first && first->tagSignature == tag.tagSignature);

    const std::uint64_t size = tag.size > 0 ? static_cast<unsigned>(tag.size) : 0;
    sizes.claimed += size;
    sizes.charged += kTagAllowance + bytes.size() + size;
    FUZZ_CHECK(tag.data != nullptr || size == 0 || sizes.charged > kSureToHoldBytes);
    if (tag.data != nullptr) CheckTable(tag.data, size, bytes, 0);
    // Without its bytes, a tag was read from its first ones at most.
    if (tag.data != nullptr) sizes.charged += CheckFields(tag, bytes);
  }
  FUZZ_CHECK(profile.tags.size() == expected || sizes.charged > kSureToHoldBytes);
  return sizes;
}

/// Whether the tag is written with exactly the size that the tag table says.
bool IsWrittenInSize(const iccTagBase& tag) {
  if (tag.data != nullptr) return true;
  return tag.size == 0 && dynamic_cast<const CXYZType*>(&tag) == nullptr &&
         dynamic_cast<const CLut16Type*>(&tag) == nullptr;
}

void CheckHeader(const FileView& written, const FileView& original, int size) {
  FUZZ_CHECK(written.S32(0) == size);
  for (std::uint64_t at = 4; at < kHeaderBytes; ++at) {
    const bool isWritten = at < 56 || (at >= 64 && at < 100);
    FUZZ_CHECK(written.U8(at) == (isWritten ? original.U8(at) : 0));
  }
}

Bytes WriteProfile(IccFile4& profile, MemoryFile& to, int* end) {
  FILE* stream = std::fopen(to.path(), "wb");
  FUZZ_CHECK(stream != nullptr);
  // The size is known after the table has been laid out.
  *end = profile.WriteTagListHeader(nullptr);
  FUZZ_CHECK(profile.WriteHeader(stream, *end) == 0);
  FUZZ_CHECK(profile.WriteTagListHeader(stream) == *end);
  FUZZ_CHECK(profile.WriteTagListData(stream) == 0);
  FUZZ_CHECK(std::fclose(stream) == 0);
  return to.Contents();
}

void CheckRoundTrip(IccFile4& profile, const Bytes& file) {
  static MemoryFile written;
  int end = 0;
  const Bytes bytes = WriteProfile(profile, written, &end);
  const FileView view(bytes.data(), bytes.size());
  CheckHeader(view, FileView(file.data(), file.size()), end);
  FUZZ_CHECK(view.U32(kHeaderBytes) == profile.tags.size());
  if (!std::all_of(profile.tags.begin(), profile.tags.end(),
                   [](const auto& tag) { return IsWrittenInSize(*tag); })) {
    return;
  }
  FUZZ_CHECK(bytes.size() == static_cast<std::size_t>(end));
  IccFile4 again;
  FUZZ_CHECK(again.ReadFile(written.path()) == 0);
  // A table that the smaller file had no room for may be held now, at the cost of other tags.
  if (CheckTags(again, bytes).charged > kSureToHoldBytes) return;
  FUZZ_CHECK(again.tags.size() == profile.tags.size());
  for (std::size_t i = 0; i < profile.tags.size(); ++i) {
    const iccTagBase& before = *profile.tags[i];
    const iccTagBase& after = *again.tags[i];
    FUZZ_CHECK(after.tagSignature == before.tagSignature && after.size == before.size);
    FUZZ_CHECK((after.data != nullptr) == (before.data != nullptr));
    if (before.data == nullptr) continue;
    FUZZ_CHECK(std::memcmp(after.data, before.data, static_cast<unsigned>(before.size)) == 0);
  }
}

/// How many bytes the tag's own `Save` writes.
std::uint64_t SavedBytes(iccTagBase& tag) {
  const std::uint64_t size = tag.size > 0 ? static_cast<unsigned>(tag.size) : 0;
  if (dynamic_cast<CXYZType*>(&tag) != nullptr) return 20;
  if (const auto* lut = dynamic_cast<CLut16Type*>(&tag)) {
    const std::uint64_t g = lut->gridPoints;
    return 52 +
           2 * (std::uint64_t{lut->inputChannels} * lut->inputEntries +
                g * g * g * lut->outputChannels +
                std::uint64_t{lut->outputChannels} * lut->outputEntries) +
           (4 - size % 4) % 4;
  }
  const bool ownText = dynamic_cast<CCurveType*>(&tag) != nullptr ||
                       dynamic_cast<CTextDescriptionType*>(&tag) != nullptr;
  return ownText ? size : 0;
}

void CheckSaves(IccFile4& profile) {
  static MemoryFile saved;
  std::uint64_t expected = 0;
  for (const auto& tag : profile.tags) expected += SavedBytes(*tag);
  if (expected > kRoundTripBytes) return;
  FILE* stream = std::fopen(saved.path(), "wb");
  FUZZ_CHECK(stream != nullptr);
  for (const auto& tag : profile.tags) {
    FUZZ_CHECK(tag->Read(stream) == 0);
    FUZZ_CHECK(tag->Save(stream) == 0);
  }
  FUZZ_CHECK(std::fclose(stream) == 0);
  FUZZ_CHECK(saved.Size() == expected);
}

/// Parsed once more from its own bytes, a tag is what it was; then it becomes a new one.
void CheckParsingAgain(IccFile4& profile) {
  for (const auto& tag : profile.tags) {
    if (tag->data == nullptr) continue;
    Bytes bytes(tag->data, tag->data + tag->size);
    const int size = tag->size;
    FUZZ_CHECK(tag->Initial(tag->tagSignature, bytes.data(), size) == size);
    FUZZ_CHECK(tag->size == size);
    CheckFields(*tag, FileView(bytes.data(), bytes.size()));
    if (auto* curve = dynamic_cast<CCurveType*>(tag.get())) {
      FUZZ_CHECK(curve->Initial(curve->tagSignature) == 0 && SavedBytes(*curve) == 12);
      continue;
    }
    FUZZ_CHECK(tag->Initial(tag->tagSignature, tag->typeSignature) == 0);
    FUZZ_CHECK(tag->size == 0 && tag->data == nullptr);
  }
}

/// Entry by entry, as the file states them, the same tags come.
void CheckSingleTags(const IccFile4& profile, const Bytes& file, FILE* stream) {
  IccFile4 single;
  const std::size_t count = std::min<std::size_t>(profile.tags.size(), 4);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t words[3];
    std::memcpy(words, file.data() + kTableAt + i * kEntryBytes,
                std::min(sizeof words, file.size() - kTableAt - i * kEntryBytes));
    if (kTableAt + (i + 1) * kEntryBytes > file.size()) return;
    FUZZ_CHECK(single.AddIccTagData(words[0], words[1], words[2], stream) == 0);
    FUZZ_CHECK(single.tags.size() == i + 1);
    const iccTagBase& one = *single.tags[i];
    const iccTagBase& other = *profile.tags[i];
    FUZZ_CHECK(one.tagSignature == other.tagSignature && one.size == other.size);
    if (one.data == nullptr || other.data == nullptr) continue;
    FUZZ_CHECK(std::memcmp(one.data, other.data, static_cast<unsigned>(one.size)) == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile source;
  if (fuzz::IsLeftOut(data, size, fuzz::ClaimedBytes(FileView(data, size)))) return 0;
  const Bytes file(data, data + size);
  source.Write(file);
  IccFile4 profile;
  FUZZ_CHECK(profile.ReadFile(source.path()) == 0);
  const ListSizes sizes = CheckTags(profile, file);
  if (sizes.charged <= kSureToHoldBytes) {
    FILE* stream = std::fopen(source.path(), "rb");
    FUZZ_CHECK(stream != nullptr);
    CheckSingleTags(profile, file, stream);
    std::fclose(stream);
  }
  if (sizes.claimed <= kRoundTripBytes && sizes.charged <= kSureToHoldBytes / 2) {
    CheckRoundTrip(profile, file);
  }
  CheckSaves(profile);
  CheckParsingAgain(profile);
  return 0;
}

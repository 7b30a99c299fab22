#include "IccFile4.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "../base/OwnedStream.h"
#include "TagParsing.h"

namespace ICC40 {
namespace ICCFILE {

using ICC4_HEADER::icTagSignature;

namespace {

constexpr std::size_t kHeaderBytes = 128;
constexpr std::size_t kTableEntryBytes = 12;

/// Tag-table entries that are read at most. Real profiles have dozens; this many objects take half
/// of the smallest budget and leave the other half for what is in them.
constexpr std::uint64_t kMaxTagCount = 65536;

/// Bytes of a tag that are looked at even when the budget does not allow to read the tag: enough
/// to know its class and counts. Part of `kObjectOverheadBytes`.
constexpr std::size_t kTagHeadBytes = 64;

struct TagEntry {
  std::uint32_t signature;
  std::uint32_t offset;  ///< from the start of the file
  std::uint32_t size;
};

std::uint64_t BytesAhead(FILE* stream, std::uint64_t fileSize) {
  const off_t position = ftello(stream);
  if (position < 0) return 0;
  const auto passed = static_cast<std::uint64_t>(position);
  return passed < fileSize ? fileSize - passed : 0;
}

/// Up to `count` bytes of the file from `offset` on; bytes that cannot be read are 0.
std::vector<unsigned char> ReadBytes(FILE* stream, std::uint64_t offset, std::uint64_t count) {
  std::vector<unsigned char> bytes(static_cast<std::size_t>(count));
  if (count > 0 && fseeko(stream, static_cast<off_t>(offset), SEEK_SET) == 0) {
    static_cast<void>(std::fread(bytes.data(), 1, bytes.size(), stream));
  }
  return bytes;
}

template <class Tag>
std::shared_ptr<iccTagBase> ParseNew(icTagSignature signature, const TagBytes& bytes,
                                     ReadBudget& budget) {
  auto tag = std::make_shared<Tag>();
  Parse(*tag, signature, bytes, budget);
  return tag;
}

std::shared_ptr<iccTagBase> MakeTag(icTagSignature signature, const TagBytes& bytes,
                                    ReadBudget& budget) {
  const std::uint32_t type = bytes.ReadFrom(0).U32();
  switch (signature) {
    case ICC4_HEADER::chad:
      return ParseNew<CChad>(signature, bytes, budget);

    case ICC4_HEADER::A2B0:
    case ICC4_HEADER::A2B1:
    case ICC4_HEADER::A2B2:
      if (type == ICC4_HEADER::mAB) return ParseNew<CLut>(signature, bytes, budget);
      if (type == ICC4_HEADER::mft2) return ParseNew<CLut16Type>(signature, bytes, budget);
      return ParseNew<CLut8Type>(signature, bytes, budget);

    case ICC4_HEADER::B2A0:
    case ICC4_HEADER::B2A1:
    case ICC4_HEADER::B2A2:
      if (type == ICC4_HEADER::mBA) return ParseNew<CLut>(signature, bytes, budget);
      if (type == ICC4_HEADER::mft2) return ParseNew<CLut16Type>(signature, bytes, budget);
      return ParseNew<CLut8Type>(signature, bytes, budget);

    case ICC4_HEADER::bXYZ:
    case ICC4_HEADER::bkpt:
    case ICC4_HEADER::gXYZ:
    case ICC4_HEADER::rXYZ:
    case ICC4_HEADER::wtpt:
      return ParseNew<CXYZType>(signature, bytes, budget);

    case ICC4_HEADER::bTRC:
    case ICC4_HEADER::gTRC:
    case ICC4_HEADER::rTRC:
      return ParseNew<CCurveType>(signature, bytes, budget);

    case ICC4_HEADER::cprt:
      return ParseNew<CTextType>(signature, bytes, budget);

    case ICC4_HEADER::desc:
      return ParseNew<CTextDescriptionType>(signature, bytes, budget);
  }
  // Text under any other signature is a CTextDescriptionType, not a CTextType: kept so that results
  // stay identical.
  if (type == ICC4_HEADER::text) return ParseNew<CTextDescriptionType>(signature, bytes, budget);
  return ParseNew<CDataType>(signature, bytes, budget);
}

/// Reads one tag; an empty pointer if the budget has no room for another object.
///
/// What is read of the file stays charged even though the buffer does not last: many entries that
/// point at the same big tag cost no more time than memory.
std::shared_ptr<iccTagBase> ReadTag(FILE* stream, std::uint64_t fileSize, const TagEntry& entry,
                                    ReadBudget& budget) {
  if (!budget.Take(kObjectOverheadBytes)) return nullptr;

  // Sizes of 2 GiB and more have no place in an int: such a tag has a size that is not positive,
  // and for want of one no copy of its bytes.
  const std::uint64_t padded = (std::uint64_t{entry.size} + 3) & ~std::uint64_t{3};
  const int size = static_cast<int>(static_cast<std::uint32_t>(padded));
  const std::uint64_t present =
      entry.offset < fileSize ? std::min(padded, fileSize - entry.offset) : 0;

  const auto signature = static_cast<icTagSignature>(entry.signature);
  if (budget.Take(present)) {
    const std::vector<unsigned char> bytes = ReadBytes(stream, entry.offset, present);
    return MakeTag(signature, TagBytes{bytes.data(), bytes.size(), size}, budget);
  }
  const std::vector<unsigned char> head =
      ReadBytes(stream, entry.offset, std::min<std::uint64_t>(present, kTagHeadBytes));
  ReadBudget nothing(0);
  return MakeTag(signature, TagBytes{head.data(), head.size(), size}, nothing);
}

std::uint32_t PaddedSize(int size) {
  return size > 0 ? (static_cast<std::uint32_t>(size) + 3) & ~std::uint32_t{3} : 0;
}

}  // namespace

IccFile4::IccFile4() : header{} {}

IccFile4::~IccFile4() = default;

int IccFile4::ReadFile(char const* path) {
  constexpr int kCannotOpen = -2;
  if (path == nullptr) return kCannotOpen;
  const OwnedStream stream(std::fopen(path, "rb"));
  if (!stream) return kCannotOpen;
  ReadFile(stream.get());
  return 0;
}

int IccFile4::ReadFile(FILE* stream) {
  if (stream == nullptr) return 0;
  const std::uint64_t fileSize = StreamSize(stream);

  ReadHeader(stream);
  unsigned char countBytes[4] = {};
  const std::size_t countRead = std::fread(countBytes, 1, sizeof countBytes, stream);
  const std::uint64_t claimed = kxcms::BigEndianReader(countBytes, countRead).U32();

  // An entry that begins past the end of the file does not exist; one that is cut off ends in 0.
  const std::uint64_t there =
      (BytesAhead(stream, fileSize) + kTableEntryBytes - 1) / kTableEntryBytes;
  const std::uint64_t count = std::min({claimed, there, kMaxTagCount});
  std::vector<unsigned char> table(static_cast<std::size_t>(count) * kTableEntryBytes);
  kxcms::BigEndianReader reader(table.data(), std::fread(table.data(), 1, table.size(), stream));

  ReadBudget budget(ReaderLimit(fileSize) - table.size());
  for (std::uint64_t i = 0; i < count; ++i) {
    TagEntry entry;
    entry.signature = reader.U32();
    entry.offset = reader.U32();
    entry.size = reader.U32();
    auto tag = ReadTag(stream, fileSize, entry, budget);
    if (!tag) break;
    tags.push_back(std::move(tag));
  }
  return 0;
}

int IccFile4::ReadHeader(FILE* stream) {
  if (stream == nullptr) return 0;
  unsigned char bytes[kHeaderBytes];
  kxcms::BigEndianReader reader(bytes, std::fread(bytes, 1, sizeof bytes, stream));
  header.size = reader.U32();
  header.cmmType = reader.U32();
  header.version = reader.U32();
  header.deviceClass = reader.U32();
  header.colorSpace = reader.U32();
  header.pcs = reader.U32();
  header.date.year = reader.U16();
  header.date.month = reader.U16();
  header.date.day = reader.U16();
  header.date.hours = reader.U16();
  header.date.minutes = reader.U16();
  header.date.seconds = reader.U16();
  header.magic = reader.U32();
  header.platform = reader.U32();
  header.flags = reader.U32();
  header.manufacturer = reader.U32();
  header.model = reader.U32();
  reader.Read(header.attributes, sizeof header.attributes);
  header.renderingIntent = reader.U32();
  for (int& component : header.illuminant) component = reader.S32();
  header.creator = reader.U32();
  reader.Read(header.idAndReserved, sizeof header.idAndReserved);
  return 0;
}

int IccFile4::AddIccTagData(unsigned int signature, unsigned int offset, unsigned int size,
                            FILE* stream) {
  if (stream == nullptr) return 0;
  const TagEntry entry{kxcms::SwapBigEndian(std::uint32_t{signature}),
                       kxcms::SwapBigEndian(std::uint32_t{offset}),
                       kxcms::SwapBigEndian(std::uint32_t{size})};
  const std::uint64_t fileSize = StreamSize(stream);
  ReadBudget budget(ReaderLimit(fileSize));
  auto tag = ReadTag(stream, fileSize, entry, budget);
  if (tag) tags.push_back(std::move(tag));
  return 0;
}

std::shared_ptr<iccTagBase> IccFile4::CreateNewTag(icTagSignature signature, unsigned char* data,
                                                   int size) {
  const TagBytes bytes = CallersBytes(data, size);
  ReadBudget budget(ReaderLimit(bytes.present));
  return MakeTag(signature, bytes, budget);
}

std::shared_ptr<iccTagBase> IccFile4::GetTag(icTagSignature signature) {
  const auto found = std::find_if(tags.begin(), tags.end(), [signature](const auto& tag) {
    return tag->tagSignature == signature;
  });
  return found == tags.end() ? nullptr : *found;
}

void IccFile4::Reset() {
  tags.clear();
}

int IccFile4::SaveFile(char const* path) {
  if (path == nullptr) return 0;
  // An open that succeeds is the failure, and the empty file stays open: kept so that results stay
  // identical.
  if (std::fopen(path, "wb+") != nullptr) throw "Icc File SaveFile Error, File open fail.";
  return 0;
}

int IccFile4::WriteHeader(FILE* stream, int size) {
  if (stream == nullptr) return 0;
  unsigned char bytes[kHeaderBytes] = {};
  kxcms::StoreBig32(bytes, static_cast<std::uint32_t>(size));
  kxcms::StoreBig32(bytes + 4, header.cmmType);
  kxcms::StoreBig32(bytes + 8, header.version);
  kxcms::StoreBig32(bytes + 12, header.deviceClass);
  kxcms::StoreBig32(bytes + 16, header.colorSpace);
  kxcms::StoreBig32(bytes + 20, header.pcs);
  kxcms::StoreBig16(bytes + 24, header.date.year);
  kxcms::StoreBig16(bytes + 26, header.date.month);
  kxcms::StoreBig16(bytes + 28, header.date.day);
  kxcms::StoreBig16(bytes + 30, header.date.hours);
  kxcms::StoreBig16(bytes + 32, header.date.minutes);
  kxcms::StoreBig16(bytes + 34, header.date.seconds);
  kxcms::StoreBig32(bytes + 36, header.magic);
  kxcms::StoreBig32(bytes + 40, header.platform);
  kxcms::StoreBig32(bytes + 44, header.flags);
  kxcms::StoreBig32(bytes + 48, header.manufacturer);
  kxcms::StoreBig32(bytes + 52, header.model);
  // Bytes 56 to 63, the device attributes, are left 0: kept so that files stay identical.
  kxcms::StoreBig32(bytes + 64, header.renderingIntent);
  for (int i = 0; i < 3; ++i) {
    kxcms::StoreBig32(bytes + 68 + 4 * i, static_cast<std::uint32_t>(header.illuminant[i]));
  }
  kxcms::StoreBig32(bytes + 80, header.creator);
  std::memcpy(bytes + 84, header.idAndReserved, 16);  // the profile ID; the rest stays 0
  std::fwrite(bytes, 1, sizeof bytes, stream);
  return 0;
}

int IccFile4::WriteTagListHeader(FILE* stream) {
  std::vector<unsigned char> table(4 + kTableEntryBytes * tags.size());
  kxcms::StoreBig32(table.data(), static_cast<std::uint32_t>(tags.size()));
  auto offset = static_cast<std::uint32_t>(kHeaderBytes + table.size());
  unsigned char* entry = table.data() + 4;
  for (const auto& tag : tags) {
    kxcms::StoreBig32(entry, tag->tagSignature);
    kxcms::StoreBig32(entry + 4, offset);
    kxcms::StoreBig32(entry + 8, static_cast<std::uint32_t>(tag->size));
    offset += PaddedSize(tag->size);
    entry += kTableEntryBytes;
  }
  if (stream != nullptr) std::fwrite(table.data(), 1, table.size(), stream);
  return static_cast<int>(offset);
}

int IccFile4::WriteTagListData(FILE* stream) {
  if (stream == nullptr) return 0;
  for (const auto& tag : tags) {
    if (tag->data == nullptr) {
      tag->Save(stream);
    } else if (tag->size > 0) {
      std::fwrite(tag->data, 1, static_cast<std::size_t>(tag->size), stream);
    }
  }
  return 0;
}

}  // namespace ICCFILE
}  // namespace ICC40

#include "Verification.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>

#include "Refusal.h"
#include "base/Bytes.h"
#include "tiff/TiffLayout.h"

namespace {

using namespace KX_Tiff_STL3;

// Whole samples, few enough not to count beside the image.
constexpr std::uint64_t kBlock = 1u << 20;

/// Compares an image with its file, which has passed the check.
class ImageVerifier {
 public:
  ImageVerifier(int fd, const std::string& name, const TiffForm& form, CTiff& image)
      : fd_(fd), name_(name), form_(form), image_(image) {}

  void Verify() {
    const std::uint64_t directory = U32(kFirstDirectoryAt);
    const unsigned count = kxcms::LittleEndianView(Read(directory, kEntryCountBytes)).U16(0);
    const std::uint64_t first = directory + kEntryCountBytes;
    const std::vector<unsigned char> bytes = Read(first, count * kEntryBytes);
    const kxcms::LittleEndianView entries(bytes);
    for (unsigned i = 0; i < count; ++i) {
      const std::uint64_t at = i * kEntryBytes;
      VerifyTag({entries.U16(at), entries.U16(at + kEntryTypeAt), entries.U32(at + kEntryItemsAt),
                 entries.U32(at + kEntryValueAt), first + at + kEntryValueAt});
    }
    VerifyPixels();
  }

 private:
  struct Entry {
    unsigned tag, type;
    std::uint32_t count, value;
    std::uint64_t valuePosition;

    std::uint64_t Size() const { return ItemBytes(type, count); }
    std::uint64_t DataPosition() const { return Size() <= kInlineBytes ? valuePosition : value; }
  };

  [[noreturn]] void Refuse() const {
    throw Refusal(Exit::InputUnreadable, name_ + ": cannot be read completely");
  }

  /// `least` of the `size` bytes must be there.
  std::vector<unsigned char> Read(std::uint64_t position, std::uint64_t size,
                                  std::uint64_t least) const {
    std::vector<unsigned char> bytes(size);
    std::uint64_t done = 0;
    while (done < size) {
      const ssize_t got =
          pread(fd_, bytes.data() + done, size - done, static_cast<off_t>(position + done));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0 || (got == 0 && done < least)) Refuse();
      if (got == 0) break;
      done += static_cast<std::uint64_t>(got);
    }
    return bytes;
  }
  std::vector<unsigned char> Read(std::uint64_t position, std::uint64_t size) const {
    return Read(position, size, size);
  }
  std::uint32_t U32(std::uint64_t position) const {
    return kxcms::LittleEndianView(Read(position, 4)).U32(0);
  }

  void VerifyTag(const Entry& entry) {
    if (entry.tag == StripOffsets) stripOffsets_ = entry;
    if (entry.tag == RowsPerStrip) rowsPerStrip_ = entry.value;
    if (entry.tag == PlanarConfiguration) isSeparate_ = entry.value == kSeparatePlanes;
    const auto tag = image_.GetTag(static_cast<TiffTagSignature>(entry.tag));
    if (!tag) Refuse();
    const bool isLeftOut =
        std::find(form_.leftOut.begin(), form_.leftOut.end(), entry.tag) != form_.leftOut.end();
    // Those of the strips speak of the pixels as they are held now.
    if (isLeftOut || entry.tag == StripOffsets || entry.tag == StripByteCounts ||
        entry.tag == RowsPerStrip || entry.tag == PlanarConfiguration) {
      return;
    }
    if (tag->type != entry.type || tag->count != entry.count) Refuse();
    if (entry.tag == ExifIfd) {
      VerifyData(*tag, Read(entry.value, kExifBlockBytes, 0));
    } else if (entry.Size() > kInlineBytes) {
      VerifyData(*tag, Read(entry.value, entry.Size()));
    } else if (tag->value != entry.value) {
      Refuse();
    }
  }

  void VerifyData(const TiffTag& tag, const std::vector<unsigned char>& bytes) const {
    if (tag.data == nullptr || !std::equal(bytes.begin(), bytes.end(), tag.data)) Refuse();
  }

  std::uint32_t StripNumber(const Entry& entry, std::uint64_t index) const {
    if (entry.type == TIFF_LONG) return U32(entry.DataPosition() + 4 * index);
    return kxcms::LittleEndianView(Read(entry.DataPosition() + 2 * index, 2)).U16(0);
  }

  void VerifyPixels() const {
    const std::uint64_t planes = isSeparate_ ? 3 : 1;
    const std::uint64_t planeBytes = form_.PixelBytes() / planes;
    const std::uint64_t rows =
        std::min(rowsPerStrip_ == 0 ? form_.length : rowsPerStrip_, form_.length);
    const std::uint64_t stripBytes = planeBytes / form_.length * rows;
    std::uint64_t strip = 0;
    for (std::uint64_t plane = 0; plane < planes; ++plane) {
      for (std::uint64_t begin = 0; begin < planeBytes; begin += stripBytes, ++strip) {
        VerifyStrip(StripNumber(stripOffsets_, strip), plane, begin,
                    std::min(stripBytes, planeBytes - begin));
      }
    }
  }

  /// @param begin  where the strip's bytes belong in their plane
  void VerifyStrip(std::uint64_t position, std::uint64_t plane, std::uint64_t begin,
                   std::uint64_t size) const {
    const unsigned char* pixels = image_.GetTag(StripOffsets)->data;
    const std::uint64_t sampleBytes = form_.bits / 8;
    for (std::uint64_t done = 0; done < size; done += kBlock) {
      const std::vector<unsigned char> bytes = Read(position + done, std::min(kBlock, size - done));
      if (!isSeparate_) {
        if (!std::equal(bytes.begin(), bytes.end(), pixels + begin + done)) Refuse();
        continue;
      }
      const unsigned char* sample = pixels + (begin + done) * 3 + plane * sampleBytes;
      for (std::uint64_t i = 0; i < bytes.size(); i += sampleBytes, sample += 3 * sampleBytes) {
        if (!std::equal(sample, sample + sampleBytes, &bytes[i])) Refuse();
      }
    }
  }

  int fd_;
  const std::string& name_;
  const TiffForm& form_;
  CTiff& image_;
  Entry stripOffsets_{};
  std::uint32_t rowsPerStrip_ = 0;
  bool isSeparate_ = false;
};

}  // namespace

void VerifyProfile(const ICC40::ICCFILE::IccFile4& profile, std::span<const unsigned char> bytes) {
  // ICC.1:2010, 7.2.12 (device manufacturer) and 7.3 (tag table).
  constexpr std::uint64_t kManufacturer = 48, kTagCount = 128, kTagTable = 132, kTagEntry = 12;
  const kxcms::BigEndianView file(bytes);
  bool isSame = profile.header.manufacturer == file.U32(kManufacturer) &&
                profile.tags.size() == file.U32(kTagCount);
  for (std::size_t i = 0; isSame && i < profile.tags.size(); ++i) {
    const std::uint64_t entry = kTagTable + kTagEntry * i;
    const std::uint64_t offset = file.U32(entry + 4);
    const std::uint64_t size = file.U32(entry + 8);
    const ICC40::ICCFILE::iccTagBase& tag = *profile.tags[i];
    isSame = tag.tagSignature == file.U32(entry) && file.Holds(offset, size);
    if (!isSame || size == 0) continue;
    const auto content = bytes.subspan(offset, size);
    isSame = tag.data != nullptr && std::equal(content.begin(), content.end(), tag.data);
  }
  if (!isSame) throw Refusal(Exit::ProfileUnusable, "the profile cannot be read completely");
}

void VerifyImage(int fd, const std::string& name, const TiffForm& form, CTiff& image) {
  ImageVerifier(fd, name, form, image).Verify();
}

std::vector<unsigned char> BytesBeforePixels(const CTiff& image) {
  std::vector<unsigned char> bytes;
  const auto append = [&bytes](std::uint32_t number, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(number >> 8 * i));
  };
  append(kLittleEndianMark, 4);
  append(kHeaderBytes, 4);
  append(static_cast<std::uint32_t>(image.tags.size()), kEntryCountBytes);
  for (const std::shared_ptr<TiffTag>& tag : image.tags) {
    append(tag->tag, 2);
    append(tag->type, 2);
    append(tag->count, 4);
    append(tag->value, 4);
  }
  append(0, kNextDirectoryBytes);
  for (const std::shared_ptr<TiffTag>& tag : image.tags) {
    if (IsOutOfLine(*tag)) bytes.insert(bytes.end(), tag->data, tag->data + TagDataBytes(*tag));
  }
  return bytes;
}

#include <algorithm>
#include <optional>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "tools/image/ImageError.h"
#include "tools/image/ImageSink.h"
#include "tools/image/ImageSource.h"
#include "tools/image/Thumbnails.h"
#include "tools/image/TrueTags.h"

// An image file's bytes, read strictly: a refusal has a sentence; what is read is the same on every
// reading. Then it is written in a format with other thumbnails, and read back: the same pixels
// where nothing is lost, the same profile, pages, tags and thumbnails.
//
// Input: four bytes of choices, the file.

namespace {

using namespace kxcms::image;
using fuzz::Bytes;

/// A page as it is read.
struct Picture {
  Page page;
  Bytes rows;
};

bool IsSentence(const std::string& text) {
  return text.size() > 3 && text.size() < 400 && text.back() != '.';
}

/// @return the rows; none, with a sentence, where the pixels are damaged.
std::optional<Bytes> RowsOf(ImageSource& source, std::size_t index, std::uint32_t band) {
  const Page& page = source.pages()[index];
  Bytes rows(page.RowBytes() * page.height, 0xA5);
  try {
    source.Select(index);
    for (std::uint32_t row = 0; row < page.height; row += band) {
      source.ReadRows(rows.data() + row * page.RowBytes(), std::min(band, page.height - row));
    }
  } catch (const ImageError& error) {
    FUZZ_CHECK(error.kind != ImageError::Kind::kUnwritable && IsSentence(error.what()));
    return std::nullopt;
  }
  return rows;
}

void CheckPage(const Page& page, std::size_t index) {
  FUZZ_CHECK(!page.parent || *page.parent < index);
  if (!page.refusal.empty()) {
    FUZZ_CHECK(IsSentence(page.refusal));
    return;
  }
  FUZZ_CHECK(page.width > 0 && page.height > 0 && (page.bits == 8 || page.bits == 16));
  FUZZ_CHECK(page.Samples() <= 64);
  for (const std::string& name : page.dropped) FUZZ_CHECK(!name.empty());
}

/// All pages that can be read; none where one is damaged, or too large to be worth the time.
std::vector<Picture> PicturesOf(ImageSource& source) {
  constexpr std::uint64_t kMostBytes = 4u << 20;
  std::vector<Picture> pictures;
  std::uint64_t bytes = 0;
  for (std::size_t i = 0; i < source.pages().size(); ++i) {
    const Page& page = source.pages()[i];
    CheckPage(page, i);
    if (!page.refusal.empty()) continue;
    if (page.RowBytes() > kMostBytes || page.height > kMostBytes / page.RowBytes()) return {};
    bytes += page.RowBytes() * page.height;
    if (bytes > kMostBytes) return {};
    const std::optional<Bytes> rows = RowsOf(source, i, page.height);
    FUZZ_CHECK(RowsOf(source, i, 3) == rows);
    if (!rows) return {};
    pictures.push_back({source.pages()[i], *rows});
  }
  return pictures;
}

bool IsSame(const Tag& one, const Tag& other) {
  return one.number == other.number && one.type == other.type && one.count == other.count &&
         one.bytes == other.bytes;
}

/// Whether tags of 64 bits may have been written as others, or what has no value left out.
bool MayChange(const Directory& directory) {
  return (directory.tags.empty() && directory.subDirectories.empty()) ||
         std::any_of(directory.tags.begin(), directory.tags.end(),
                     [](const Tag& tag) { return tag.type >= kLong8 || tag.bytes.empty(); }) ||
         std::any_of(directory.subDirectories.begin(), directory.subDirectories.end(),
                     [](const SubDirectory& sub) { return MayChange(sub.directory); });
}

bool IsSame(const Directory& one, const Directory& other) {
  if (one.tags.size() != other.tags.size() ||
      one.subDirectories.size() != other.subDirectories.size()) {
    return false;
  }
  for (const Tag& tag : one.tags) {
    const Tag* const found = other.Find(tag.number);
    if (found == nullptr || !IsSame(tag, *found)) return false;
  }
  for (const SubDirectory& sub : one.subDirectories) {
    const auto found =
        std::find_if(other.subDirectories.begin(), other.subDirectories.end(),
                     [&sub](const SubDirectory& there) { return there.pointer == sub.pointer; });
    if (found == other.subDirectories.end() || !IsSame(sub.directory, found->directory)) {
      return false;
    }
  }
  return true;
}

/// An open file in memory.
class File {
 public:
  explicit File(const Bytes& bytes = {}) : fd_(memfd_create("kxcms_fuzz", 0)) {
    FUZZ_CHECK(fd_ >= 0 &&
               pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  }
  ~File() { close(fd_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int fd() const { return fd_; }
  std::unique_ptr<ImageSource> Open() const {
    struct stat status;
    FUZZ_CHECK(fstat(fd_, &status) == 0);
    return ImageSource::Open(fd_, static_cast<std::uint64_t>(status.st_size));
  }

 private:
  int fd_;
};

struct Choices {
  Format format;
  std::uint16_t compression;
  bool isBig;
  NamedColors colors;
};

Choices Drawn(fuzz::Input& input) {
  constexpr Format kFormats[] = {Format::kTiff, Format::kTiff, Format::kPng, Format::kJpeg};
  constexpr std::uint16_t kCompressions[] = {1, 5, 8, 32773, 50000, 34925};
  constexpr NamedColors kColors[] = {NamedColors::kOther, NamedColors::kSrgb,
                                     NamedColors::kAdobeRgb};
  Choices choices = {};
  choices.format = input.OneOf(kFormats);
  choices.compression = input.OneOf(kCompressions);
  choices.isBig = input.U8() % 2 != 0;
  choices.colors = input.OneOf(kColors);
  return choices;
}

/// In place of a conversion.
void InvertColors(unsigned char* pixels, std::uint32_t width, std::uint32_t height) {
  FUZZ_CHECK(width >= 1 && width <= kMostThumbnailSide);
  FUZZ_CHECK(height >= 1 && height <= kMostThumbnailSide);
  const std::size_t count = std::size_t{width} * height * 3;
  std::transform(pixels, pixels + count, pixels,
                 [](unsigned char value) { return static_cast<unsigned char>(~value); });
}

/// At once, or, of every other width, in two pieces that are encoded apart.
void WritePixels(const Picture& picture, ImageSink& sink) {
  const Page& page = picture.page;
  const std::uint32_t apart = sink.RowsApart();
  if (apart == 0 || apart >= page.height || page.width % 2 == 0) {
    sink.WriteRows(picture.rows.data(), page.height);
    return;
  }
  const EncodedRows above = sink.Encode(picture.rows.data(), apart);
  const EncodedRows below =
      sink.Encode(picture.rows.data() + apart * page.RowBytes(), page.height - apart);
  sink.WriteEncoded(above);
  sink.WriteEncoded(below);
}

/// The pictures as they have to come back; none where the format does not hold them.
std::vector<Picture> Written(std::vector<Picture> pictures, const Choices& choices,
                             const File& file, std::vector<std::string>& dropped) {
  if (choices.format != Format::kTiff) pictures.resize(1);
  FileOutput bytes(file.fd());
  try {
    const auto sink = ImageSink::Make(choices.format, bytes, {choices.isBig, 90}, dropped);
    for (Picture& picture : pictures) {
      Page& page = picture.page;
      page.parent.reset();
      page.layout = LayoutFor(page, choices.compression);
      std::vector<std::string> removed;
      MakeTrue(page.metadata, choices.colors, InvertColors, removed);
      sink->BeginPage(page);
      WritePixels(picture, *sink);
      sink->EndPage();
    }
    sink->Finish();
  } catch (const ImageError& error) {
    FUZZ_CHECK(error.kind == ImageError::Kind::kUnwritable && IsSentence(error.what()));
    // TIFF holds whatever was read.
    FUZZ_CHECK(choices.format != Format::kTiff);
    return {};
  }
  return pictures;
}

/// What was converted and written can be read, and converted again.
void CheckThumbnail(const Metadata& before, const Metadata& after) {
  FUZZ_CHECK(before.thumbnail.has_value() == after.thumbnail.has_value());
  if (!before.thumbnail) return;
  const Thumbnail &one = *before.thumbnail, &other = *after.thumbnail;
  FUZZ_CHECK(one.bytes == other.bytes && one.width == other.width && one.height == other.height);
  FUZZ_CHECK(MayChange(one.directory) || IsSame(one.directory, other.directory));
  Thumbnail again = other;
  FUZZ_CHECK(Convert(again, InvertColors));
}

void CheckPicture(const Picture& written, const Picture& back, const Choices& choices,
                  bool isComplete) {
  const Page &before = written.page, &after = back.page;
  FUZZ_CHECK(after.width == before.width && after.height == before.height);
  FUZZ_CHECK(after.bits == before.bits && after.profile == before.profile);
  if (choices.format == Format::kPng && before.extras.empty()) {
    FUZZ_CHECK(back.rows == written.rows);
  }
  if (choices.format != Format::kTiff) {
    if (isComplete) CheckThumbnail(before.metadata, after.metadata);
    return;
  }
  FUZZ_CHECK(after.extras == before.extras && back.rows == written.rows);
  FUZZ_CHECK(after.layout.compression == before.layout.compression);
  FUZZ_CHECK(after.subfileType == before.subfileType);
  FUZZ_CHECK(after.dropped.empty());
  if (isComplete && !MayChange(before.metadata.directory)) {
    FUZZ_CHECK(after.metadata.order == before.metadata.order);
    FUZZ_CHECK(IsSame(before.metadata.directory, after.metadata.directory));
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const Choices choices = Drawn(input);
  const File file(input.Rest());
  std::vector<Picture> pictures;
  try {
    pictures = PicturesOf(*file.Open());
  } catch (const ImageError& error) {
    FUZZ_CHECK(error.kind != ImageError::Kind::kUnwritable && IsSentence(error.what()));
    return 0;
  }
  if (pictures.empty()) return 0;
  const File copy;
  std::vector<std::string> dropped;
  const std::vector<Picture> written = Written(std::move(pictures), choices, copy, dropped);
  if (written.empty()) return 0;
  const std::vector<Picture> back = PicturesOf(*copy.Open());
  FUZZ_CHECK(back.size() == written.size());
  for (std::size_t i = 0; i < written.size(); ++i) {
    CheckPicture(written[i], back[i], choices, dropped.empty());
  }
  return 0;
}

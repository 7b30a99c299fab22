#include "tools/image/PngProfile.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

#include "tools/image/ImageError.h"
#include "tools/image/TiffProfile.h"

namespace kxcms::image {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint64_t kSignatureBytes = 8, kChunkBytes = 12;  // length, type, check sum
constexpr std::string_view kXmpKeyword("XML:com.adobe.xmp\0", 18);
// Far above all real profiles and packets.
constexpr std::size_t kMostExpanded = 64u << 20;

Bytes ChunkOf(std::string_view type, std::span<const unsigned char> content) {
  Bytes chunk;
  AppendNumber(chunk, content.size(), 4, ByteOrder::kBig);
  chunk.insert(chunk.end(), type.begin(), type.end());
  chunk.insert(chunk.end(), content.begin(), content.end());
  const uLong sum = crc32_z(0, chunk.data() + 4, chunk.size() - 4);
  AppendNumber(chunk, sum, 4, ByteOrder::kBig);
  return chunk;
}

Bytes Inflated(std::span<const unsigned char> deflated) {
  Bytes result;
  z_stream stream = {};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  struct End {
    z_stream& stream;
    ~End() { inflateEnd(&stream); }
  } end{stream};
  stream.next_in = const_cast<Bytef*>(deflated.data());
  stream.avail_in = static_cast<uInt>(deflated.size());
  std::array<unsigned char, 65536> part;
  for (int status = Z_OK; status != Z_STREAM_END;) {
    stream.next_out = part.data();
    stream.avail_out = part.size();
    status = inflate(&stream, Z_NO_FLUSH);
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    if (status != Z_OK && status != Z_STREAM_END) RefuseDamaged("a compressed chunk");
    result.insert(result.end(), part.begin(), part.end() - stream.avail_out);
    if (result.size() > kMostExpanded) RefuseDamaged("a chunk expands beyond all measure");
  }
  return result;
}

/// The chunk of a profile: a name, the only method there is, and the profile, compressed.
Bytes ProfileChunk(const Bytes& profile) {
  constexpr std::string_view kStart("ICC profile\0\0", 13);
  Bytes content(kStart.begin(), kStart.end());
  uLongf size = compressBound(profile.size());
  content.resize(kStart.size() + size);
  if (compress2(content.data() + kStart.size(), &size, profile.data(), profile.size(),
                Z_BEST_COMPRESSION) != Z_OK) {
    throw std::bad_alloc();
  }
  content.resize(kStart.size() + size);
  return ChunkOf("iCCP", content);
}

Bytes ProfileIn(const Bytes& content) {
  constexpr std::size_t kLongestName = 79;
  const auto zero = std::find(content.begin(), content.end(), 0);
  const auto name = static_cast<std::size_t>(zero - content.begin());
  if (name > kLongestName || content.size() < name + 2 || content[name + 1] != 0) {
    RefuseDamaged("its profile's chunk");
  }
  return Inflated(std::span(content).subspan(name + 2));
}

/// The packet in a chunk of international text behind the keyword of XMP.
Bytes PacketIn(const Bytes& content) {
  // compression flag, method, language and translated keyword, both ended by a zero
  const std::size_t flagAt = kXmpKeyword.size();
  if (content.size() < flagAt + 2) RefuseDamaged("its XMP");
  auto at = content.begin() + static_cast<std::ptrdiff_t>(flagAt + 2);
  for (int text = 0; text < 2; ++text) {
    at = std::find(at, content.end(), 0);
    if (at == content.end()) RefuseDamaged("its XMP");
    ++at;
  }
  if (content[flagAt] == 0) return {at, content.end()};
  return Inflated(std::span(content).subspan(static_cast<std::size_t>(at - content.begin())));
}

Bytes XmpChunk(const Bytes& packet) {
  Bytes content(kXmpKeyword.begin(), kXmpKeyword.end());
  content.insert(content.end(), 4, 0);  // not compressed, no language, no translated keyword
  content.insert(content.end(), packet.begin(), packet.end());
  return ChunkOf("iTXt", content);
}

}  // namespace

PngProfile::PngProfile(const InputBytes& bytes) : bytes_(bytes) {
  bool hasPixels = false;
  for (std::uint64_t at = kSignatureBytes;;) {
    unsigned char start[8];
    if (!bytes.Holds(at, kChunkBytes)) RefuseDamaged("cut off");
    bytes.Read(at, start, sizeof start);
    Chunk chunk{std::string(start + 4, start + 8), at,
                static_cast<std::uint32_t>(NumberAt(start, 4, ByteOrder::kBig))};
    if (!bytes.Holds(at, kChunkBytes + chunk.size)) RefuseDamaged("cut off");
    at += kChunkBytes + chunk.size;
    if (chunk.type == "IDAT") {
      hasPixels = true;
      continue;
    }
    chunks_.push_back(std::move(chunk));
    if (chunks_.back().type == "IEND") break;
  }
  if (!hasPixels || chunks_[0].type != "IHDR") RefuseDamaged("no pixels");
  const Bytes header = Content(chunks_[0]);
  constexpr std::size_t kHeaderBytes = 13, kColorTypeAt = 9;
  if (header.size() != kHeaderBytes) RefuseDamaged("its header");
  Carrier page;
  switch (header[kColorTypeAt]) {
    case 0:
    case 4:
      page.kind = "grey";
      page.space = "GRAY";
      break;
    case 2:
    case 6:
      page.kind = "RGB";
      page.space = "RGB ";
      break;
    case 3:
      page.kind = "palette colours";
      page.space = "RGB ";
      break;
    default:
      RefuseDamaged("its header");
  }
  for (const Chunk& chunk : chunks_) {
    if (chunk.type != "iCCP") continue;
    if (page.profile) RefuseDamaged("two profiles");
    page.profile = ProfileIn(Content(chunk));
  }
  pages_.push_back(std::move(page));
}

Bytes PngProfile::Content(const Chunk& chunk) const {
  Bytes content(std::size_t{chunk.size} + 4);  // with its type
  unsigned char sum[4];
  bytes_.Read(chunk.begin + 4, content.data(), content.size());
  bytes_.Read(chunk.begin + 8 + chunk.size, sum, sizeof sum);
  if (crc32_z(0, content.data(), content.size()) != NumberAt(sum, 4, ByteOrder::kBig)) {
    RefuseDamaged("the check sum of chunk " + chunk.type);
  }
  content.erase(content.begin(), content.begin() + 4);
  return content;
}

std::uint64_t PngProfile::Write(const Bytes* profile, NamedColors colors, OutputBytes& to,
                                EditNotes& notes) const {
  if (profile != nullptr && !pages_[0].FitsProfile(*profile)) {
    CopyBytes(bytes_, 0, bytes_.size(), to, 0);
    return bytes_.size();
  }
  // What PNG says of colours beside a profile; a reader heeds cICP before it.
  constexpr std::string_view kOtherClaims[] = {"cICP", "sRGB", "gAMA", "cHRM"};
  std::uint64_t from = 0, end = 0;  // where copying goes on, and where
  const auto copyUpTo = [&](std::uint64_t behind) {
    CopyBytes(bytes_, from, behind - from, to, end);
    end += behind - from;
    from = behind;
  };
  const auto put = [&](const Bytes& bytes) {
    to.Write(end, bytes.data(), bytes.size());
    to.Check();
    end += bytes.size();
  };
  const auto replace = [&](const Chunk& chunk, const Bytes& by) {
    copyUpTo(chunk.begin);
    put(by);
    from = chunk.begin + kChunkBytes + chunk.size;
  };
  for (const Chunk& chunk : chunks_) {
    const bool isOther = std::find(std::begin(kOtherClaims), std::end(kOtherClaims), chunk.type) !=
                         std::end(kOtherClaims);
    if (chunk.type == "IHDR" && profile != nullptr) {
      // It has to stand before the palette and the pixels.
      copyUpTo(chunk.begin + kChunkBytes + chunk.size);
      put(ProfileChunk(*profile));
    } else if (chunk.type == "iCCP") {
      replace(chunk, {});
    } else if (profile == nullptr) {
      continue;
    } else if (isOther) {
      replace(chunk, {});
      notes.removed.push_back(chunk.type);
    } else if (chunk.type == "eXIf") {
      if (const auto exif = CorrectedExif(Content(chunk), colors, notes)) {
        replace(chunk, ChunkOf(chunk.type, *exif));
      }
    } else if (chunk.type == "iTXt" && chunk.size >= kXmpKeyword.size()) {
      const Bytes content = Content(chunk);
      if (!std::equal(kXmpKeyword.begin(), kXmpKeyword.end(), content.begin(),
                      [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; })) {
        continue;
      }
      if (const auto xmp = CorrectedXmp(PacketIn(content), colors, notes)) {
        replace(chunk, XmpChunk(*xmp));
      }
    }
  }
  copyUpTo(bytes_.size());
  return end;
}

}  // namespace kxcms::image

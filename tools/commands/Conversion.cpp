#include "tools/commands/Conversion.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include "tools/IntentNames.h"
#include "tools/Refusal.h"
#include "tools/Relay.h"
#include "tools/commands/ClippedSamples.h"
#include "tools/image/DirectoryBlock.h"
#include "tools/image/ImageError.h"
#include "tools/image/TrueTags.h"

using namespace kxcms::image;

namespace {

using Bytes = std::vector<unsigned char>;

bool HasMain(const std::vector<Page>& pages, std::size_t end) {
  return std::any_of(
      pages.begin(), pages.begin() + static_cast<std::ptrdiff_t>(end),
      [](const Page& page) { return (page.subfileType & (Page::kReduced | Page::kMask)) == 0; });
}

/// A reduced copy has the colours of its main image.
const Bytes* MainProfile(const ImageSource& source) {
  for (const Page& page : source.pages()) {
    if (page.profile && !page.profile->empty()) return &*page.profile;
  }
  return nullptr;
}

kxp_image ImageOf(const Page& page, unsigned char* pixels) {
  const std::size_t sampleBytes = page.bits / 8;
  kxp_image image = {};
  image.size = sizeof image;
  image.r = pixels;
  image.g = pixels + sampleBytes;
  image.b = pixels + 2 * sampleBytes;
  image.pixel_stride = static_cast<std::ptrdiff_t>(page.PixelBytes());
  image.sample = page.bits == 8 ? KXP_U8 : KXP_U16;
  for (std::size_t i = 0; i < page.extras.size(); ++i) {
    if (page.extras[i] == Extra::kUnspecified) continue;
    image.a = pixels + (3 + i) * sampleBytes;
    if (page.extras[i] == Extra::kAssociatedAlpha) image.flags = KXP_ASSOCIATED_ALPHA;
    break;
  }
  return image;
}

/// What the pipeline does not touch, in the result's depth: samples that are no colour.
void CopyExtras(const Page& from, const unsigned char* source, const Page& to,
                unsigned char* destination, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i) {
    for (std::size_t sample = 3; sample < from.Samples(); ++sample) {
      std::uint16_t value = 0;
      if (from.bits == 8) {
        value = static_cast<std::uint16_t>(source[i * from.PixelBytes() + sample] * 257);
        std::memcpy(destination + i * to.PixelBytes() + sample * 2, &value, 2);
      } else {
        std::memcpy(&value, source + i * from.PixelBytes() + sample * 2, 2);
        // The nearest of 255 steps; 65535 is 257 of each.
        destination[i * to.PixelBytes() + sample] =
            static_cast<unsigned char>((value + 128u) / 257u);
      }
    }
  }
}

/// Converts pixels of 8 bits in place, as those of the image are.
void ConvertThumbnail(const DeviceColors& colors, unsigned char* pixels, std::uint32_t width,
                      std::uint32_t height) {
  Page page;
  page.width = width;
  page.height = height;
  const kxp_image image = ImageOf(page, pixels);
  kxp_convert_options options = {};
  options.size = sizeof options;
  options.threads = 1;
  kxp_error error = {};
  error.size = sizeof error;
  if (kxp_convert(colors.pipeline.get(), &image, &image, width, height, &options, &error) !=
      KXP_OK) {
    RefuseForm(error.message);
  }
}

/// Each name once, in the order of the first ones.
std::vector<std::string> Once(const std::vector<std::string>& names) {
  std::vector<std::string> once;
  std::set<std::string_view> seen;
  for (const std::string& name : names) {
    if (seen.insert(name).second) once.push_back(name);
  }
  return once;
}

}  // namespace

Format FormatOf(const ConvertRequest& request) {
  if (request.format) return *request.format;
  if (request.output == kStandardStream) {
    throw Refusal(Exit::Usage, "standard output needs --format: tiff, jpeg or png");
  }
  if (const auto format = FormatOfSuffix(request.output)) return *format;
  throw Refusal(Exit::Usage, request.output +
                                 ": its suffix names no format (.tif, .tiff, .jpg, .jpeg, .png); "
                                 "--format does");
}

/// Gives the errors of images the name of the file that they concern.
template <typename Function>
auto Conversion::Named(Function function) {
  try {
    return function();
  } catch (const ImageError& error) {
    switch (error.kind) {
      case ImageError::Kind::kUnwritable:
        throw Refusal(Exit::WriteFailed,
                      "cannot write " + request_.output + ": " + error.what() +
                          (error.what() == kTooLargeForTiff ? "; --bigtiff yes makes one" : ""),
                      error.systemError);
      case ImageError::Kind::kUnsupported:
        throw Refusal(Exit::WouldBeWrong, request_.input + ": " + error.what());
      case ImageError::Kind::kUnreadable:
        break;
    }
    throw Refusal(Exit::InputUnreadable, request_.input + ": " + error.what());
  }
}

Conversion::Conversion(ConvertRequest request, Findings findings)
    : request_(std::move(request)), findings_(findings) {
  record_.format = FormatOf(request_);
  CheckOptions();
  if (findings_.pixelSha256) pixels_.emplace();
}

void Conversion::Open() {
  input_.emplace(request_.input, FolderOf(request_.output));
  source_ = Named([&] { return ImageSource::Open(input_->fd(), input_->size()); });
}

void Conversion::UseProfile(const std::string& name, const std::string& source) {
  request_.profile = name;
  namedBy_ = source;
}

void Conversion::Choose(ColorStore& colors) {
  colors_ = &colors;
  record_.destination = colors.destination().name;
  ChoosePages();
  ChooseProfiles();
}

void Conversion::Write(OutputFile& output, const Watch& watch) {
  Named([&] {
    for (Work& work : work_) PreparePage(work);
    for (std::size_t i = 0; i < work_.size(); ++i) {
      record_.pages[i].bits = work_[i].page.bits;
      record_.pages[i].samples = work_[i].page.Samples();
    }
    if (record_.format == Format::kTiff && !IsBig()) CheckSizeOfTiff();
    FileOutput bytes(output.fd());
    constexpr int kQuality = 90;
    const auto sink = ImageSink::Make(
        record_.format, bytes, {IsBig(), request_.quality.value_or(kQuality)}, record_.dropped);
    for (const Work& work : work_) {
      source_->Select(work.index);
      sink->BeginPage(work.page);
      ConvertRows(work, *sink, watch);
      sink->EndPage();
      const std::vector<std::string>& unread = source_->pages()[work.index].dropped;
      record_.dropped.insert(record_.dropped.end(), unread.begin(), unread.end());
    }
    sink->Finish();
    record_.dropped = Once(record_.dropped);
    if (pixels_) FindPixelDigest(output, bytes.size());
  });
  for (std::size_t c = 0; c < clippedSamples_.size(); ++c) {
    record_.clipped[c] =
        static_cast<double>(clippedSamples_[c]) / static_cast<double>(PixelCount());
  }
}

void Conversion::FindPixelDigest(const OutputFile& output, std::uint64_t sizeBytes) {
  if (record_.format == Format::kTiff) {
    record_.pixelSha256 = pixels_->Hexadecimal();
    return;
  }
  // JPEG loses something, and PNG has no place for every extra sample: only decoding tells.
  const auto result = ImageSource::Open(output.fd(), sizeBytes);
  record_.pixelSha256 = PixelDigestOf(*result);
}

std::uint64_t Conversion::PixelCount() const {
  std::uint64_t pixels = 0;
  for (const Work& work : work_) pixels += std::uint64_t{work.page.width} * work.page.height;
  return pixels;
}

void Conversion::RefuseInput(const std::string& reason) const {
  throw Refusal(Exit::WouldBeWrong, request_.input + ": " + reason);
}

void Conversion::CheckOptions() const {
  if (request_.output == kStandardStream) {
    if (request_.isJson) {
      throw Refusal(
          Exit::Usage,
          "--json and the image cannot both go to standard output; name a file for the image");
    }
    if (request_.isDurable) throw Refusal(Exit::Usage, "--durable concerns files alone");
    if (isatty(STDOUT_FILENO) == 1) {
      throw Refusal(Exit::Usage, "standard output is a terminal; an image goes to a file or pipe");
    }
  }
  if (record_.format != Format::kTiff && request_.compression) {
    throw Refusal(Exit::Usage, "--compress concerns TIFF files alone");
  }
  if (record_.format != Format::kTiff && request_.bigTiff != ConvertRequest::Big::kAuto) {
    throw Refusal(Exit::Usage, "--bigtiff concerns TIFF files alone");
  }
  if (record_.format != Format::kJpeg && request_.quality) {
    throw Refusal(Exit::Usage, "--quality concerns JPEG files alone");
  }
  if (record_.format == Format::kJpeg && request_.bits == 16u) {
    throw Refusal(Exit::Usage, "JPEG holds 8 bits a sample; --depth 16 goes with TIFF and PNG");
  }
}

void Conversion::ChoosePages() {
  const std::vector<Page>& pages = source_->pages();
  std::size_t end = pages.size();
  std::size_t firstEnd = 1;  // of the first page with its SubIFDs
  while (firstEnd < pages.size() && pages[firstEnd].parent) ++firstEnd;
  if (request_.onlyFirstPage) {
    end = firstEnd;
    if (end < pages.size()) {
      record_.dropped.push_back(std::to_string(pages.size() - end) + " further pages");
    }
  }
  std::map<std::size_t, std::size_t> written;  // page of the source: page of the result
  for (std::size_t i = 0; i < end; ++i) {
    const Page& page = pages[i];
    const bool isCopy = (page.subfileType & (Page::kReduced | Page::kMask)) != 0;
    const std::string name = pages.size() == 1 ? "" : "page " + std::to_string(i + 1) + ": ";
    if (!page.refusal.empty()) {
      if (!isCopy) {
        RefuseInput(name + page.refusal + (i < firstEnd ? "" : "; --pages first takes the first"));
      }
      record_.dropped.push_back(
          ((page.subfileType & Page::kMask) != 0 ? "a transparency mask (" : "a reduced copy (") +
          page.refusal + ")");
      continue;
    }
    if (record_.format != Format::kTiff && isCopy && (!work_.empty() || HasMain(pages, end))) {
      record_.dropped.emplace_back("a reduced copy");
      continue;
    }
    if (record_.format != Format::kTiff && !work_.empty()) {
      RefuseInput(std::string("several pages, and ") + NameOf(record_.format) +
                  " holds one; --pages first takes the first");
    }
    written[i] = work_.size();
    work_.push_back({i, page, nullptr, {}});
    // Below a page that is dropped, a SubIFD becomes a page of its own.
    std::optional<std::size_t>& parent = work_.back().page.parent;
    if (parent) {
      const auto found = written.find(*parent);
      parent = found == written.end() ? std::nullopt : std::optional(found->second);
    }
  }
  if (work_.empty()) RefuseInput("no page that can be converted");
  for (const Work& work : work_) {
    record_.pages.push_back({work.index + 1,
                             work.page.width,
                             work.page.height,
                             work.page.bits,
                             work.page.Samples(),
                             {}});
  }
}

void Conversion::ChooseProfiles() {
  for (std::size_t i = 0; i < work_.size(); ++i) {
    ProfileRecord& record = record_.pages[i].profile;
    ChooseProfile(work_[i], record);
    // What cannot be used is refused before anything is written.
    const std::shared_ptr<const DeviceColors> colors = ColorsOf(work_[i]);
    record.sha256 = colors->sha256;
    record.description = colors->description;
    record.tag = colors->sourceTag;
    record.isFallback = colors->isSourceFallback;
    NoteFallback(colors->isSourceFallback, colors->sourceTag, work_[i].profileName);
    NoteFallback(colors->isTargetFallback, colors->targetTag, "profile " + record_.destination);
  }
}

void Conversion::ChooseProfile(Work& work, ProfileRecord& record) {
  const Page& page = source_->pages()[work.index];
  const bool isCopy = (page.subfileType & Page::kReduced) != 0;
  const Bytes* embedded = page.profile && !page.profile->empty() ? &*page.profile : nullptr;
  if (embedded == nullptr && isCopy) embedded = MainProfile(*source_);
  if (request_.profile) {
    work.profile = &colors_->Named(*request_.profile);
    work.profileName = "profile " + *request_.profile;
    record.source = namedBy_;
  } else if (embedded != nullptr) {
    work.profile = embedded;
    work.profileName = "profile embedded in " + request_.input;
    record.source = "embedded";
  } else if (page.isSrgb) {
    work.profile = &colors_->Named("srgb");
    work.profileName = "profile srgb";
    record.source = "stated";
    Note(request_.input + " has no profile and says that it is sRGB, which it is taken for");
  } else if (request_.assume) {
    work.profile = &colors_->Named(*request_.assume);
    work.profileName = "profile " + *request_.assume;
    record.source = "assumed";
  } else {
    throw Refusal(Exit::ProfileUnusable,
                  request_.input + ": no profile is embedded; name one with --profile or --assume");
  }
}

std::shared_ptr<const DeviceColors> Conversion::ColorsOf(const Work& work) {
  return colors_->From(*work.profile, work.profileName);
}

void Conversion::Note(const std::string& note) {
  if (std::find(record_.notes.begin(), record_.notes.end(), note) == record_.notes.end())
    record_.notes.push_back(note);
}

void Conversion::NoteFallback(bool isFallback, const std::string& tag, const std::string& name) {
  // A matrix serves every intent alike; only who asks for another than the default is told.
  if (!isFallback || (tag == "matrix" && request_.intent == KXP_PERCEPTUAL)) return;
  Note(name + " has no tag for the intent " + kIntentNames[request_.intent] + "; its " + tag +
       " is used");
}

void Conversion::PreparePage(Work& work) {
  const Page& from = source_->pages()[work.index];
  Page& page = work.page;
  if (request_.bits) page.bits = *request_.bits;
  if (record_.format == Format::kJpeg && page.bits != 8) {
    RefuseInput("16 bits a sample, and JPEG holds 8; --depth 8 takes that loss");
  }
  if (record_.format == Format::kPng) {
    // PNG's alpha is not associated; the conversion divides by it.
    std::replace(page.extras.begin(), page.extras.end(), Extra::kAssociatedAlpha, Extra::kAlpha);
  }
  std::uint16_t compression = request_.compression.value_or(from.layout.compression);
  if (record_.format == Format::kTiff && !request_.compression && !IsLossless(compression)) {
    compression = 1;
    Note(request_.input + " is compressed with loss; " + request_.output + " is not compressed");
  }
  page.layout = LayoutFor(page, compression);
  // What an embedded profile says goes before what the pixels are.
  const bool isOther = request_.tag != "auto" && request_.tag != "none";
  const std::string& space = isOther ? request_.tag : colors_->destination().name;
  NamedColors colors = NamedColors::kOther;
  if (space == "srgb") colors = NamedColors::kSrgb;
  if (space == "adobe-rgb") colors = NamedColors::kAdobeRgb;
  const auto thumbnails = [this, &work](unsigned char* pixels, std::uint32_t width,
                                        std::uint32_t height) {
    ConvertThumbnail(*ColorsOf(work), pixels, width, height);
  };
  MakeTrue(page.metadata, colors, thumbnails, record_.dropped);
  page.profile = colors_->tag();
}

bool Conversion::IsBig() const {
  if (request_.bigTiff != ConvertRequest::Big::kAuto) {
    return request_.bigTiff == ConvertRequest::Big::kYes;
  }
  // What does not shrink may grow a little, and there are tags too.
  constexpr double kMost = 4294967296.0 / 1.1;
  double bytes = 0;
  for (const Work& work : work_) {
    bytes += static_cast<double>(work.page.RowBytes()) * work.page.height;
  }
  return bytes > kMost;
}

void Conversion::CheckSizeOfTiff() const {
  // What is compressed may turn out smaller.
  std::uint64_t bytes = 0;
  for (const Work& work : work_) {
    if (work.page.layout.compression == 1) bytes += work.page.RowBytes() * work.page.height;
  }
  if (bytes > 0xFFFF'FFFF) {
    throw ImageError(ImageError::Kind::kUnwritable, std::string(kTooLargeForTiff));
  }
}

/// Rows on their way from the source to the sink.
struct Conversion::Piece {
  Bytes input, output;  ///< `output` is empty where the conversion is in place
  std::uint32_t rows = 0;
  EncodedRows encoded;

  unsigned char* result() { return output.empty() ? input.data() : output.data(); }
};

namespace {

/// How the rows of a page go from the source to the sink.
struct Cut {
  std::uint32_t rows = 1;  ///< of a piece
  std::size_t pieces = 1;  ///< at once, one a thread
  bool isApart = false;    ///< whether each thread encodes its own
};

Cut CutFor(const Page& from, const Page& to, std::uint32_t rowsApart, std::size_t threads) {
  // A piece stays in the cache of a core, and all pieces take little beside the rest.
  constexpr std::size_t kPieceBytes = 512u << 10, kAllBytes = 20u << 20;
  const auto piecesOf = [&](std::size_t rows, std::size_t rowBytes) {
    const std::size_t inImage = (from.height - 1) / rows + 1,
                      inMemory = kAllBytes / rowBytes / rows;
    return std::min({threads, inImage, std::max<std::size_t>(inMemory, 1)});
  };
  const std::size_t rowBytes = from.RowBytes() + (from.bits != to.bits ? to.RowBytes() : 0);
  const std::size_t rows = std::clamp<std::size_t>(
      kPieceBytes / std::max(from.RowBytes(), to.RowBytes()), 1, from.height);
  if (rowsApart > 0) {
    const std::size_t apart = (rows - 1) / rowsApart * rowsApart + rowsApart;
    const std::size_t pieces = piecesOf(apart, rowBytes + to.RowBytes());
    if (pieces > 1) return {static_cast<std::uint32_t>(apart), pieces, true};
  }
  return {static_cast<std::uint32_t>(rows), piecesOf(rows, rowBytes), false};
}

}  // namespace

void Conversion::ConvertRows(const Work& work, ImageSink& sink, const Watch& watch) {
  const Page& from = source_->pages()[work.index];
  const Page& to = work.page;
  const std::size_t threads = request_.threads > 0
                                  ? static_cast<std::size_t>(request_.threads)
                                  : std::max(std::thread::hardware_concurrency(), 1u);
  const Cut cut = CutFor(from, to, sink.RowsApart(), threads);
  std::vector<Piece> pieces(cut.pieces);
  const std::shared_ptr<const DeviceColors> colors = ColorsOf(work);
  kxp_convert_options options = {};
  options.size = sizeof options;
  // Where there is one piece, it is spread over them.
  options.threads = pieces.size() == 1 ? static_cast<std::uint32_t>(threads) : 1;
  std::uint32_t nextRow = 0;
  std::vector<RelaySteps> runners;
  for (Piece& piece : pieces) {
    piece.input.resize(from.RowBytes() * cut.rows);
    if (from.bits != to.bits) piece.output.resize(to.RowBytes() * cut.rows);
    const auto read = [&] {
      piece.rows = std::min(cut.rows, from.height - nextRow);
      if (piece.rows == 0) return false;
      source_->ReadRows(piece.input.data(), piece.rows);
      nextRow += piece.rows;
      return true;
    };
    const auto convert = [&] {
      ConvertPiece(*colors, from, to, options, piece);
      if (cut.isApart) piece.encoded = sink.Encode(piece.result(), piece.rows);
    };
    const auto write = [&] {
      Examine(piece.result(), to, piece.rows);
      if (cut.isApart) {
        sink.WriteEncoded(piece.encoded);
      } else {
        sink.WriteRows(piece.result(), piece.rows);
      }
      donePixels_ += std::uint64_t{from.width} * piece.rows;
      watch(donePixels_);
    };
    runners.push_back({read, convert, write});
  }
  RunRelay(runners);
}

void Conversion::ConvertPiece(const DeviceColors& colors, const Page& from, const Page& to,
                              const kxp_convert_options& options, Piece& piece) const {
  if (!piece.output.empty() && from.Samples() > 3) {
    CopyExtras(from, piece.input.data(), to, piece.output.data(),
               std::size_t{piece.rows} * from.width);
  }
  const kxp_image source = ImageOf(from, piece.input.data());
  const kxp_image result = ImageOf(to, piece.result());
  kxp_error error = {};
  error.size = sizeof error;
  if (kxp_convert(colors.pipeline.get(), &source, &result, from.width, piece.rows, &options,
                  &error) != KXP_OK) {
    RefuseInput(error.message);
  }
}

void Conversion::Examine(const unsigned char* result, const Page& page, std::uint32_t rows) {
  const std::size_t pixels = std::size_t{page.width} * rows;
  if (findings_.clipped) {
    CountClipped(result, pixels, page.Samples(), page.bits, clippedSamples_);
  }
  if (pixels_ && record_.format == Format::kTiff) {
    pixels_->Update(result, page.RowBytes() * rows, page.bits);
  }
}

#include "tools/commands/Convert.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>
#include <vector>

#include "tools/InputFile.h"
#include "tools/OneLine.h"
#include "tools/OutputFile.h"
#include "tools/Progress.h"
#include "tools/Refusal.h"
#include "tools/commands/ColorHandles.h"
#include "tools/image/ImageError.h"
#include "tools/image/ImageSink.h"
#include "tools/image/TrueTags.h"

namespace {

using namespace kxcms::image;
using Bytes = std::vector<unsigned char>;

constexpr const char* kIntents[] = {"perceptual", "relative", "saturation", "absolute"};

std::string JoinedOnce(const std::vector<std::string>& names) {
  std::vector<std::string> once;
  for (const std::string& name : names) {
    if (std::find(once.begin(), once.end(), name) == once.end()) once.push_back(name);
  }
  std::string joined;
  for (const std::string& name : once) joined += (joined.empty() ? "" : ", ") + name;
  return joined;
}

/// Gives the errors of images the name of the file that they concern.
template <typename Function>
auto Named(const ConvertRequest& request, Function function) {
  try {
    return function();
  } catch (const ImageError& error) {
    switch (error.kind) {
      case ImageError::Kind::kUnwritable:
        throw Refusal(Exit::WriteFailed, "cannot write " + request.output + ": " + error.what());
      case ImageError::Kind::kUnsupported:
        throw Refusal(Exit::WouldBeWrong, request.input + ": " + error.what());
      case ImageError::Kind::kUnreadable:
        break;
    }
    throw Refusal(Exit::InputUnreadable, request.input + ": " + error.what());
  }
}

Format FormatOf(const ConvertRequest& request) {
  if (request.format) return *request.format;
  std::string suffix = std::filesystem::path(request.output).extension().string();
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (suffix == ".tif" || suffix == ".tiff") return Format::kTiff;
  if (suffix == ".jpg" || suffix == ".jpeg") return Format::kJpeg;
  if (suffix == ".png") return Format::kPng;
  throw Refusal(Exit::Usage, request.output +
                                 ": its suffix names no format (.tif, .tiff, .jpg, .jpeg, .png); "
                                 "--format does");
}

const char* NameOf(Format format) {
  switch (format) {
    case Format::kJpeg:
      return "JPEG";
    case Format::kPng:
      return "PNG";
    case Format::kTiff:
      break;
  }
  return "TIFF";
}

/// One conversion, from the request to the file.
class Conversion {
 public:
  explicit Conversion(const ConvertRequest& request)
      : request_(request), format_(FormatOf(request)) {}

  void Run() {
    CheckOptions();
    const Stream stream = OpenInput(request_.input);
    const std::uint64_t size = RegularFileSize(fileno(stream.get()), request_.input);
    const auto source =
        Named(request_, [&] { return ImageSource::Open(fileno(stream.get()), size); });
    ChoosePages(*source);
    ChooseProfiles(*source);
    OutputFile output(request_.output);
    Named(request_, [&] { Write(*source, output); });
    // Behind the commit nothing may fail any more, not even for want of memory.
    const std::string lines = Lines();
    const std::string record = request_.isJson ? Record(*source) : "";
    output.Commit(request_.isDurable);
    std::fputs(lines.c_str(), stderr);
    std::cout << record;
  }

 private:
  /// A page that is converted.
  struct Work {
    std::size_t index;               ///< in the source
    Page page;                       ///< as it is written
    const Bytes* profile = nullptr;  ///< of its colours, borrowed
    std::string profileName;
  };

  [[noreturn]] void RefuseInput(const std::string& reason) const {
    throw Refusal(Exit::WouldBeWrong, request_.input + ": " + reason);
  }

  void CheckOptions() const {
    if (format_ != Format::kTiff && request_.compression) {
      throw Refusal(Exit::Usage, "--compress concerns TIFF files alone");
    }
    if (format_ != Format::kTiff && request_.bigTiff != ConvertRequest::Big::kAuto) {
      throw Refusal(Exit::Usage, "--bigtiff concerns TIFF files alone");
    }
    if (format_ != Format::kJpeg && request_.quality) {
      throw Refusal(Exit::Usage, "--quality concerns JPEG files alone");
    }
    if (format_ == Format::kJpeg && request_.bits == 16u) {
      throw Refusal(Exit::Usage, "JPEG holds 8 bits a sample; --depth 16 cannot be");
    }
  }

  void ChoosePages(const ImageSource& source) {
    const std::vector<Page>& pages = source.pages();
    std::size_t end = pages.size();
    if (request_.onlyFirstPage) {
      end = 1;
      while (end < pages.size() && pages[end].parent) ++end;
      if (end < pages.size()) {
        dropped_.push_back(std::to_string(pages.size() - end) + " further pages");
      }
    }
    std::map<std::size_t, std::size_t> written;  // page of the source: page of the result
    for (std::size_t i = 0; i < end; ++i) {
      const Page& page = pages[i];
      const bool isCopy = (page.subfileType & (Page::kReduced | Page::kMask)) != 0;
      const std::string name = pages.size() == 1 ? "" : "page " + std::to_string(i + 1) + ": ";
      if (!page.refusal.empty()) {
        if (!isCopy) RefuseInput(name + page.refusal);
        dropped_.push_back(
            ((page.subfileType & Page::kMask) != 0 ? "a transparency mask (" : "a reduced copy (") +
            page.refusal + ")");
        continue;
      }
      if (format_ != Format::kTiff && isCopy && (!work_.empty() || HasMain(pages, end))) {
        dropped_.emplace_back("a reduced copy");
        continue;
      }
      if (format_ != Format::kTiff && !work_.empty()) {
        RefuseInput(std::string("several pages, and ") + NameOf(format_) +
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
  }

  static bool HasMain(const std::vector<Page>& pages, std::size_t end) {
    return std::any_of(
        pages.begin(), pages.begin() + static_cast<std::ptrdiff_t>(end),
        [](const Page& page) { return (page.subfileType & (Page::kReduced | Page::kMask)) == 0; });
  }

  void ChooseProfiles(const ImageSource& source) {
    destination_ = OpenDestination(request_.to);
    if (request_.tag == "auto") {
      tag_ = destination_.bytes;
    } else if (request_.tag != "none") {
      tag_ = NamedProfile(request_.tag);
      ReadProfileBytes(*tag_, "profile " + request_.tag);
    }
    if (request_.profile) named_ = NamedProfile(*request_.profile);
    if (request_.assume) assumed_ = NamedProfile(*request_.assume);
    for (Work& work : work_) {
      const Page& page = source.pages()[work.index];
      const bool isCopy = (page.subfileType & Page::kReduced) != 0;
      const Bytes* embedded = page.profile && !page.profile->empty() ? &*page.profile : nullptr;
      if (embedded == nullptr && isCopy) embedded = MainProfile(source);
      if (named_) {
        work.profile = &*named_;
        work.profileName = "profile " + *request_.profile;
      } else if (embedded != nullptr) {
        work.profile = embedded;
        work.profileName = "profile embedded in " + request_.input;
      } else if (assumed_) {
        work.profile = &*assumed_;
        work.profileName = "profile " + *request_.assume;
      } else {
        throw Refusal(Exit::ProfileUnusable,
                      request_.input + ": no profile is embedded; name one with --profile");
      }
      PipelineFor(work);  // what cannot be used is refused before anything is written
    }
  }

  /// A reduced copy has the colours of its main image.
  static const Bytes* MainProfile(const ImageSource& source) {
    for (const Page& page : source.pages()) {
      if (page.profile && !page.profile->empty()) return &*page.profile;
    }
    return nullptr;
  }

  /// The pipeline of a page. The last one is kept, not those of all pages: each may take 32 MiB.
  const kxp_pipeline& PipelineFor(const Work& work) {
    if (pipeline_ != nullptr && *pipelineProfile_ == *work.profile) return *pipeline_;
    const std::string& name = work.profileName;
    const ProfileHandle profile = ReadProfileBytes(*work.profile, name);
    kxp_pipeline_options options = {};
    options.size = sizeof options;
    options.intent = request_.intent;
    options.flags = request_.blackPointCompensation ? KXP_BLACK_POINT_COMPENSATION : 0;
    options.pipeline = request_.isFixed ? KXP_FIXED : KXP_PRECISE;
    options.lightness = request_.lightness;
    options.chroma = request_.chroma;
    options.hue = request_.hueDeg;
    kxp_error error = {};
    error.size = sizeof error;
    kxp_pipeline* made = nullptr;
    if (kxp_pipeline_create(profile.get(), destination_.profile.get(), &options, &made, &error) !=
        KXP_OK) {
      RefuseProfile(name + " to " + destination_.name, error);
    }
    pipeline_.reset(made);
    pipelineProfile_ = work.profile;
    NoteFallback(*pipeline_, KXP_SOURCE_FALLBACK, KXP_SOURCE_TAG, name);
    NoteFallback(*pipeline_, KXP_TARGET_FALLBACK, KXP_TARGET_TAG, "profile " + destination_.name);
    return *pipeline_;
  }

  void Note(const std::string& note) {
    if (std::find(notes_.begin(), notes_.end(), note) == notes_.end()) notes_.push_back(note);
  }

  void NoteFallback(const kxp_pipeline& pipeline, std::uint32_t isFallback, std::uint32_t tag,
                    const std::string& name) {
    double value = 0;
    char text[32] = "";
    if (kxp_pipeline_number(&pipeline, isFallback, 0, &value) != KXP_OK || value == 0) return;
    kxp_pipeline_text(&pipeline, tag, 0, text, sizeof text, nullptr);
    // A matrix serves every intent alike; only who asks for another than the default is told.
    if (std::strcmp(text, "matrix") == 0 && request_.intent == KXP_PERCEPTUAL) return;
    Note(name + " has no tag for the intent " + kIntents[request_.intent] + "; its " + text +
         " is used");
  }

  void PreparePage(Work& work, const Page& from) {
    Page& page = work.page;
    if (request_.bits) page.bits = *request_.bits;
    if (format_ == Format::kJpeg && page.bits != 8) {
      RefuseInput("16 bits a sample, and JPEG holds 8; --depth 8 takes that loss");
    }
    if (format_ == Format::kPng) {
      // PNG's alpha is not associated; the conversion divides by it.
      std::replace(page.extras.begin(), page.extras.end(), Extra::kAssociatedAlpha, Extra::kAlpha);
    }
    std::uint16_t compression = request_.compression.value_or(from.layout.compression);
    if (format_ == Format::kTiff && !request_.compression && !IsLossless(compression)) {
      compression = 1;
      Note(request_.input + " is compressed with loss; " + request_.output + " is not compressed");
    }
    page.layout = LayoutFor(page, compression);
    dropped_.insert(dropped_.end(), page.dropped.begin(), page.dropped.end());
    NamedColors colors = NamedColors::kOther;
    if (request_.tag == "auto" && destination_.isBuiltIn) {
      if (destination_.name == "srgb") colors = NamedColors::kSrgb;
      if (destination_.name == "adobe-rgb") colors = NamedColors::kAdobeRgb;
    }
    MakeTrue(page.metadata, colors, dropped_);
    page.profile = tag_;
  }

  bool IsBig() const {
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

  void Write(ImageSource& source, OutputFile& output) {
    for (Work& work : work_) PreparePage(work, source.pages()[work.index]);
    OutputBytes bytes(output.fd());
    constexpr int kQuality = 90;
    const auto sink =
        ImageSink::Make(format_, bytes, {IsBig(), request_.quality.value_or(kQuality)}, dropped_);
    std::uint64_t pixels = 0;
    for (const Work& work : work_) pixels += std::uint64_t{work.page.width} * work.page.height;
    Progress progress(request_.isQuiet ? 0 : pixels);
    std::uint64_t done = 0;
    for (Work& work : work_) {
      source.Select(work.index);
      sink->BeginPage(work.page);
      ConvertRows(source, work, *sink, progress, done);
      sink->EndPage();
    }
    sink->Finish();
  }

  static kxp_image ImageOf(const Page& page, unsigned char* pixels) {
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
  static void CopyExtras(const Page& from, const unsigned char* source, const Page& to,
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

  void ConvertRows(ImageSource& source, const Work& work, ImageSink& sink, Progress& progress,
                   std::uint64_t& done) {
    const Page& from = source.pages()[work.index];
    const Page& to = work.page;
    // Enough for the threads not to notice where a piece ends, and little beside the rest.
    constexpr std::size_t kPieceBytes = 4u << 20;
    const auto rows = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kPieceBytes / to.RowBytes(), 1, from.height));
    const bool isInPlace = from.bits == to.bits;
    Bytes input(from.RowBytes() * rows);
    Bytes output(isInPlace ? 0 : to.RowBytes() * rows);
    unsigned char* const result = isInPlace ? input.data() : output.data();
    const kxp_image sourceImage = ImageOf(from, input.data());
    const kxp_image resultImage = ImageOf(to, result);
    kxp_convert_options options = {};
    options.size = sizeof options;
    const kxp_pipeline& pipeline = PipelineFor(work);
    options.threads = request_.threads > 0 ? static_cast<std::uint32_t>(request_.threads)
                                           : std::thread::hardware_concurrency();
    for (std::uint32_t row = 0; row < from.height; row += rows) {
      const std::uint32_t count = std::min(rows, from.height - row);
      source.ReadRows(input.data(), count);
      if (!isInPlace && from.Samples() > 3) {
        CopyExtras(from, input.data(), to, result, std::size_t{count} * from.width);
      }
      kxp_error error = {};
      error.size = sizeof error;
      if (kxp_convert(&pipeline, &sourceImage, &resultImage, from.width, count, &options, &error) !=
          KXP_OK) {
        RefuseInput(error.message);
      }
      sink.WriteRows(result, count);
      done += std::uint64_t{from.width} * count;
      progress.Report(done);
    }
  }

  /// What standard error tells.
  std::string Lines() const {
    std::string lines;
    if (request_.isQuiet) return lines;
    for (const std::string& note : notes_) lines += "kxcms: " + OneLine(note) + "\n";
    if (!dropped_.empty()) {
      lines += "kxcms: " + OneLine(request_.input + ": dropped: " + JoinedOnce(dropped_)) + "\n";
    }
    return lines;
  }

  std::string Record(const ImageSource& source) const {
    nlohmann::json pages = nlohmann::json::array();
    for (const Work& work : work_) {
      const Page& from = source.pages()[work.index];
      pages.push_back({{"page", work.index + 1},
                       {"width", from.width},
                       {"height", from.height},
                       {"bits", work.page.bits},
                       {"samples", work.page.Samples()}});
    }
    const nlohmann::json record = {{"input", request_.input},
                                   {"output", request_.output},
                                   {"status", "converted"},
                                   {"format", NameOf(format_)},
                                   {"to", destination_.name},
                                   {"intent", kIntents[request_.intent]},
                                   {"pipeline", request_.isFixed ? "fixed" : "precise"},
                                   {"pages", pages},
                                   {"notes", notes_},
                                   {"dropped", dropped_}};
    return record.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  }

  const ConvertRequest& request_;
  Format format_;
  std::vector<Work> work_;
  Destination destination_;
  std::optional<Bytes> tag_;      ///< the profile that the result carries
  std::optional<Bytes> named_;    ///< the profile that goes before embedded ones
  std::optional<Bytes> assumed_;  ///< the one where there is none
  PipelineHandle pipeline_;
  const Bytes* pipelineProfile_ = nullptr;  ///< that it was made of
  std::vector<std::string> notes_;
  std::vector<std::string> dropped_;
};

}  // namespace

void ConvertFile(const ConvertRequest& request) {
  struct stat status;
  if (request.exists != ConvertRequest::Exists::kReplace &&
      lstat(request.output.c_str(), &status) == 0) {
    if (request.exists == ConvertRequest::Exists::kRefuse) {
      throw Refusal(Exit::WriteFailed, "cannot write " + request.output + ": it exists");
    }
    if (!request.isQuiet) {
      std::fprintf(stderr, "kxcms: %s\n", OneLine(request.output + " exists: skipped").c_str());
    }
    if (request.isJson) {
      const nlohmann::json record = {
          {"input", request.input}, {"output", request.output}, {"status", "skipped"}};
      const auto replace = nlohmann::json::error_handler_t::replace;
      std::cout << record.dump(2, ' ', false, replace) << '\n';
    }
    return;
  }
  Conversion(request).Run();
}

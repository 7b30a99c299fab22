#include "tools/commands/Compare.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <span>
#include <string_view>
#include <thread>

#include "api/pipeline.hpp"
#include "exact/ColorDifference.h"
#include "profile/ProfileReader.h"
#include "tools/OutputFile.h"
#include "tools/commands/ColorHandles.h"
#include "tools/commands/ConvertOptions.h"
#include "tools/commands/ImageFile.h"
#include "tools/commands/Names.h"
#include "tools/commands/ProfileUse.h"
#include "tools/commands/TextFile.h"
#include "tools/image/ImageSink.h"
#include "tools/report/Compared.h"
#include "tools/report/DifferenceHistogram.h"
#include "tools/report/Json.h"
#include "tools/report/Parallel.h"
#include "tools/report/ProfileNumbers.h"
#include "tools/report/Text.h"

namespace {

namespace fs = std::filesystem;
namespace report = kxcms::report;
using kxcms::image::Format;
using report::Json;
using report::Triple;

constexpr std::array<int, 4> kShares = {50, 90, 95, 99};

/// Where two colours are farthest apart, and what they are.
struct Farthest {
  std::vector<std::uint64_t> place;  ///< x, y of a pixel, or R, G, B of a device
  std::size_t page = 0;              ///< of that pixel, from 0 on
  Triple first{}, second{};
};

struct ImageSize {
  std::uint32_t width, height;
  bool operator==(const ImageSize&) const = default;
};

struct Comparison {
  std::vector<ImageSize> pages;  ///< of images; empty: of profiles
  std::uint64_t count = 0;       ///< pixels, or device colours
  double mean = 0, largest = 0;
  std::array<double, kShares.size()> shares{};
  Farthest farthest;
  std::optional<double> alpha;  ///< the largest difference, of 1; none where neither image has any
};

// ---- Profiles -----------------------------------------------------------------------------------

bool IsProfile(const std::string& path) {
  const Stream stream = OpenInput(path);
  RegularFileSize(fileno(stream.get()), path);
  // ICC.1:2010 7.2.11: the signature in the header.
  constexpr std::string_view kSignature = "acsp";
  constexpr std::size_t kSignatureAt = 36;
  std::array<char, kSignatureAt + kSignature.size()> head{};
  const std::size_t got = std::fread(head.data(), 1, head.size(), stream.get());
  return got == head.size() && std::string_view(head.data() + kSignatureAt, 4) == kSignature;
}

Comparison CompareProfiles(const CompareRequest& request) {
  const kxcms::RenderingIntent intent = IntentNamed(request.intent);
  const std::vector<unsigned char> second = ReadProfileFile(request.files[1]);
  // Whichever of them cannot be used is told by its own name.
  WithProfileBytes("profile " + request.files[1], [&] { kxcms::ReadProfile(second); });
  const report::ComparedNumbers numbers =
      WithProfile(request.files[0], [&](const std::vector<unsigned char>& first) {
        return report::CompareProfiles(first, second, request.files[1], intent);
      });
  Comparison comparison;
  comparison.count = numbers.colors;
  comparison.mean = numbers.color.mean;
  comparison.largest = numbers.color.largest;
  for (std::size_t n = 0; n < kShares.size(); ++n) {
    comparison.shares[n] = numbers.color.shares[static_cast<std::size_t>(kShares[n])];
  }
  comparison.farthest = {
      {numbers.worst[0], numbers.worst[1], numbers.worst[2]}, 0, numbers.first, numbers.second};
  return comparison;
}

// ---- Images -------------------------------------------------------------------------------------

/// A file's images as colours in Lab, one by one and row by row.
class LabImage {
 public:
  LabImage(const std::string& path, const CompareRequest& request)
      : file_(path), request_(request) {}

  const ImageFile& file() const { return file_; }
  ImageSize Size() const { return {file_.page().width, file_.page().height}; }
  /// Goes to the first row of an image. Refuses it if its colours are unknown.
  void Select(std::size_t n) {
    file_.Select(n);
    const std::vector<unsigned char>& embedded = file_.EmbeddedProfile();
    std::string name = "profile embedded in " + file_.path();
    std::vector<unsigned char> profile = embedded;
    if (embedded.empty()) {
      if (!request_.assume) {
        throw Refusal(Exit::ProfileUnusable,
                      file_.path() + ": no profile is embedded; name one with --assume");
      }
      profile = NamedProfile(*request_.assume);
      name = "profile " + *request_.assume;
    }
    if (toLab_ && profile == profile_) return;
    kxcms::PipelineOptions options;
    options.intent = static_cast<kxcms::Intent>(IntentNamed(request_.intent));
    WithProfileBytes(name, [&] {
      const auto source = kxcms::Profile::FromMemory(profile.data(), profile.size());
      toLab_.emplace(source, kxcms::Profile::BuiltIn("lab"), options);
    });
    profile_ = std::move(profile);
  }
  void ReadRows(std::uint32_t rows) {
    file_.ReadRows(rows);
    lab_.resize(std::size_t{3} * file_.page().width * rows);
    kxcms::ConvertOptions options;
    options.threads = std::thread::hardware_concurrency();
    toLab_->Convert(file_.Rows(), kxcms::Rgb(lab_.data(), file_.page().width, rows), options);
  }
  /// Of a pixel of these rows.
  Triple At(std::size_t pixel) const {
    const float* lab = lab_.data() + 3 * pixel;
    return {lab[0], lab[1], lab[2]};
  }

 private:
  ImageFile file_;
  const CompareRequest& request_;
  std::vector<unsigned char> profile_;  ///< that `toLab_` was made of
  std::optional<kxcms::Pipeline> toLab_;
  std::vector<float> lab_;
};

/// The difference of each pixel, as grey: black for none.
class DifferenceImage {
 public:
  DifferenceImage(const std::string& path, Format format)
      : path_(path), file_(path), bytes_(file_.fd()) {
    Writing([&] { sink_ = kxcms::image::ImageSink::Make(format, bytes_, {}, dropped_); });
  }
  void BeginPage(const ImageSize& size) {
    kxcms::image::Page page;
    page.width = size.width;
    page.height = size.height;
    page.layout = kxcms::image::LayoutFor(page, 1);
    Writing([&] { sink_->BeginPage(page); });
  }
  void WriteRows(std::span<const double> differences, std::uint32_t rows) {
    pixels_.clear();
    for (const double difference : differences) {
      const double level = std::floor(kLevelsOfOne * difference + 0.5);
      pixels_.insert(pixels_.end(), 3, static_cast<unsigned char>(std::min(level, 255.0)));
    }
    Writing([&] { sink_->WriteRows(pixels_.data(), rows); });
  }
  void EndPage() {
    Writing([&] { sink_->EndPage(); });
  }
  void Commit() {
    Writing([&] {
      sink_->Finish();
      bytes_.Check();
    });
    file_.Commit(false);
  }

 private:
  static constexpr double kLevelsOfOne = 25;

  template <typename Function>
  void Writing(const Function& function) const {
    try {
      function();
    } catch (const kxcms::image::ImageError& error) {
      throw Refusal(Exit::WriteFailed, "cannot write " + path_ + ": " + error.what());
    }
  }

  std::string path_;
  OutputFile file_;
  kxcms::image::FileOutput bytes_;
  std::vector<std::string> dropped_;
  std::unique_ptr<kxcms::image::ImageSink> sink_;
  std::vector<unsigned char> pixels_;
};

Format DifferenceFormat(const std::string& path) {
  std::string suffix = fs::path(path).extension().string();
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (suffix == ".png") return Format::kPng;
  if (suffix == ".tif" || suffix == ".tiff") return Format::kTiff;
  throw Refusal(Exit::Usage, "--difference " + path + ": its suffix is not .png, .tif or .tiff");
}

/// Differences of the pixels of two pieces, by all processors.
void Measure(const LabImage& first, const LabImage& second, std::vector<double>& differences) {
  constexpr std::size_t kPart = 4096;
  report::ForEach((differences.size() + kPart - 1) / kPart, 0, [&](std::size_t part) {
    const std::size_t end = std::min((part + 1) * kPart, differences.size());
    for (std::size_t n = part * kPart; n < end; ++n) {
      differences[n] = kxcms::DeltaE2000(first.At(n), second.At(n));
    }
  });
}

[[noreturn]] void RefuseSizes(const CompareRequest& request, const std::string& first,
                              const std::string& second) {
  throw Refusal(Exit::WouldBeWrong,
                "images of different sizes cannot be compared: " + request.files[0] + " has " +
                    first + ", " + request.files[1] + " " + second);
}

std::string PageName(std::size_t n) {
  return "page " + std::to_string(n + 1);
}

/// The sizes of all pages, which are those of both. Refuses what cannot be compared.
std::vector<ImageSize> CommonSizes(const CompareRequest& request, LabImage& first,
                                   LabImage& second) {
  const std::size_t count = first.file().PageCount();
  if (count != second.file().PageCount()) {
    const auto pages = [](std::size_t n) {
      return std::to_string(n) + (n == 1 ? " page" : " pages");
    };
    RefuseSizes(request, pages(count), pages(second.file().PageCount()));
  }
  std::vector<ImageSize> sizes;
  for (std::size_t n = 0; n < count; ++n) {
    first.Select(n);
    second.Select(n);
    sizes.push_back(first.Size());
    if (first.Size() == second.Size()) continue;
    const auto text = [](const ImageSize& size) {
      return std::to_string(size.width) + " x " + std::to_string(size.height);
    };
    RefuseSizes(request, text(first.Size()) + " pixels" + (count == 1 ? "" : " on " + PageName(n)),
                text(second.Size()));
  }
  return sizes;
}

/// The largest difference of alpha in pieces of so many rows.
double LargestOfAlpha(const ImageFile& first, const ImageFile& second, std::uint32_t rows) {
  double largest = 0;
  for (std::uint32_t row = 0; row < rows; ++row) {
    for (std::uint32_t x = 0; x < first.page().width; ++x) {
      largest = std::max(largest, std::abs(first.AlphaAt(x, row) - second.AlphaAt(x, row)));
    }
  }
  return largest;
}

Comparison CompareImages(const CompareRequest& request) {
  std::optional<Format> format;
  if (!request.difference.empty()) format = DifferenceFormat(request.difference);
  LabImage first(request.files[0], request), second(request.files[1], request);
  Comparison comparison;
  comparison.pages = CommonSizes(request, first, second);
  if (format == Format::kPng && comparison.pages.size() > 1) {
    throw Refusal(Exit::Usage, "--difference " + request.difference +
                                   ": several pages, and PNG holds one; TIFF holds all");
  }
  std::optional<DifferenceImage> written;
  if (format) written.emplace(request.difference, *format);
  report::DifferenceHistogram all;
  std::vector<double> differences;
  for (std::size_t n = 0; n < comparison.pages.size(); ++n) {
    first.Select(n);
    second.Select(n);
    const ImageSize size = comparison.pages[n];
    if (written) written->BeginPage(size);
    const bool hasAlpha = first.file().HasAlpha() || second.file().HasAlpha();
    const std::uint64_t pageBegin = all.count();
    const std::uint32_t piece = first.file().RowsAtOnce();
    for (std::uint32_t row = 0; row < size.height; row += piece) {
      const std::uint32_t rows = std::min(piece, size.height - row);
      first.ReadRows(rows);
      second.ReadRows(rows);
      differences.resize(std::size_t{rows} * size.width);
      Measure(first, second, differences);
      const std::uint64_t begin = all.count();
      for (std::size_t p = 0; p < differences.size(); ++p) all.Add(differences[p], begin + p);
      const std::uint64_t at = all.largestAt();
      if (at >= begin) {
        const auto pixel = static_cast<std::size_t>(at - begin);
        comparison.farthest = {{(at - pageBegin) % size.width, (at - pageBegin) / size.width},
                               n,
                               first.At(pixel),
                               second.At(pixel)};
      }
      if (hasAlpha) {
        comparison.alpha = std::max(comparison.alpha.value_or(0),
                                    LargestOfAlpha(first.file(), second.file(), rows));
      }
      if (written) written->WriteRows(differences, rows);
    }
    if (written) written->EndPage();
  }
  if (written) written->Commit();
  comparison.count = all.count();
  comparison.mean = all.mean();
  comparison.largest = all.largest();
  for (std::size_t n = 0; n < kShares.size(); ++n) comparison.shares[n] = all.Share(kShares[n]);
  return comparison;
}

// ---- What is told -------------------------------------------------------------------------------

Json Numbers(const Triple& lab) {
  Json list = Json::array();
  for (const double value : lab) list.push_back(report::Rounded(value, 6));
  return list;
}

Json JsonOf(const Comparison& comparison, const CompareRequest& request, bool isWithin) {
  const bool isOfImages = !comparison.pages.empty();
  Json json = {{"first", report::Clean(request.files[0])},
               {"second", report::Clean(request.files[1])},
               {"kind", isOfImages ? "images" : "profiles"},
               {"intent", request.intent},
               {"colors", comparison.count}};
  if (isOfImages) {
    json["width"] = comparison.pages.front().width;
    json["height"] = comparison.pages.front().height;
    json["pages"] = comparison.pages.size();
  }
  json["mean"] = report::Rounded(comparison.mean, 6);
  for (std::size_t n = 0; n < kShares.size(); ++n) {
    json["share" + std::to_string(kShares[n])] = report::Rounded(comparison.shares[n], 6);
  }
  json["largest"] = report::Rounded(comparison.largest, 6);
  json["largestAt"] = comparison.farthest.place;
  if (isOfImages) json["largestPage"] = comparison.farthest.page + 1;
  json["labOfFirst"] = Numbers(comparison.farthest.first);
  json["labOfSecond"] = Numbers(comparison.farthest.second);
  if (comparison.alpha) json["alphaLargest"] = report::Rounded(*comparison.alpha, 6);
  if (request.limit) {
    json["limit"] = *request.limit;
    json["isWithinLimit"] = isWithin;
  }
  return json;
}

std::string LinesOf(const Comparison& comparison, const CompareRequest& request) {
  const auto list = [](const auto& values, const auto& text) {
    std::string joined;
    for (const auto& value : values) joined += (joined.empty() ? "" : ", ") + text(value);
    return joined;
  };
  const auto fixed = [](double value) { return report::Fixed(value, 4); };
  const std::vector<ImageSize>& pages = comparison.pages;
  const bool isOfImages = !pages.empty();
  std::string lines =
      std::to_string(comparison.count) + (isOfImages ? " pixels" : " device colours, 24 x 24 x 24");
  if (pages.size() > 1) lines += ", " + std::to_string(pages.size()) + " pages";
  if (isOfImages && std::count(pages.begin(), pages.end(), pages.front()) ==
                        static_cast<std::ptrdiff_t>(pages.size())) {
    lines +=
        ", " + std::to_string(pages.front().width) + " x " + std::to_string(pages.front().height);
  }
  lines += ", " + request.intent + ", CIEDE2000:\n  mean     " + fixed(comparison.mean) + "\n";
  for (std::size_t n = 0; n < kShares.size(); ++n) {
    lines += "  " + std::to_string(kShares[n]) + " %     " + fixed(comparison.shares[n]) + "\n";
  }
  lines += "  largest  " + fixed(comparison.largest) +
           (isOfImages ? " at pixel " : " at device values ") +
           list(comparison.farthest.place, [](auto n) { return std::to_string(n); });
  if (pages.size() > 1) lines += " of " + PageName(comparison.farthest.page);
  lines += ": Lab " + list(comparison.farthest.first, fixed) + " and " +
           list(comparison.farthest.second, fixed) + "\n";
  if (comparison.alpha)
    lines += "alpha, largest difference of 1: " + fixed(*comparison.alpha) + "\n";
  return lines;
}

void Check(const CompareRequest& request) {
  if (request.files.size() != 2)
    throw Refusal(Exit::Usage, "compare needs two files: two images, or two ICC profiles");
  IntentNamed(request.intent);
  // Written so that NaN fails too.
  if (request.limit && !(*request.limit >= 0 && std::isfinite(*request.limit))) {
    throw Refusal(Exit::Usage, "--limit must be 0 or more");
  }
  for (const std::string& file : request.files) {
    CheckNotReplaced(file, request.difference, "a difference");
  }
}

}  // namespace

CLI::App* AddCompare(CLI::App& app, CompareRequest& request) {
  CLI::App* command =
      AddCommand(app, "compare", "Tell how far two images, or two profiles, are apart");
  AddArgument(*command, "FILES", request.files, "two images of one size, or two ICC profiles");
  const OptionGroup colors(*command, option_group::kColors);
  colors.Option("--assume", request.assume,
                "ICC profile or space of images without an embedded profile");
  AddIntent(*command, request.intent);
  const OptionGroup file(*command, option_group::kFile);
  file.Option("--difference", request.difference, "image of the differences to write (.png, .tif)");
  const OptionGroup running(*command, option_group::kRunning);
  running.Number("--limit", request.limit,
                 "end with status 5 if the largest difference is above this");
  running.Flag("--json", request.json, "print one JSON document instead of lines");
  return command;
}

Exit Compare(const CompareRequest& request) {
  Check(request);
  const bool isProfile = IsProfile(request.files[0]);
  if (isProfile != IsProfile(request.files[1])) {
    throw Refusal(
        Exit::Usage,
        "an image and a profile cannot be compared; profile extract takes that of an image out");
  }
  if (isProfile && (request.assume || !request.difference.empty())) {
    throw Refusal(Exit::Usage, "--assume and --difference concern images");
  }
  const Comparison comparison = isProfile ? CompareProfiles(request) : CompareImages(request);
  const bool isWithin = !request.limit || comparison.largest <= *request.limit;
  std::cout << (request.json ? JsonOf(comparison, request, isWithin).dump(1) + "\n"
                             : LinesOf(comparison, request));
  return isWithin ? Exit::Done : Exit::WouldBeWrong;
}

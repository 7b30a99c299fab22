#include "ImageCheck.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "Refusal.h"
#include "tools/image/FileForm.h"
#include "tools/image/ImageError.h"
#include "tools/image/ImageSource.h"

namespace {

using kxcms::image::ImageError;
using kxcms::image::ImageSource;
using kxcms::image::Page;

constexpr std::string_view kDamaged = "damaged: ";

/// The code of damage, by a part of its sentence; the first one that fits.
constexpr std::pair<std::string_view, const char*> kCodes[] = {
    {"go round in a circle", "directory-circle"},
    {"an image without tags", "no-tags"},
    {"stands twice", "duplicate-tag"},
    {"lie outside the file", "tag-outside"},
    {"tags claim more than", "tag-outside"},
    {"is not a number", "tag-form"},
    {"is not a single number", "tag-form"},
    {"of an unknown type", "tag-form"},
    {"does not point at a directory", "tag-form"},
    {"can be read in two ways", "tag-form"},
    {"no PhotometricInterpretation", "tag-missing"},
    {"no Image", "tag-missing"},
    {"no Tile", "tag-missing"},
    {"no pixels", "no-pixels"},
    {"planar configuration", "planar"},
    {"make the image", "strips"},
    {"no strips", "strips"},
    {"no tiles", "strips"},
    {"no rows per strip", "strips"},
    {"is cut off", "strip-cut-off"},
    {"cut off", "cut-off"},
};

const char* CodeOf(std::string_view sentence) {
  for (const auto& [part, code] : kCodes) {
    if (sentence.find(part) != std::string_view::npos) return code;
  }
  return "undecodable";
}

class ImageChecker {
 public:
  ImageChecker(int fd, std::uint64_t sizeBytes, const std::string& name)
      : fd_(fd), sizeBytes_(sizeBytes), name_(name) {}

  ImageReport Inspect() {
    Try("", 0, [this] {
      source_ = ImageSource::Open(fd_, sizeBytes_);
      form_ = kxcms::image::ReadForm(fd_, sizeBytes_);
      CheckOrder();
    });
    if (source_ != nullptr) {
      for (std::size_t i = 0; i < source_->pages().size(); ++i) CheckPage(i);
    }
    report_.findings = findings_.list();
    return std::move(report_);
  }

 private:
  void Add(Finding::Severity severity, const char* code, const std::string& text) {
    const bool isWarning = severity == Finding::Severity::Warning;
    findings_.Add({severity, code, text, isWarning ? IntentSet() : IntentSet().set()});
  }

  /// Runs a step of the reading; what it throws becomes a finding.
  template <typename Step>
  void Try(const std::string& where, std::uint64_t memoryBytes, const Step& step) {
    try {
      step();
    } catch (const ImageError& error) {
      const std::string sentence = error.what();
      if (error.kind == ImageError::Kind::kUnsupported) {
        Add(Finding::Severity::Note, "unsupported", where + sentence);
      } else if (sentence.starts_with(kDamaged)) {
        RequireMemory(kxcms::image::kFreeMemory + 2 * memoryBytes);
        Add(Finding::Severity::Error, CodeOf(sentence), where + sentence);
      } else {
        throw Refusal(Exit::InputUnreadable, name_ + ": " + sentence);
      }
    }
  }

  /// TIFF 6.0, section 2: entries stand in ascending order.
  void CheckOrder() {
    const bool isSorted = std::all_of(form_.pages.begin(), form_.pages.end(),
                                      [](const auto& page) { return page.areTagsSorted; });
    if (!isSorted) Add(Finding::Severity::Warning, "tag-order", "its tags are not in order");
  }

  void CheckPage(std::size_t index) {
    const Page& page = source_->pages()[index];
    const std::string where =
        source_->pages().size() == 1 ? "" : "page " + std::to_string(index + 1) + ": ";
    if (!page.refusal.empty()) {
      Add(Finding::Severity::Note, "unsupported",
          where + page.refusal + "; its pixels are not looked at");
      if (index < form_.pages.size() && !form_.pages[index].arePiecesInside) {
        Add(Finding::Severity::Error, "strip-cut-off",
            where + "damaged: a strip or tile is cut off");
      }
      return;
    }
    if (page.profile && !page.profile->empty() &&
        std::find(report_.profiles.begin(), report_.profiles.end(), *page.profile) ==
            report_.profiles.end()) {
      report_.profiles.push_back(*page.profile);
    }
    Try(where, page.memoryBytes, [&] { ReadRows(index); });
  }

  void ReadRows(std::size_t index) {
    const Page& page = source_->pages()[index];
    constexpr std::size_t kPieceBytes = 4u << 20;
    const auto most = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kPieceBytes / page.RowBytes(), 1, page.height));
    std::vector<unsigned char> rows(page.RowBytes() * most);
    source_->Select(index);
    for (std::uint32_t row = 0; row < page.height;) {
      const std::uint32_t count = std::min(most, page.height - row);
      source_->ReadRows(rows.data(), count);
      row += count;
    }
  }

  int fd_;
  std::uint64_t sizeBytes_;
  const std::string& name_;
  std::unique_ptr<ImageSource> source_;
  kxcms::image::FileForm form_;
  ImageReport report_;
  Findings findings_;
};

}  // namespace

void RequireMemory(std::uint64_t bytes) {
  void* const room = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (room == MAP_FAILED) throw std::bad_alloc();
  munmap(room, bytes);
}

ImageReport InspectImage(int fd, std::uint64_t sizeBytes, const std::string& name) {
  return ImageChecker(fd, sizeBytes, name).Inspect();
}

// Small image files with every byte changed to every other value, and cut off everywhere, as the
// command reads them and as libtiff, libpng and libjpeg do.
//
//   every_byte STEP FILE...
//
// One byte in every STEP is changed; with 1, all are. Prints for each file how many changes were
// read and how many refused; and the first changes of it that were read otherwise than by the
// libraries, with exit status 1.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PlainReader.h"
#include "tools/image/ImageError.h"
#include "tools/image/ImageSource.h"

namespace {

using namespace kxcms::image;
using Bytes = std::vector<unsigned char>;

/// A file in memory that is rewritten again and again.
class Scratch {
 public:
  explicit Scratch(const Bytes& bytes) : fd_(memfd_create("changed", MFD_CLOEXEC)) {
    Put(0, bytes.data(), bytes.size());
  }
  ~Scratch() { close(fd_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  void Put(std::size_t at, const unsigned char* bytes, std::size_t count) {
    if (pwrite(fd_, bytes, count, static_cast<off_t>(at)) != static_cast<ssize_t>(count)) {
      std::abort();
    }
  }
  void Cut(std::size_t size) {
    if (ftruncate(fd_, static_cast<off_t>(size)) != 0) std::abort();
  }
  int fd() const { return fd_; }
  std::string path() const { return "/proc/self/fd/" + std::to_string(fd_); }

 private:
  int fd_;
};

/// The rows of each page that is taken; throws an `ImageError`.
std::vector<std::optional<Bytes>> RowsOf(ImageSource& source) {
  std::vector<std::optional<Bytes>> pages;
  for (std::size_t i = 0; i < source.pages().size(); ++i) {
    const Page& page = source.pages()[i];
    pages.emplace_back();
    if (!page.refusal.empty()) continue;
    pages.back().emplace(page.RowBytes() * page.height);
    source.Select(i);
    source.ReadRows(pages.back()->data(), page.height);
  }
  return pages;
}

bool IsSame(const Page& page, const Bytes& rows, const PlainPage& plain) {
  const auto isAlpha = [](Extra extra) { return extra != Extra::kUnspecified; };
  const auto alpha = std::find_if(page.extras.begin(), page.extras.end(), isAlpha);
  const bool hasAlpha = alpha != page.extras.end();
  const auto sample = hasAlpha ? 3 + static_cast<unsigned>(alpha - page.extras.begin()) : 0;
  return page.width == plain.width && page.height == plain.height &&
         page.Samples() == plain.samples && page.bits == plain.bits && sample == plain.alpha &&
         (hasAlpha && *alpha == Extra::kAssociatedAlpha) == plain.isAssociated &&
         page.profile.value_or(Bytes()) == plain.profile && rows == plain.rows;
}

enum class Outcome { kRead, kRefused, kOtherwise };

Outcome Look(const Scratch& file, std::size_t size, PlainFormat format, std::string& why) {
  std::unique_ptr<ImageSource> source;
  std::vector<std::optional<Bytes>> pages;
  try {
    source = ImageSource::Open(file.fd(), size);
    pages = RowsOf(*source);
  } catch (const ImageError&) {
    return Outcome::kRefused;
  }
  why.clear();
  const auto plain = ReadPlainly(file.path().c_str(), format, why);
  if (plain.size() > pages.size()) {
    why += std::to_string(pages.size()) + " pages of " + std::to_string(plain.size());
    return Outcome::kOtherwise;
  }
  for (std::size_t i = 0; i < pages.size(); ++i) {
    // libtiff does not come to what is behind a directory that it cannot read.
    if (!pages[i] && i + 1 == plain.size() && !plain[i]) return Outcome::kRefused;
    if (!pages[i]) continue;
    if (i >= plain.size()) {
      why += "page " + std::to_string(i) + " is not there";
      return Outcome::kOtherwise;
    }
    if (!plain[i] || !IsSame(source->pages()[i], *pages[i], *plain[i])) {
      why += "page " + std::to_string(i) + (plain[i] ? " is another one" : " cannot be read");
      return Outcome::kOtherwise;
    }
  }
  return Outcome::kRead;
}

class Sweep {
 public:
  Sweep(const std::string& path, std::size_t step)
      : format_(PlainFormatOf(path)), step_(step), whole_(BytesOf(path)), file_(whole_) {}

  /// @return whether everything is as it should be
  bool Run(const std::string& name) {
    Add("whole", whole_.size());
    if (read_ != 1) std::printf("%s cannot be read\n", name.c_str());
    bool isGood = read_ == 1;
    for (std::size_t at = 0; at < whole_.size(); at += step_) {
      for (unsigned value = 0; value < 256; ++value) {
        if (value == whole_[at]) continue;
        const auto byte = static_cast<unsigned char>(value);
        file_.Put(at, &byte, 1);
        Add("byte " + std::to_string(at) + " as " + std::to_string(value), whole_.size());
      }
      file_.Put(at, &whole_[at], 1);
    }
    for (std::size_t size = whole_.size(); size-- > 0;) {
      if (size % step_ != 0) continue;
      file_.Cut(size);
      Add("the first " + std::to_string(size) + " bytes", size);
    }
    std::printf("%s: %zu read, %zu refused, %zu otherwise\n", name.c_str(), read_, refused_,
                otherwise_);
    return isGood && otherwise_ == 0;
  }

 private:
  static Bytes BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  }
  void Add(const std::string& what, std::size_t size) {
    std::string why;
    switch (Look(file_, size, format_, why)) {
      case Outcome::kRead:
        ++read_;
        break;
      case Outcome::kRefused:
        ++refused_;
        break;
      case Outcome::kOtherwise:
        if (++otherwise_ <= 10) std::printf("  %s: %s\n", what.c_str(), why.c_str());
    }
  }

  PlainFormat format_;
  std::size_t step_;
  Bytes whole_;
  Scratch file_;
  std::size_t read_ = 0, refused_ = 0, otherwise_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const auto step = static_cast<std::size_t>(std::atoi(argv[1]));
  bool isGood = true;
  for (int i = 2; i < argc; ++i) {
    Sweep sweep(argv[i], step);
    isGood = sweep.Run(std::filesystem::path(argv[i]).filename()) && isGood;
    std::fflush(stdout);
  }
  return isGood ? 0 : 1;
}

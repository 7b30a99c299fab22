#ifndef KXCMS_TOOLS_COMMANDS_IMAGEFILE_H
#define KXCMS_TOOLS_COMMANDS_IMAGEFILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "api/pipeline.hpp"
#include "tools/InputFile.h"
#include "tools/Refusal.h"
#include "tools/image/ImageError.h"
#include "tools/image/ImageSource.h"

/// Gives the errors of reading images the name of the file that they concern.
template <typename Function>
auto ReadingImage(const std::string& path, const Function& function) {
  try {
    return function();
  } catch (const kxcms::image::ImageError& error) {
    const bool isForm = error.kind == kxcms::image::ImageError::Kind::kUnsupported;
    throw Refusal(isForm ? Exit::WouldBeWrong : Exit::InputUnreadable, path + ": " + error.what());
  }
}

/// The images of a file, to be looked at one by one and row by row; at first the first one. Reduced
/// copies and masks are none, unless there is nothing else. Refuses what cannot be read.
class ImageFile {
 public:
  explicit ImageFile(const std::string& path);

  const std::string& path() const { return path_; }
  std::size_t PageCount() const { return pages_.size(); }
  /// Of an image of the file, whether it is read or not.
  const kxcms::image::Page& PageAt(std::size_t n) const { return source_->pages()[pages_[n]]; }
  /// Goes to the first row of an image.
  void Select(std::size_t n);

  /// The image that is read.
  const kxcms::image::Page& page() const { return PageAt(selected_); }
  /// The bytes of the profile that it embeds; empty for none.
  const std::vector<unsigned char>& EmbeddedProfile() const;
  /// Rows that make pieces of moderate size.
  std::uint32_t RowsAtOnce() const;
  /// Reads the next rows; they stay until the next call.
  void ReadRows(std::uint32_t rows);
  /// These rows, as R, G, B and alpha if there is one, of 8 or 16 bits.
  kxcms::ConstImage Rows() const;
  /// R, G, B in [0, 1] of one of their pixels.
  std::array<double, 3> ColorAt(std::size_t x, std::size_t row) const;
  bool HasAlpha() const { return AlphaSample().has_value(); }
  /// Alpha of one of their pixels in [0, 1]; 1 where there is none.
  double AlphaAt(std::size_t x, std::size_t row) const;

 private:
  /// Which sample of a pixel is alpha, its number among all.
  std::optional<std::size_t> AlphaSample() const;
  double SampleAt(std::size_t x, std::size_t row, std::size_t sample) const;

  std::string path_;
  Stream stream_;
  std::unique_ptr<kxcms::image::ImageSource> source_;
  std::vector<std::size_t> pages_;  ///< of the source, those that are images
  std::size_t selected_ = 0;
  bool isAtStart_ = false;  ///< of that one: no row has been read
  std::vector<unsigned char> pixels_;
  std::uint32_t rows_ = 0;
};

#endif

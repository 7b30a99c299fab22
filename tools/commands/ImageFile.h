#ifndef KXCMS_TOOLS_COMMANDS_IMAGEFILE_H
#define KXCMS_TOOLS_COMMANDS_IMAGEFILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
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

/// The first image of a file, to be looked at row by row. Refuses what cannot be read.
class ImageFile {
 public:
  explicit ImageFile(const std::string& path);

  const std::string& path() const { return path_; }
  const kxcms::image::Page& page() const { return source_->pages().front(); }
  std::size_t PageCount() const { return source_->pages().size(); }
  /// The bytes of the profile that it embeds; empty for none.
  const std::vector<unsigned char>& EmbeddedProfile() const;
  /// Rows that make pieces of moderate size.
  std::uint32_t RowsAtOnce() const;
  /// Reads the next rows; they stay until the next call.
  void ReadRows(std::uint32_t rows);
  /// These rows, as R, G and B, of 8 or 16 bits.
  kxcms::ConstImage Rows() const;
  /// R, G, B in [0, 1] of one of their pixels.
  std::array<double, 3> ColorAt(std::size_t x, std::size_t row) const;

 private:
  std::string path_;
  Stream stream_;
  std::unique_ptr<kxcms::image::ImageSource> source_;
  std::vector<unsigned char> pixels_;
  std::uint32_t rows_ = 0;
};

#endif

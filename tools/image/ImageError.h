#ifndef KXCMS_TOOLS_IMAGE_IMAGEERROR_H
#define KXCMS_TOOLS_IMAGE_IMAGEERROR_H

#include <stdexcept>
#include <string>

namespace kxcms::image {

/// Ends the reading or writing of an image. The sentence names no file: the caller knows which.
class ImageError : public std::runtime_error {
 public:
  enum class Kind {
    kUnreadable,   ///< cannot be read, is damaged, or is no image
    kUnsupported,  ///< sound as far as anyone knows, but of a form that is not taken
    kUnwritable,   ///< the result cannot be written, or not in the form that was asked for
  };
  ImageError(Kind errorKind, const std::string& sentence, int error = 0)
      : std::runtime_error(sentence), kind(errorKind), systemError(error) {}
  Kind kind;
  int systemError;  ///< errno where that was the reason of a failed write, otherwise 0
};

[[noreturn]] inline void RefuseDamaged(const std::string& sentence) {
  throw ImageError(ImageError::Kind::kUnreadable, "damaged: " + sentence);
}
[[noreturn]] inline void RefuseForm(const std::string& sentence) {
  throw ImageError(ImageError::Kind::kUnsupported, sentence);
}

}  // namespace kxcms::image

#endif

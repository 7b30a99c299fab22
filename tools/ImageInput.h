#ifndef KXCMS_TOOLS_IMAGEINPUT_H
#define KXCMS_TOOLS_IMAGEINPUT_H

#include <cstdint>
#include <string>

#include "tools/Descriptor.h"

/// An image that can be read at any place for as long as the object lives.
///
/// What a pipe or a socket gives is copied first, to a file without a name that goes with the
/// process; so is standard input, the path "-", where it is not a file from its beginning. Of what
/// does not begin as an image does, only the beginning is copied. Waits for a pipe's writer.
class ImageInput {
 public:
  /// @param folder  where the copy lies
  ImageInput(const std::string& path, const std::string& folder);

  int fd() const { return file_.get(); }
  std::uint64_t size() const { return sizeBytes_; }

 private:
  void Copy(const std::string& path, const std::string& folder);

  Descriptor file_;
  std::uint64_t sizeBytes_ = 0;
};

#endif

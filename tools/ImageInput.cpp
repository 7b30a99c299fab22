#include "tools/ImageInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "tools/InputFile.h"
#include "tools/OutputFile.h"
#include "tools/Refusal.h"
#include "tools/image/ImageSource.h"

namespace {

/// Standard input for "-", otherwise the file of that name.
Descriptor Opened(const std::string& path) {
  struct stat status;
  const bool isPipe = stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
  // Whoever opens a device may wait for it; nothing else is waited for but a pipe's writer.
  const int fd = path == kStandardStream
                     ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                     : open(path.c_str(), O_RDONLY | O_CLOEXEC | (isPipe ? 0 : O_NONBLOCK));
  if (fd < 0) RefuseInput(path, std::strerror(errno));
  return Descriptor(fd);
}

}  // namespace

ImageInput::ImageInput(const std::string& path, const std::string& folder) : file_(Opened(path)) {
  struct stat status;
  if (fstat(fd(), &status) != 0) RefuseInput(path, std::strerror(errno));
  if (S_ISDIR(status.st_mode)) RefuseInput(path, "is a directory; batch --from takes one");
  if (S_ISREG(status.st_mode) && lseek(fd(), 0, SEEK_CUR) == 0) {
    sizeBytes_ = static_cast<std::uint64_t>(status.st_size);
    if (sizeBytes_ == 0) RefuseInput(path, "empty file");
    return;
  }
  if (!S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode)) {
    RefuseInput(path, "neither a file nor a pipe");
  }
  Copy(path, folder);
  if (sizeBytes_ == 0) RefuseInput(path, "empty file");
}

void ImageInput::Copy(const std::string& path, const std::string& folder) {
  const auto refuse = [&] {
    throw Refusal(Exit::WriteFailed,
                  "cannot write a copy of " + path + " in " + folder + ": " + std::strerror(errno));
  };
  Descriptor copy(OpenUnnamed(folder));
  if (copy.get() < 0) refuse();
  constexpr std::size_t kBlockBytes = 1u << 20;
  std::vector<unsigned char> block(kBlockBytes);
  bool isEnd = false;
  while (!isEnd) {
    std::size_t filled = 0;
    while (!isEnd && filled < block.size()) {
      const ssize_t got = read(fd(), block.data() + filled, block.size() - filled);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) RefuseInput(path, std::strerror(errno));
      isEnd = got == 0;
      filled += static_cast<std::size_t>(got);
    }
    // An endless stream of something else would fill the disk.
    if (sizeBytes_ == 0 && !kxcms::image::FormatOf({block.data(), filled})) isEnd = true;
    for (std::size_t at = 0; at < filled;) {
      const ssize_t put = write(copy.get(), block.data() + at, filled - at);
      if (put < 0 && errno == EINTR) continue;
      if (put <= 0) refuse();
      at += static_cast<std::size_t>(put);
    }
    sizeBytes_ += filled;
  }
  file_ = std::move(copy);
}

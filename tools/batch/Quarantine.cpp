#include "tools/batch/Quarantine.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "tools/InputFile.h"
#include "tools/OutputFile.h"
#include "tools/Refusal.h"
#include "tools/batch/Folders.h"
#include "tools/image/ImageError.h"
#include "tools/image/OutputBytes.h"

namespace kxcms::batch {

namespace {

namespace fs = std::filesystem;

/// The name of a file inside the folder, whatever path a list may have given it.
std::string PlaceOf(const std::string& folder, const ListedFile& file) {
  const ListedFile inside = FileNamed(fs::path(file.path).relative_path().string(), ".");
  return inside.refusal.empty() ? JoinedPath(folder, inside.path) : std::string();
}

void WriteText(const std::string& path, const std::string& text) {
  OutputFile output(path);
  image::FileOutput bytes(output.fd());
  if (!bytes.Write(0, text.data(), text.size())) {
    throw Refusal(Exit::WriteFailed, "cannot write " + path);
  }
  output.Commit(false);
}

void Copy(const std::string& from, const std::string& to) {
  const Stream input = OpenInput(from);
  OutputFile output(to);
  image::FileOutput bytes(output.fd());
  std::vector<char> block(1u << 18);
  for (;;) {
    const ssize_t got = read(fileno(input.get()), block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Refusal(Exit::InputUnreadable, from + ": " + std::strerror(errno));
    if (got == 0) break;
    if (!bytes.Write(bytes.size(), block.data(), static_cast<std::size_t>(got))) {
      throw Refusal(Exit::WriteFailed, "cannot write " + to);
    }
  }
  output.Commit(false);
}

}  // namespace

void PutIntoQuarantine(const std::string& folder, const ListedFile& file,
                       const std::string& record) {
  const std::string place = PlaceOf(folder, file);
  if (place.empty()) return;
  std::error_code failed = MakeFolders(fs::path(place).parent_path().string(), false);
  if (failed) {
    throw Refusal(Exit::WriteFailed, "cannot write " + place + ": " + failed.message());
  }
  struct stat status;
  if (stat(file.source.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    unlink(place.c_str());
    // A link would lead to the link that the file is.
    const std::string source = fs::canonical(file.source, failed).string();
    if (failed || link(source.c_str(), place.c_str()) != 0) Copy(file.source, place);
  }
  WriteText(place + ".json", record);
}

void RemoveFromQuarantine(const std::string& folder, const ListedFile& file) {
  const std::string place = PlaceOf(folder, file);
  if (place.empty()) return;
  unlink(place.c_str());
  unlink((place + ".json").c_str());
}

}  // namespace kxcms::batch

#include "tools/commands/TextFile.h"

#include <cstdint>
#include <filesystem>
#include <system_error>

#include "tools/InputFile.h"
#include "tools/OutputFile.h"
#include "tools/Refusal.h"
#include "tools/image/ImageError.h"
#include "tools/image/InputBytes.h"
#include "tools/image/OutputBytes.h"

namespace {

// Far above every file that is read so: libraries, charts, certificates.
constexpr std::uint64_t kLargestFile = 64u << 20;

}  // namespace

bool AreOneFile(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return a == b || std::filesystem::equivalent(a, b, ignored);
}

void CheckDistinct(const std::string& output, const std::string& json) {
  if (!output.empty() && !json.empty() && AreOneFile(output, json)) {
    throw Refusal(Exit::Usage, "-o and --json name the same file");
  }
}

void CheckNotReplaced(const std::string& input, const std::string& output, const char* what) {
  if (!input.empty() && !output.empty() && AreOneFile(input, output)) {
    throw Refusal(Exit::Usage, output + " is read; " + what + " would replace it");
  }
}

void WriteText(const std::string& path, const std::string& text) {
  OutputFile file(path);
  kxcms::image::FileOutput bytes(file.fd());
  bytes.Write(0, text.data(), text.size());
  try {
    bytes.Check();
  } catch (const kxcms::image::ImageError& error) {
    throw Refusal(Exit::WriteFailed, "cannot write " + path + ": " + error.what());
  }
  file.Commit(false);
}

std::vector<unsigned char> ReadWhole(const std::string& path) {
  const Stream stream = OpenInput(path);
  const std::uint64_t size = RegularFileSize(fileno(stream.get()), path);
  if (size > kLargestFile) throw Refusal(Exit::InputUnreadable, path + ": too large");
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
  try {
    kxcms::image::FileBytes(fileno(stream.get()), size).Read(0, bytes.data(), bytes.size());
  } catch (const kxcms::image::ImageError& error) {
    throw Refusal(Exit::InputUnreadable, path + ": " + error.what());
  }
  return bytes;
}

// What the image source makes of a file and the image sink of that, for tests.
//
//   image_client describe FILE       its pages as JSON
//   image_client rows FILE PAGE      the samples of a page, as the machine holds them
//   image_client copy FILE TARGET FORMAT COMPRESSION COLORS BIG QUALITY
//       writes all pages (FORMAT: 0 TIFF, 1 JPEG, 2 PNG; COMPRESSION as in TIFF; COLORS: 0 others,
//       1 sRGB, 2 Adobe RGB) with true tags; prints the names of what was dropped as JSON
//
// Exit status 1 and a sentence on standard error for what is refused.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/image/ImageError.h"
#include "tools/image/ImageSink.h"
#include "tools/image/ImageSource.h"
#include "tools/image/TrueTags.h"

namespace {

using namespace kxcms::image;
using nlohmann::json;

std::string Hex(const std::vector<unsigned char>& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", unsigned{byte});
    text += digits;
  }
  return text;
}

json Describe(const Directory& directory) {
  json tags = json::object();
  for (const Tag& tag : directory.tags) {
    tags[std::to_string(tag.number)] = {tag.type, tag.count, Hex(tag.bytes)};
  }
  for (const SubDirectory& sub : directory.subDirectories) {
    tags[std::to_string(sub.pointer)] = Describe(sub.directory);
  }
  return tags;
}

json Describe(const Page& page) {
  json extras = json::array();
  for (const Extra extra : page.extras) extras.push_back(static_cast<int>(extra));
  json comments = json::array();
  for (const Comment& comment : page.metadata.comments) {
    comments.push_back({comment.keyword, comment.text});
  }
  return {{"refusal", page.refusal},
          {"parent", page.parent ? json(*page.parent) : json()},
          {"subfile_type", page.subfileType},
          {"width", page.width},
          {"height", page.height},
          {"bits", page.bits},
          {"extras", extras},
          {"compression", page.layout.compression},
          {"rows_per_strip", page.layout.rowsPerStrip},
          {"tile", {page.layout.tileWidth, page.layout.tileLength}},
          {"separate", page.layout.separatePlanes},
          {"profile", page.profile ? json(Hex(*page.profile)) : json()},
          {"tags", Describe(page.metadata.directory)},
          {"comments", comments},
          {"dropped", page.dropped},
          {"memory", page.memoryBytes}};
}

void PrintRows(ImageSource& source, std::size_t index) {
  source.Select(index);
  const Page& page = source.pages().at(index);
  // An odd number of rows at a time, so that no strip or tile is met.
  constexpr std::uint32_t kRows = 7;
  std::vector<unsigned char> rows(page.RowBytes() * kRows);
  for (std::uint32_t row = 0; row < page.height; row += kRows) {
    const std::uint32_t count = std::min(kRows, page.height - row);
    source.ReadRows(rows.data(), count);
    std::fwrite(rows.data(), page.RowBytes(), count, stdout);
  }
}

void Copy(ImageSource& source, char** arguments) {
  const auto number = [arguments](int i) { return std::atoi(arguments[i]); };
  const int fd = open(arguments[0], O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) throw ImageError(ImageError::Kind::kUnwritable, "no file");
  FileOutput bytes(fd);
  std::vector<std::string> dropped;
  const auto sink =
      ImageSink::Make(static_cast<Format>(number(1)), bytes, {number(4) != 0, number(5)}, dropped);
  for (std::size_t i = 0; i < source.pages().size(); ++i) {
    Page page = source.pages()[i];
    page.layout = LayoutFor(page, static_cast<std::uint16_t>(number(2)));
    MakeTrue(page.metadata, static_cast<NamedColors>(number(3)), nullptr, dropped);
    source.Select(i);
    sink->BeginPage(page);
    constexpr std::uint32_t kRows = 5;
    std::vector<unsigned char> rows(page.RowBytes() * kRows);
    for (std::uint32_t row = 0; row < page.height; row += kRows) {
      const std::uint32_t count = std::min(kRows, page.height - row);
      source.ReadRows(rows.data(), count);
      sink->WriteRows(rows.data(), count);
    }
    sink->EndPage();
    const std::vector<std::string>& unread = source.pages()[i].dropped;
    dropped.insert(dropped.end(), unread.begin(), unread.end());
  }
  sink->Finish();
  std::cout << json(dropped) << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string what = argv[1];
  const int fd = open(argv[2], O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (fd < 0 || fstat(fd, &status) != 0) return 2;
  try {
    const auto source = ImageSource::Open(fd, static_cast<std::uint64_t>(status.st_size));
    if (what == "describe") {
      json pages = json::array();
      for (const Page& page : source->pages()) pages.push_back(Describe(page));
      const auto replace = json::error_handler_t::replace;
      std::cout << pages.dump(-1, ' ', false, replace) << '\n';
    } else if (what == "copy" && argc == 9) {
      Copy(*source, argv + 3);
    } else {
      PrintRows(*source, static_cast<std::size_t>(std::atoi(argv[3])));
    }
  } catch (const ImageError& error) {
    const char* const kinds[] = {"unreadable", "unsupported", "unwritable"};
    std::cerr << kinds[static_cast<int>(error.kind)] << ": " << error.what() << '\n';
    return 1;
  } catch (const std::bad_alloc&) {
    std::cerr << "no memory\n";
    return 1;
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}

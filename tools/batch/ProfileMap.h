#ifndef KXCMS_TOOLS_BATCH_PROFILEMAP_H
#define KXCMS_TOOLS_BATCH_PROFILEMAP_H

#include <string>
#include <vector>

#include "tools/image/Metadata.h"

namespace kxcms::batch {

/// Which profile which file has: a table of two columns, a tabulator between them. The first holds
/// a glob (glob(7); an asterisk stands for slashes too) that is compared with the file's path, or,
/// behind "device:", one that is compared with "MAKE/MODEL" of the first page's tags. The second
/// names a profile as `--profile` does. The first row that fits decides. Empty lines, and those
/// that begin with "#", say nothing.
class ProfileMap {
 public:
  /// Refuses a table that cannot be read.
  explicit ProfileMap(const std::string& path);

  /// All profiles, each once.
  std::vector<std::string> Profiles() const;
  /// The profile of a file; null where no row fits.
  const std::string* Find(const std::string& path, const image::Metadata& firstPage) const;

 private:
  struct Row {
    bool isDevice;
    std::string pattern;
    std::string profile;
  };
  std::vector<Row> rows_;
};

/// "MAKE/MODEL" of the tags of those names (TIFF 6.0, 271 and 272), without blanks around each.
std::string DeviceOf(const image::Metadata& metadata);

}  // namespace kxcms::batch

#endif

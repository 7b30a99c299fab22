#ifndef KXCMS_TOOLS_BATCH_FOLDERS_H
#define KXCMS_TOOLS_BATCH_FOLDERS_H

#include <string>
#include <system_error>

namespace kxcms::batch {

/// A path from the root on, without "." and ".."; the path itself where the working directory is
/// gone.
std::string AbsolutePath(const std::string& path);

/// Makes a folder and those above it that are not there.
/// @param isDurable  forces the entries of the new ones to the disk
std::error_code MakeFolders(const std::string& path, bool isDurable);

/// Forces the entries of a folder to the disk.
std::error_code SyncFolder(const std::string& path);

}  // namespace kxcms::batch

#endif

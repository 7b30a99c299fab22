#ifndef KXCMS_TOOLS_BATCH_QUARANTINE_H
#define KXCMS_TOOLS_BATCH_QUARANTINE_H

#include <string>

#include "tools/batch/FileList.h"

namespace kxcms::batch {

/// Puts a file that could not be converted where it can be looked at: a hard link to it under its
/// path, or a copy where there can be no link, and beside that, with ".json" appended, what was
/// written down of it. What had these names there is replaced; the file itself stays as it is. A
/// file that is not there, or not a regular one, leaves the record alone. Refuses if the folder
/// cannot be written.
void PutIntoQuarantine(const std::string& folder, const ListedFile& file,
                       const std::string& record);

/// Takes both away again.
void RemoveFromQuarantine(const std::string& folder, const ListedFile& file);

}  // namespace kxcms::batch

#endif

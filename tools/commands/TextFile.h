#ifndef KXCMS_TOOLS_COMMANDS_TEXTFILE_H
#define KXCMS_TOOLS_COMMANDS_TEXTFILE_H

#include <string>
#include <vector>

/// Whether two paths lead to one file.
bool AreOneFile(const std::string& a, const std::string& b);

/// Refuses to write a page or text and its JSON, either of which may be missing, to one file.
void CheckDistinct(const std::string& output, const std::string& json);

/// Refuses to write over what is read.
/// @param what  is written: "a report"
void CheckNotReplaced(const std::string& input, const std::string& output, const char* what);

/// Writes a whole file, which appears when it is complete. Refuses what cannot be written.
void WriteText(const std::string& path, const std::string& text);

/// All bytes of a file of moderate size; refuses what cannot be read.
std::vector<unsigned char> ReadWhole(const std::string& path);

#endif

#ifndef KXCMS_TOOLS_BATCH_JOURNALREADER_H
#define KXCMS_TOOLS_BATCH_JOURNALREADER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/InputFile.h"
#include "tools/batch/RecordText.h"

namespace kxcms::batch {

/// A journal as it stands, also while a batch is writing it: the last result of each file, and
/// what is amiss. Lines are read again when they are asked for, so that memory holds two numbers
/// for each. Several threads may ask at once.
class JournalReader {
 public:
  /// Refuses what cannot be read or is no journal.
  explicit JournalReader(const std::string& path);

  const std::string& path() const { return path_; }
  /// Headers, one for each run, with the places of their lines.
  const std::vector<std::pair<std::uint64_t, Json>>& headers() const { return headers_; }
  /// Where the last lines of all files stand, in the order of the journal. One that says begun
  /// has no result: the batch was killed, or is at work.
  const std::vector<std::uint64_t>& lines() const { return lines_; }
  /// The record of a line.
  Json Line(std::uint64_t at) const;
  /// The header under which a line was written.
  const Json& HeaderOf(std::uint64_t at) const;
  /// Whole lines that are no records.
  std::size_t damagedLines() const { return damagedLines_; }

 private:
  std::string path_;
  Stream stream_;
  std::vector<std::pair<std::uint64_t, Json>> headers_;
  std::vector<std::uint64_t> lines_;
  std::size_t damagedLines_ = 0;
};

}  // namespace kxcms::batch

#endif

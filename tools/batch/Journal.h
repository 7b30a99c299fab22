#ifndef KXCMS_TOOLS_BATCH_JOURNAL_H
#define KXCMS_TOOLS_BATCH_JOURNAL_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "tools/Descriptor.h"
#include "tools/batch/OutputTable.h"
#include "tools/batch/RecordText.h"

namespace kxcms::batch {

/// What the header of a journal says of its form.
constexpr const char* kJournalSchema = "kxcms-journal-1";

/// Reads the lines of a journal one by one, in memory of one line. The record of a line that is no
/// JSON object is null; what stands behind the last end of a line is not read.
/// @param isBrief  records of files have only what stands before "exit", for a fraction of the
/// time:
///                 "type", "file", "target" and "status"; the rest of the line is not looked at
/// @param each     receives where the line begins, and its record
/// @return where the last whole line ends
/// @throw std::system_error  it cannot be read
std::uint64_t ReadLines(int fd, bool isBrief,
                        const std::function<void(std::uint64_t, const Json&)>& each);

/// The record of the line that begins there; null if it cannot be read or is none.
Json ReadLine(int fd, std::uint64_t at);

/// Whether a record is the header of a journal that is understood here.
bool IsHeader(const Json& record);

/// The journal cannot be written: the batch cannot go on.
struct JournalFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The journal of a batch: JSON lines, only ever appended to. While the object lives, it is locked
/// (flock) against a second batch. Any number of threads may use it at once, after the opening.
class Journal {
 public:
  /// Opens the journal or makes it, locks it, cuts off a torn last line, and learns where the lines
  /// of each output stand. Throws a `JournalFailure` if that cannot be, a file that is no journal
  /// among the reasons; then nothing is changed.
  /// @param settings   digest of this run's
  /// @param isDryRun   only reads; a journal that is not there is empty
  /// @param isDurable  forces each line to the disk
  Journal(const std::string& path, const std::string& settings, bool isDryRun, bool isDurable);

  /// Of the first run's header; empty for a new journal.
  const std::string& id() const { return id_; }

  /// Appends a record as one line by one write. If that fails, the journal is as before.
  void Append(const Json& record);

  /// Takes the room from the disk that is needed to know so many outputs.
  void ExpectOutputs(std::uint64_t outputs);
  /// What is known of an output, which a file of this run has from now on.
  /// @param output  below the folder of outputs
  Known Claim(const std::string& output);
  /// The record of a line.
  Json Line(std::uint64_t at) const { return ReadLine(file_.get(), at); }

 private:
  void Open(const std::string& settings, bool isDryRun);
  void Learn(std::uint64_t at, const Json& record, const std::string& settings);
  void CheckBeginning() const;
  [[noreturn]] void Fail(const std::string& reason) const;
  /// Returns what `use` returns of the table of outputs.
  template <typename Use>
  auto WithOutputs(const Use& use);

  const std::string path_;
  const bool isDurable_;
  Descriptor file_;
  std::uint64_t size_ = 0;
  std::string id_;
  bool isAlike_ = false;  ///< while reading: whether the header in force has the same settings
  std::mutex lock_;
  std::optional<OutputTable> outputs_;
};

}  // namespace kxcms::batch

#endif

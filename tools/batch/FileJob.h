#ifndef KXCMS_TOOLS_BATCH_FILEJOB_H
#define KXCMS_TOOLS_BATCH_FILEJOB_H

#include <functional>
#include <string>

#include "tools/batch/BatchSettings.h"
#include "tools/batch/FileList.h"
#include "tools/batch/Journal.h"

namespace kxcms::batch {

enum class Hashes { kNone, kOutput, kAll };

/// What all files of a batch have in common. Only the store and the journal change, and these may
/// be used by any number of threads.
struct BatchContext {
  const Settings& settings;
  ColorStore& colors;
  Journal& journal;
  std::string journalId;
  std::string outputFolder;
  std::string quarantine;  ///< a folder; empty: none
  Hashes hashes = Hashes::kAll;
  bool isRehash = false;  ///< what is done is recognised by its digests too
  bool isDryRun = false;
  std::function<bool()> isUndone;  ///< whether the files at hand are to be given up
};

struct FileResult {
  enum class Kind {
    kDone,
    kDoneBefore,  ///< by an earlier run; nothing is written down
    kSkipped,     ///< the output was there, and is left alone
    kFailed,      ///< refused or failed, which is written down
    kUndone,      ///< given up; nothing is written down
    kDiskFull,    ///< the same, because the disk or a quota is full
  };
  Kind kind;
  std::string line;  ///< what is to be told of it; empty as a rule
};

/// Converts a file of a batch, unless it has been, and writes down what became of it.
/// @throw JournalFailure  the journal cannot be written; the output is as it was, or is finished by
///                        the next run
FileResult ConvertListed(const BatchContext& context, const ListedFile& file);

/// Where the result of a file goes, below the folder of outputs: its path, with the suffix of the
/// format if that was asked for and the path has another format's suffix.
std::string TargetOf(const std::string& path, const ConvertRequest& request);

}  // namespace kxcms::batch

#endif

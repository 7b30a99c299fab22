#ifndef KXCMS_TOOLS_BATCH_OUTPUTTABLE_H
#define KXCMS_TOOLS_BATCH_OUTPUTTABLE_H

#include <cstdint>
#include <functional>
#include <string>

#include "tools/Descriptor.h"

namespace kxcms::batch {

/// What tables know a name by: the first 64 bits of its SHA-256, never 0.
std::uint64_t KeyOf(const std::string& name);

/// What is known of an output: where the lines stand that tell it. 0 is where the header stands,
/// and says that there is none.
struct Known {
  std::uint64_t done : 61 = 0;        ///< the last line that says done
  std::uint64_t isDoneAlike : 1 = 0;  ///< that was written under the same settings
  std::uint64_t isFailed : 1 = 0;     ///< the last line says failed or refused
  std::uint64_t isClaimed : 1 = 0;    ///< a file of this run has this output
  std::uint64_t begun : 63 =
      0;  ///< the last line that says begun, unless one that says done follows
  std::uint64_t isBegunAlike : 1 = 0;
};

/// What is known of each output. It stands in a file without a name, which is gone with the object,
/// so that memory does not grow with the number of outputs: 48 to 96 bytes of the disk for each.
/// With a million outputs, one pair of keys in 30 million tables is the same. Not for two threads
/// at once.
class OutputTable {
 public:
  /// @param folder  of the file; where it cannot be there, that of temporary files
  /// @throw std::system_error  there is no room for it; so do all others
  explicit OutputTable(const std::string& folder);

  /// Takes the room for so many outputs from the disk now, so that it is there later.
  void Reserve(std::uint64_t outputs);

  /// Lets `change` change what is known of an output, nothing at first.
  /// @return what was known before
  Known Change(std::uint64_t key, const std::function<void(Known&)>& change);

 private:
  struct Entry {
    std::uint64_t key = 0;  ///< `KeyOf`; 0 of a free one
    Known known;
  };
  struct Found {
    std::uint64_t slot;
    Entry entry;
  };

  /// The entry with this key, or the free one that it would get.
  Found Find(std::uint64_t key) const;
  void Write(std::uint64_t slot, const Entry& entry) const;
  void Resize(std::uint64_t slots);

  std::string folder_;
  Descriptor file_;          ///< open addressing; what has not been written reads as zeros
  std::uint64_t slots_ = 0;  ///< a power of two, at least twice as many as are in use
  std::uint64_t used_ = 0;
};

}  // namespace kxcms::batch

#endif

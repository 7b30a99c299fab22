#include "tools/batch/OutputTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <system_error>
#include <utility>

#include "tools/OutputFile.h"
#include "tools/Sha256.h"

namespace kxcms::batch {

namespace {

constexpr std::uint64_t kFewestSlots = 1024;

[[noreturn]] void Fail(int reason) {
  throw std::system_error(reason, std::generic_category());
}

/// Reads up to `size` bytes; fewer only at the end of the file.
std::size_t ReadAt(int fd, void* to, std::size_t size, std::uint64_t at) {
  std::size_t got = 0;
  while (got < size) {
    const ssize_t part =
        pread(fd, static_cast<char*>(to) + got, size - got, static_cast<off_t>(at + got));
    if (part < 0 && errno == EINTR) continue;
    if (part < 0) Fail(errno);
    if (part == 0) break;
    got += static_cast<std::size_t>(part);
  }
  return got;
}

void WriteAt(int fd, const void* from, std::size_t size, std::uint64_t at) {
  std::size_t put = 0;
  while (put < size) {
    const ssize_t part =
        pwrite(fd, static_cast<const char*>(from) + put, size - put, static_cast<off_t>(at + put));
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) Fail(part < 0 ? errno : ENOSPC);
    put += static_cast<std::size_t>(part);
  }
}

}  // namespace

std::uint64_t KeyOf(const std::string& name) {
  const std::uint64_t key = std::stoull(Sha256Of(name).substr(0, 16), nullptr, 16);
  return key == 0 ? 1 : key;
}

OutputTable::OutputTable(const std::string& folder) : folder_(folder) {
  Resize(kFewestSlots);
}

void OutputTable::Reserve(std::uint64_t outputs) {
  const std::uint64_t slots = std::bit_ceil(2 * (used_ + outputs));
  if (slots > slots_) Resize(slots);
}

Known OutputTable::Change(std::uint64_t key, const std::function<void(Known&)>& change) {
  Found found = Find(key);
  const Known before = found.entry.known;
  if (found.entry.key == 0) {
    if (2 * (used_ + 1) > slots_) {
      Resize(2 * slots_);
      found = Find(key);
    }
    ++used_;
  }
  found.entry.key = key;
  change(found.entry.known);
  Write(found.slot, found.entry);
  return before;
}

OutputTable::Found OutputTable::Find(std::uint64_t key) const {
  for (std::uint64_t slot = key & (slots_ - 1);; slot = (slot + 1) & (slots_ - 1)) {
    Entry entry;
    ReadAt(file_.get(), &entry, sizeof entry, slot * sizeof entry);
    if (entry.key == key || entry.key == 0) return {slot, entry};
  }
}

void OutputTable::Write(std::uint64_t slot, const Entry& entry) const {
  WriteAt(file_.get(), &entry, sizeof entry, slot * sizeof entry);
}

void OutputTable::Resize(std::uint64_t slots) {
  Descriptor file(OpenUnnamed(folder_));
  if (file.get() < 0) file = Descriptor(OpenUnnamed(FolderOf(kStandardStream)));
  if (file.get() < 0) Fail(errno);
  const int failed = posix_fallocate(file.get(), 0, static_cast<off_t>(slots * sizeof(Entry)));
  if (failed != 0) Fail(failed);
  std::swap(file, file_);
  const std::uint64_t before = std::exchange(slots_, slots);
  std::array<Entry, 512> some;
  for (std::uint64_t slot = 0; slot < before; slot += some.size()) {
    const std::size_t got =
        ReadAt(file.get(), some.data(), sizeof some, slot * sizeof(Entry)) / sizeof(Entry);
    for (std::size_t n = 0; n < got; ++n) {
      if (some[n].key != 0) Write(Find(some[n].key).slot, some[n]);
    }
  }
}

}  // namespace kxcms::batch

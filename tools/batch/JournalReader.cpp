#include "tools/batch/JournalReader.h"

#include <algorithm>
#include <system_error>
#include <unordered_map>

#include "tools/Refusal.h"
#include "tools/batch/Journal.h"

namespace kxcms::batch {

JournalReader::JournalReader(const std::string& path) : path_(path), stream_(OpenInput(path)) {
  RegularFileSize(fileno(stream_.get()), path);
  std::unordered_map<std::uint64_t, std::uint64_t> last;  // by the digest of both names
  bool isFirst = true;
  const auto learn = [&](std::uint64_t at, const Json& record) {
    if (isFirst && !IsHeader(record)) {
      throw Refusal(Exit::InputUnreadable, path + ": is no journal of kxcms batch");
    }
    isFirst = false;
    const std::string target = NameIn(record, "target");
    if (IsHeader(record)) {
      headers_.emplace_back(at, record);
    } else if (target.empty()) {
      ++damagedLines_;
    } else {
      // One whose output another file had, or the same file named twice, says nothing of the
      // output.
      const bool isAside = StringIn(Member(record, "reason"), "code") == "same-target";
      const std::uint64_t key = KeyOf(NameIn(record, "file") + '\0' + target);
      if (!isAside || !last.contains(key)) last[key] = at;
    }
  };
  try {
    ReadLines(fileno(stream_.get()), false, learn);
  } catch (const std::system_error& error) {
    throw Refusal(Exit::InputUnreadable, path + ": " + error.code().message());
  }
  if (isFirst) throw Refusal(Exit::InputUnreadable, path + ": is no journal of kxcms batch");
  lines_.reserve(last.size());
  for (const auto& [key, at] : last) lines_.push_back(at);
  std::sort(lines_.begin(), lines_.end());
}

Json JournalReader::Line(std::uint64_t at) const {
  return ReadLine(fileno(stream_.get()), at);
}

const Json& JournalReader::HeaderOf(std::uint64_t at) const {
  auto header = headers_.begin();
  for (auto next = header; next != headers_.end() && next->first < at; ++next) header = next;
  return header->second;
}

}  // namespace kxcms::batch

#include "units/WorkingBufferSizes.h"

#include <map>
#include <mutex>
#include <utility>

namespace ICC40 {
namespace ICC_UNIT {
namespace {

struct Noted {
  const unsigned short* buffer;  // not read: it may be gone
  int samples;
};

// Only there while it holds something: run states with a static life may release their buffers
// after every other object of the library has ended, and a library that is unloaded leaves nothing.
using NotedBuffers = std::map<const Info*, Noted>;
NotedBuffers* notedBuffers = nullptr;
std::mutex guard;

}  // namespace

void NoteWorkingBuffer(const Info& info, int samples) {
  const std::lock_guard lock(guard);
  if (notedBuffers == nullptr) notedBuffers = new NotedBuffers;
  notedBuffers->insert_or_assign(&info, Noted{info.workingBuf, samples});
}

void ForgetWorkingBuffer(const Info& info) {
  const std::lock_guard lock(guard);
  if (notedBuffers == nullptr) return;
  notedBuffers->erase(&info);
  if (notedBuffers->empty()) delete std::exchange(notedBuffers, nullptr);
}

std::optional<int> WorkingBufferSamples(const Info& info) {
  const std::lock_guard lock(guard);
  if (notedBuffers == nullptr) return std::nullopt;
  const auto found = notedBuffers->find(&info);
  if (found == notedBuffers->end() || found->second.buffer != info.workingBuf) return std::nullopt;
  return found->second.samples;
}

}  // namespace ICC_UNIT
}  // namespace ICC40

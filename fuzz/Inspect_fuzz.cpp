#include <iostream>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "tools/Check.h"
#include "tools/FileKind.h"
#include "tools/commands/Info.h"

// A file through `info` and `check`, in lines and as JSON: neither ends otherwise than by its exit
// statuses, and they agree on what can be read.
//
// Input: the file.

namespace {

constexpr Exit kAll[] = {Exit::Done, Exit::InputUnreadable, Exit::WouldBeWrong};

bool IsAmong(Exit status, std::size_t first) {
  return std::find(kAll, kAll + first, status) != kAll + first;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  // Refusals would be lines of their own on standard error.
  std::cerr.setstate(std::ios::failbit);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(fuzz::Bytes(data, data + size));
  const std::string path = file.path();
  const Exit checked = CheckFiles({{path}, false});
  const Exit shown = PrintInfo({{path}, false});
  FUZZ_CHECK(IsAmong(checked, 3) && IsAmong(shown, 2));
  FUZZ_CHECK(CheckFiles({{path}, true}) == checked);
  FUZZ_CHECK(PrintInfo({{path}, true}) == shown);
  // What is sound can be shown, and of what is none of their kinds neither says a word.
  FUZZ_CHECK(checked != Exit::Done || shown == Exit::Done);
  FUZZ_CHECK(checked != Exit::InputUnreadable || shown == Exit::InputUnreadable);
  return 0;
}

// Prints the corpus' digests, or writes them to the checked-in list:
//
//   dump_digests
//   dump_digests --regen corpus/digests.txt
//
// They come from the independent model. The library, which is to be held against them, has no part
// in this program.

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/golden/ModelDigests.h"

int main(int argc, char** argv) {
  const bool regen = argc == 3 && std::strcmp(argv[1], "--regen") == 0;
  if (argc != 1 && !regen) {
    std::fprintf(stderr, "usage: dump_digests [--regen FILE]\n");
    return 2;
  }
  const std::string text = corpus::Format(reference::ModelDigests());
  if (!regen) return std::fputs(text.c_str(), stdout) < 0 ? 1 : 0;
  std::ofstream file(argv[2], std::ios::binary);
  file << text;
  return file.flush() ? 0 : 1;
}

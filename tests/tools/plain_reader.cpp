// What libtiff, libpng and libjpeg read of files. Names of files come from standard input, one a
// line. For each page it writes a line
// "WIDTH HEIGHT SAMPLES BITS ALPHA ASSOCIATED PROFILE-BYTES", the interleaved samples as the
// machine holds them, and the profile; ALPHA is the first sample that is one, or 0. Behind the last
// page stands a line "read", or "failed" for a file that cannot be read, or only with an error.

#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "PlainReader.h"

int main() {
  std::string path, said;
  while (std::getline(std::cin, path)) {
    said.clear();
    bool isRead = true;
    for (const std::optional<PlainPage>& page :
         ReadPlainly(path.c_str(), PlainFormatOf(path), said)) {
      isRead = isRead && page;
      if (!isRead) break;
      std::printf("%u %u %u %u %u %d %zu\n", page->width, page->height, page->samples, page->bits,
                  page->alpha, int{page->isAssociated}, page->profile.size());
      for (const std::vector<unsigned char>* const bytes : {&page->rows, &page->profile}) {
        if (!bytes->empty()) std::fwrite(bytes->data(), 1, bytes->size(), stdout);
      }
    }
    std::fputs(said.c_str(), stderr);
    std::puts(isRead ? "read" : "failed");
    if (std::fflush(stdout) != 0) return 1;
  }
}

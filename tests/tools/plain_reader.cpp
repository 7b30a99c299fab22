// What libtiff, libpng and libjpeg read of a file: for each page a line
// "WIDTH HEIGHT SAMPLES BITS ALPHA ASSOCIATED PROFILE-BYTES", the interleaved samples as the
// machine holds them, and the profile. ALPHA is the first sample that is one, or 0.
//
//   plain_reader FILE
//
// Exit status 1 for what cannot be read, or only with an error.

#include <cstdio>
#include <optional>
#include <string>

#include "PlainReader.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::string said;
  bool isRead = true;
  for (const std::optional<PlainPage>& page : ReadPlainly(argv[1], PlainFormatOf(argv[1]), said)) {
    isRead = isRead && page;
    if (!isRead) break;
    std::printf("%u %u %u %u %u %d %zu\n", page->width, page->height, page->samples, page->bits,
                page->alpha, int{page->isAssociated}, page->profile.size());
    std::fwrite(page->rows.data(), 1, page->rows.size(), stdout);
    std::fwrite(page->profile.data(), 1, page->profile.size(), stdout);
  }
  std::fputs(said.c_str(), stderr);
  return isRead && std::fflush(stdout) == 0 ? 0 : 1;
}

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

// Runs a fuzz target over files, with any compiler: `X_fuzz FILE_OR_FOLDER...`. The corpus is a
// test in every build this way.

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Custom mutators refer to it; nothing is mutated here.
std::size_t LLVMFuzzerMutate(std::uint8_t*, std::size_t, std::size_t) {
  std::abort();
}
}

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    if (fs::is_directory(argv[i])) {
      for (const fs::directory_entry& entry : fs::directory_iterator(argv[i])) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
    } else {
      files.emplace_back(argv[i]);
    }
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fprintf(stderr, "no input files\n");
    return 1;
  }
  LLVMFuzzerInitialize(&argc, &argv);
  for (const fs::path& file : files) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
      std::fprintf(stderr, "cannot read %s\n", file.c_str());
      return 1;
    }
    const std::vector<char> bytes(std::istreambuf_iterator<char>(stream), {});
    // An array of its own, so that a sanitizer sees its end.
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    std::fprintf(stderr, "%s\n", file.filename().c_str());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
  }
  std::fprintf(stderr, "%zu inputs\n", files.size());
  return 0;
}

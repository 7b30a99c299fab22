#include "checks.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace client {

int failures = 0;

void Fail(const char* file, int line, const std::string& message) {
  ++failures;
  std::cerr << file << ':' << line << ": " << message << '\n';
}

Bytes& Bytes::U8(unsigned v) {
  push_back(static_cast<unsigned char>(v));
  return *this;
}

Bytes& Bytes::Text(const std::string& text) {
  insert(end(), text.begin(), text.end());
  return *this;
}

Bytes& Bytes::Zeros(std::size_t n) {
  resize(size() + n);
  return *this;
}

Bytes& Bytes::Append(const Bytes& other) {
  insert(end(), other.begin(), other.end());
  return *this;
}

std::string Scratch::Path(const std::string& name) {
  static const Scratch scratch;
  return scratch.directory_ + "/" + name;
}

Scratch::Scratch()
    : directory_((std::filesystem::temp_directory_path() / "kxcms-client-XXXXXX").string()) {
  if (mkdtemp(directory_.data()) == nullptr) {
    std::perror(directory_.c_str());
    std::exit(1);
  }
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void WriteFile(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Bytes ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  Bytes bytes;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return bytes;
}

}  // namespace client

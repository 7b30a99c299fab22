#pragma once

// The client's own small test kit: checks that print one line per failure, byte builders, captured
// output, a scratch directory. It depends on nothing but the standard library and POSIX.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace client {

extern int failures;

void Fail(const char* file, int line, const std::string& message);

template <class T>
std::string Show(const T& value) {
  std::ostringstream out;
  out.precision(17);
  if constexpr (std::is_enum_v<T>) {
    out << static_cast<long long>(value);
  } else if constexpr (std::is_arithmetic_v<T>) {
    out << +value;
  } else {
    out << value;
  }
  return out.str();
}

template <class A, class E>
void CheckEqual(const char* file, int line, const char* what, const A& actual, const E& expected) {
  bool same;
  if constexpr (std::is_integral_v<A> && std::is_integral_v<E>) {
    same = static_cast<std::int64_t>(actual) == static_cast<std::int64_t>(expected);
  } else {
    same = actual == expected;
  }
  if (!same) {
    Fail(file, line, std::string(what) + " is " + Show(actual) + ", expected " + Show(expected));
  }
}

#define CHECK(condition) \
  ((condition) ? (void)0 : client::Fail(__FILE__, __LINE__, "not true: " #condition))
#define CHECK_EQ(actual, expected) \
  client::CheckEqual(__FILE__, __LINE__, #actual, (actual), (expected))
#define CHECK_TEXT(actual, expected) \
  client::CheckEqual(__FILE__, __LINE__, #actual, std::string(actual), std::string(expected))

// ---------------------------------------------------------------------------------------------

/// Bytes in file order.
struct Bytes : std::vector<unsigned char> {
  using std::vector<unsigned char>::vector;

  Bytes& U8(unsigned v);
  Bytes& Big16(unsigned v) { return U8(v >> 8).U8(v); }
  Bytes& Big32(std::uint32_t v) { return Big16(v >> 16).Big16(v & 0xFFFF); }
  Bytes& Little16(unsigned v) { return U8(v).U8(v >> 8); }
  Bytes& Little32(std::uint32_t v) { return Little16(v & 0xFFFF).Little16(v >> 16); }
  Bytes& Text(const std::string& text);
  Bytes& Zeros(std::size_t n);
  Bytes& Append(const Bytes& other);
  std::uint32_t Little32At(std::size_t at) const {
    std::uint32_t v = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      v |= std::uint32_t{at + i < size() ? (*this)[at + i] : 0u} << (8 * i);
    }
    return v;
  }
  std::uint32_t Big32At(std::size_t at) const { return __builtin_bswap32(Little32At(at)); }
};

/// Directory that goes with the program.
class Scratch {
 public:
  static std::string Path(const std::string& name);

 private:
  Scratch();
  ~Scratch();
  std::string directory_;
};

void WriteFile(const std::string& path, const Bytes& bytes);
Bytes ReadWhole(const std::string& path);

/// What `write(stream)` writes to a fresh file.
template <class Write>
Bytes Written(Write write) {
  const std::string path = Scratch::Path("written");
  FILE* stream = std::fopen(path.c_str(), "wb+");
  write(stream);
  std::fclose(stream);
  return ReadWhole(path);
}

/// What `run()` prints on standard output (1) or standard error (2).
template <class Run>
std::string Printed(int descriptor, Run run) {
  const std::string path = Scratch::Path("printed");
  std::cout.flush();
  std::cerr.flush();
  std::fflush(nullptr);
  const int kept = dup(descriptor);
  const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  dup2(file, descriptor);
  close(file);
  run();
  std::cout.flush();
  std::cerr.flush();
  std::fflush(nullptr);
  dup2(kept, descriptor);
  close(kept);
  const Bytes bytes = ReadWhole(path);
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace client

// One function per room of the library.
void CheckProfileClasses();
void CheckTables();
void CheckColorTables();
void CheckColorMath();
void CheckTiff();
void CheckEngine();
void CheckInterface();

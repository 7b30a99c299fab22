#ifndef KXCMS_BASE_DIAGNOSTICS_H
#define KXCMS_BASE_DIAGNOSTICS_H

#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <new>
#include <string_view>

/// A number as text: its decimal digits, whatever any stream or locale would make of it.
class Decimal {
 public:
  explicit Decimal(std::int64_t number)
      : end_(std::to_chars(std::begin(text_), std::end(text_), number).ptr) {}
  Decimal(const Decimal&) = delete;
  Decimal& operator=(const Decimal&) = delete;
  operator std::string_view() const { return {text_, static_cast<std::size_t>(end_ - text_)}; }

 private:
  char text_[std::numeric_limits<std::int64_t>::digits10 + 2];  // and a sign
  const char* end_;
};

/// Writes a line to standard output, part by part, and flushes it. What the application has set on
/// `std::cout` (base, width, fill, locale) makes no difference to it and stays. Takes no memory.
inline void PrintLine(std::initializer_list<std::string_view> parts) {
  for (const std::string_view part : parts) {
    std::cout.write(part.data(), static_cast<std::streamsize>(part.size()));
  }
  std::cout.put('\n').flush();
}

/// The line on standard error for an allocation failure that an operation survives.
inline void ReportBadAlloc(const std::bad_alloc& failure) {
  std::cerr << "bad_alloc caught: " << failure.what() << '\n';
}

#endif

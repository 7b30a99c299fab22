#include "Digest.h"

#include <charconv>

namespace corpus {

namespace {
constexpr std::size_t kDigits = 16;
}

std::string Hexadecimal(std::uint64_t value) {
  std::string text(kDigits, '0');
  for (std::size_t i = kDigits; value != 0; value >>= 4) text[--i] = "0123456789abcdef"[value & 15];
  return text;
}

std::string Format(const Digests& digests) {
  std::string text;
  for (const auto& [name, value] : digests) text += name + ' ' + Hexadecimal(value) + '\n';
  return text;
}

std::optional<Digests> ParseDigests(std::string_view text) {
  Digests digests;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == text.npos) return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);

    const std::size_t space = line.find(' ');
    if (space == line.npos || space == 0 || line.size() - space - 1 != kDigits) return std::nullopt;
    const char* const last = line.data() + line.size();
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(last - kDigits, last, value, 16);
    if (error != std::errc() || stop != last) return std::nullopt;
    if (!digests.emplace(line.substr(0, space), value).second) return std::nullopt;
  }
  return digests;
}

}  // namespace corpus

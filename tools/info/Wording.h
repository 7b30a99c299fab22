#ifndef KXCMS_TOOLS_INFO_WORDING_H
#define KXCMS_TOOLS_INFO_WORDING_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace kxcms::info {

/// Pages and tags that are told one by one: what is told takes a multiple of the bytes in a file.
constexpr std::size_t kMostShown = 10000;

/// "831 bytes", "24.1 MiB".
std::string HumanBytes(std::uint64_t bytes);

/// A list of numbers with so many decimals each.
std::string Decimals(const nlohmann::ordered_json& numbers, int decimals);

/// One line with its end, whatever names from a file stand in it.
std::string Line(const std::string& text);

}  // namespace kxcms::info

#endif

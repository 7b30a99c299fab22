#ifndef KXCMS_TOOLS_BATCH_RECORDTEXT_H
#define KXCMS_TOOLS_BATCH_RECORDTEXT_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace kxcms::batch {

/// Records keep the order in which they are written down.
using Json = nlohmann::ordered_json;

/// One line without its end. What is not UTF-8 becomes U+FFFD.
std::string TextOf(const Json& record);

/// Sets `key` to a name of a file. Names are bytes: one that is not UTF-8 is shown with U+FFFD in
/// place of what is not, and stands whole, in hexadecimal digits, under `key` with "_hex" appended.
void PutName(Json& record, const char* key, const std::string& name);
/// The name that `PutName` has put; empty where there is none.
std::string NameIn(const Json& record, const char* key);

/// The member of that name, or null, whatever the record is.
const Json& Member(const Json& record, const char* key);
/// Its text, or its number, or nothing of that kind: "" and 0.
std::string StringIn(const Json& record, const char* key);
std::int64_t NumberIn(const Json& record, const char* key);

/// The FNV-1a hash of Fowler, Noll and Vo with 64 bits.
constexpr std::uint64_t Fnv1a64(std::string_view bytes) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char byte : bytes) {
    hash ^= static_cast<unsigned char>(byte);
    hash *= 0x00000100000001B3u;
  }
  return hash;
}

/// 16 hexadecimal digits.
std::string Hexadecimal(std::uint64_t number);

}  // namespace kxcms::batch

#endif

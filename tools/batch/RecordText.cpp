#include "tools/batch/RecordText.h"

#include <cstdio>

namespace kxcms::batch {

namespace {

bool IsUtf8(const std::string& text) {
  try {
    Json(text).dump();
    return true;
  } catch (const Json::type_error&) {  // what the library throws for bytes that are not
    return false;
  }
}

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

}  // namespace

std::string TextOf(const Json& record) {
  return record.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void PutName(Json& record, const char* key, const std::string& name) {
  record[key] = name;
  if (IsUtf8(name)) return;
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 15];
  }
  record[std::string(key) + "_hex"] = digits;
}

std::string NameIn(const Json& record, const char* key) {
  const std::string digits = StringIn(record, (std::string(key) + "_hex").c_str());
  if (digits.empty()) return StringIn(record, key);
  std::string name;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    const int high = DigitValue(digits[i]);
    const int low = DigitValue(digits[i + 1]);
    if (high < 0 || low < 0) return {};
    name += static_cast<char>(high * 16 + low);
  }
  return name;
}

const Json& Member(const Json& record, const char* key) {
  static const Json none;
  if (!record.is_object()) return none;
  const auto found = record.find(key);
  return found == record.end() ? none : *found;
}

std::string StringIn(const Json& record, const char* key) {
  const Json& member = Member(record, key);
  return member.is_string() ? member.get<std::string>() : std::string();
}

std::int64_t NumberIn(const Json& record, const char* key) {
  const Json& member = Member(record, key);
  return member.is_number_integer() ? member.get<std::int64_t>() : 0;
}

std::string Hexadecimal(std::uint64_t number) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(number));
  return text;
}

}  // namespace kxcms::batch

#include "api/Failure.h"

#include <algorithm>
#include <cstring>

namespace kxcms {

namespace {

// What the record had when it was first published: the least that a caller's has.
constexpr std::size_t kErrorBytes = sizeof(kxp_error);

// The four characters of a signature; what is none of ASCII's becomes a question mark.
void WriteSignature(std::uint32_t signature, char* text) {
  for (int n = 0; n < 4; ++n) {
    const auto character = static_cast<unsigned char>(signature >> (24 - 8 * n));
    text[n] = character >= 0x20 && character < 0x7F ? static_cast<char>(character) : '?';
  }
}

void Fill(kxp_status status, const char* message, std::uint32_t tag, std::uint64_t offset,
          kxp_error* error) {
  if (error == nullptr || error->size < kErrorBytes) return;
  error->status = status;
  std::fill(std::begin(error->tag), std::end(error->tag), '\0');
  if (tag != 0) WriteSignature(tag, error->tag);
  error->offset = offset;
  CopyText(message, std::strlen(message), error->message, sizeof error->message);
}

}  // namespace

Failure::Failure(kxp_status why, std::initializer_list<std::string_view> sentence,
                 std::uint32_t where, std::uint64_t at) noexcept
    : status(why), tag(where), offset(at), message{} {
  std::size_t length = 0;
  for (const std::string_view part : sentence) {
    CopyText(part.data(), part.size(), message + length, sizeof message - length);
    length += std::strlen(message + length);
  }
}

void Tell(const Failure& failure, kxp_error* error) noexcept {
  Fill(failure.status, failure.message, failure.tag, failure.offset, error);
}

void TellNoMemory(kxp_error* error) noexcept {
  Fill(KXP_ERROR_MEMORY, "There is not enough memory.", 0, 0, error);
}

void CopyKnown(const void* given, std::size_t leastBytes, const char* name, void* known,
               std::size_t knownBytes) {
  std::size_t givenBytes;
  std::memcpy(&givenBytes, given, sizeof givenBytes);
  const auto refuse = [&](const char* why) {
    throw Failure{KXP_ERROR_ARGUMENT, {"The member size of ", name, why}};
  };
  // More than a page of members is no size of a struct.
  constexpr std::size_t kMostBytes = 4096;
  if (givenBytes < leastBytes) refuse(" is too small: it must be sizeof of the struct.");
  if (givenBytes > kMostBytes) refuse(" is too large: it must be sizeof of the struct.");
  const auto* bytes = static_cast<const unsigned char*>(given);
  if (givenBytes > knownBytes &&
      std::any_of(bytes + knownBytes, bytes + givenBytes, [](unsigned char b) { return b != 0; })) {
    refuse(" is larger than this library knows, and the members past that are not 0.");
  }
  std::memcpy(known, given, std::min(givenBytes, knownBytes));
}

std::string TextOf(std::uint32_t signature) {
  std::string text(signature == 0 ? 0 : 4, ' ');
  if (signature != 0) WriteSignature(signature, text.data());
  return text;
}

void CopyText(const char* from, std::size_t length, char* to, std::size_t capacity) noexcept {
  if (capacity == 0) return;
  if (length > capacity - 1) {
    length = capacity - 1;
    while (length > 0 && (from[length] & 0xC0) == 0x80) --length;
  }
  std::memcpy(to, from, length);
  to[length] = '\0';
}

void Require(bool holds, const char* message) {
  if (!holds) throw Failure{KXP_ERROR_ARGUMENT, {message}};
}

}  // namespace kxcms

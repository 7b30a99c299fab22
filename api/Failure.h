#ifndef KXCMS_API_FAILURE_H
#define KXCMS_API_FAILURE_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "api/pipeline.h"

namespace kxcms {

/// Why a call of the interface is refused. Thrown behind the border, told as a status and a record
/// at it. Made without allocating: a conversion that is refused tells why even when memory is
/// short.
struct Failure {
  /// @param sentence  in parts, without a line end; cut where a record's room ends.
  Failure(kxp_status why, std::initializer_list<std::string_view> sentence, std::uint32_t where = 0,
          std::uint64_t at = 0) noexcept;

  kxp_status status;
  std::uint32_t tag;  ///< of the profile, 0 for none
  std::uint64_t offset;
  char message[sizeof(kxp_error::message)];
};

/// Fills a caller's record; null, or a record of another size, is left alone.
void Tell(const Failure& failure, kxp_error* error) noexcept;
/// The same for exhausted memory, without allocating.
void TellNoMemory(kxp_error* error) noexcept;

/// Runs the body of an interface function, which may return a status. Nothing that it throws gets
/// past the border.
template <typename Body>
kxp_status Guarded(kxp_error* error, const Body& body) noexcept {
  try {
    if constexpr (std::is_void_v<decltype(body())>) {
      body();
      return KXP_OK;
    } else {
      return body();
    }
  } catch (const Failure& failure) {
    Tell(failure, error);
    return failure.status;
  } catch (const std::exception&) {
    // bad_alloc, or length_error for what no allocation can hold.
    TellNoMemory(error);
    return KXP_ERROR_MEMORY;
  }
}

/// What `Known` does, for the bytes of any struct.
void CopyKnown(const void* given, std::size_t leastBytes, const char* name, void* known,
               std::size_t knownBytes);

/// A copy of a caller's struct that begins with its size, as large as this library knows it:
/// members that the caller does not know are 0. Throws Failure for a size below `leastBytes`, and
/// for members that this library does not know and that are not 0.
template <typename Struct>
Struct Known(const Struct* given, std::size_t leastBytes, const char* name) {
  if (given->size == sizeof(Struct)) return *given;
  Struct known{};
  CopyKnown(given, leastBytes, name, &known, sizeof known);
  return known;
}

/// The four characters of a signature; "" for 0.
std::string TextOf(std::uint32_t signature);

/// Copies a text and a zero byte, cut where a character of UTF-8 begins. Nothing into no room.
void CopyText(const char* from, std::size_t length, char* to, std::size_t capacity) noexcept;

/// Throws an argument Failure with this message unless `holds`.
void Require(bool holds, const char* message);

}  // namespace kxcms

#endif

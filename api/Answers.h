#ifndef KXCMS_API_ANSWERS_H
#define KXCMS_API_ANSWERS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "api/Failure.h"

namespace kxcms {

/// The answer to a query by key and index.
struct NoSuchQuestion {};  ///< an unknown key, or an index that there is not
struct NoAnswer {};        ///< a good question that this object has no answer to
/// What is asked can have an answer as a number, as a text, or as both.
struct Value {
  std::optional<double> number;
  std::optional<std::string> text;
};
using Answer = std::variant<NoSuchQuestion, NoAnswer, Value>;

inline Answer Number(double number) {
  return Value{number, std::nullopt};
}
inline Answer Text(std::string text) {
  return Value{std::nullopt, std::move(text)};
}

/// Hands an answer to a caller, as a number or as a text.
kxp_status GiveNumber(const Answer& answer, double* value) noexcept;
kxp_status GiveText(const Answer& answer, char* text, std::size_t capacity,
                    std::size_t* length) noexcept;

}  // namespace kxcms

#endif

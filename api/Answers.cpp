#include "api/Answers.h"

namespace kxcms {

namespace {

// What stands in the way of a value, or KXP_OK.
kxp_status Obstacle(const Answer& answer) {
  if (std::holds_alternative<NoSuchQuestion>(answer)) return KXP_ERROR_ARGUMENT;
  if (std::holds_alternative<NoAnswer>(answer)) return KXP_ERROR_UNSUPPORTED;
  return KXP_OK;
}

}  // namespace

kxp_status GiveNumber(const Answer& answer, double* value) noexcept {
  if (value == nullptr) return KXP_ERROR_ARGUMENT;
  if (const kxp_status obstacle = Obstacle(answer); obstacle != KXP_OK) return obstacle;
  const auto& number = std::get_if<Value>(&answer)->number;
  if (!number) return KXP_ERROR_ARGUMENT;
  *value = *number;
  return KXP_OK;
}

kxp_status GiveText(const Answer& answer, char* text, std::size_t capacity,
                    std::size_t* length) noexcept {
  if (text == nullptr && capacity > 0) return KXP_ERROR_ARGUMENT;
  if (const kxp_status obstacle = Obstacle(answer); obstacle != KXP_OK) return obstacle;
  const auto& given = std::get_if<Value>(&answer)->text;
  if (!given) return KXP_ERROR_ARGUMENT;
  CopyText(given->data(), given->size(), text, capacity);
  if (length != nullptr) *length = given->size();
  return KXP_OK;
}

}  // namespace kxcms

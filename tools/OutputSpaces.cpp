#include "OutputSpaces.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "codes/ColorCodeTable.h"

namespace {

using ICC40::ICCFILE::sRGB;

std::vector<OutputSpace> ListSpaces() {
  std::vector<kxcms::ColorCode> outputs;
  std::copy_if(kxcms::kColorCodes.begin(), kxcms::kColorCodes.end(), std::back_inserter(outputs),
               [](const kxcms::ColorCode& code) {
                 return code.bits == 8 && code.curve != kxcms::EncodingCurve::kNone;
               });
  std::stable_sort(outputs.begin(), outputs.end(), [](const auto& one, const auto& other) {
    const auto rank = [](const kxcms::ColorCode& code) {
      return std::tuple(code.code != sRGB, code.primaries, code.curve);
    };
    return rank(one) < rank(other);
  });
  std::vector<OutputSpace> spaces;
  for (const kxcms::ColorCode& code : outputs) {
    spaces.push_back({code.command, code.code, code.description});
  }
  return spaces;
}

}  // namespace

const std::vector<OutputSpace>& OutputSpaces() {
  static const std::vector<OutputSpace> spaces = ListSpaces();
  return spaces;
}

const OutputSpace* FindOutputSpace(std::string_view name) {
  for (const OutputSpace& space : OutputSpaces()) {
    if (space.name == name) return &space;
  }
  return nullptr;
}

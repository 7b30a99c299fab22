#include "tools/report/Target.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#include "exact/Colorimetry.h"
#include "profile/Models.h"
#include "profile/ProfileReader.h"

namespace kxcms::report {

namespace {

constexpr double kLargest = 65535;
constexpr std::size_t kLevels = 65536;

exact::Conversion RelativeLab(const DeviceProfile& device) {
  const Model toPcs = ModelFor(device, RenderingIntent::kRelative);
  if (toPcs.table == nullptr && toPcs.matrixTrc == nullptr) {
    throw std::invalid_argument("it does not say what its device values look like");
  }
  return {device, exact::Measure::kLab, exact::Options{.intent = RenderingIntent::kRelative}};
}

}  // namespace

LevelConversion::LevelConversion(exact::Conversion conversion)
    : conversion_(std::move(conversion)), alone_(kLevels) {
  for (std::size_t level = 0; level < kLevels; ++level) {
    const double value = static_cast<double>(level) / kLargest;
    alone_[level] = conversion_.Alone({value, value, value});
  }
}

Target::Target(const RgbSpace& space)
    : name_(space.name),
      space_(&space),
      profile_(Profile::BuiltIn(space.name)),
      toPcs_(RgbToPcs(space)),
      linear_(kLevels) {
  for (std::size_t level = 0; level < kLevels; ++level) {
    linear_[level] = exact::DecodeTransfer(space.transfer, static_cast<double>(level) / kLargest);
  }
}

Target::Target(std::string name, std::span<const unsigned char> bytes)
    : name_(std::move(name)),
      profile_(Profile::FromMemory(bytes.data(), bytes.size())),
      device_(std::make_unique<DeviceProfile>(ReadProfile(bytes))),
      toLab_(std::make_unique<LevelConversion>(RelativeLab(*device_))) {}

exact::Destination Target::Exactly() const {
  if (space_ != nullptr) return space_;
  return device_.get();
}

exact::Triple Target::LabOf(const exact::Triple& encoded) const {
  if (space_ == nullptr) return toLab_->conversion().Result(encoded);
  exact::Triple linear;
  for (std::size_t n = 0; n < 3; ++n) {
    linear[n] = exact::DecodeTransfer(space_->transfer, encoded[n]);
  }
  return exact::LabFromXyz(Product(toPcs_, linear));
}

exact::Triple Target::LabOf(const Levels16& levels) const {
  if (space_ == nullptr) return toLab_->Result(levels);
  const Xyz linear = {linear_[levels[0]], linear_[levels[1]], linear_[levels[2]]};
  return exact::LabFromXyz(Product(toPcs_, linear));
}

}  // namespace kxcms::report

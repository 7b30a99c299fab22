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

template <typename Decode>
std::shared_ptr<const std::vector<double>> TableOf(const Decode& decode) {
  std::vector<double> table(65536);
  for (std::size_t level = 0; level < table.size(); ++level) {
    table[level] = decode(static_cast<double>(level) / kLargest);
  }
  return std::make_shared<const std::vector<double>>(std::move(table));
}

}  // namespace

Target::Target(const RgbSpace& space)
    : name_(space.name),
      space_(&space),
      profile_(Profile::BuiltIn(space.name)),
      toPcs_(RgbToPcs(space)) {
  linear_.fill(TableOf([&space](double v) { return exact::DecodeTransfer(space.transfer, v); }));
}

Target::Target(std::string name, std::span<const unsigned char> bytes)
    : name_(std::move(name)),
      profile_(Profile::FromMemory(bytes.data(), bytes.size())),
      device_(std::make_unique<DeviceProfile>(ReadProfile(bytes))) {
  const Model toPcs = ModelFor(*device_, RenderingIntent::kRelative);
  if (toPcs.table == nullptr && toPcs.matrixTrc == nullptr) {
    throw std::invalid_argument("it does not say what its device values look like");
  }
  toLab_ = std::make_unique<exact::Conversion>(
      *device_, exact::Measure::kLab, exact::Options{.intent = RenderingIntent::kRelative});
  if (toPcs.matrixTrc == nullptr) return;
  toPcs_ = toPcs.matrixTrc->matrix;
  for (std::size_t n = 0; n < 3; ++n) {
    const Curve& curve = toPcs.matrixTrc->curves[n];
    linear_[n] = TableOf([&curve](double v) { return exact::Evaluate(curve, v); });
  }
}

exact::Destination Target::Exactly() const {
  if (space_ != nullptr) return space_;
  return device_.get();
}

exact::Triple Target::LabOf(const exact::Triple& encoded) const {
  if (space_ == nullptr) return toLab_->Result(encoded);
  exact::Triple linear;
  for (std::size_t n = 0; n < 3; ++n) {
    linear[n] = exact::DecodeTransfer(space_->transfer, encoded[n]);
  }
  return exact::LabFromXyz(Product(toPcs_, linear));
}

exact::Triple Target::LabOf(const std::array<std::uint16_t, 3>& levels) const {
  if (linear_[0] == nullptr) {
    return toLab_->Result({levels[0] / kLargest, levels[1] / kLargest, levels[2] / kLargest});
  }
  const Xyz linear = {(*linear_[0])[levels[0]], (*linear_[1])[levels[1]], (*linear_[2])[levels[2]]};
  return exact::LabFromXyz(Product(toPcs_, linear));
}

}  // namespace kxcms::report

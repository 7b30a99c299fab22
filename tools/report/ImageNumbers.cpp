#include "tools/report/ImageNumbers.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "exact/Colorimetry.h"
#include "profile/ProfileReader.h"
#include "tools/report/Parallel.h"

namespace kxcms::report {

namespace {

constexpr std::uint32_t kLongestSide = 160;  // of a thumbnail
constexpr std::uint32_t kSwatchColumns = 6, kSwatchRows = 4;
constexpr std::size_t kSurfaceSteps = 40;
// Colours on the surface of the destination are inside, whatever single precision does.
constexpr double kNothing = 1e-4;

// The middle of one of so many parts of a length.
std::uint32_t MiddleOf(std::uint32_t part, std::uint32_t parts, std::uint32_t length) {
  return static_cast<std::uint32_t>((2 * std::uint64_t{part} + 1) * length / (2 * parts));
}

using Levels = std::array<std::uint16_t, 3>;

// What leaves the destination, of a pixel.
struct Beyond {
  bool isOut = false;
  std::array<bool, 3> isLow{}, isHigh{};
};

Pipeline PipelineTo(const Profile& source, const Profile& target, RenderingIntent intent) {
  PipelineOptions options;
  options.intent = static_cast<Intent>(intent);
  return {source, target, options};
}

}  // namespace

class ImageMeter::Work {
 public:
  Work(std::string name, std::span<const unsigned char> bytes, const Question& question,
       std::uint32_t width, std::uint32_t height, unsigned bits)
      : target_(*question.target),
        source_(Profile::FromMemory(bytes.data(), bytes.size())),
        convert_(PipelineTo(source_, target_.profile(), question.intent)),
        toXyz_(PipelineTo(source_, Profile::BuiltIn("xyz"), question.intent)),
        largest_(bits == 8 ? 255 : 65535) {
    numbers_.name = std::move(name);
    numbers_.width = width;
    numbers_.height = height;
    numbers_.bits = bits;
    if (target_.space() != nullptr) {
      pcsToLinear_ = Inverse(RgbToPcs(*target_.space()));
    } else {
      gamut_.emplace(
          DeviceSurface([this](const Triple& d) { return target_.LabOf(d); }, kSurfaceSteps));
      const bool isAbsolute = question.intent == RenderingIntent::kAbsolute;
      if (isAbsolute) white_ = target_.mediaWhite();
    }
    const bool isSrgb =
        target_.space() != nullptr && std::string_view(target_.space()->name) == "srgb";
    if (!isSrgb) {
      toScreen_.emplace(
          PipelineTo(target_.profile(), Profile::BuiltIn("srgb"), RenderingIntent::kRelative));
    }
    const double scale = std::min(1.0, static_cast<double>(kLongestSide) / std::max(width, height));
    const auto side = [scale](std::uint32_t length) {
      return std::max(1u, static_cast<std::uint32_t>(length * scale));
    };
    for (Thumbnail* thumbnail : {&numbers_.before, &numbers_.after, &numbers_.gamutMap}) {
      thumbnail->width = side(width);
      thumbnail->height = side(height);
      thumbnail->rgb.resize(3 * thumbnail->width * thumbnail->height);
    }
    cellPixels_.resize(numbers_.before.width * numbers_.before.height);
    cellOut_.resize(cellPixels_.size());
    numbers_.swatches.resize(kSwatchColumns * kSwatchRows);
  }

  void Add(const ConstImage& rows) {
    const auto width = static_cast<std::uint32_t>(rows.width());
    const std::size_t pixels = rows.width() * rows.height();
    ConvertOptions options;
    options.threads = std::thread::hardware_concurrency();
    xyz_.resize(3 * pixels);
    toXyz_.Convert(rows, Rgb(xyz_.data(), rows.width(), rows.height()), options);
    if (numbers_.bits == 8) {
      Read<std::uint8_t>(rows, options);
    } else {
      Read<std::uint16_t>(rows, options);
    }
    FindBeyond(pixels);
    for (std::size_t row = 0; row < rows.height(); ++row, ++row_) {
      for (std::uint32_t x = 0; x < width; ++x) Count(x, row * width + x);
      TakeThumbnails(row * width);
      TakeSwatches(row * width);
    }
  }

  ImageNumbers Numbers() const {
    ImageNumbers numbers = numbers_;
    for (std::size_t c = 0; c < 3; ++c) {
      numbers.channels[c].levelsBefore = seenBefore_[c].count();
      numbers.channels[c].levelsAfter = seenAfter_[c].count();
    }
    for (std::size_t cell = 0; cell < cellPixels_.size(); ++cell) {
      const double share = cellPixels_[cell] == 0 ? 0
                                                  : static_cast<double>(cellOut_[cell]) /
                                                        static_cast<double>(cellPixels_[cell]);
      // Grey for what stays, red for what does not.
      const std::array<double, 3> kInside = {200, 200, 200}, kOutside = {208, 0, 32};
      for (std::size_t c = 0; c < 3; ++c) {
        numbers.gamutMap.rgb[3 * cell + c] = static_cast<std::uint8_t>(
            std::floor(kInside[c] + share * (kOutside[c] - kInside[c]) + 0.5));
      }
    }
    return numbers;
  }

 private:
  template <typename Sample>
  void Read(const ConstImage& rows, const ConvertOptions& options) {
    const std::size_t width = rows.width(), pixels = width * rows.height();
    std::vector<Sample> results(3 * pixels);
    convert_.Convert(rows, Rgb(results.data(), width, rows.height()), options);
    before_.resize(pixels);
    after_.resize(pixels);
    for (std::size_t n = 0; n < pixels; ++n) {
      for (std::size_t c = 0; c < 3; ++c) {
        const auto* at = static_cast<const unsigned char*>(rows.channel(c)) +
                         static_cast<std::ptrdiff_t>(n / width) * rows.rowStride() +
                         static_cast<std::ptrdiff_t>(n % width) * rows.pixelStride();
        Sample value;
        std::memcpy(&value, at, sizeof value);
        before_[n][c] = value;
        after_[n][c] = results[3 * n + c];
      }
    }
  }

  void FindBeyond(std::size_t pixels) {
    beyond_.assign(pixels, {});
    constexpr std::size_t kPart = 4096;
    ForEach((pixels + kPart - 1) / kPart, 0, [&](std::size_t part) {
      const std::size_t end = std::min((part + 1) * kPart, pixels);
      for (std::size_t n = part * kPart; n < end; ++n) beyond_[n] = BeyondOf(n);
    });
  }

  Beyond BeyondOf(std::size_t n) const {
    const Xyz xyz = {xyz_[3 * n], xyz_[3 * n + 1], xyz_[3 * n + 2]};
    Beyond beyond;
    if (!gamut_) {
      const Triple linear = Product(pcsToLinear_, xyz);
      for (std::size_t c = 0; c < 3; ++c) {
        beyond.isLow[c] = linear[c] < -kNothing;
        beyond.isHigh[c] = linear[c] > 1 + kNothing;
        beyond.isOut = beyond.isOut || beyond.isLow[c] || beyond.isHigh[c];
      }
      return beyond;
    }
    beyond.isOut =
        !gamut_->Contains(exact::LabFromXyz(exact::ToOtherMedium(xyz, kPcsWhite, white_)));
    for (std::size_t c = 0; c < 3; ++c) {
      beyond.isLow[c] = beyond.isOut && after_[n][c] == 0;
      beyond.isHigh[c] = beyond.isOut && after_[n][c] == largest_;
    }
    return beyond;
  }

  void Count(std::uint32_t x, std::size_t n) {
    const unsigned dropped = numbers_.bits - 8;
    const Beyond& beyond = beyond_[n];
    for (std::size_t c = 0; c < 3; ++c) {
      ChannelNumbers& channel = numbers_.channels[c];
      ++channel.before[before_[n][c] >> dropped];
      ++channel.after[after_[n][c] >> dropped];
      seenBefore_[c].set(before_[n][c]);
      seenAfter_[c].set(after_[n][c]);
      channel.clippedLow += beyond.isLow[c] ? 1 : 0;
      channel.clippedHigh += beyond.isHigh[c] ? 1 : 0;
    }
    const Thumbnail& map = numbers_.gamutMap;
    const std::size_t cell = std::uint64_t{row_} * map.height / numbers_.height * map.width +
                             std::uint64_t{x} * map.width / numbers_.width;
    ++cellPixels_[cell];
    if (beyond.isOut) {
      ++cellOut_[cell];
      ++numbers_.outOfGamut;
    }
  }

  std::array<std::uint8_t, 3> Shown8(const Levels& levels) const {
    std::array<std::uint8_t, 3> shown;
    for (std::size_t c = 0; c < 3; ++c) {
      shown[c] = static_cast<std::uint8_t>(std::floor(levels[c] * 255.0 / largest_ + 0.5));
    }
    return shown;
  }

  std::array<std::uint8_t, 3> OnScreen(const Levels& result) const {
    std::array<std::uint8_t, 3> shown = Shown8(result);
    if (toScreen_) {
      const auto pixel = Rgb(shown.data(), 1, 1);
      toScreen_->Convert(pixel, pixel);
    }
    return shown;
  }

  // Of a row that the thumbnails show, or the swatches, every pixel that they show.
  void TakeThumbnails(std::size_t begin) {
    const auto columns = static_cast<std::uint32_t>(numbers_.before.width);
    const auto lines = static_cast<std::uint32_t>(numbers_.before.height);
    const auto line = static_cast<std::uint32_t>(std::uint64_t{row_} * lines / numbers_.height);
    for (const std::uint32_t near : {line, line + 1}) {
      if (near >= lines || MiddleOf(near, lines, numbers_.height) != row_) continue;
      for (std::uint32_t column = 0; column < columns; ++column) {
        const std::size_t n = begin + MiddleOf(column, columns, numbers_.width);
        const auto before = Shown8(before_[n]), after = OnScreen(after_[n]);
        const std::size_t at = 3 * (std::size_t{near} * columns + column);
        std::copy(before.begin(), before.end(), numbers_.before.rgb.begin() + Offset(at));
        std::copy(after.begin(), after.end(), numbers_.after.rgb.begin() + Offset(at));
      }
    }
  }

  void TakeSwatches(std::size_t begin) {
    for (std::uint32_t line = 0; line < kSwatchRows; ++line) {
      if (MiddleOf(line, kSwatchRows, numbers_.height) != row_) continue;
      for (std::uint32_t column = 0; column < kSwatchColumns; ++column) {
        const std::uint32_t x = MiddleOf(column, kSwatchColumns, numbers_.width);
        const std::size_t n = begin + x;
        numbers_.swatches[line * kSwatchColumns + column] = {
            x, row_, before_[n], after_[n], Shown8(before_[n]), OnScreen(after_[n])};
      }
    }
  }

  static std::ptrdiff_t Offset(std::size_t at) { return static_cast<std::ptrdiff_t>(at); }

  const Target& target_;
  Profile source_;
  Pipeline convert_, toXyz_;
  std::optional<Pipeline> toScreen_;
  std::uint16_t largest_;
  Matrix3 pcsToLinear_{};       // of a built-in space
  std::optional<Solid> gamut_;  // of a profile
  Xyz white_ = kPcsWhite;
  ImageNumbers numbers_;
  std::uint32_t row_ = 0;
  std::vector<float> xyz_;
  std::vector<Levels> before_, after_;
  std::vector<Beyond> beyond_;
  std::array<std::bitset<65536>, 3> seenBefore_, seenAfter_;
  std::vector<std::uint64_t> cellPixels_, cellOut_;
};

ImageMeter::ImageMeter(std::string name, std::span<const unsigned char> profile,
                       const Question& question, std::uint32_t width, std::uint32_t height,
                       unsigned bits)
    : work_(std::make_unique<Work>(std::move(name), profile, question, width, height, bits)) {}

ImageMeter::~ImageMeter() = default;

void ImageMeter::Add(const ConstImage& rows) {
  work_->Add(rows);
}

ImageNumbers ImageMeter::Numbers() const {
  return work_->Numbers();
}

}  // namespace kxcms::report

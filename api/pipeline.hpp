/** @file
 * KXCMS: the pipeline interface in C++17, in a header alone. What a conversion means, which
 * profiles it takes and how precise it is, kxcms/pipeline.h tells.
 *
 *     const auto scanner = kxcms::Profile::Open("scanner.icc");
 *     const kxcms::Pipeline pipeline(scanner, kxcms::Profile::BuiltIn("srgb"));
 *     const auto image = kxcms::Rgb(pixels, width, height);  // std::uint8_t* pixels
 *     pipeline.Convert(image, image);
 *
 * Errors. Functions that can fail come in two forms: one throws kxcms::Error, and one whose name
 * begins with Try returns a kxcms::Result, which holds what is wanted or the kxcms::ErrorRecord
 * that Error carries. The Try functions allocate nothing to tell of an error. Other exceptions are
 * those of the standard library (std::bad_alloc where a text or a list finds no memory) and those
 * of the caller's own callbacks.
 *
 * Ownership. A Profile and a Pipeline own one reference of an object that never changes; they are
 * moved, and shared by Share(), which copies nothing. An object that was moved from may be assigned
 * to and destroyed; anything else asked of it is refused with KXP_ERROR_ARGUMENT. An Image borrows
 * its samples.
 *
 * Threads. Const functions may be called from any number of threads at once, on the same object.
 */
#ifndef KXCMS_API_PIPELINE_HPP
#define KXCMS_API_PIPELINE_HPP

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>
#if __has_include(<version>)
#include <version>
#endif
#ifdef __cpp_lib_span
#include <span>
#endif

#include "pipeline.h"

namespace kxcms {

/* ---- Errors ---------------------------------------------------------------------------------- */

/// What is wrong. Copying it cannot fail.
class ErrorRecord {
 public:
  /// Of a status alone, with its short text for a message.
  explicit ErrorRecord(kxp_status status) noexcept : ErrorRecord(status, kxp_status_text(status)) {}
  /// @param status   any but KXP_OK.
  /// @param message  one sentence; what does not fit is cut.
  ErrorRecord(kxp_status status, std::string_view message) noexcept : record_{} {
    record_.status = status;
    message.copy(record_.message, sizeof record_.message - 1);
  }
  /// Of the library's own record.
  explicit ErrorRecord(const kxp_error& record) noexcept : record_(record) {}

  /// @return any but KXP_OK. Later libraries may have statuses that this header does not name.
  kxp_status status() const noexcept { return record_.status; }
  /// @return the signature of the profile's tag that is concerned, "" for none.
  std::string_view tag() const noexcept { return record_.tag; }
  /// @return where in the profile it is, in bytes from its start; 0 for nowhere.
  std::uint64_t offset() const noexcept { return record_.offset; }
  /// @return one English sentence.
  std::string_view message() const noexcept { return record_.message; }

 private:
  kxp_error record_;
};

/// What is thrown. what() is the record's message.
class Error : public std::runtime_error {
 public:
  /// Carries this record.
  explicit Error(const ErrorRecord& record)
      : std::runtime_error(std::string(record.message())), record_(record) {}

  /// @return the whole record.
  const ErrorRecord& record() const noexcept { return record_; }
  /// @return as ErrorRecord.
  kxp_status status() const noexcept { return record_.status(); }
  /// @return as ErrorRecord.
  std::string_view tag() const noexcept { return record_.tag(); }
  /// @return as ErrorRecord.
  std::uint64_t offset() const noexcept { return record_.offset(); }

 private:
  ErrorRecord record_;
};

/// A value, or why there is none.
template <typename T>
class [[nodiscard]] Result {
 public:
  /// Holds the value.
  Result(T value) noexcept(std::is_nothrow_move_constructible_v<T>) : held_(std::move(value)) {}
  /// Holds the error.
  Result(const ErrorRecord& error) noexcept : held_(error) {}

  /// @return whether there is a value.
  bool ok() const noexcept { return held_.index() == 0; }
  /// The same.
  explicit operator bool() const noexcept { return ok(); }
  /// @return the value. Throws Error if there is none.
  T& value() & {
    Require();
    return *std::get_if<T>(&held_);
  }
  /// @return as above.
  const T& value() const& {
    Require();
    return *std::get_if<T>(&held_);
  }
  /// @return as above.
  T value() && {
    Require();
    return std::move(*std::get_if<T>(&held_));
  }
  /// @return why there is no value; only then may it be asked.
  const ErrorRecord& error() const noexcept { return *std::get_if<ErrorRecord>(&held_); }

 private:
  void Require() const {
    if (!ok()) throw Error(error());
  }

  std::variant<T, ErrorRecord> held_;
};

/// Success, or why not.
template <>
class [[nodiscard]] Result<void> {
 public:
  /// Holds success.
  Result() noexcept = default;
  /// Holds the error.
  Result(const ErrorRecord& error) noexcept : error_(error) {}

  /// @return whether it is success.
  bool ok() const noexcept { return !error_; }
  /// The same.
  explicit operator bool() const noexcept { return ok(); }
  /// Throws Error unless it is success.
  void value() const {
    if (error_) throw Error(*error_);
  }
  /// @return why not; only without success may it be asked.
  const ErrorRecord& error() const noexcept { return *error_; }

 private:
  std::optional<ErrorRecord> error_;
};

/* ---- What has names -------------------------------------------------------------------------- */

/// Rendering intents (ICC.1:2010 7.2.15).
enum class Intent : std::uint32_t {
  kPerceptual = KXP_PERCEPTUAL,  ///< perceptual
  kRelative = KXP_RELATIVE,      ///< media-relative colorimetric
  kSaturation = KXP_SATURATION,  ///< saturation
  kAbsolute = KXP_ABSOLUTE       ///< ICC-absolute colorimetric
};

/// How the pixels are computed.
enum class Method : std::uint32_t {
  kPrecise = KXP_PRECISE,  ///< the nearest results
  kFixed = KXP_FIXED       ///< the bits of the fixed interface; samples of 8 and 16 bits only
};

/// One sample of IEEE 754 binary16, by its bits.
enum class Half : std::uint16_t {};

/// A built-in space.
struct Space {
  std::string_view name;         ///< what Profile::BuiltIn takes; static storage
  std::string_view description;  ///< one line; static storage
};

/// No part of the interface.
namespace detail {

/// A record for a function of C to fill.
class Recorder {
 public:
  Recorder() noexcept : error_{} { error_.size = sizeof error_; }
  kxp_error* get() noexcept { return &error_; }
  /// @return what was recorded with this status, or else the status alone.
  ErrorRecord Told(kxp_status status) const noexcept {
    return error_.status == status ? ErrorRecord(error_) : ErrorRecord(status);
  }

 private:
  kxp_error error_;
};

inline void Throw(kxp_status status) {
  if (status != KXP_OK) throw Error(ErrorRecord(status));
}

/// Owns one reference of an object.
template <typename Object, Object* (*retain)(Object*), void (*release)(Object*)>
class Handle {
 public:
  explicit Handle(Object* owned) noexcept : object_(owned) {}
  Handle(Handle&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    if (this != &other) release(std::exchange(object_, std::exchange(other.object_, nullptr)));
    return *this;
  }
  ~Handle() { release(object_); }

  Object* get() const noexcept { return object_; }
  Handle Share() const noexcept { return Handle(retain(object_)); }

 private:
  Object* object_;
};

/// A number of an object; none where it has no such number. Throws Error for anything else.
template <typename Object>
std::optional<double> Number(kxp_status (*ask)(const Object*, std::uint32_t, std::uint32_t,
                                               double*),
                             const Object* object, std::uint32_t key, std::uint32_t index) {
  double value = 0;
  const kxp_status status = ask(object, key, index, &value);
  if (status == KXP_ERROR_UNSUPPORTED) return std::nullopt;
  Throw(status);
  return value;
}

/// A text of an object, likewise.
template <typename Object>
std::optional<std::string> Text(kxp_status (*ask)(const Object*, std::uint32_t, std::uint32_t,
                                                  char*, std::size_t, std::size_t*),
                                const Object* object, std::uint32_t key, std::uint32_t index) {
  std::size_t length = 0;
  const kxp_status status = ask(object, key, index, nullptr, 0, &length);
  if (status == KXP_ERROR_UNSUPPORTED) return std::nullopt;
  Throw(status);
  std::string text(length + 1, '\0');
  Throw(ask(object, key, index, text.data(), text.size(), nullptr));
  text.resize(length);
  return text;
}

template <typename T>
inline constexpr bool kIsNoSample = false;

/// KXP_U8 and so on by the type that a program has its samples in.
template <typename T>
constexpr std::uint32_t SampleOf() {
  if constexpr (std::is_same_v<T, std::uint8_t>) {
    return KXP_U8;
  } else if constexpr (std::is_same_v<T, std::uint16_t>) {
    return KXP_U16;
  } else if constexpr (std::is_same_v<T, Half>) {
    return KXP_F16;
  } else if constexpr (std::is_same_v<T, float>) {
    return KXP_F32;
  } else {
    static_assert(kIsNoSample<T>, "samples are std::uint8_t, std::uint16_t, kxcms::Half or float");
  }
}

}  // namespace detail

/// @return the version of the library that is loaded, "1.0.0"; static storage.
inline std::string_view LibraryVersion() noexcept {
  return kxp_version();
}

/// @return the instruction-set level of the conversions, see kxp_level; static storage.
inline std::string_view Level() noexcept {
  return kxp_level();
}

/// @return all built-in spaces.
inline std::vector<Space> Spaces() {
  std::vector<Space> spaces(kxp_space_count());
  for (std::size_t n = 0; n < spaces.size(); ++n) {
    spaces[n] = {kxp_space_name(n), kxp_space_description(n)};
  }
  return spaces;
}

/* ---- Profiles -------------------------------------------------------------------------------- */

/// What a profile uses as a source with an intent. Counts are those of the channels R, G, B.
struct SourceTag {
  std::string tag;                            ///< "A2B0" to "A2B2" or "matrix"
  bool isFallback;                            ///< it is not the tag of the intent
  std::array<std::uint32_t, 3> gridPoints;    ///< 0 without a grid
  std::array<std::uint32_t, 3> inputEntries;  ///< of the first curve; 0 for a formula
  /// Of the last curve, on the side of the PCS; 0 for none.
  std::array<std::uint32_t, 3> outputEntries;
};

/// What a profile would use as a destination with an intent.
struct DestinationTag {
  std::string tag;  ///< "B2A0" to "B2A2" or "matrix"; "" if it cannot be one
  bool isFallback;  ///< it is not the tag of the intent
};

/// An ICC profile or a built-in space.
///
/// Texts are UTF-8. "lab" and "xyz" have a description and nothing else: texts and lists of theirs
/// are empty, numbers 0. All queries throw Error, and only for an object that was moved from, or
/// where memory is short.
class Profile {
 public:
  /// Reads a profile from a file. @return the profile; throws Error.
  static Profile Open(const std::filesystem::path& path) { return TryOpen(path).value(); }
  /// @return the same as a value.
  static Result<Profile> TryOpen(const std::filesystem::path& path) noexcept {
    return Made([&](kxp_profile** made, kxp_error* error) {
      return kxp_profile_open(path.c_str(), made, error);
    });
  }

  /// Reads a profile from memory, which is not needed afterwards.
  /// @param bytes  the profile. @param sizeBytes  their number. @return the profile; throws Error.
  static Profile FromMemory(const void* bytes, std::size_t sizeBytes) {
    return TryFromMemory(bytes, sizeBytes).value();
  }
  /// @return the same as a value.
  static Result<Profile> TryFromMemory(const void* bytes, std::size_t sizeBytes) noexcept {
    return Made([&](kxp_profile** made, kxp_error* error) {
      return kxp_profile_from_memory(bytes, sizeBytes, made, error);
    });
  }
#ifdef __cpp_lib_span
  /// @return the same of a span of bytes; throws Error.
  static Profile FromMemory(std::span<const std::byte> bytes) {
    return FromMemory(bytes.data(), bytes.size());
  }
  /// @return the same of a span of bytes; throws Error.
  static Profile FromMemory(std::span<const std::uint8_t> bytes) {
    return FromMemory(bytes.data(), bytes.size());
  }
  /// @return the same as a value.
  static Result<Profile> TryFromMemory(std::span<const std::byte> bytes) noexcept {
    return TryFromMemory(bytes.data(), bytes.size());
  }
  /// @return the same as a value.
  static Result<Profile> TryFromMemory(std::span<const std::uint8_t> bytes) noexcept {
    return TryFromMemory(bytes.data(), bytes.size());
  }
#endif

  /// Takes a built-in space. @param name  one of Spaces(). @return the space; throws Error.
  static Profile BuiltIn(const std::string& name) {
    return TryBuiltIn(name).value();
  }
  /// @return the same as a value.
  static Result<Profile> TryBuiltIn(const std::string& name) noexcept {
    return Made([&](kxp_profile** made, kxp_error* error) {
      return kxp_profile_builtin(name.c_str(), made, error);
    });
  }

  /// Takes over a reference that the caller owns. @return its owner.
  static Profile Adopt(kxp_profile* owned) noexcept {
    return Profile(Owner(owned));
  }
  /// @return another owner of the same object.
  Profile Share() const noexcept {
    return Profile(owner_.Share());
  }
  /// @return the object for functions of C, borrowed; null after a move.
  kxp_profile* get() const noexcept {
    return owner_.get();
  }

  /// @return the size in bytes; 0 for a built-in space.
  std::uint64_t sizeBytes() const {
    return Count(KXP_SIZE);
  }
  /// @return "4.3.0".
  std::string version() const {
    return Text(KXP_VERSION);
  }
  /// @return "scnr", "mntr", "prtr" or "spac".
  std::string deviceClass() const {
    return Text(KXP_CLASS);
  }
  /// @return "RGB ".
  std::string colorSpace() const {
    return Text(KXP_COLOR_SPACE);
  }
  /// @return "Lab " or "XYZ ".
  std::string pcs() const {
    return Text(KXP_PCS);
  }
  /// @return the description, in English where there is English; a built-in space's name.
  std::string description() const {
    return Text(KXP_DESCRIPTION);
  }
  /// @return the copyright.
  std::string copyright() const {
    return Text(KXP_COPYRIGHT);
  }
  /// @return a signature, "" for none.
  std::string manufacturer() const {
    return Text(KXP_MANUFACTURER);
  }
  /// @return a signature, "" for none.
  std::string model() const {
    return Text(KXP_MODEL);
  }
  /// @return a signature, "" for none.
  std::string creator() const {
    return Text(KXP_CREATOR);
  }
  /// @return the intent in the header, as it stands there.
  std::uint32_t headerIntent() const {
    return static_cast<std::uint32_t>(Count(KXP_HEADER_INTENT));
  }
  /// @return the media white, XYZ relative to Y = 1; D50 where a profile has none.
  std::array<double, 3> white() const {
    return Numbers<3>(KXP_WHITE).value_or(std::array<double, 3>{});
  }
  /// @return the media black, XYZ; none without a bkpt tag.
  std::optional<std::array<double, 3>> black() const {
    return Numbers<3>(KXP_BLACK);
  }
  /// @return the chromatic adaptation, row by row; none without a chad tag.
  std::optional<std::array<double, 9>> adaptation() const {
    return Numbers<9>(KXP_ADAPTATION);
  }
  /// @return the signatures of all tags, in the file's order.
  std::vector<std::string> tags() const {
    std::vector<std::string> tags(static_cast<std::size_t>(Count(KXP_TAG_COUNT)));
    for (std::size_t n = 0; n < tags.size(); ++n) {
      tags[n] = Text(KXP_TAG, static_cast<std::uint32_t>(n));
    }
    return tags;
  }
  /// @return what is used as a source with this intent.
  SourceTag sourceTag(Intent intent) const {
    const auto index = static_cast<std::uint32_t>(intent);
    return {Text(KXP_INTENT_TAG, index), Count(KXP_INTENT_FALLBACK, index) != 0,
            Channels(KXP_GRID, index), Channels(KXP_INPUT_ENTRIES, index),
            Channels(KXP_OUTPUT_ENTRIES, index)};
  }
  /// @return what would be used as a destination with this intent.
  DestinationTag destinationTag(Intent intent) const {
    const auto index = static_cast<std::uint32_t>(intent);
    return {Text(KXP_DESTINATION_TAG, index), Count(KXP_DESTINATION_FALLBACK, index) != 0};
  }

  /// The bytes of an ICC profile that says what a built-in space is, to tag results with.
  /// @param version  2 or 4; 0 is 4.
  /// @return the bytes, the same ones always; throws Error for what cannot be written.
  std::vector<std::uint8_t> Write(std::uint32_t version = 0) const {
    return TryWrite(version).value();
  }
  /// @return the same as a value.
  Result<std::vector<std::uint8_t>> TryWrite(std::uint32_t version = 0) const {
    std::size_t size = 0;
    detail::Recorder recorder;
    kxp_status status = kxp_profile_write(get(), version, nullptr, 0, &size, recorder.get());
    if (status != KXP_OK) return recorder.Told(status);
    std::vector<std::uint8_t> bytes(size);
    status = kxp_profile_write(get(), version, bytes.data(), size, &size, recorder.get());
    if (status != KXP_OK) return recorder.Told(status);
    return bytes;
  }

 private:
  using Owner = detail::Handle<kxp_profile, kxp_profile_retain, kxp_profile_release>;

  explicit Profile(Owner owner) noexcept : owner_(std::move(owner)) {}

  template <typename Make>
  static Result<Profile> Made(const Make& make) noexcept {
    kxp_profile* made = nullptr;
    detail::Recorder recorder;
    const kxp_status status = make(&made, recorder.get());
    if (status != KXP_OK) return recorder.Told(status);
    return Adopt(made);
  }

  std::optional<double> Number(std::uint32_t key, std::uint32_t index = 0) const {
    return detail::Number<kxp_profile>(kxp_profile_number, get(), key, index);
  }
  std::string Text(std::uint32_t key, std::uint32_t index = 0) const {
    return detail::Text<kxp_profile>(kxp_profile_text, get(), key, index).value_or("");
  }
  std::uint64_t Count(std::uint32_t key, std::uint32_t index = 0) const {
    return static_cast<std::uint64_t>(Number(key, index).value_or(0));
  }
  template <std::size_t N>
  std::optional<std::array<double, N>> Numbers(std::uint32_t key) const {
    std::array<double, N> numbers{};
    for (std::size_t n = 0; n < N; ++n) {
      const auto number = Number(key, static_cast<std::uint32_t>(n));
      if (!number) return std::nullopt;
      numbers[n] = *number;
    }
    return numbers;
  }
  std::array<std::uint32_t, 3> Channels(std::uint32_t key, std::uint32_t intent) const {
    std::array<std::uint32_t, 3> counts{};
    for (std::uint32_t n = 0; n < 3; ++n) {
      counts[n] = static_cast<std::uint32_t>(Count(key, 3 * intent + n));
    }
    return counts;
  }

  Owner owner_;
};

/* ---- Images ---------------------------------------------------------------------------------- */

/// Where the samples of an image are; borrowed. `Void` is const void for one that is only read.
/// Made by Rgb, Rgba, Bgr, Bgra and Planar, or from the parts; changed by functions that return
/// another description of the same samples. Distances are in bytes and may be negative.
template <typename Void>
class BasicImage {
 public:
  /// Any layout. @param r  the first R sample of the first row. @param g  the first G sample.
  /// @param b  the first B sample. @param a  the first alpha sample, or null for none.
  /// @param sample  KXP_U8 and so on. @param width  pixels of a row. @param height  rows.
  /// @param pixelStride  from a pixel to the next one of its row.
  /// @param rowStride  from a row to the next one.
  BasicImage(Void* r, Void* g, Void* b, Void* a, std::uint32_t sample, std::size_t width,
             std::size_t height, std::ptrdiff_t pixelStride, std::ptrdiff_t rowStride) noexcept
      : channels_{r, g, b, a},
        sample_(sample),
        width_(width),
        height_(height),
        pixelStride_(pixelStride),
        rowStride_(rowStride) {}
  /// What may be written may be read.
  template <typename Other, typename = std::enable_if_t<std::is_void_v<Other> &&
                                                        std::is_convertible_v<Other*, Void*>>>
  BasicImage(const BasicImage<Other>& other) noexcept
      : channels_{other.channel(0), other.channel(1), other.channel(2), other.channel(3)},
        sample_(other.sample()),
        flags_(other.flags()),
        width_(other.width()),
        height_(other.height()),
        pixelStride_(other.pixelStride()),
        rowStride_(other.rowStride()) {}

  /// @return the first sample of channel 0 to 3: R, G, B, alpha (null for none).
  Void* channel(std::size_t n) const noexcept { return channels_[n]; }
  /// @return KXP_U8 and so on.
  std::uint32_t sample() const noexcept { return sample_; }
  /// @return KXP_ASSOCIATED_ALPHA and KXP_OPAQUE.
  std::uint32_t flags() const noexcept { return flags_; }
  /// @return pixels of a row.
  std::size_t width() const noexcept { return width_; }
  /// @return rows.
  std::size_t height() const noexcept { return height_; }
  /// @return bytes from a pixel to the next one of its row.
  std::ptrdiff_t pixelStride() const noexcept { return pixelStride_; }
  /// @return bytes from a row to the next one.
  std::ptrdiff_t rowStride() const noexcept { return rowStride_; }

  /// @return with rows so many bytes apart, not 0.
  BasicImage WithRowStride(std::ptrdiff_t bytes) const noexcept {
    BasicImage image = *this;
    image.rowStride_ = bytes;
    return image;
  }
  /// @return with pixels so many bytes apart, not 0; rows stay where they are.
  BasicImage WithPixelStride(std::ptrdiff_t bytes) const noexcept {
    BasicImage image = *this;
    image.pixelStride_ = bytes;
    return image;
  }
  /// @return with colour samples that are multiplied by alpha (premultiplied).
  BasicImage Associated() const noexcept { return WithFlag(KXP_ASSOCIATED_ALPHA); }
  /// @return a destination whose alpha is written as 1 whatever the source says.
  BasicImage Opaque() const noexcept { return WithFlag(KXP_OPAQUE); }
  /// @return with a fourth sample that is neither read nor written.
  BasicImage WithoutAlpha() const noexcept {
    BasicImage image = *this;
    image.channels_[3] = nullptr;
    return image;
  }
  /// @return from the last row to the first.
  BasicImage FlippedVertically() const noexcept {
    if (height_ == 0) return *this;
    BasicImage image = Moved(Offset(height_ - 1, rowStride_));
    image.rowStride_ = -rowStride_;
    return image;
  }
  /// A part. @param x  columns to its left. @param y  rows above it. @param width  its columns.
  /// @param height  its rows. @return the part; throws Error if it is not within.
  BasicImage Part(std::size_t x, std::size_t y, std::size_t width, std::size_t height) const {
    if (x > width_ || width > width_ - x || y > height_ || height > height_ - y) {
      throw Error(ErrorRecord(KXP_ERROR_ARGUMENT, "The part lies outside of its image."));
    }
    BasicImage image = Moved(Offset(x, pixelStride_) + Offset(y, rowStride_));
    image.width_ = width;
    image.height_ = height;
    return image;
  }

 private:
  using Byte = std::conditional_t<std::is_const_v<Void>, const unsigned char, unsigned char>;

  static std::ptrdiff_t Offset(std::size_t count, std::ptrdiff_t stride) noexcept {
    return static_cast<std::ptrdiff_t>(count) * stride;
  }
  BasicImage WithFlag(std::uint32_t flag) const noexcept {
    BasicImage image = *this;
    image.flags_ |= flag;
    return image;
  }
  BasicImage Moved(std::ptrdiff_t bytes) const noexcept {
    BasicImage image = *this;
    for (Void*& channel : image.channels_) {
      if (channel != nullptr) channel = static_cast<Byte*>(channel) + bytes;
    }
    return image;
  }

  std::array<Void*, 4> channels_;
  std::uint32_t sample_;
  std::uint32_t flags_ = 0;
  std::size_t width_, height_;
  std::ptrdiff_t pixelStride_, rowStride_;
};

/// An image that may be written.
using Image = BasicImage<void>;
/// An image that is only read.
using ConstImage = BasicImage<const void>;

/// Image, or ConstImage for const samples.
template <typename Sample>
using ImageOf = BasicImage<std::conditional_t<std::is_const_v<Sample>, const void, void>>;

namespace detail {

/// Interleaved samples, R, G, B and alpha at these places of a pixel; no alpha where a is negative.
template <typename Sample>
ImageOf<Sample> Interleaved(Sample* pixels, std::size_t width, std::size_t height, int r, int g,
                            int b, int a) noexcept {
  const auto pixelStride = static_cast<std::ptrdiff_t>((a < 0 ? 3 : 4) * sizeof(Sample));
  return {pixels + r,
          pixels + g,
          pixels + b,
          a < 0 ? nullptr : pixels + a,
          SampleOf<std::remove_const_t<Sample>>(),
          width,
          height,
          pixelStride,
          static_cast<std::ptrdiff_t>(width) * pixelStride};
}

#ifdef __cpp_lib_span
/// The first of enough samples; throws Error where they are not.
template <typename Sample>
Sample* Enough(std::span<Sample> samples, std::size_t width, std::size_t height,
               std::size_t channels) {
  if (width != 0 && height > samples.size() / channels / width) {
    throw Error(ErrorRecord(KXP_ERROR_ARGUMENT, "The span is shorter than the image."));
  }
  return samples.data();
}
#endif

}  // namespace detail

// Sample is std::uint8_t, std::uint16_t, kxcms::Half or float, const or not.

/// Packed pixels R, G, B. @return their description.
template <typename Sample>
ImageOf<Sample> Rgb(Sample* pixels, std::size_t width, std::size_t height) noexcept {
  return detail::Interleaved(pixels, width, height, 0, 1, 2, -1);
}
/// Packed pixels R, G, B, alpha. @return their description.
template <typename Sample>
ImageOf<Sample> Rgba(Sample* pixels, std::size_t width, std::size_t height) noexcept {
  return detail::Interleaved(pixels, width, height, 0, 1, 2, 3);
}
/// Packed pixels B, G, R. @return their description.
template <typename Sample>
ImageOf<Sample> Bgr(Sample* pixels, std::size_t width, std::size_t height) noexcept {
  return detail::Interleaved(pixels, width, height, 2, 1, 0, -1);
}
/// Packed pixels B, G, R, alpha. @return their description.
template <typename Sample>
ImageOf<Sample> Bgra(Sample* pixels, std::size_t width, std::size_t height) noexcept {
  return detail::Interleaved(pixels, width, height, 2, 1, 0, 3);
}
/// Planes of packed samples, without alpha if `a` is null. @return their description.
template <typename Sample>
ImageOf<Sample> Planar(Sample* r, Sample* g, Sample* b, std::size_t width, std::size_t height,
                       std::common_type_t<Sample*> a = nullptr) noexcept {
  const auto pixelStride = static_cast<std::ptrdiff_t>(sizeof(Sample));
  return {r,
          g,
          b,
          a,
          detail::SampleOf<std::remove_const_t<Sample>>(),
          width,
          height,
          pixelStride,
          static_cast<std::ptrdiff_t>(width) * pixelStride};
}

#ifdef __cpp_lib_span
/// Pixels of a span. @return their description; throws Error if there are fewer than the image has.
template <typename Sample, std::size_t N>
ImageOf<Sample> Rgb(std::span<Sample, N> pixels, std::size_t width, std::size_t height) {
  return Rgb(detail::Enough<Sample>(pixels, width, height, 3), width, height);
}
/// @copydoc Rgb(std::span<Sample, N>, std::size_t, std::size_t)
template <typename Sample, std::size_t N>
ImageOf<Sample> Rgba(std::span<Sample, N> pixels, std::size_t width, std::size_t height) {
  return Rgba(detail::Enough<Sample>(pixels, width, height, 4), width, height);
}
/// @copydoc Rgb(std::span<Sample, N>, std::size_t, std::size_t)
template <typename Sample, std::size_t N>
ImageOf<Sample> Bgr(std::span<Sample, N> pixels, std::size_t width, std::size_t height) {
  return Bgr(detail::Enough<Sample>(pixels, width, height, 3), width, height);
}
/// @copydoc Rgb(std::span<Sample, N>, std::size_t, std::size_t)
template <typename Sample, std::size_t N>
ImageOf<Sample> Bgra(std::span<Sample, N> pixels, std::size_t width, std::size_t height) {
  return Bgra(detail::Enough<Sample>(pixels, width, height, 4), width, height);
}
#endif

/* ---- Pipelines ------------------------------------------------------------------------------- */

/// How to convert.
struct PipelineOptions {
  Intent intent = Intent::kPerceptual;  ///< rendering intent
  bool blackPointCompensation = false;  ///< see KXP_BLACK_POINT_COMPENSATION
  bool unclipped = false;               ///< see KXP_UNCLIPPED
  Method method = Method::kPrecise;     ///< precise, or the bits of the fixed interface
  double lightness = 0;                 ///< of the fixed method: offset in L*
  double chroma = 0;                    ///< likewise, in C*
  double hueDeg = 0;                    ///< likewise, in degrees
};

/// One piece of work for the host's threads: to be called once for every index.
using Job = std::function<void(std::uint32_t index)>;

/// How to run a conversion. An exception that a callback throws cancels the conversion, as far as
/// something is left to do, and leaves Convert and TryConvert when no thread works on it any more.
struct ConvertOptions {
  /// At most so many threads, the caller's among them; 0 and 1: only that one. With run: jobs to
  /// hand out at a time.
  std::uint32_t threads = 1;
  /// Runs jobs on the host's own threads: calls job(index) once for each index below count, on any
  /// threads, in any order, and returns, or throws, when all have returned that it calls. What it
  /// does not call is done by the thread that converts.
  std::function<void(std::uint32_t count, const Job& job)> run;
  /// Told how far the conversion is, in pixels, on the thread that converts. @return true to go on,
  /// false to cancel.
  std::function<bool(std::uint64_t done, std::uint64_t total)> progress;
};

/// One stage that a colour goes through, see kxp_stage.
struct Stage {
  std::string name;               ///< see kxp_probe
  std::array<double, 3> values;   ///< the colour behind the stage
  std::array<double, 3> clipped;  ///< how much the stage cut off; 0 for nothing
};

/// A conversion from one profile to another; it needs neither any more once it is made.
class Pipeline {
 public:
  /// Makes a pipeline; throws Error. @param source  where the pixels come from.
  /// @param destination  where they go. @param options  how.
  Pipeline(const Profile& source, const Profile& destination, const PipelineOptions& options = {})
      : Pipeline(TryCreate(source, destination, options).value()) {}
  /// @return the same as a value.
  static Result<Pipeline> TryCreate(const Profile& source, const Profile& destination,
                                    const PipelineOptions& options = {}) noexcept {
    detail::Recorder recorder;
    kxp_pipeline_options how{};
    how.size = sizeof how;
    how.intent = static_cast<std::uint32_t>(options.intent);
    if (options.blackPointCompensation) how.flags |= KXP_BLACK_POINT_COMPENSATION;
    if (options.unclipped) how.flags |= KXP_UNCLIPPED;
    how.pipeline = static_cast<std::uint32_t>(options.method);
    how.lightness = options.lightness;
    how.chroma = options.chroma;
    how.hue = options.hueDeg;
    kxp_pipeline* made = nullptr;
    const kxp_status status =
        kxp_pipeline_create(source.get(), destination.get(), &how, &made, recorder.get());
    if (status != KXP_OK) return recorder.Told(status);
    return Adopt(made);
  }

  /// Takes over a reference that the caller owns. @return its owner.
  static Pipeline Adopt(kxp_pipeline* owned) noexcept { return Pipeline(Owner(owned)); }
  /// @return another owner of the same object.
  Pipeline Share() const noexcept { return Pipeline(owner_.Share()); }
  /// @return the object for functions of C, borrowed; null after a move.
  kxp_pipeline* get() const noexcept { return owner_.get(); }

  /// @return the rendering intent; throws Error as Profile's queries do.
  Intent intent() const {
    return static_cast<Intent>(static_cast<std::uint32_t>(Number(KXP_INTENT)));
  }
  /// @return what the source uses: "A2B0" and so on, or "matrix".
  std::string sourceTag() const { return Text(KXP_SOURCE_TAG); }
  /// @return whether that is not the tag of the intent.
  bool isSourceFallback() const { return Number(KXP_SOURCE_FALLBACK) != 0; }
  /// @return what the destination uses: "B2A0" and so on, "matrix", or "builtin".
  std::string targetTag() const { return Text(KXP_TARGET_TAG); }
  /// @return whether that is not the tag of the intent.
  bool isTargetFallback() const { return Number(KXP_TARGET_FALLBACK) != 0; }

  /// Converts an image; throws Error, with KXP_CANCELLED if progress says so. In place where both
  /// describe the same samples; any other overlap is refused, see kxp_convert.
  /// @param source  is read. @param destination  of the same width and height, is written.
  /// @param options  how.
  void Convert(const ConstImage& source, const Image& destination,
               const ConvertOptions& options = {}) const {
    TryConvert(source, destination, options).value();
  }
  /// @return the same as a value. Lets exceptions of the callbacks through.
  Result<void> TryConvert(const ConstImage& source, const Image& destination,
                          const ConvertOptions& options = {}) const {
    if (source.width() != destination.width() || source.height() != destination.height()) {
      return ErrorRecord(KXP_ERROR_ARGUMENT, "Source and destination differ in size.");
    }
    Callbacks callbacks{options, nullptr};
    kxp_convert_options how{};
    how.size = sizeof how;
    how.threads = options.threads;
    if (options.run) {
      how.run = CallRun;
      how.run_context = &callbacks;
    }
    if (options.run || options.progress) {
      how.progress = CallProgress;
      how.progress_context = &callbacks;
    }
    const auto from = Described(source), to = Described(destination);
    detail::Recorder recorder;
    const kxp_status status =
        kxp_convert(get(), &from, &to, source.width(), source.height(), &how, recorder.get());
    if (callbacks.thrown) std::rethrow_exception(callbacks.thrown);
    if (status != KXP_OK) return recorder.Told(status);
    return {};
  }

  /// Takes one colour through the pipeline. @param device  R, G, B in [0, 1].
  /// @return every stage, see kxp_probe; throws Error.
  std::vector<Stage> Probe(const std::array<double, 3>& device) const {
    return TryProbe(device).value();
  }
  /// @return the same as a value.
  Result<std::vector<Stage>> TryProbe(const std::array<double, 3>& device) const {
    constexpr std::size_t kMostStages = 24;
    std::array<kxp_stage, kMostStages> told{};
    told[0].size = sizeof(kxp_stage);
    std::size_t count = 0;
    detail::Recorder recorder;
    const kxp_status status =
        kxp_probe(get(), device.data(), told.data(), told.size(), &count, recorder.get());
    if (status != KXP_OK) return recorder.Told(status);
    std::vector<Stage> stages(std::min(count, told.size()));
    for (std::size_t n = 0; n < stages.size(); ++n) {
      stages[n].name = told[n].name;
      for (std::size_t c = 0; c < 3; ++c) {
        stages[n].values[c] = told[n].values[c];
        stages[n].clipped[c] = told[n].clipped[c];
      }
    }
    return stages;
  }

 private:
  using Owner = detail::Handle<kxp_pipeline, kxp_pipeline_retain, kxp_pipeline_release>;

  // The caller's functions, and what one of them threw: it must not cross C. Both are called on the
  // thread that converts.
  struct Callbacks {
    const ConvertOptions& options;
    std::exception_ptr thrown;
  };

  explicit Pipeline(Owner owner) noexcept : owner_(std::move(owner)) {}

  template <typename Void>
  static kxp_image Described(const BasicImage<Void>& image) noexcept {
    // A source is only read, which C has no words for.
    const auto place = [&](std::size_t n) { return const_cast<void*>(image.channel(n)); };
    kxp_image described{};
    described.size = sizeof described;
    described.r = place(0);
    described.g = place(1);
    described.b = place(2);
    described.a = place(3);
    described.pixel_stride = image.pixelStride();
    described.row_stride = image.rowStride();
    described.sample = image.sample();
    described.flags = image.flags();
    return described;
  }

  static void CallRun(void* context, std::uint32_t count, kxp_job job, void* argument) noexcept {
    auto& callbacks = *static_cast<Callbacks*>(context);
    try {
      callbacks.options.run(count, [=](std::uint32_t index) { job(argument, index); });
    } catch (...) {
      callbacks.thrown = std::current_exception();
    }
  }
  static int CallProgress(void* context, std::uint64_t done, std::uint64_t total) noexcept {
    auto& callbacks = *static_cast<Callbacks*>(context);
    if (callbacks.thrown) return 1;
    try {
      return !callbacks.options.progress || callbacks.options.progress(done, total) ? 0 : 1;
    } catch (...) {
      callbacks.thrown = std::current_exception();
      return 1;
    }
  }

  double Number(std::uint32_t key) const {
    return detail::Number<kxp_pipeline>(kxp_pipeline_number, get(), key, 0).value_or(0);
  }
  std::string Text(std::uint32_t key) const {
    return detail::Text<kxp_pipeline>(kxp_pipeline_text, get(), key, 0).value_or("");
  }

  Owner owner_;
};

}  // namespace kxcms

#endif

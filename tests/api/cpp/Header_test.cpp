// The C++ header as a program sees it: the same results as through C, errors in both forms,
// ownership, descriptions of images, and exceptions of callbacks, which never cross C.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "api/pipeline.hpp"
#include "tests/TemporaryFile.h"
#include "tests/api/Handles.h"

namespace {

using api_test::Bytes;
using api_test::SomeBytes;
using kxcms::Error;
using kxcms::Intent;
using kxcms::Pipeline;
using kxcms::Profile;

constexpr std::size_t kWidth = 7, kHeight = 5, kPixels = kWidth * kHeight;

static_assert(!std::is_copy_constructible_v<Profile> && !std::is_copy_assignable_v<Profile>);
static_assert(!std::is_copy_constructible_v<Pipeline> && !std::is_copy_assignable_v<Pipeline>);
static_assert(std::is_nothrow_move_constructible_v<Profile>);
static_assert(std::is_nothrow_move_assignable_v<Pipeline>);
static_assert(std::is_convertible_v<kxcms::Image, kxcms::ConstImage>);
static_assert(!std::is_convertible_v<kxcms::ConstImage, kxcms::Image>);
static_assert(std::is_nothrow_copy_constructible_v<kxcms::ErrorRecord>);

Profile Scanner() {
  const Bytes bytes = api_test::ScannerProfile();
  return Profile::FromMemory(bytes.data(), bytes.size());
}

Pipeline ScannerToSrgb() {
  return Pipeline(Scanner(), Profile::BuiltIn("srgb"));
}

// What C makes of packed pixels of three samples.
Bytes ThroughC(const Bytes& pixels) {
  const api_test::Pipeline pipeline = api_test::ScannerToSrgb();
  Bytes converted = pixels;
  const kxp_image image = api_test::PlainImage(converted.data(), KXP_U8);
  EXPECT_EQ(kxp_convert(pipeline.get(), &image, &image, pixels.size() / 3, 1, nullptr, nullptr),
            KXP_OK);
  return converted;
}

// ---- Errors -------------------------------------------------------------------------------------

TEST(CppErrors, AreThrownWithTheirRecord) {
  Bytes damaged = api_test::ScannerProfile();
  damaged[36] = 'x';  // of 'acsp'
  try {
    Profile::FromMemory(damaged.data(), damaged.size());
    FAIL() << "taken";
  } catch (const std::runtime_error& caught) {
    const auto& error = dynamic_cast<const Error&>(caught);
    EXPECT_EQ(error.status(), KXP_ERROR_DAMAGED);
    EXPECT_EQ(error.tag(), "");
    EXPECT_EQ(error.offset(), 36u);
    EXPECT_EQ(error.what(), std::string(error.record().message()));
    EXPECT_NE(std::string(error.what()).find("'acsp'"), std::string::npos) << error.what();
  }
}

TEST(CppErrors, AreTheSameAsValues) {
  const Bytes noProfile(200, 7);
  const auto ofMemory = Profile::TryFromMemory(noProfile.data(), noProfile.size());
  const auto ofFile = Profile::TryOpen("/nonexistent/scanner.icc");
  const auto ofName = Profile::TryBuiltIn("no such space");
  ASSERT_FALSE(ofMemory || ofFile || ofName);
  EXPECT_EQ(ofMemory.error().status(), KXP_ERROR_DAMAGED);
  EXPECT_EQ(ofFile.error().status(), KXP_ERROR_FILE);
  EXPECT_EQ(ofFile.error().message(), "The file cannot be opened: No such file or directory.");
  EXPECT_EQ(ofName.error().status(), KXP_ERROR_ARGUMENT);
  EXPECT_THROW(ofName.value(), Error);

  const auto fromLab = Pipeline::TryCreate(Profile::BuiltIn("lab"), Profile::BuiltIn("srgb"));
  ASSERT_FALSE(fromLab.ok());
  EXPECT_EQ(fromLab.error().status(), KXP_ERROR_ARGUMENT);
  auto made = Pipeline::TryCreate(Scanner(), Profile::BuiltIn("srgb"));
  ASSERT_TRUE(made);
  const Pipeline taken = std::move(made).value();
  EXPECT_NE(taken.get(), nullptr);
}

TEST(CppErrors, NameTheTag) {
  Bytes profile = api_test::ScannerProfile();
  const char name[] = "mft2";
  const auto tag = std::search(profile.begin(), profile.end(), name, name + 4);
  ASSERT_NE(tag, profile.end());
  tag[8] = 9;  // input channels
  const auto result = Profile::TryFromMemory(profile.data(), profile.size());
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().tag(), "A2B0") << result.error().message();
  EXPECT_GE(result.error().offset(), static_cast<std::uint64_t>(tag - profile.begin()));
}

// ---- Ownership ----------------------------------------------------------------------------------

TEST(CppOwnership, IsMovedAndShared) {
  Profile first = Scanner();
  kxp_profile* const object = first.get();
  Profile second = std::move(first);
  EXPECT_EQ(first.get(), nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(second.get(), object);
  Profile third = second.Share();
  EXPECT_EQ(third.get(), object);
  second = Profile::BuiltIn("srgb");
  EXPECT_EQ(third.deviceClass(), "scnr");
  const Profile& same = third;
  third = std::move(const_cast<Profile&>(same));
  EXPECT_EQ(third.get(), object);
}

TEST(CppOwnership, OfNothingIsRefused) {
  Profile moved = Scanner();
  const Profile owner = std::move(moved);
  try {
    static_cast<void>(moved.version());  // NOLINT(bugprone-use-after-move)
    FAIL() << "answered";
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), KXP_ERROR_ARGUMENT);
    EXPECT_STREQ(error.what(), kxp_status_text(KXP_ERROR_ARGUMENT));
  }
  EXPECT_EQ(moved.Share().get(), nullptr);
  EXPECT_FALSE(Pipeline::TryCreate(moved, owner));
}

TEST(CppOwnership, PipelinesOutliveTheirProfiles) {
  Pipeline pipeline = ScannerToSrgb();
  const Bytes pixels = SomeBytes(3 * kPixels, 1);
  Bytes converted = pixels;
  {
    const Pipeline shared = pipeline.Share();
    pipeline = Pipeline(Profile::BuiltIn("srgb"), Profile::BuiltIn("xyz"));
    const auto image = kxcms::Rgb(converted.data(), kWidth, kHeight);
    shared.Convert(image, image);
  }
  EXPECT_EQ(converted, ThroughC(pixels));
}

// ---- Queries ------------------------------------------------------------------------------------

TEST(CppQueries, OfAProfile) {
  const Bytes bytes = api_test::ScannerProfile();
  const Profile scanner = Scanner();
  EXPECT_EQ(scanner.sizeBytes(), bytes.size());
  EXPECT_EQ(scanner.deviceClass(), "scnr");
  EXPECT_EQ(scanner.colorSpace(), "RGB ");
  EXPECT_EQ(scanner.pcs(), "Lab ");
  EXPECT_EQ(scanner.version()[1], '.');
  EXPECT_EQ(scanner.black(), std::nullopt);
  EXPECT_EQ(scanner.adaptation(), std::nullopt);
  const auto tags = scanner.tags();
  EXPECT_EQ(std::count(tags.begin(), tags.end(), "A2B0"), 1);
  const auto relative = scanner.sourceTag(Intent::kRelative);
  EXPECT_EQ(relative.tag, "A2B0");
  EXPECT_TRUE(relative.isFallback);
  EXPECT_FALSE(scanner.sourceTag(Intent::kPerceptual).isFallback);
  EXPECT_EQ(relative.gridPoints, (std::array<std::uint32_t, 3>{5, 5, 5}));
  EXPECT_EQ(relative.inputEntries, (std::array<std::uint32_t, 3>{4, 4, 4}));
  EXPECT_EQ(relative.outputEntries, (std::array<std::uint32_t, 3>{6, 6, 6}));
  EXPECT_EQ(scanner.destinationTag(Intent::kPerceptual).tag, "");
}

TEST(CppQueries, OfBuiltInSpaces) {
  const auto spaces = kxcms::Spaces();
  ASSERT_EQ(spaces.size(), kxp_space_count());
  for (const auto& space : spaces) {
    const auto profile = Profile::BuiltIn(std::string(space.name));
    EXPECT_EQ(profile.description(), space.name);
    EXPECT_EQ(profile.sizeBytes(), 0u);
    EXPECT_TRUE(profile.tags().empty());
    EXPECT_FALSE(space.description.empty());
  }
  // D50 of the PCS (ICC.1:2010 7.2.16).
  const auto white = Profile::BuiltIn("srgb").white();
  EXPECT_NEAR(white[0], 0.9642, 0.00005);
  EXPECT_NEAR(white[2], 0.8249, 0.00005);
  EXPECT_EQ(kxcms::LibraryVersion(), kxp_version());
  EXPECT_EQ(kxcms::Level(), kxp_level());
}

TEST(CppQueries, OfAPipeline) {
  kxcms::PipelineOptions options;
  options.intent = Intent::kRelative;
  options.blackPointCompensation = true;
  const Pipeline pipeline(Scanner(), Profile::BuiltIn("srgb"), options);
  EXPECT_EQ(pipeline.intent(), Intent::kRelative);
  EXPECT_EQ(pipeline.sourceTag(), "A2B0");
  EXPECT_TRUE(pipeline.isSourceFallback());
  EXPECT_EQ(pipeline.targetTag(), "builtin");
  EXPECT_FALSE(pipeline.isTargetFallback());
  const auto stages = pipeline.Probe({0.25, 0.5, 1.5});
  ASSERT_GT(stages.size(), 3u);
  EXPECT_EQ(stages.front().name, "device");
  EXPECT_EQ(stages.front().values, (std::array<double, 3>{0.25, 0.5, 1}));
  EXPECT_EQ(stages.front().clipped, (std::array<double, 3>{0, 0, 0.5}));
  EXPECT_EQ(stages.back().name, "encoded");
  Pipeline moved = pipeline.Share();
  const Pipeline owner = std::move(moved);
  const auto refused = moved.TryProbe({0, 0, 0});  // NOLINT(bugprone-use-after-move)
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().message(), "The pipeline is null.");
  options.intent = Intent::kPerceptual;
  EXPECT_THROW(Pipeline(Scanner(), Profile::BuiltIn("srgb"), options), Error);
}

// ---- Images -------------------------------------------------------------------------------------

// The colour samples of an image, whatever its layout, in the order R, G, B.
Bytes ColoursOf(const kxcms::ConstImage& image) {
  Bytes colours;
  for (std::size_t y = 0; y < image.height(); ++y) {
    for (std::size_t x = 0; x < image.width(); ++x) {
      for (std::size_t c = 0; c < 3; ++c) {
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(y) * image.rowStride() +
                                  static_cast<std::ptrdiff_t>(x) * image.pixelStride();
        colours.push_back(static_cast<const unsigned char*>(image.channel(c))[at]);
      }
    }
  }
  return colours;
}

TEST(CppImages, OfEveryLayoutConvertAlike) {
  const Pipeline pipeline = ScannerToSrgb();
  const auto make = [](Bytes& p, std::size_t layout) -> kxcms::Image {
    std::uint8_t* const first = p.data();
    switch (layout) {
      case 0:
        return kxcms::Rgb(first, kWidth, kHeight);
      case 1:
        return kxcms::Bgr(first, kWidth, kHeight);
      case 2:
        return kxcms::Rgba(first, kWidth, kHeight);
      case 3:
        return kxcms::Bgra(first, kWidth, kHeight);
      case 4:
        return kxcms::Planar(first, first + kPixels, first + 2 * kPixels, kWidth, kHeight);
      case 5:
        return kxcms::Planar(first, first + kPixels, first + 2 * kPixels, kWidth, kHeight,
                             first + 3 * kPixels);
      case 6:
        return kxcms::Rgb(first, kWidth, kHeight).FlippedVertically();
      case 7:
        return kxcms::Rgba(first, kWidth, kHeight).WithoutAlpha();
      default:
        return kxcms::Rgb(first, 3, kHeight).WithRowStride(4 * kWidth).Part(1, 2, 2, 3);
    }
  };
  for (std::size_t layout = 0; layout < 9; ++layout) {
    SCOPED_TRACE(testing::Message() << "layout " << layout);
    const Bytes before = SomeBytes(4 * kPixels, static_cast<std::uint32_t>(layout));
    Bytes pixels = before;
    const kxcms::Image image = make(pixels, layout);
    const Bytes colours = ColoursOf(image);
    pipeline.Convert(image, image);
    EXPECT_EQ(ColoursOf(image), ThroughC(colours));
    // Nothing but the colours has changed.
    Bytes restored = before;
    const kxcms::Image other = make(restored, layout);
    pipeline.Convert(other, other);
    std::size_t changed = 0;
    for (std::size_t n = 0; n < before.size(); ++n) changed += before[n] != pixels[n];
    EXPECT_LE(changed, colours.size());
    EXPECT_EQ(restored, pixels);
  }
}

TEST(CppImages, KeepOrSetAlpha) {
  const Pipeline pipeline(Profile::BuiltIn("srgb-linear"), Profile::BuiltIn("srgb"));
  const std::array<std::uint8_t, 8> source = {128, 128, 128, 77, 64, 64, 64, 128};
  std::array<std::uint8_t, 8> result{};
  const auto from = kxcms::Rgba(source.data(), 2, 1);
  const auto to = kxcms::Rgba(result.data(), 2, 1);
  pipeline.Convert(from, to);
  // A linear 128 is an encoded 188 (IEC 61966-2-1).
  EXPECT_EQ(result[0], 188);
  EXPECT_EQ(result[3], 77);
  pipeline.Convert(from, to.Opaque());
  EXPECT_EQ(result[3], 255);
  // 64 of an alpha of 128 is a linear half, encoded 188, of which 128 / 255 is 94.
  pipeline.Convert(from.Associated(), to.Associated());
  EXPECT_EQ(result[4], 94);
  EXPECT_EQ(result[7], 128);
}

TEST(CppImages, OfEverySampleType) {
  const Pipeline pipeline(Profile::BuiltIn("srgb-linear"), Profile::BuiltIn("srgb"));
  const std::array<float, 3> source = {0, 1, 0.5};
  const auto from = kxcms::Rgb(source.data(), 1, 1);
  std::array<std::uint8_t, 3> u8{};
  std::array<std::uint16_t, 3> u16{};
  std::array<kxcms::Half, 3> f16{};
  std::array<float, 3> f32{};
  pipeline.Convert(from, kxcms::Rgb(u8.data(), 1, 1));
  pipeline.Convert(from, kxcms::Rgb(u16.data(), 1, 1));
  pipeline.Convert(from, kxcms::Rgb(f16.data(), 1, 1));
  pipeline.Convert(from, kxcms::Rgb(f32.data(), 1, 1));
  // 1.055 * 0.5^(1/2.4) - 0.055 = 0.73536 (IEC 61966-2-1); binary16 of 1 is 0x3C00.
  EXPECT_EQ(u8, (std::array<std::uint8_t, 3>{0, 255, 188}));
  EXPECT_EQ(u16[1], 65535);
  EXPECT_NEAR(u16[2], 0.7353570 * 65535, 1.5);
  EXPECT_EQ(f16[0], kxcms::Half{0});
  EXPECT_EQ(f16[1], kxcms::Half{0x3C00});
  EXPECT_NEAR(f32[2], 0.7353570, 1e-5);
}

TEST(CppImages, ThatCannotBeAreRefused) {
  const Pipeline pipeline = ScannerToSrgb();
  Bytes pixels(3 * kPixels + 3);
  const auto image = kxcms::Rgb(pixels.data(), kWidth, kHeight);
  const auto smaller = kxcms::Rgb(pixels.data(), kWidth, kHeight - 1);
  const auto shifted = kxcms::Rgb(pixels.data() + 1, kWidth, kHeight);
  EXPECT_EQ(pipeline.TryConvert(image, smaller).error().status(), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(pipeline.TryConvert(image, shifted).error().status(), KXP_ERROR_ARGUMENT);
  EXPECT_THROW(pipeline.Convert(image, shifted), Error);
  for (const auto& part : {std::array<std::size_t, 4>{0, 0, kWidth + 1, 1},
                           {kWidth + 1, 0, 0, 0},
                           {1, 0, ~std::size_t{0}, 1},
                           {0, 1, 1, kHeight},
                           {0, kHeight + 1, 1, 0}}) {
    EXPECT_THROW(image.Part(part[0], part[1], part[2], part[3]), Error);
  }
  EXPECT_TRUE(pipeline.TryConvert(image.Part(kWidth, kHeight, 0, 0), image.Part(0, 0, 0, 0)));
}

#ifdef __cpp_lib_span
TEST(CppSpans, AreImagesAndProfiles) {
  const Bytes bytes = api_test::ScannerProfile();
  const auto scanner = Profile::FromMemory(std::span(bytes));
  EXPECT_TRUE(Profile::TryFromMemory(std::as_bytes(std::span(bytes))));
  const Pipeline pipeline(scanner, Profile::BuiltIn("srgb"));
  const Bytes pixels = SomeBytes(3 * kPixels, 9);
  Bytes converted(pixels.size());
  pipeline.Convert(kxcms::Rgb(std::span(pixels), kWidth, kHeight),
                   kxcms::Rgb(std::span(converted), kWidth, kHeight));
  EXPECT_EQ(converted, ThroughC(pixels));
  const struct {
    std::size_t width, height;
    bool fits;
  } kRows[] = {{kWidth, kHeight, true},        {kPixels, 1, true},
               {kPixels + 1, 1, false},        {1, kPixels + 1, false},
               {0, ~std::size_t{0}, true},     {~std::size_t{0}, 1, false},
               {~std::size_t{0} / 2, 6, false}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.width << " x " << row.height);
    const auto describe = [&] { return kxcms::Bgr(std::span(pixels), row.width, row.height); };
    if (row.fits) {
      EXPECT_NO_THROW(describe());
    } else {
      EXPECT_THROW(describe(), Error);
    }
  }
  EXPECT_THROW(kxcms::Rgba(std::span(pixels), kWidth, kHeight), Error);
  EXPECT_THROW(kxcms::Bgra(std::span(pixels), kWidth, kHeight), Error);
}
#else
static_assert(__cplusplus < 202002L, "the later standard has spans");
#endif

// ---- Callbacks ----------------------------------------------------------------------------------

// Enough for many pieces of work.
constexpr std::size_t kManyColumns = 1000, kManyRows = 1000;

struct Thrown {
  int number;
};

TEST(CppCallbacks, RunJobsOnThreadsOfTheHost) {
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes pixels = SomeBytes(3 * kManyColumns * kManyRows, 3);
  Bytes converted = pixels;
  const auto image = kxcms::Rgb(converted.data(), kManyColumns, kManyRows);
  std::uint64_t last = 0;
  std::uint32_t jobs = 0;
  kxcms::ConvertOptions options;
  options.threads = 3;
  options.run = [&](std::uint32_t count, const kxcms::Job& job) {
    jobs += count;
    std::vector<std::thread> threads;
    for (std::uint32_t n = 0; n < count; ++n) threads.emplace_back(job, n);
    for (auto& thread : threads) thread.join();
  };
  options.progress = [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_GE(done, last);
    EXPECT_EQ(total, kManyColumns * kManyRows);
    last = done;
    return true;
  };
  pipeline.Convert(image, image, options);
  EXPECT_GE(jobs, 3u);
  EXPECT_EQ(last, kManyColumns * kManyRows);
  EXPECT_EQ(converted, ThroughC(pixels));
}

TEST(CppCallbacks, CancelAndThrow) {
  const Pipeline pipeline = ScannerToSrgb();
  Bytes pixels(3 * kManyColumns * kManyRows);
  const auto image = kxcms::Rgb(pixels.data(), kManyColumns, kManyRows);
  for (const std::uint32_t threads : {1u, 3u}) {
    SCOPED_TRACE(testing::Message() << threads << " threads");
    kxcms::ConvertOptions options;
    options.threads = threads;
    // How often it is told before the end is up to the other threads, where there are any.
    int calls = 0;
    bool isCancelled = false;
    options.progress = [&](std::uint64_t done, std::uint64_t total) {
      isCancelled = isCancelled || (done < total && ++calls == 2);
      return !isCancelled;
    };
    const auto cancelled = pipeline.TryConvert(image, image, options);
    EXPECT_EQ(cancelled.ok(), !isCancelled);
    if (!cancelled) {
      EXPECT_EQ(cancelled.error().status(), KXP_CANCELLED);
      EXPECT_EQ(calls, 2);
    }
    EXPECT_TRUE(isCancelled || threads > 1);

    calls = 0;
    options.progress = [&](std::uint64_t, std::uint64_t) -> bool { throw Thrown{++calls}; };
    try {
      static_cast<void>(pipeline.TryConvert(image, image, options));
      FAIL() << "nothing thrown";
    } catch (const Thrown& thrown) {
      EXPECT_EQ(thrown.number, 1);
    }
    EXPECT_EQ(calls, 1);

    // At the very end there is nothing left to cancel.
    options.progress = [&](std::uint64_t done, std::uint64_t total) {
      if (done == total) throw Thrown{2};
      return true;
    };
    EXPECT_THROW(pipeline.Convert(image, image, options), Thrown);
  }
}

TEST(CppCallbacks, ThatRunJobsMayThrow) {
  const Pipeline pipeline = ScannerToSrgb();
  Bytes pixels(3 * kManyColumns * kManyRows);
  const auto image = kxcms::Rgb(pixels.data(), kManyColumns, kManyRows);
  kxcms::ConvertOptions options;
  options.threads = 1;
  int calls = 0, reports = 0;
  options.run = [&](std::uint32_t, const kxcms::Job&) {
    ++calls;
    throw std::domain_error("no threads today");
  };
  EXPECT_THROW(pipeline.Convert(image, image, options), std::domain_error);
  EXPECT_EQ(calls, 1);
  options.progress = [&](std::uint64_t, std::uint64_t) { return ++reports > 0; };
  EXPECT_THROW(pipeline.Convert(image, image, options), std::domain_error);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(reports, 1) << "before the first job";
}

// ---- The fixed pipeline, and profiles to tag with -----------------------------------------------

TEST(CppHeader, PipelinesWithTheBitsOfTheFixedInterface) {
  kxcms::PipelineOptions options;
  options.method = kxcms::Method::kFixed;
  // The fixed interface knows no profile whose manufacturer is "none".
  Bytes bytes = api_test::ScannerProfile();
  std::copy_n("test", 4, bytes.begin() + 48);
  const Profile scanner = Profile::FromMemory(bytes.data(), bytes.size());
  const Bytes grey = {128, 128, 128};
  Bytes plain = grey, shifted = grey;
  const auto convert = [&](Bytes& pixel) {
    const auto image = kxcms::Rgb(pixel.data(), 1, 1);
    Pipeline(scanner, Profile::BuiltIn("srgb"), options).Convert(image, image);
  };
  convert(plain);
  options.lightness = -20;
  convert(shifted);
  EXPECT_GT(plain[1], shifted[1] + 30);
  std::array<float, 3> real{};
  options.lightness = 0;
  const Pipeline fixed(scanner, Profile::BuiltIn("srgb"), options);
  const auto image = kxcms::Rgb(real.data(), 1, 1);
  EXPECT_EQ(fixed.TryConvert(image, image).error().status(), KXP_ERROR_ARGUMENT);
}

TEST(CppHeader, ProfilesToTagWith) {
  const auto srgb = Profile::BuiltIn("srgb");
  for (const std::uint32_t version : {0u, 2u, 4u}) {
    const auto bytes = srgb.Write(version);
    EXPECT_EQ(bytes, srgb.Write(version));
    const auto read = Profile::FromMemory(bytes.data(), bytes.size());
    EXPECT_EQ(read.version()[0], version == 2 ? '2' : '4');
    EXPECT_EQ(read.deviceClass(), "mntr");
  }
  EXPECT_FALSE(srgb.TryWrite(3));
  EXPECT_THROW(static_cast<void>(srgb.Write(3)), Error);
}

}  // namespace

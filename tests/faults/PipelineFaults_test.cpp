// The pipeline library with every one of its allocations and file calls failing in turn. This
// program replaces the allocator and the system's file functions; the shared library finds these
// first.

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/TemporaryFile.h"
#include "tests/api/Handles.h"
#include "tests/faults/FaultInjection.h"

namespace {

// How the file functions go wrong. Nothing: as always.
enum class FileFault { kNothing, kOpen, kExamine, kRead, kInterrupted, kShortReads, kGone };
FileFault fileFault = FileFault::kNothing;
int reads = 0;

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  static const auto real =
      reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open"));
  if (fileFault == FileFault::kOpen) {
    errno = EMFILE;
    return -1;
  }
  va_list arguments;
  va_start(arguments, flags);
  const int mode = va_arg(arguments, int);  // not looked at unless a file is made
  va_end(arguments);
  return real(path, flags, mode);
}

int fstat(int file, struct stat* status) {
  static const auto real = reinterpret_cast<int (*)(int, struct stat*)>(dlsym(RTLD_NEXT, "fstat"));
  if (fileFault != FileFault::kExamine) return real(file, status);
  errno = EIO;
  return -1;
}

ssize_t pread(int file, void* to, std::size_t size, off_t at) {
  static const auto real =
      reinterpret_cast<ssize_t (*)(int, void*, std::size_t, off_t)>(dlsym(RTLD_NEXT, "pread"));
  ++reads;
  switch (fileFault) {
    case FileFault::kRead:
      errno = EIO;
      return -1;
    case FileFault::kInterrupted:
      if (reads % 2 == 0) break;
      errno = EINTR;
      return -1;
    case FileFault::kShortReads:
      return real(file, to, std::min<std::size_t>(size, 7), at);
    case FileFault::kGone:  // cut off by somebody else after its size was asked for
      return at >= 200 ? 0 : real(file, to, std::min<std::size_t>(size, 200), at);
    default:
      break;
  }
  return real(file, to, size, at);
}

}  // extern "C"

namespace {

using namespace api_test;
using faults::Call;
using faults::Injection;
using faults::Reach;

// What an operation makes; one of the two.
struct Made {
  kxp_profile* profile = nullptr;
  kxp_pipeline* pipeline = nullptr;
};

struct Operation {
  const char* what;
  std::function<kxp_status(Made& made, kxp_error* error)> run;
};

Bytes Pixels() {
  return SomeBytes(300, 3);
}

kxp_status ConvertPixels(const kxp_pipeline* pipeline, std::uint32_t threads, Bytes& pixels) {
  const kxp_image image = PlainImage(pixels.data(), KXP_U8);
  kxp_convert_options options = NewConvertOptions();
  options.threads = threads;
  return kxp_convert(pipeline, &image, &image, pixels.size() / 3, 1, &options, nullptr);
}

// A profile's answers, so that half a profile would show.
Bytes AnswersOf(const kxp_profile* profile) {
  Bytes answers;
  double number = 0;
  for (std::uint32_t key = 0; key < 30; ++key) {
    for (std::uint32_t index = 0; index < 20; ++index) {
      const kxp_status status = kxp_profile_number(profile, key, index, &number);
      const auto* const bytes = reinterpret_cast<const unsigned char*>(&number);
      answers.push_back(static_cast<unsigned char>(status));
      answers.insert(answers.end(), bytes, bytes + sizeof number);
      char text[64] = {};
      answers.push_back(static_cast<unsigned char>(
          kxp_profile_text(profile, key, index, text, sizeof text, nullptr)));
      answers.insert(answers.end(), text, text + sizeof text);
    }
  }
  return answers;
}

// What can be told of a result, which is given back.
Bytes OutcomeOf(const Made& made) {
  Bytes outcome;
  if (made.profile != nullptr) outcome = AnswersOf(made.profile);
  if (made.pipeline != nullptr) {
    const Bytes pixels = Pixels();
    Bytes results(2 * pixels.size());
    Bytes source = pixels;
    const kxp_image in = PlainImage(source.data(), KXP_U8),
                    out = PlainImage(results.data(), KXP_U16);
    EXPECT_EQ(kxp_convert(made.pipeline, &in, &out, 100, 1, nullptr, nullptr), KXP_OK);
    outcome = results;
  }
  kxp_profile_release(made.profile);
  kxp_pipeline_release(made.pipeline);
  return outcome;
}

// Lets one allocation after the other fail, from the first use in this process on, until the
// operation is undisturbed. What succeeds in spite of a failure has the same outcome.
// @return how many allocations there are.
long Sweep(const Operation& operation, Reach reach) {
  SCOPED_TRACE(operation.what);
  std::vector<Bytes> outcomes;
  for (long nth = 1;; ++nth) {
    kxp_status status = KXP_OK;
    kxp_error error = NewError();
    Made made;
    bool struck = false, threw = false;
    {
      const Injection injection(Call::kAllocation, nth, reach);
      try {
        status = operation.run(made, &error);
      } catch (...) {
        threw = true;
      }
      struck = injection.Struck();
    }
    EXPECT_FALSE(threw) << "allocation " << nth;
    EXPECT_EQ(made.profile != nullptr || made.pipeline != nullptr, status == KXP_OK);
    const Bytes outcome = OutcomeOf(made);
    if (status == KXP_OK) {
      outcomes.push_back(outcome);
    } else {
      EXPECT_TRUE(struck);
      EXPECT_EQ(status, KXP_ERROR_MEMORY) << "allocation " << nth << ": " << error.message;
      EXPECT_EQ(error.status, KXP_ERROR_MEMORY);
      EXPECT_STREQ(error.message, "There is not enough memory.");
    }
    if (struck) continue;
    for (const Bytes& other : outcomes) EXPECT_TRUE(other == outcome);
    EXPECT_FALSE(outcome.empty());
    return nth - 1;
  }
}

TEST(PipelineFaults, Allocations) {
  const Bytes full = FullProfile(), scanner = ScannerProfile(), matrix = MatrixProfile();
  const TemporaryFile file(full);
  const auto read = [](const Bytes& bytes) {
    return [&bytes](Made& made, kxp_error* error) {
      return kxp_profile_from_memory(bytes.data(), bytes.size(), &made.profile, error);
    };
  };
  const Profile fullProfile = FromMemory(full), scannerProfile = FromMemory(scanner),
                matrixProfile = FromMemory(matrix), srgb = BuiltIn("srgb"),
                adobe = BuiltIn("adobe-rgb"), lab = BuiltIn("lab");
  const auto connect = [](const Profile& source, const Profile& destination, std::uint32_t intent,
                          std::uint32_t flags) {
    return [&, intent, flags](Made& made, kxp_error* error) {
      kxp_pipeline_options options = {};
      options.size = sizeof options;
      options.intent = intent;
      options.flags = flags;
      return kxp_pipeline_create(source.get(), destination.get(), &options, &made.pipeline, error);
    };
  };
  const Operation kOperations[] = {
      {"a profile with everything, from memory", read(full)},
      {"a scanner, from memory", read(scanner)},
      {"a matrix profile, from memory", read(matrix)},
      {"a profile from a file",
       [&](Made& made, kxp_error* error) {
         return kxp_profile_open(file.Path(), &made.profile, error);
       }},
      {"a built-in space",
       [](Made& made, kxp_error* error) {
         return kxp_profile_builtin("rec2020", &made.profile, error);
       }},
      // The first use of a space makes tables that are kept.
      {"to sRGB", connect(scannerProfile, srgb, KXP_PERCEPTUAL, 0)},
      {"to Adobe RGB, unclipped", connect(matrixProfile, adobe, KXP_RELATIVE, KXP_UNCLIPPED)},
      {"between profiles", connect(fullProfile, fullProfile, KXP_SATURATION, 0)},
      {"with black point compensation",
       connect(scannerProfile, fullProfile, KXP_RELATIVE, KXP_BLACK_POINT_COMPENSATION)},
      {"to curves that are inverted", connect(fullProfile, matrixProfile, KXP_ABSOLUTE, 0)},
      {"to Lab", connect(scannerProfile, lab, KXP_ABSOLUTE, 0)},
  };
  for (const Operation& operation : kOperations) {
    EXPECT_GT(Sweep(operation, Reach::kOnce), 0) << operation.what;
    EXPECT_GT(Sweep(operation, Reach::kFromThenOn), 0) << operation.what;
  }
}

TEST(PipelineFaults, AllocationsOfWritten) {
  const struct {
    const char* space;
    std::uint32_t version;
  } kRows[] = {{"srgb", 2}, {"srgb", 4}, {"adobe-rgb", 2}, {"lab", 4}};
  for (const auto& row : kRows) {
    const Profile space = BuiltIn(row.space);
    Bytes expected(10000);
    std::size_t expectedSize = 0;
    ASSERT_EQ(kxp_profile_write(space.get(), row.version, expected.data(), expected.size(),
                                &expectedSize, nullptr),
              KXP_OK);
    for (const Reach reach : {Reach::kOnce, Reach::kFromThenOn}) {
      for (long nth = 1;; ++nth) {
        Bytes bytes(10000);
        std::size_t size = 77;
        kxp_error error = NewError();
        const Injection injection(Call::kAllocation, nth, reach);
        const kxp_status status =
            kxp_profile_write(space.get(), row.version, bytes.data(), bytes.size(), &size, &error);
        const bool isDone = status == KXP_OK;
        EXPECT_TRUE(isDone || status == KXP_ERROR_MEMORY) << row.space << ", allocation " << nth;
        EXPECT_EQ(size, isDone ? expectedSize : 0u) << row.space << ", allocation " << nth;
        EXPECT_EQ(isDone, bytes == expected) << row.space << ", allocation " << nth;
        EXPECT_EQ(isDone, !injection.Struck()) << row.space << ", allocation " << nth;
        if (!injection.Struck()) break;
      }
    }
  }
}

TEST(PipelineFaults, AllocationsOfProbes) {
  const Pipeline pipeline = Connect(FromMemory(FullProfile()), FromMemory(FullProfile()),
                                    KXP_RELATIVE, KXP_BLACK_POINT_COMPENSATION);
  const double device[3] = {0.2, 0.7, 0.4};
  kxp_stage expected[24] = {};
  expected[0].size = sizeof(kxp_stage);
  std::size_t expectedCount = 0;
  ASSERT_EQ(kxp_probe(pipeline.get(), device, expected, 24, &expectedCount, nullptr), KXP_OK);
  for (const Reach reach : {Reach::kOnce, Reach::kFromThenOn}) {
    for (long nth = 1;; ++nth) {
      kxp_stage stages[24] = {};
      stages[0].size = sizeof(kxp_stage);
      std::size_t count = 77;
      kxp_error error = NewError();
      const Injection injection(Call::kAllocation, nth, reach);
      const kxp_status status = kxp_probe(pipeline.get(), device, stages, 24, &count, &error);
      if (status == KXP_OK) {
        EXPECT_EQ(count, expectedCount);
        EXPECT_EQ(std::memcmp(stages, expected, count * sizeof(kxp_stage)), 0);
      } else {
        EXPECT_EQ(status, KXP_ERROR_MEMORY) << "allocation " << nth;
        EXPECT_EQ(count, 77u);
      }
      if (!injection.Struck()) {
        EXPECT_EQ(status, KXP_OK);
        break;
      }
    }
  }
}

// Queries have no record; they tell by their status, and touch nothing then.
TEST(PipelineFaults, AllocationsOfQueries) {
  const Profile profile = FromMemory(FullProfile());
  const Pipeline pipeline = ScannerToSrgb();
  for (const Reach reach : {Reach::kOnce, Reach::kFromThenOn}) {
    for (std::uint32_t key = 1; key <= KXP_DESTINATION_FALLBACK; ++key) {
      for (long nth = 1;; ++nth) {
        char text[64] = "before";
        double number = -77;
        const Injection injection(Call::kAllocation, nth, reach);
        const kxp_status asText =
            kxp_profile_text(profile.get(), key, 0, text, sizeof text, nullptr);
        const kxp_status asNumber = kxp_profile_number(profile.get(), key, 0, &number);
        char tag[8] = "before";
        const kxp_status ofPipeline =
            kxp_pipeline_text(pipeline.get(), KXP_SOURCE_TAG, 0, tag, sizeof tag, nullptr);
        EXPECT_TRUE(asText == KXP_OK || text == std::string("before")) << key;
        EXPECT_TRUE(asNumber == KXP_OK || number == -77) << key;
        EXPECT_TRUE(ofPipeline == KXP_OK || ofPipeline == KXP_ERROR_MEMORY);
        EXPECT_TRUE(asText == KXP_OK || asNumber == KXP_OK || injection.Struck()) << key;
        if (!injection.Struck()) break;
      }
    }
  }
}

// Converting needs no memory: with one thread it asks for none, with several for what threads take,
// whatever the number of pixels. Without it there are fewer threads.
TEST(PipelineFaults, Conversions) {
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes before = SomeBytes(3 * 300000, 5);
  Bytes expected = before;
  ASSERT_EQ(ConvertPixels(pipeline.get(), 1, expected), KXP_OK);
  const struct {
    std::uint32_t threads;
    bool allocates;
  } kRows[] = {{0, false}, {1, false}, {2, true}, {4, true}, {16, true}};
  for (const auto& row : kRows) {
    for (const Reach reach : {Reach::kOnce, Reach::kFromThenOn}) {
      for (long nth = 1;; ++nth) {
        Bytes pixels = before;
        long calls = 0, largest = 0;
        kxp_status status;
        {
          const Injection injection(Call::kAllocation, nth, reach);
          status = ConvertPixels(pipeline.get(), row.threads, pixels);
          calls = injection.Calls();
          largest = injection.LargestBytes();
        }
        EXPECT_EQ(status, KXP_OK) << row.threads << " threads, allocation " << nth;
        EXPECT_TRUE(pixels == expected) << row.threads << " threads, allocation " << nth;
        EXPECT_EQ(calls > 0, row.allocates) << row.threads;
        EXPECT_LE(largest, 1024) << row.threads;
        if (calls < nth) break;
      }
    }
  }
}

// A refusal is told even then.
TEST(PipelineFaults, RefusalsOfConversions) {
  const Pipeline pipeline = ScannerToSrgb();
  unsigned char pixels[30] = {};
  kxp_image image = PlainImage(pixels, KXP_U8), tight = image, unknown = image;
  tight.pixel_stride = 2;
  unknown.sample = 9;
  kxp_convert_options cancelling = NewConvertOptions();
  cancelling.progress = [](void*, std::uint64_t, std::uint64_t) { return 1; };
  Bytes many = SomeBytes(3 * 100000, 7);
  const kxp_image large = PlainImage(many.data(), KXP_U8);
  kxp_convert_options shortOptions = cancelling;
  shortOptions.size = 1;
  const struct {
    const char* what;
    const kxp_image* destination;
    std::size_t width;
    const kxp_convert_options* options;
    kxp_status status;
  } kRows[] = {{"no destination", nullptr, 10, nullptr, KXP_ERROR_ARGUMENT},
               {"pixels that share bytes", &tight, 10, nullptr, KXP_ERROR_ARGUMENT},
               {"an unknown type", &unknown, 10, nullptr, KXP_ERROR_ARGUMENT},
               {"options of another size", &image, 10, &shortOptions, KXP_ERROR_ARGUMENT},
               {"cancelled", &large, 100000, &cancelling, KXP_CANCELLED}};
  for (const auto& row : kRows) {
    kxp_error error = NewError();
    const Injection injection(Call::kAllocation, 1, Reach::kFromThenOn);
    EXPECT_EQ(kxp_convert(pipeline.get(), row.destination == &large ? &large : &image,
                          row.destination, row.width, 1, row.options, &error),
              row.status)
        << row.what;
    EXPECT_EQ(error.status, row.status) << row.what;
    EXPECT_EQ(injection.Calls(), 0) << row.what;
  }
}

// ---- Files --------------------------------------------------------------------------------------

TEST(PipelineFaults, Files) {
  const TemporaryFile file(ScannerProfile());
  const struct {
    const char* what;
    FileFault fault;
    kxp_status status;
    const char* says;
  } kRows[] = {
      {"not opened", FileFault::kOpen, KXP_ERROR_FILE, "Too many open files"},
      {"not examined", FileFault::kExamine, KXP_ERROR_FILE, "Input/output error"},
      {"not read", FileFault::kRead, KXP_ERROR_FILE, "Input/output error"},
      {"interrupted, every other time", FileFault::kInterrupted, KXP_OK, ""},
      {"read in pieces of 7 bytes", FileFault::kShortReads, KXP_OK, ""},
      {"shorter than it was a moment ago", FileFault::kGone, KXP_ERROR_DAMAGED, "there are 200"},
  };
  const Profile undisturbed = Opened(file.Path());
  const Bytes expected = AnswersOf(undisturbed.get());
  for (const auto& row : kRows) {
    kxp_profile* profile = nullptr;
    kxp_error error = NewError();
    reads = 0;
    fileFault = row.fault;
    const kxp_status status = kxp_profile_open(file.Path(), &profile, &error);
    fileFault = FileFault::kNothing;
    EXPECT_EQ(status, row.status) << row.what << ": " << error.message;
    if (status == KXP_OK) {
      EXPECT_TRUE(AnswersOf(profile) == expected) << row.what;
    } else {
      EXPECT_EQ(profile, nullptr) << row.what;
      EXPECT_NE(std::string(error.message).find(row.says), std::string::npos)
          << row.what << ": " << error.message;
    }
    kxp_profile_release(profile);
  }
}

}  // namespace

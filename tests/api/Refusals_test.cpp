// What every function refuses, with which status, and what it leaves behind then.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "tests/TemporaryFile.h"
#include "tests/api/Handles.h"

namespace {

using namespace api_test;
namespace forms = profile_forms;

// A call that gets a record, or none.
using Call = std::function<kxp_status(kxp_error*)>;

struct Row {
  const char* what;
  kxp_status status;
  Call call;
};

std::string Text(const kxp_error& error) {
  return error.message;
}

// A sentence of people's: a capital, a full stop, one line.
bool IsSentence(const std::string& message) {
  return message.size() > 10 && std::isupper(static_cast<unsigned char>(message[0])) != 0 &&
         message.back() == '.' && message.find('\n') == std::string::npos;
}

// The status is told the same way with and without a record, and the record says why.
kxp_error Refused(const char* what, kxp_status status, const Call& call) {
  kxp_error error = NewError();
  EXPECT_EQ(call(&error), status) << what << ": " << error.message;
  EXPECT_EQ(error.status, status) << what;
  EXPECT_TRUE(IsSentence(error.message)) << what << ": " << error.message;
  EXPECT_EQ(call(nullptr), status) << what;
  return error;
}

// A refusal that has nothing to do with any profile.
void ExpectRefused(const Row& row) {
  const kxp_error error = Refused(row.what, row.status, row.call);
  EXPECT_STREQ(error.tag, "") << row.what;
  EXPECT_EQ(error.offset, 0u) << row.what;
}

const void* kNowhere = &kNowhere;  // what results point to before a call that fails

template <typename Handle>
Handle* Marker() {
  return static_cast<Handle*>(const_cast<void*>(kNowhere));
}

// ---- Null pointers ------------------------------------------------------------------------------

TEST(Refusals, NullPointers) {
  const Bytes bytes = ScannerProfile();
  const Profile scanner = FromMemory(bytes), srgb = BuiltIn("srgb");
  const Pipeline pipeline = ScannerToSrgb();
  unsigned char pixel[3] = {};
  const kxp_image image = PlainImage(pixel, KXP_U8);
  kxp_profile* profile = nullptr;
  kxp_pipeline* made = nullptr;
  std::size_t size = 0;
  const Row kRows[] = {
      {"no bytes", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_from_memory(nullptr, 100, &profile, e); }},
      {"no profile for bytes", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) {
         return kxp_profile_from_memory(bytes.data(), bytes.size(), nullptr, e);
       }},
      {"no path", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_open(nullptr, &profile, e); }},
      {"no profile for a path", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_open("/", nullptr, e); }},
      {"no name", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_builtin(nullptr, &profile, e); }},
      {"no profile for a name", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_builtin("srgb", nullptr, e); }},
      {"no profile to write", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_write(nullptr, 0, nullptr, 0, &size, e); }},
      {"no room to write to", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_write(srgb.get(), 0, nullptr, 10000, &size, e); }},
      {"no size of what is written", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_profile_write(srgb.get(), 0, pixel, 3, nullptr, e); }},
      {"no source profile", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_pipeline_create(nullptr, srgb.get(), nullptr, &made, e); }},
      {"no destination profile", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) {
         return kxp_pipeline_create(scanner.get(), nullptr, nullptr, &made, e);
       }},
      {"no pipeline", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) {
         return kxp_pipeline_create(scanner.get(), srgb.get(), nullptr, nullptr, e);
       }},
      {"no pipeline to convert with", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) { return kxp_convert(nullptr, &image, &image, 1, 1, nullptr, e); }},
      {"no source image", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) {
         return kxp_convert(pipeline.get(), nullptr, &image, 1, 1, nullptr, e);
       }},
      {"no destination image", KXP_ERROR_ARGUMENT,
       [&](kxp_error* e) {
         return kxp_convert(pipeline.get(), &image, nullptr, 1, 1, nullptr, e);
       }},
  };
  for (const Row& row : kRows) ExpectRefused(row);
}

TEST(Refusals, NullPointersOfQueries) {
  const Profile scanner = FromMemory(ScannerProfile());
  const Pipeline pipeline = ScannerToSrgb();
  double number = 7;
  char text[8] = "before";
  std::size_t length = 7;
  EXPECT_EQ(kxp_profile_number(nullptr, KXP_SIZE, 0, &number), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_profile_number(scanner.get(), KXP_SIZE, 0, nullptr), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_profile_text(nullptr, KXP_CLASS, 0, text, 8, &length), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_profile_text(scanner.get(), KXP_CLASS, 0, nullptr, 8, &length), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_pipeline_number(nullptr, KXP_INTENT, 0, &number), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_pipeline_number(pipeline.get(), KXP_INTENT, 0, nullptr), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_pipeline_text(nullptr, KXP_SOURCE_TAG, 0, text, 8, &length), KXP_ERROR_ARGUMENT);
  EXPECT_EQ(kxp_pipeline_text(pipeline.get(), KXP_SOURCE_TAG, 0, nullptr, 8, &length),
            KXP_ERROR_ARGUMENT);
  EXPECT_EQ(number, 7);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(length, 7u);
}

TEST(Refusals, NullHandlesMayBeRetainedAndReleased) {
  EXPECT_EQ(kxp_profile_retain(nullptr), nullptr);
  EXPECT_EQ(kxp_pipeline_retain(nullptr), nullptr);
  kxp_profile_release(nullptr);
  kxp_pipeline_release(nullptr);
}

// ---- Sizes of structs ---------------------------------------------------------------------------

// A struct as a later header has it.
template <typename Struct>
struct Longer {
  Struct known;
  unsigned char later[24];
};

// The sizes that a struct may say it has.
template <typename Struct, typename Use>
void ExpectSizes(const char* what, const Struct& valid, const Use& use) {
  const struct {
    const char* size;
    std::size_t bytes;
    unsigned char later;
    kxp_status status;
  } kRows[] = {
      {"as it is", sizeof(Struct), 0, KXP_OK},
      {"as it is, whatever follows", sizeof(Struct), 1, KXP_OK},
      {"later, and 0", sizeof(Longer<Struct>), 0, KXP_OK},
      {"later, and not 0", sizeof(Longer<Struct>), 1, KXP_ERROR_ARGUMENT},
      {"0", 0, 0, KXP_ERROR_ARGUMENT},
      {"the size alone", sizeof(std::size_t), 0, KXP_ERROR_ARGUMENT},
      {"one byte short", sizeof(Struct) - 1, 0, KXP_ERROR_ARGUMENT},
      {"no size of a struct", std::size_t{1} << 40, 0, KXP_ERROR_ARGUMENT},
      {"the largest number", std::numeric_limits<std::size_t>::max(), 0, KXP_ERROR_ARGUMENT},
  };
  for (const auto& row : kRows) {
    Longer<Struct> given = {};
    given.known = valid;
    given.known.size = row.bytes;
    given.later[sizeof given.later - 1] = row.later;
    kxp_error error = NewError();
    EXPECT_EQ(use(given.known, &error), row.status)
        << what << ", " << row.size << ": " << error.message;
    if (row.status != KXP_OK) {
      EXPECT_NE(Text(error).find(what), std::string::npos) << error.message;
    }
  }
}

TEST(Refusals, SizesOfStructs) {
  const Profile scanner = FromMemory(ScannerProfile()), srgb = BuiltIn("srgb");
  const Pipeline pipeline = ScannerToSrgb();
  unsigned char from[3] = {}, to[3] = {};
  const kxp_image source = PlainImage(from, KXP_U8), destination = PlainImage(to, KXP_U8);
  ExpectSizes("kxp_pipeline_options", kxp_pipeline_options{},
              [&](const kxp_pipeline_options& options, kxp_error* error) {
                kxp_pipeline* made = nullptr;
                const kxp_status status =
                    kxp_pipeline_create(scanner.get(), srgb.get(), &options, &made, error);
                kxp_pipeline_release(made);
                return status;
              });
  ExpectSizes("kxp_image", source, [&](const kxp_image& image, kxp_error* error) {
    return kxp_convert(pipeline.get(), &image, &destination, 1, 1, nullptr, error);
  });
  ExpectSizes("kxp_image", destination, [&](const kxp_image& image, kxp_error* error) {
    return kxp_convert(pipeline.get(), &source, &image, 1, 1, nullptr, error);
  });
  ExpectSizes("kxp_convert_options", kxp_convert_options{},
              [&](const kxp_convert_options& options, kxp_error* error) {
                return kxp_convert(pipeline.get(), &source, &destination, 1, 1, &options, error);
              });
}

// A record that is shorter than any there has been is not written to; of a longer one, only what
// this library knows is.
TEST(Refusals, SizesOfRecords) {
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, sizeof(std::size_t), sizeof(kxp_error) - 1,
        sizeof(kxp_error), sizeof(kxp_error) + 24, std::numeric_limits<std::size_t>::max()}) {
    Longer<kxp_error> record;
    std::memset(&record, 0x5A, sizeof record);
    record.known.size = size;
    const Longer<kxp_error> before = record;
    kxp_profile* profile = nullptr;
    EXPECT_EQ(kxp_profile_builtin("no such space", &profile, &record.known), KXP_ERROR_ARGUMENT);
    if (size < sizeof(kxp_error)) {
      EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0) << size;
    } else {
      EXPECT_EQ(record.known.status, KXP_ERROR_ARGUMENT) << size;
      EXPECT_EQ(record.known.size, size);
      EXPECT_EQ(std::memcmp(record.later, before.later, sizeof record.later), 0) << size;
    }
  }
}

// ---- Numbers and names --------------------------------------------------------------------------

TEST(Refusals, UnknownNumbers) {
  const Profile scanner = FromMemory(ScannerProfile()), srgb = BuiltIn("srgb");
  const Pipeline pipeline = ScannerToSrgb();
  const auto create = [&](std::uint32_t intent, std::uint32_t flags) {
    return [&, intent, flags](kxp_error* error) {
      kxp_pipeline_options options = {};
      options.size = sizeof options;
      options.intent = intent;
      options.flags = flags;
      kxp_pipeline* made = nullptr;
      return kxp_pipeline_create(scanner.get(), srgb.get(), &options, &made, error);
    };
  };
  unsigned char from[64] = {}, to[64] = {};
  const auto convert = [&](auto change) {
    return [&, change](kxp_error* error) {
      kxp_image source = PlainImage(from, KXP_U8), destination = PlainImage(to, KXP_U8);
      kxp_convert_options options = NewConvertOptions();
      change(source, destination, options);
      return kxp_convert(pipeline.get(), &source, &destination, 1, 1, &options, error);
    };
  };
  using Image = kxp_image;
  using Options = kxp_convert_options;
  const Row kRows[] = {
      {"intent 4", KXP_ERROR_ARGUMENT, create(4, 0)},
      {"the largest intent", KXP_ERROR_ARGUMENT, create(0xFFFFFFFF, 0)},
      {"pipeline flag 4", KXP_ERROR_ARGUMENT, create(KXP_RELATIVE, 1 << 2)},
      {"all pipeline flags", KXP_ERROR_ARGUMENT, create(KXP_RELATIVE, 0xFFFFFFFF)},
      {"black point compensation, perceptual", KXP_ERROR_ARGUMENT,
       create(KXP_PERCEPTUAL, KXP_BLACK_POINT_COMPENSATION)},
      {"black point compensation, saturation", KXP_ERROR_ARGUMENT,
       create(KXP_SATURATION, KXP_BLACK_POINT_COMPENSATION)},
      {"black point compensation, absolute", KXP_ERROR_ARGUMENT,
       create(KXP_ABSOLUTE, KXP_BLACK_POINT_COMPENSATION)},
      {"sample type 4 of the source", KXP_ERROR_ARGUMENT,
       convert([](Image& source, Image&, Options&) { source.sample = 4; })},
      {"sample type 4 of the destination", KXP_ERROR_ARGUMENT,
       convert([](Image&, Image& destination, Options&) { destination.sample = 4; })},
      {"the largest sample type", KXP_ERROR_ARGUMENT,
       convert([](Image& source, Image&, Options&) { source.sample = 0xFFFFFFFF; })},
      {"an opaque source", KXP_ERROR_ARGUMENT,
       convert([](Image& source, Image&, Options&) { source.flags = KXP_OPAQUE; })},
      {"image flag 4 of the source", KXP_ERROR_ARGUMENT,
       convert([](Image& source, Image&, Options&) { source.flags = 1 << 2; })},
      {"image flag 4 of the destination", KXP_ERROR_ARGUMENT,
       convert([](Image&, Image& destination, Options&) { destination.flags = 1 << 2; })},
      {"conversion flag 1", KXP_ERROR_ARGUMENT,
       convert([](Image&, Image&, Options& options) { options.flags = 1; })},
      {"the last conversion flag", KXP_ERROR_ARGUMENT,
       convert([](Image&, Image&, Options& options) { options.flags = 1u << 31; })},
  };
  for (const Row& row : kRows) ExpectRefused(row);
}

TEST(Refusals, UnknownNames) {
  for (const char* name : {"", "sRGB", "srgb ", " srgb", "srgb-linear-linear", "lab-linear", "Lab",
                           "rec2020 ", "line\nend", "\xFF\xFE"}) {
    kxp_profile* profile = Marker<kxp_profile>();
    ExpectRefused({name, KXP_ERROR_ARGUMENT,
                   [&](kxp_error* error) { return kxp_profile_builtin(name, &profile, error); }});
    EXPECT_EQ(profile, nullptr) << name;
  }
  const std::string endless(100000, 'x');
  kxp_profile* profile = nullptr;
  ExpectRefused({"100000 letters", KXP_ERROR_ARGUMENT, [&](kxp_error* error) {
                   return kxp_profile_builtin(endless.c_str(), &profile, error);
                 }});
}

// The fixed interface has an "Adobe" of its own, which is not what people mean.
TEST(Refusals, AdobeIsNoName) {
  kxp_profile* profile = Marker<kxp_profile>();
  const kxp_error error = Refused("adobe", KXP_ERROR_ARGUMENT, [&](kxp_error* e) {
    return kxp_profile_builtin("adobe", &profile, e);
  });
  EXPECT_EQ(profile, nullptr);
  EXPECT_NE(Text(error).find("\"adobe-rgb\""), std::string::npos) << error.message;
  EXPECT_NE(Text(error).find("\"adobe-18\""), std::string::npos) << error.message;
}

// ---- Files --------------------------------------------------------------------------------------

// The most memory that this process has had, in KiB.
long PeakKiB() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(Refusals, Files) {
  const TemporaryFile empty{Bytes()}, notes{Bytes(200, 'x')}, absent, fifo, sparse, oversized;
  ASSERT_EQ(mkfifo(fifo.Path(), 0600), 0);
  // As large as a profile may be, and one byte more. No disk holds the zeros.
  constexpr off_t kMostBytes = off_t{1} << 30;
  sparse.Write({});
  oversized.Write({});
  ASSERT_EQ(truncate(sparse.Path(), kMostBytes), 0);
  ASSERT_EQ(truncate(oversized.Path(), kMostBytes + 1), 0);
  const std::string folder = std::filesystem::temp_directory_path().string();
  const std::string endless(5000, 'x'), below = std::string(notes.Path()) + "/profile.icc";
  const struct {
    const char* what;
    const char* path;
    kxp_status status;
    const char* says;
  } kRows[] = {
      {"absent", absent.Path(), KXP_ERROR_FILE, "No such file or directory"},
      {"no path at all", "", KXP_ERROR_FILE, "No such file or directory"},
      {"a path through a file", below.c_str(), KXP_ERROR_FILE, "Not a directory"},
      {"a name of 5000 letters", endless.c_str(), KXP_ERROR_FILE, "File name too long"},
      {"a folder", folder.c_str(), KXP_ERROR_FILE, "no regular file"},
      {"a pipe without a writer", fifo.Path(), KXP_ERROR_FILE, "no regular file"},
      {"endless zeros", "/dev/zero", KXP_ERROR_FILE, "no regular file"},
      {"a terminal, or none", "/dev/tty", KXP_ERROR_FILE, "file"},
      {"larger than 1 GiB", oversized.Path(), KXP_ERROR_FILE, "larger than 1 GiB"},
  };
  for (const auto& row : kRows) {
    kxp_profile* profile = Marker<kxp_profile>();
    const kxp_error error = Refused(row.what, row.status, [&](kxp_error* e) {
      return kxp_profile_open(row.path, &profile, e);
    });
    EXPECT_EQ(profile, nullptr) << row.what;
    EXPECT_NE(Text(error).find(row.says), std::string::npos) << row.what << ": " << error.message;
    EXPECT_STREQ(error.tag, "") << row.what;
  }

  const struct {
    const char* what;
    const char* path;
  } kDamaged[] = {{"empty", empty.Path()},
                  {"no profile", notes.Path()},
                  {"a file of the system without a size", "/proc/self/status"},
                  {"1 GiB of zeros", sparse.Path()}};
  for (const auto& row : kDamaged) {
    const long before = PeakKiB();
    kxp_profile* profile = Marker<kxp_profile>();
    Refused(row.what, KXP_ERROR_DAMAGED,
            [&](kxp_error* e) { return kxp_profile_open(row.path, &profile, e); });
    EXPECT_EQ(profile, nullptr) << row.what;
    EXPECT_LT(PeakKiB() - before, 32 * 1024) << row.what;
  }
}

TEST(Refusals, AFileThatMayNotBeRead) {
  const TemporaryFile file(ScannerProfile());
  ASSERT_EQ(chmod(file.Path(), 0), 0);
  // Root may read everything; nobody in particular may not.
  const uid_t user = geteuid();
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(seteuid(user == 0 ? kNobody : user), 0);
  kxp_profile* profile = nullptr;
  const kxp_error error = Refused("without permission", KXP_ERROR_FILE, [&](kxp_error* e) {
    return kxp_profile_open(file.Path(), &profile, e);
  });
  EXPECT_NE(Text(error).find("Permission denied"), std::string::npos) << error.message;
  ASSERT_EQ(seteuid(user), 0);
}

// ---- Profiles -----------------------------------------------------------------------------------

Bytes Beginning(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  return bytes;
}

// The tag table begins at 132; the first of `count` tags behind it.
std::uint64_t FirstTagAt(unsigned count) {
  return 132 + 12 * count;
}

TEST(Refusals, DamagedAndUnsupportedProfiles) {
  using profile_bytes::ProfileBytes;
  const Bytes scanner = ScannerProfile();
  const struct {
    const char* what;
    Bytes bytes;
    kxp_status status;
    const char* tag;
    std::uint64_t offset;
    const char* says;
  } kRows[] = {
      {"no bytes", Bytes(1, 0), KXP_ERROR_DAMAGED, "", 1, "132"},
      {"part of a header", Beginning(scanner, 100), KXP_ERROR_DAMAGED, "", 100, "132"},
      {"cut in the tag", Beginning(scanner, scanner.size() - 1), KXP_ERROR_DAMAGED, "", 0, "there"},
      {"another signature", ProfileBytes().Header(36, "tiff").Build(), KXP_ERROR_DAMAGED, "", 36,
       "acsp"},
      {"a connection space of Luv", ProfileBytes().Header(20, "Luv ").Build(), KXP_ERROR_DAMAGED,
       "", 20, "Luv"},
      {"version 5", ProfileBytes().Header(8, 0x05000000).Build(), KXP_ERROR_UNSUPPORTED, "", 8,
       "version 5.0"},
      {"a device link", ProfileBytes().Header(12, "link").Build(), KXP_ERROR_UNSUPPORTED, "", 12,
       "link"},
      {"CMYK", ProfileBytes().Header(16, "CMYK").Build(), KXP_ERROR_UNSUPPORTED, "", 16, "CMYK"},
      {"no tags", ProfileBytes().Build(), KXP_ERROR_DAMAGED, "", 128, "A2B0"},
      {"a tag beyond the end", ProfileBytes().AddEntry("A2B0", 4000, 100).Build(),
       KXP_ERROR_DAMAGED, "A2B0", 136, "4000"},
      {"a lookup tag of an unknown type",
       forms::WithTag("A2B1", profile_bytes::PlainTag("data", "????????")).Build(),
       KXP_ERROR_DAMAGED, "A2B1", FirstTagAt(1), "A2B1"},
      {"one grid point", forms::WithTag("A2B2", forms::Lut16(1).Tag()).Build(), KXP_ERROR_DAMAGED,
       "A2B2", FirstTagAt(1) + 10, "grid"},
      {"a curve that divides by 0",
       forms::MatrixProfile(forms::ParaTag(1, {2, 0, 0.5}), forms::ParaTag(0, {2}),
                            forms::ParaTag(0, {2}))
           .Build(),
       KXP_ERROR_DAMAGED, "rTRC", FirstTagAt(6) + 3 * 20 + 16, "rTRC"},
  };
  for (const auto& row : kRows) {
    kxp_profile* profile = Marker<kxp_profile>();
    const kxp_error error = Refused(row.what, row.status, [&](kxp_error* e) {
      return kxp_profile_from_memory(row.bytes.data(), row.bytes.size(), &profile, e);
    });
    EXPECT_EQ(profile, nullptr) << row.what;
    EXPECT_STREQ(error.tag, row.tag) << row.what << ": " << error.message;
    EXPECT_EQ(error.offset, row.offset) << row.what << ": " << error.message;
    EXPECT_NE(Text(error).find(row.says), std::string::npos) << row.what << ": " << error.message;
    // The same from a file.
    const TemporaryFile file(row.bytes);
    kxp_error again = NewError();
    EXPECT_EQ(kxp_profile_open(file.Path(), &profile, &again), row.status) << row.what;
    EXPECT_STREQ(again.message, error.message) << row.what;
    EXPECT_STREQ(again.tag, error.tag) << row.what;
    EXPECT_EQ(again.offset, error.offset) << row.what;
  }
}

TEST(Refusals, ProfilesThatCannotBeConnected) {
  using profile_bytes::CurvTag;
  const Bytes up = CurvTag({}), constant = CurvTag({777, 777}), hill = CurvTag({0, 65535, 0});
  const Profile scanner = FromMemory(ScannerProfile()), srgb = BuiltIn("srgb");
  const Profile printer =
      FromMemory(forms::WithTag("B2A0", forms::Lut16().Tag()).Header(12, "prtr").Build());
  const Profile flat = FromMemory(forms::MatrixProfile(up, constant, up).Build());
  const Profile back = FromMemory(forms::MatrixProfile(up, up, hill).Build());
  const Profile lab = BuiltIn("lab"), xyz = BuiltIn("xyz"), photo = BuiltIn("srgb-kodak-photo"),
                mix = BuiltIn("srgb-kodak-mix"), text = BuiltIn("srgb-kodak-text");
  const struct {
    const char* what;
    const Profile& source;
    const Profile& destination;
    kxp_status status;
    const char* tag;
    const char* says;
  } kRows[] = {
      {"from Lab", lab, srgb, KXP_ERROR_ARGUMENT, "", "Lab"},
      {"from XYZ", xyz, srgb, KXP_ERROR_ARGUMENT, "", "XYZ"},
      {"to a rendering", scanner, photo, KXP_ERROR_UNSUPPORTED, "", "srgb-kodak-photo"},
      {"to a rendering", scanner, mix, KXP_ERROR_UNSUPPORTED, "", "\"srgb\""},
      {"to a rendering", scanner, text, KXP_ERROR_UNSUPPORTED, "", "\"srgb\""},
      {"from a rendering", photo, srgb, KXP_ERROR_UNSUPPORTED, "", "\"srgb\""},
      {"to a scanner", srgb, scanner, KXP_ERROR_UNSUPPORTED, "", "destination"},
      {"from one that is a destination only", printer, srgb, KXP_ERROR_UNSUPPORTED, "", "source"},
      {"to a constant curve", srgb, flat, KXP_ERROR_UNSUPPORTED, "gTRC", "gTRC"},
      {"to a curve that rises and falls", srgb, back, KXP_ERROR_UNSUPPORTED, "bTRC", "bTRC"},
  };
  for (const auto& row : kRows) {
    kxp_pipeline* pipeline = Marker<kxp_pipeline>();
    const kxp_error error = Refused(row.what, row.status, [&](kxp_error* e) {
      return kxp_pipeline_create(row.source.get(), row.destination.get(), nullptr, &pipeline, e);
    });
    EXPECT_EQ(pipeline, nullptr) << row.what;
    EXPECT_STREQ(error.tag, row.tag) << row.what << ": " << error.message;
    EXPECT_NE(Text(error).find(row.says), std::string::npos) << row.what << ": " << error.message;
  }
}

// ---- Images -------------------------------------------------------------------------------------

constexpr auto kFarthest = std::numeric_limits<std::ptrdiff_t>::max();

TEST(Refusals, ImagesThatAreNone) {
  const Pipeline pipeline = ScannerToSrgb();
  alignas(16) unsigned char memory[64] = {};
  const kxp_image good = PlainImage(memory, KXP_U8);
  const auto changed = [&good](auto change) {
    kxp_image image = good;
    change(image);
    return image;
  };
  constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
  const struct {
    const char* what;
    kxp_image image;
    std::size_t width, height;
    const char* says;
  } kRows[] = {
      {"no R", changed([](kxp_image& i) { i.r = nullptr; }), 1, 1, "no address"},
      {"no G", changed([](kxp_image& i) { i.g = nullptr; }), 1, 1, "no address"},
      {"no B", changed([](kxp_image& i) { i.b = nullptr; }), 1, 1, "no address"},
      {"more pixels than numbers", good, kLargest, kLargest, "more pixels"},
      {"a packed row beyond memory", good, kLargest / 4, 2, "memory"},
      {"rows beyond memory", changed([](kxp_image& i) { i.row_stride = kFarthest; }), 1, 3,
       "memory"},
      {"the last row beyond memory", changed([](kxp_image& i) { i.row_stride = kFarthest; }), 1, 2,
       "memory"},
      {"a row before memory", changed([](kxp_image& i) { i.row_stride = -kFarthest; }), 1, 3,
       "memory"},
      {"the farthest stride back", changed([](kxp_image& i) { i.row_stride = -kFarthest - 1; }), 1,
       2, "memory"},
      {"a pixel beyond memory", changed([](kxp_image& i) { i.pixel_stride = kFarthest; }), 2, 1,
       "memory"},
      {"pixels whose distance wraps", changed([](kxp_image& i) { i.pixel_stride = kFarthest / 2; }),
       5, 1, "memory"},
      {"row and pixel together beyond memory", changed([](kxp_image& i) {
         i.pixel_stride = kFarthest / 2 + 1;
         i.row_stride = kFarthest / 2 + 1;
       }),
       2, 2, "memory"},
      {"one sample beyond memory",
       changed([](kxp_image& i) { i.b = reinterpret_cast<void*>(~std::uintptr_t{0}); }), 2, 1,
       "memory"},
  };
  for (const auto& row : kRows) {
    unsigned char other[64] = {};
    const kxp_image apart = PlainImage(other, KXP_U8);
    for (const bool isSource : {true, false}) {
      const kxp_error error = Refused(row.what, KXP_ERROR_ARGUMENT, [&](kxp_error* e) {
        return kxp_convert(pipeline.get(), isSource ? &row.image : &apart,
                           isSource ? &apart : &row.image, row.width, row.height, nullptr, e);
      });
      EXPECT_NE(Text(error).find(row.says), std::string::npos) << row.what << ": " << error.message;
    }
  }
}

TEST(Refusals, ColorimetryHasNeitherBytesNorHalves) {
  const Profile scanner = FromMemory(ScannerProfile());
  const struct {
    std::uint32_t sample;
    kxp_status status;
  } kRows[] = {{KXP_U8, KXP_ERROR_ARGUMENT},
               {KXP_U16, KXP_OK},
               {KXP_F16, KXP_ERROR_ARGUMENT},
               {KXP_F32, KXP_OK}};
  for (const char* space : {"lab", "xyz"}) {
    const Pipeline pipeline = Connect(scanner, BuiltIn(space));
    for (const auto& row : kRows) {
      unsigned char from[12] = {}, to[12] = {};
      const kxp_image source = PlainImage(from, KXP_U8), destination = PlainImage(to, row.sample);
      EXPECT_EQ(kxp_convert(pipeline.get(), &source, &destination, 1, 1, nullptr, nullptr),
                row.status)
          << space << ", sample type " << row.sample;
    }
  }
}

// Images of 8-bit samples in one piece of memory: where their samples begin, and their strides.
struct Place {
  int r, g, b, a;  // a: -1 for none
  int pixel, row;
};

kxp_image At(unsigned char* memory, const Place& place) {
  kxp_image image = NewImage();
  image.r = memory + place.r;
  image.g = memory + place.g;
  image.b = memory + place.b;
  image.a = place.a < 0 ? nullptr : memory + place.a;
  image.pixel_stride = place.pixel;
  image.row_stride = place.row;
  return image;
}

TEST(Refusals, Overlap) {
  const Pipeline pipeline = ScannerToSrgb();
  constexpr kxp_status kYes = KXP_OK, kNo = KXP_ERROR_ARGUMENT;
  constexpr int kNone = -1;
  const struct {
    const char* what;
    Place source, destination;
    std::size_t width, height;
    kxp_status status;
  } kRows[] = {
      // One image alone.
      {"apart", {0, 1, 2, kNone, 3, 12}, {500, 501, 502, kNone, 3, 12}, 4, 4, kYes},
      {"two samples of the destination in one place",
       {0, 1, 2, kNone, 3, 12},
       {500, 501, 501, kNone, 3, 12},
       4,
       4,
       kNo},
      {"two samples of the source in one place",
       {0, 0, 0, kNone, 1, 4},
       {500, 501, 502, kNone, 3, 12},
       4,
       4,
       kYes},
      {"one pixel of the source for all",
       {0, 1, 2, kNone, 3, 3},
       {500, 501, 502, kNone, 3, 12},
       1,
       4,
       kYes},
      {"pixels of the destination that overlap",
       {0, 1, 2, kNone, 3, 12},
       {500, 501, 502, kNone, 2, 12},
       4,
       4,
       kNo},
      {"rows of the destination that overlap",
       {0, 1, 2, kNone, 3, 12},
       {500, 501, 502, kNone, 3, 9},
       4,
       4,
       kNo},
      {"a single row, whatever its stride",
       {0, 1, 2, kNone, 3, 1},
       {500, 501, 502, kNone, 3, 1},
       4,
       1,
       kYes},
      {"a single column, whatever its stride",
       {0, 1, 2, kNone, 1, 3},
       {500, 501, 502, kNone, 1, 3},
       1,
       4,
       kYes},
      {"planes of the destination that touch",
       {0, 1, 2, kNone, 3, 12},
       {500, 516, 532, kNone, 1, 4},
       4,
       4,
       kYes},
      {"planes of the destination that overlap by a byte",
       {0, 1, 2, kNone, 3, 12},
       {500, 515, 532, kNone, 1, 4},
       4,
       4,
       kNo},
      {"G a row behind R", {0, 1, 2, kNone, 3, 12}, {500, 510, 502, kNone, 3, 10}, 3, 4, kNo},
      {"G a row behind R, past the last one",
       {0, 1, 2, kNone, 3, 12},
       {500, 540, 502, kNone, 3, 10},
       3,
       4,
       kYes},
      {"columns with R where a later G is",
       {0, 1, 2, kNone, 3, 12},
       {500, 510, 520, kNone, 100, 1},
       4,
       20,
       kNo},
      {"columns with room for each plane",
       {0, 1, 2, kNone, 3, 12},
       {500, 520, 540, kNone, 100, 1},
       4,
       20,
       kYes},
      {"backwards through planes",
       {0, 1, 2, kNone, 3, 12},
       {515, 531, 547, kNone, -1, -4},
       4,
       4,
       kYes},
      // In place.
      {"in place", {0, 1, 2, kNone, 3, 12}, {0, 1, 2, kNone, 3, 12}, 4, 4, kYes},
      {"in place, alpha too", {0, 1, 2, 3, 4, 16}, {0, 1, 2, 3, 4, 16}, 4, 4, kYes},
      {"in place, alpha in the source only",
       {0, 1, 2, 3, 4, 16},
       {0, 1, 2, kNone, 4, 16},
       4,
       4,
       kYes},
      {"in place, alpha in the destination only",
       {0, 1, 2, kNone, 4, 16},
       {0, 1, 2, 3, 4, 16},
       4,
       4,
       kYes},
      {"in place, alpha elsewhere", {0, 1, 2, 3, 4, 16}, {0, 1, 2, 800, 4, 16}, 4, 4, kYes},
      {"in place, alpha over the next pixel's R",
       {0, 1, 2, kNone, 3, 12},
       {0, 1, 2, 3, 3, 12},
       4,
       4,
       kNo},
      {"in place, upside down",
       {36, 37, 38, kNone, 3, -12},
       {36, 37, 38, kNone, 3, -12},
       4,
       4,
       kYes},
      {"in place, R and B exchanged", {0, 1, 2, kNone, 3, 12}, {2, 1, 0, kNone, 3, 12}, 4, 4, kNo},
      {"in place, to be turned over",
       {0, 1, 2, kNone, 3, 12},
       {36, 37, 38, kNone, 3, -12},
       4,
       4,
       kNo},
      {"in place with other rows", {0, 1, 2, kNone, 3, 12}, {0, 1, 2, kNone, 3, 15}, 4, 4, kNo},
      // Next to one another.
      {"a pixel further", {0, 1, 2, kNone, 3, 12}, {3, 4, 5, kNone, 3, 12}, 4, 4, kNo},
      {"a pixel before", {3, 4, 5, kNone, 3, 12}, {0, 1, 2, kNone, 3, 12}, 4, 4, kNo},
      {"a row further", {0, 1, 2, kNone, 3, 12}, {12, 13, 14, kNone, 3, 12}, 4, 4, kNo},
      {"a byte further", {0, 1, 2, kNone, 3, 12}, {1, 2, 3, kNone, 3, 12}, 4, 4, kNo},
      {"behind one another", {0, 1, 2, kNone, 3, 12}, {48, 49, 50, kNone, 3, 12}, 4, 4, kYes},
      {"halves of one image", {0, 1, 2, kNone, 3, 24}, {12, 13, 14, kNone, 3, 24}, 4, 4, kYes},
      {"more than halves of one image",
       {0, 1, 2, kNone, 3, 24},
       {12, 13, 14, kNone, 3, 24},
       5,
       4,
       kNo},
      {"every other row", {0, 1, 2, kNone, 3, 24}, {36, 37, 38, kNone, 3, 24}, 4, 4, kYes},
      {"six channels", {0, 1, 2, kNone, 6, 24}, {3, 4, 5, kNone, 6, 24}, 4, 4, kYes},
      {"six channels, one used twice", {0, 1, 2, kNone, 6, 24}, {3, 4, 2, kNone, 6, 24}, 4, 4, kNo},
      {"planes by turns", {0, 32, 64, kNone, 1, 4}, {16, 48, 80, kNone, 1, 4}, 4, 4, kYes},
      {"planes of the source into its own rows",
       {0, 16, 32, kNone, 1, 4},
       {8, 24, 40, kNone, 1, 4},
       4,
       4,
       kNo},
      {"a destination within the source's stride",
       {0, 1, 2, kNone, 3, 100},
       {20, 21, 22, kNone, 3, 12},
       4,
       4,
       kNo},
  };
  for (const auto& row : kRows) {
    std::vector<unsigned char> memory(1024, 77);
    const std::vector<unsigned char> before = memory;
    const kxp_image source = At(memory.data(), row.source);
    const kxp_image destination = At(memory.data(), row.destination);
    kxp_error error = NewError();
    EXPECT_EQ(
        kxp_convert(pipeline.get(), &source, &destination, row.width, row.height, nullptr, &error),
        row.status)
        << row.what << ": " << error.message;
    if (row.status != KXP_OK) {
      EXPECT_EQ(memory, before) << row.what;
    }
  }
}

// 16-bit samples whose second byte is another sample's first.
TEST(Refusals, OverlapByHalfASample) {
  const Pipeline pipeline = ScannerToSrgb();
  const struct {
    const char* what;
    int g, pixel;
    kxp_status status;
  } kRows[] = {
      {"beside", 2, 6, KXP_OK},
      {"by half a sample", 1, 6, KXP_ERROR_ARGUMENT},
      {"with half of the next pixel's", 5, 6, KXP_ERROR_ARGUMENT},
      {"half a sample apart, in a wide pixel", 3, 9, KXP_OK},
      {"half a sample apart from the next pixel's", 6, 9, KXP_OK},
  };
  for (const auto& row : kRows) {
    std::vector<unsigned char> from(256), to(256);
    const kxp_image source = PlainImage(from.data(), KXP_U16);
    kxp_image destination = PlainImage(to.data(), KXP_U16);
    destination.g = to.data() + row.g;
    destination.b = to.data() + 100;
    destination.pixel_stride = row.pixel;
    EXPECT_EQ(kxp_convert(pipeline.get(), &source, &destination, 5, 1, nullptr, nullptr),
              row.status)
        << row.what;
  }
}

// Samples of one size are not yet samples of one type.
TEST(Refusals, InPlaceWithAnotherType) {
  const Pipeline pipeline = ScannerToSrgb();
  for (const std::uint32_t from : {KXP_U16, KXP_F16}) {
    for (const std::uint32_t to : {KXP_U16, KXP_F16}) {
      std::uint16_t samples[12] = {};
      const kxp_image source = PlainImage(samples, from), destination = PlainImage(samples, to);
      EXPECT_EQ(kxp_convert(pipeline.get(), &source, &destination, 4, 1, nullptr, nullptr),
                from == to ? KXP_OK : KXP_ERROR_ARGUMENT);
    }
  }
}

TEST(Refusals, NothingHappensWithoutPixels) {
  const Pipeline pipeline = ScannerToSrgb();
  unsigned char memory[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const Bytes before(memory, memory + sizeof memory);
  const kxp_image image = PlainImage(memory, KXP_U8);
  bool told = false;
  kxp_convert_options options = NewConvertOptions();
  options.progress = [](void* context, std::uint64_t, std::uint64_t) {
    *static_cast<bool*>(context) = true;
    return 0;
  };
  options.progress_context = &told;
  for (const auto& [width, height] : {std::pair{0, 4}, std::pair{4, 0}, std::pair{0, 0}}) {
    EXPECT_EQ(kxp_convert(pipeline.get(), &image, &image, static_cast<std::size_t>(width),
                          static_cast<std::size_t>(height), &options, nullptr),
              KXP_OK);
  }
  EXPECT_FALSE(told);
  EXPECT_EQ(Bytes(memory, memory + sizeof memory), before);
}

// ---- What calls leave behind --------------------------------------------------------------------

TEST(Refusals, RecordsAreLeftAloneOnSuccess) {
  kxp_error error;
  std::memset(&error, 0x5A, sizeof error);
  error.size = sizeof error;
  const kxp_error before = error;
  const Bytes bytes = ScannerProfile();
  const TemporaryFile file(bytes);
  kxp_profile *fromMemory = nullptr, *opened = nullptr, *srgb = nullptr;
  kxp_pipeline* pipeline = nullptr;
  unsigned char pixel[3] = {};
  const kxp_image image = PlainImage(pixel, KXP_U8);
  EXPECT_EQ(kxp_profile_from_memory(bytes.data(), bytes.size(), &fromMemory, &error), KXP_OK);
  EXPECT_EQ(kxp_profile_open(file.Path(), &opened, &error), KXP_OK);
  EXPECT_EQ(kxp_profile_builtin("srgb", &srgb, &error), KXP_OK);
  EXPECT_EQ(kxp_pipeline_create(opened, srgb, nullptr, &pipeline, &error), KXP_OK);
  EXPECT_EQ(kxp_convert(pipeline, &image, &image, 1, 1, nullptr, &error), KXP_OK);
  EXPECT_EQ(std::memcmp(&error, &before, sizeof error), 0);
  kxp_pipeline_release(pipeline);
  for (kxp_profile* profile : {fromMemory, opened, srgb}) kxp_profile_release(profile);
}

TEST(Refusals, ResultsBecomeNullOnFailure) {
  const Profile scanner = FromMemory(ScannerProfile());
  kxp_profile* profile = Marker<kxp_profile>();
  EXPECT_NE(kxp_profile_from_memory("none", 4, &profile, nullptr), KXP_OK);
  EXPECT_EQ(profile, nullptr);
  profile = Marker<kxp_profile>();
  EXPECT_NE(kxp_profile_from_memory(nullptr, 4, &profile, nullptr), KXP_OK);
  EXPECT_EQ(profile, nullptr);
  profile = Marker<kxp_profile>();
  EXPECT_NE(kxp_profile_open(nullptr, &profile, nullptr), KXP_OK);
  EXPECT_EQ(profile, nullptr);
  profile = Marker<kxp_profile>();
  EXPECT_NE(kxp_profile_builtin(nullptr, &profile, nullptr), KXP_OK);
  EXPECT_EQ(profile, nullptr);
  kxp_pipeline* pipeline = Marker<kxp_pipeline>();
  EXPECT_NE(kxp_pipeline_create(nullptr, scanner.get(), nullptr, &pipeline, nullptr), KXP_OK);
  EXPECT_EQ(pipeline, nullptr);
  pipeline = Marker<kxp_pipeline>();
  EXPECT_NE(kxp_pipeline_create(scanner.get(), nullptr, nullptr, &pipeline, nullptr), KXP_OK);
  EXPECT_EQ(pipeline, nullptr);
}

}  // namespace

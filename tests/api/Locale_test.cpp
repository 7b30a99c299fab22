// A host with a locale of its own: commas in numbers, messages in another language.

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/api/TestImage.h"

namespace {

using namespace api_test;

// German, made for the time of a test; what was there comes back.
class German {
 public:
  German() {
    namespace fs = std::filesystem;
    folder_ = fs::temp_directory_path() / ("kxcms_locale_" + std::to_string(getpid()));
    fs::create_directories(folder_);
    const std::string made = (folder_ / "de_DE.UTF-8").string();
    const std::string command = "localedef -i de_DE -f UTF-8 '" + made + "' >/dev/null 2>&1";
    if (std::system(command.c_str()) == -1) return;
    setenv("LOCPATH", folder_.c_str(), 1);
    setenv("LANGUAGE", "de", 1);
    const char* const name = std::setlocale(LC_ALL, "de_DE.UTF-8");
    if (name != nullptr) name_ = name;
  }
  German(const German&) = delete;
  German& operator=(const German&) = delete;
  ~German() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    unsetenv("LANGUAGE");
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  bool IsThere() const {
    return !name_.empty() && std::strcmp(std::localeconv()->decimal_point, ",") == 0;
  }
  bool IsUnchanged() const { return std::setlocale(LC_ALL, nullptr) == name_; }

 private:
  std::filesystem::path folder_;
  std::string name_;
};

std::string MessageOf(const std::function<kxp_status(kxp_error*)>& call) {
  kxp_error error = NewError();
  EXPECT_NE(call(&error), KXP_OK);
  return error.message;
}

// Everything that the library says in words or numbers, and a conversion.
std::vector<std::string> EverythingSaid() {
  std::vector<std::string> said;
  const Profile profile = FromMemory(FullProfile());
  for (std::uint32_t key = 1; key <= KXP_DESTINATION_FALLBACK; ++key) {
    for (std::uint32_t index = 0; index < 12; ++index) {
      char text[256] = "";
      double number = 0;
      if (kxp_profile_text(profile.get(), key, index, text, sizeof text, nullptr) == KXP_OK) {
        said.emplace_back(text);
      }
      if (kxp_profile_number(profile.get(), key, index, &number) == KXP_OK) {
        said.emplace_back(reinterpret_cast<const char*>(&number), sizeof number);
      }
    }
  }
  for (int status = KXP_OK; status <= KXP_CANCELLED + 1; ++status) {
    said.emplace_back(kxp_status_text(static_cast<kxp_status>(status)));
  }
  for (std::size_t n = 0; n < kxp_space_count(); ++n) {
    said.emplace_back(kxp_space_name(n));
    said.emplace_back(kxp_space_description(n));
    unsigned char bytes[10000];
    std::size_t size = 0;
    EXPECT_EQ(
        kxp_profile_write(BuiltIn(kxp_space_name(n)).get(), 4, bytes, sizeof bytes, &size, nullptr),
        KXP_OK);
    said.emplace_back(bytes, bytes + size);
  }
  said.emplace_back(kxp_version());
  kxp_profile* none = nullptr;
  for (const char* path : {"/nonexistent/scanner.icc", "/", "/dev/null/scanner.icc"}) {
    said.push_back(
        MessageOf([&](kxp_error* error) { return kxp_profile_open(path, &none, error); }));
  }
  const Bytes odd = profile_bytes::ProfileBytes().Header(8, 0x05120000).Build();
  said.push_back(MessageOf([&](kxp_error* error) {
    return kxp_profile_from_memory(odd.data(), odd.size(), &none, error);
  }));
  const Pipeline pipeline = ScannerToSrgb();
  const Bytes pixels = ConvertedPlainly(pipeline.get(), {100, 1}, {}, SomeBytes(300, 3));
  said.emplace_back(pixels.begin(), pixels.end());
  return said;
}

TEST(Locale, CommasAndOtherLanguagesChangeNothing) {
  const std::vector<std::string> expected = EverythingSaid();
  const German german;
  if (!german.IsThere()) GTEST_SKIP() << "SKIP: no localedef with de_DE (package locales)";
  EXPECT_EQ(EverythingSaid(), expected);
  EXPECT_TRUE(german.IsUnchanged());
}

}  // namespace

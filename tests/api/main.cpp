// Every test of this program, with an eye on standard output and standard error: nobody but the
// test framework may write there.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

// What goes to a descriptor while this lives.
class Captured {
 public:
  explicit Captured(int descriptor)
      : descriptor_(descriptor), original_(dup(descriptor)), memory_(memfd_create("captured", 0)) {
    dup2(memory_, descriptor_);
  }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  ~Captured() {
    dup2(original_, descriptor_);
    close(original_);
    close(memory_);
  }

  std::string Text() const {
    std::string text(static_cast<std::size_t>(lseek(memory_, 0, SEEK_END)), '\0');
    const ssize_t count = pread(memory_, text.data(), text.size(), 0);
    return count == static_cast<ssize_t>(text.size()) ? text : "what cannot be read";
  }

 private:
  int descriptor_, original_, memory_;
};

// Stands between the framework's own lines: it is told of a test's start after its printer, and of
// the end before it. Lines of failures come up here as well.
class Silence : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    std::fflush(nullptr);
    output_ = std::make_unique<Captured>(STDOUT_FILENO);
    errors_ = std::make_unique<Captured>(STDERR_FILENO);
  }
  void OnTestEnd(const testing::TestInfo& info) override {
    std::fflush(nullptr);
    const std::string written = output_->Text() + errors_->Text();
    output_.reset();
    errors_.reset();
    const bool failed = info.result()->Failed();
    if (failed || info.result()->Skipped()) {
      std::fputs(written.c_str(), stdout);
    } else {
      EXPECT_EQ(written, "") << "written to standard output or standard error";
    }
  }

  std::unique_ptr<Captured> output_, errors_;
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new Silence);
  return RUN_ALL_TESTS();
}

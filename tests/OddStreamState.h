#ifndef KXCMS_TESTS_ODDSTREAMSTATE_H
#define KXCMS_TESTS_ODDSTREAMSTATE_H

#include <gtest/gtest.h>

#include <ios>
#include <iostream>
#include <locale>
#include <string>

// What an application may have done to std::cout before it calls the library, for as long as the
// object lives: another base, padding that waits for the next number, digits in groups.
class OddStreamState {
 public:
  OddStreamState() : locale_(std::cout.imbue(std::locale(std::locale::classic(), new Groups))) {
    before_.copyfmt(std::cout);
    std::cout.setf(std::ios::hex, std::ios::basefield);
    std::cout.setf(std::ios::left, std::ios::adjustfield);
    std::cout.setf(std::ios::showbase | std::ios::showpos | std::ios::uppercase);
    std::cout.precision(2);
    std::cout.fill('*');
    std::cout.width(12);
    flags_ = std::cout.flags();
  }
  ~OddStreamState() {
    std::cout.copyfmt(before_);
    std::cout.imbue(locale_);
  }
  OddStreamState(const OddStreamState&) = delete;
  OddStreamState& operator=(const OddStreamState&) = delete;

  // Nothing that was printed since has changed anything.
  void ExpectKept() const {
    EXPECT_EQ(std::cout.flags(), flags_);
    EXPECT_EQ(std::cout.precision(), 2);
    EXPECT_EQ(std::cout.fill(), '*');
    EXPECT_EQ(std::cout.width(), 12);
    EXPECT_EQ(std::use_facet<std::numpunct<char>>(std::cout.getloc()).thousands_sep(), '\'');
    EXPECT_TRUE(std::cout.good());
  }

 private:
  struct Groups : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\1"; }
  };

  std::locale locale_;
  std::ios before_{nullptr};
  std::ios::fmtflags flags_;
};

// What `call` prints on standard output under that state.
template <typename Call>
std::string PrintedOddly(const Call& call) {
  testing::internal::CaptureStdout();
  {
    const OddStreamState state;
    call();
    state.ExpectKept();
  }
  return testing::internal::GetCapturedStdout();
}

#endif

#include "tools/batch/BatchProgress.h"

#include <cmath>
#include <cstdio>
#include <iostream>

#include "tools/OneLine.h"
#include "tools/batch/RecordText.h"

namespace kxcms::batch {

namespace {

std::chrono::milliseconds IntervalOf(BatchProgress::Form form) {
  using std::chrono::milliseconds;
  switch (form) {
    case BatchProgress::Form::kTerminal:
      return milliseconds(200);
    case BatchProgress::Form::kJson:
      return milliseconds(1000);
    default:
      return milliseconds(10000);
  }
}

double Rounded(double value) {
  return std::round(value * 1000) / 1000;
}

}  // namespace

BatchProgress::BatchProgress(Form form, std::optional<std::uint64_t> total)
    : form_(form), total_(total), next_(start_ + IntervalOf(form)) {}

void BatchProgress::Count(const FileResult& result) {
  const std::lock_guard<std::mutex> guard(lock_);
  switch (result.kind) {
    case FileResult::Kind::kDone:
      ++done_;
      break;
    case FileResult::Kind::kDoneBefore:
      ++doneBefore_;
      break;
    case FileResult::Kind::kSkipped:
      ++skipped_;
      break;
    case FileResult::Kind::kFailed:
      ++failed_;
      break;
    default:
      break;
  }
  if (!result.line.empty()) TellLocked(result.line);
  if (form_ != Form::kNone && Clock::now() >= next_) {
    Show();
    next_ = Clock::now() + IntervalOf(form_);
  }
}

void BatchProgress::Tell(const std::string& line) {
  const std::lock_guard<std::mutex> guard(lock_);
  TellLocked(line);
}

void BatchProgress::TellLocked(const std::string& line) {
  if (isShown_) std::fputs("\r\033[K", stderr);
  isShown_ = false;
  std::fprintf(stderr, "kxcms: %s\n", OneLine(line).c_str());
}

void BatchProgress::Finish() {
  const std::lock_guard<std::mutex> guard(lock_);
  if (form_ == Form::kNone) return;
  Show();
  if (isShown_) std::fputc('\n', stderr);
  isShown_ = false;
}

std::uint64_t BatchProgress::failed() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return failed_;
}

void BatchProgress::Show() {
  if (form_ == Form::kJson) {
    std::cout << Document() << std::endl;
  } else if (form_ == Form::kTerminal) {
    std::fprintf(stderr, "\r%s\033[K", Line().c_str());
    std::fflush(stderr);
    isShown_ = true;
  } else {
    std::fprintf(stderr, "kxcms: %s\n", Line().c_str());
  }
}

double BatchProgress::Seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

double BatchProgress::Rate() const {
  const double seconds = Seconds();
  return seconds > 0 ? static_cast<double>(Handled()) / seconds : 0;
}

std::optional<double> BatchProgress::SecondsLeft() const {
  const double rate = Rate();
  if (!total_ || rate <= 0) return std::nullopt;
  const std::uint64_t told = Handled() + doneBefore_;
  return *total_ > told ? static_cast<double>(*total_ - told) / rate : 0;
}

std::string BatchProgress::Line() const {
  char number[32];
  std::string line = std::to_string(Handled() + doneBefore_);
  if (total_) line += " of " + std::to_string(*total_);
  line += " files: " + std::to_string(done_) + " done";
  if (doneBefore_ > 0) line += ", " + std::to_string(doneBefore_) + " done before";
  if (skipped_ > 0) line += ", " + std::to_string(skipped_) + " skipped";
  line += ", " + std::to_string(failed_) + " failed";
  std::snprintf(number, sizeof number, ", %.1f a second", Rate());
  line += number;
  const std::optional<double> left = SecondsLeft();
  if (left && *left > 0) {
    std::snprintf(number, sizeof number, ", %.0f s left", *left);
    line += number;
  }
  return line;
}

std::string BatchProgress::Document() const {
  const std::optional<double> left = SecondsLeft();
  Json document = Json::object();
  document["total"] = total_ ? Json(*total_) : Json();
  document["done"] = done_;
  document["done_before"] = doneBefore_;
  document["skipped"] = skipped_;
  document["failed"] = failed_;
  document["seconds"] = Rounded(Seconds());
  document["rate"] = Rounded(Rate());
  document["seconds_left"] = left ? Json(Rounded(*left)) : Json();
  return TextOf(document);
}

}  // namespace kxcms::batch

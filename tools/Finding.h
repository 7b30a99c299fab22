#ifndef KXCMS_TOOLS_FINDING_H
#define KXCMS_TOOLS_FINDING_H

#include <algorithm>
#include <bitset>
#include <string>
#include <utility>
#include <vector>

#include "Refusal.h"
#include "codes/ColorCodes.h"

/// By `ICC40::ICCFILE::Intent`.
using IntentSet = std::bitset<ICC40::ICCFILE::kIntentCount>;

/// Something wrong with a file.
struct Finding {
  /// An error makes `convert` refuse the file; in spite of a warning it converts rightly.
  enum class Severity { Warning, Error };

  Severity severity;
  const char* code;   ///< short name that programs may rely on; see the manual page
  std::string text;   ///< for people, without the file's name
  Exit refusal;       ///< of an error: the command's exit status
  IntentSet intents;  ///< the conversions that an error concerns
};

/// Findings in the order in which the file was read, each once. A list that has grown long takes
/// only errors that concern conversions without an error so far: what is refused stays refused.
class Findings {
 public:
  void Add(Finding finding) {
    const bool error = finding.severity == Finding::Severity::Error;
    const bool newlyRefused = error && (finding.intents & ~refused_).any();
    const auto same = [&finding](const Finding& other) { return other.text == finding.text; };
    if (!newlyRefused && (full() || std::any_of(list_.begin(), list_.end(), same))) return;
    if (error) refused_ |= finding.intents;
    list_.push_back(std::move(finding));
  }
  bool full() const { return list_.size() >= kLong; }
  const std::vector<Finding>& list() const { return list_; }

 private:
  static constexpr std::size_t kLong = 200;
  std::vector<Finding> list_;
  IntentSet refused_;
};

#endif

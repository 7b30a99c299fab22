#ifndef KXCMS_TOOLS_FINDING_H
#define KXCMS_TOOLS_FINDING_H

#include <algorithm>
#include <array>
#include <bitset>
#include <string>
#include <utility>
#include <vector>

#include "codes/ColorCodes.h"

/// By `ICC40::ICCFILE::Intent`.
using IntentSet = std::bitset<ICC40::ICCFILE::kIntentCount>;

/// Something that is to be known of a file.
struct Finding {
  enum class Severity {
    Note,     ///< nothing is wrong, but somebody cannot use it
    Warning,  ///< against the format, without consequence for the colours
    Error,    ///< damage
  };

  Severity severity;
  const char* code;   ///< short name that programs may rely on; see the manual page
  std::string text;   ///< for people, without the file's name
  IntentSet intents;  ///< the conversions that it concerns, of an error or a note of a profile
  /// Whether it concerns nobody but users of libKXCMS, whose fixed interface takes fewer forms.
  bool isOfFixedOnly = false;
};

/// Findings in the order in which the file was read, each once. A list that has grown long takes
/// only errors and notes that concern conversions without one so far.
class Findings {
 public:
  void Add(Finding finding) {
    IntentSet& told = told_[static_cast<std::size_t>(finding.severity)];
    const bool isNew = (finding.intents & ~told).any();
    const auto same = [&finding](const Finding& other) { return other.text == finding.text; };
    if (!isNew && (full() || std::any_of(list_.begin(), list_.end(), same))) return;
    told |= finding.intents;
    list_.push_back(std::move(finding));
  }
  bool full() const { return list_.size() >= kLong; }
  const std::vector<Finding>& list() const { return list_; }

 private:
  static constexpr std::size_t kLong = 200;
  std::vector<Finding> list_;
  std::array<IntentSet, 3> told_;  ///< by severity
};

#endif

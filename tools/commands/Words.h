#ifndef KXCMS_TOOLS_COMMANDS_WORDS_H
#define KXCMS_TOOLS_COMMANDS_WORDS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

#include "tools/Refusal.h"

/// A word of the command line, and what it stands for. Help and messages list the words of an
/// option in the order of their table.
template <typename Value>
struct Word {
  const char* name;
  Value value;
};
template <typename Value, std::size_t count>
using Words = std::array<Word<Value>, count>;

/// "a, b, c", with `last` in front of the last one.
template <typename Value, std::size_t count>
std::string ListOf(const Words<Value, count>& words, const char* last = ", ") {
  std::string list;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) list += i + 1 < count ? ", " : last;
    list += words[i].name;
  }
  return list;
}

/// "a, b or c", for the help.
template <typename Value, std::size_t count>
std::string ChoiceOf(const Words<Value, count>& words) {
  return ListOf(words, " or ");
}

/// What a word stands for; refuses one that stands for nothing.
/// @param what  how the message calls it
template <typename Value, std::size_t count>
Value Meaning(const Words<Value, count>& words, const char* what, const std::string& word) {
  const auto found = std::find_if(words.begin(), words.end(),
                                  [&word](const Word<Value>& one) { return word == one.name; });
  if (found == words.end()) {
    throw Refusal(Exit::Usage,
                  std::string("unknown ") + what + " " + word + "; known: " + ListOf(words));
  }
  return found->value;
}

#endif

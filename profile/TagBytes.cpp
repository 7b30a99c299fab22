#include "profile/TagBytes.h"

#include <algorithm>

namespace kxcms {

std::string Quoted(Signature signature) {
  std::string text(4, ' ');
  for (int n = 0; n < 4; ++n) text[n] = static_cast<char>(signature >> (24 - 8 * n) & 0xFF);
  // Plain ASCII, whatever the locale.
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; })) {
    return "'" + text + "'";
  }
  std::string number = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    number += "0123456789ABCDEF"[signature >> shift & 0xF];
  }
  return number;
}

void TagBytes::Need(std::uint64_t at, std::uint64_t count, std::string_view what) const {
  if (bytes.Holds(at, count)) return;
  Refuse(at, Sentence("The tag ", signature, " has ", std::uint64_t{bytes.size()}, " bytes, ", what,
                      " would end at ", at + count, "."));
}

void TagBytes::Charge(std::uint64_t sizeBytes, ReadBudget& budget) const {
  const std::uint64_t left = budget.left();
  if (budget.Take(sizeBytes)) return;
  Refuse(0,
         Sentence("A table of the tag ", signature, " takes ", sizeBytes,
                  " bytes of memory, but a profile of this size may take only ", left, " more."),
         ProfileFault::kOutOfProportion);
}

}  // namespace kxcms

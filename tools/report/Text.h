#ifndef KXCMS_TOOLS_REPORT_TEXT_H
#define KXCMS_TOOLS_REPORT_TEXT_H

#include <string>
#include <string_view>

namespace kxcms::report {

/// A number with so many decimals, whatever the locale, and no negative zero. What is not finite
/// is a dash.
std::string Fixed(double value, int decimals);

/// The same number, rounded so.
double Rounded(double value, int decimals);

/// UTF-8 for HTML and XML alike: markup is escaped; what XML does not allow, and bytes that are no
/// UTF-8, become U+FFFD.
std::string Escaped(std::string_view text);

/// Valid UTF-8 of at most `most` bytes, whatever the text was.
std::string Clean(std::string_view text, std::size_t most = 400);

}  // namespace kxcms::report

#endif

#ifndef KXCMS_TOOLS_REPORT_PAGE_H
#define KXCMS_TOOLS_REPORT_PAGE_H

#include <span>
#include <string>

#include "tools/report/Json.h"

namespace kxcms::report {

/// One HTML page, which is well-formed XML too: no scripts, nothing outside it, plots as SVG.
///
/// Every number in its text comes from the document: `<data value="..." data-at="...">` gives the
/// number there and its JSON pointer (RFC 6901) beside the rounded one that people read.
std::string Page(std::span<const ProfileReport> profiles, const Json& document);

}  // namespace kxcms::report

#endif

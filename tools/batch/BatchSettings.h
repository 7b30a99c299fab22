#ifndef KXCMS_TOOLS_BATCH_BATCHSETTINGS_H
#define KXCMS_TOOLS_BATCH_BATCHSETTINGS_H

#include <optional>
#include <string>

#include "tools/batch/ProfileMap.h"
#include "tools/batch/RecordText.h"
#include "tools/commands/ColorStore.h"
#include "tools/commands/ConvertOptions.h"

namespace kxcms::batch {

/// What decides about results: the options of the conversion with the profiles that they name, and
/// the table of profiles.
struct Settings {
  ConvertOptions options;
  ConvertRequest request;  ///< what the options make
  std::optional<ProfileMap> map;
  std::string mapPath;
};

/// Settings as a journal's header has them. Profiles stand there with the digest of their bytes.
/// @param colors  the store of these settings
Json JsonOf(const Settings& settings, ColorStore& colors);
/// SHA-256 of what of them decides about results: names of files, say, do not.
std::string DigestOf(const Json& settings);
/// The options that were written down, so that the same can be done again. Relative names of files
/// have become absolute ones.
ConvertOptions OptionsOf(const Json& settings);

}  // namespace kxcms::batch

#endif

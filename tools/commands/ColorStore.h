#ifndef KXCMS_TOOLS_COMMANDS_COLORSTORE_H
#define KXCMS_TOOLS_COMMANDS_COLORSTORE_H

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/commands/ColorHandles.h"
#include "tools/commands/Convert.h"

/// The way from the colours of one profile to the destination, and what was found out about it.
struct DeviceColors {
  PipelineHandle pipeline;
  std::string sha256;             ///< of the profile's bytes
  std::string description;        ///< that the profile has
  std::string sourceTag;          ///< that is used, "A2B0" and so on, or "matrix"
  std::string targetTag;          ///< the same of the destination, or "builtin"
  bool isSourceFallback = false;  ///< it is not the tag of the intent
  bool isTargetFallback = false;
};

/// The profiles and pipelines that conversions share. What a request says of colours is read once;
/// profiles and output space of all requests that use a store have to be the same but for
/// `ConvertRequest::profile`. Any number of threads may use it at once.
class ColorStore {
 public:
  /// Reads what is named; refuses what cannot be used.
  /// @param most         pipelines that are kept at a time; each may take 32 MiB
  /// @param withDigests  whether there are digests; nobody needs them to convert
  ColorStore(const ConvertRequest& request, std::size_t most, bool withDigests);

  const Destination& destination() const { return destination_; }
  /// The profile that results carry.
  const std::optional<std::vector<unsigned char>>& tag() const { return tag_; }
  /// Of that, if the store has digests; empty where there is none.
  const std::string& tagSha256() const { return tagSha256_; }

  /// The bytes of a profile or space that was named; they stay as long as the store.
  const std::vector<unsigned char>& Named(const std::string& name);

  /// The way from a profile to the destination.
  /// @param name  how messages call the profile
  std::shared_ptr<const DeviceColors> From(const std::vector<unsigned char>& profile,
                                           const std::string& name);

 private:
  /// A profile, and the way from it once that is made.
  struct Slot {
    std::vector<unsigned char> profile;
    std::mutex making;
    std::shared_ptr<const DeviceColors> colors;
  };

  std::shared_ptr<Slot> SlotFor(const std::vector<unsigned char>& profile);
  std::shared_ptr<const DeviceColors> Made(const std::vector<unsigned char>& profile,
                                           const std::string& name) const;

  const ConvertRequest request_;
  const std::size_t most_;
  const bool withDigests_;
  Destination destination_;
  std::optional<std::vector<unsigned char>> tag_;
  std::string tagSha256_;
  std::mutex lock_;  ///< of what follows
  std::map<std::string, std::vector<unsigned char>> named_;
  std::list<std::shared_ptr<Slot>> slots_;  ///< last used first
};

#endif

#ifndef KXCMS_CORPUS_CORPUS_H
#define KXCMS_CORPUS_CORPUS_H

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Digest.h"
#include "RandomProfile.h"

/// Conversions whose every bit is known: over profiles made of numbers, all output codes, both
/// input depths, all intents, offsets, curves put in the place of the output curves, the three ways
/// in which a profile's manufacturer chooses the worker, and tags of unusual shapes.
namespace corpus {

using Bytes = std::vector<unsigned char>;

/// What selects a pipeline, as the numbers of the C interface.
struct Selection {
  int intent = 0;
  int inputCode = 0;
  int outputCode = 0;
  double lightness = 0;
  double chroma = 0;
  double hueDeg = 0;
};

struct Case {
  std::string name;
  ProfileSpec profile;
  Selection selection;
  /// Goes on with other offsets and other output curves.
  bool adjusted = false;
};

std::vector<Case> Cases();

/// The contract tables of a pipeline, borrowed. All empty where nothing converts.
struct Tables {
  std::array<std::span<const std::uint32_t>, 3> input;
  std::span<const std::uint32_t> cells;
  std::array<std::span<const std::uint32_t>, 3> output;
};

/// A conversion chain, under the corpus' control: the library, or what it is compared with.
class Chain {
 public:
  virtual ~Chain() = default;
  /// Starts anew, without anything of an earlier profile.
  virtual void SetProfile(const Bytes& profile, const Selection& selection) = 0;
  virtual void AdjustLch(double lightness, double chroma, double hueDeg) = 0;
  /// Three curves of the same length.
  virtual void AdjustOutput(std::array<Bytes, 3> curves) = 0;
  /// Output code, engine status, conversion type.
  virtual std::array<int, 3> State() const = 0;
  virtual Tables CurrentTables() const = 0;
  /// Samples as wide as codes and conversion type say.
  virtual void Convert(Bytes& source, Bytes& destination, int pixels) = 0;
  /// 8-bit samples to 16-bit ones, whatever the codes say.
  virtual void ConvertWide(Bytes& source, std::vector<unsigned short>& destination, int pixels) = 0;
};

/// Runs all cases and takes the digests of what comes out: the profile's own bytes, the state, the
/// tables of each stage, the pixels.
Digests DigestsOf(Chain& chain);

}  // namespace corpus

#endif

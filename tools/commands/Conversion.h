#ifndef KXCMS_TOOLS_COMMANDS_CONVERSION_H
#define KXCMS_TOOLS_COMMANDS_CONVERSION_H

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/ImageInput.h"
#include "tools/OutputFile.h"
#include "tools/commands/ColorStore.h"
#include "tools/commands/Convert.h"
#include "tools/commands/PixelDigest.h"
#include "tools/image/ImageSink.h"
#include "tools/image/ImageSource.h"

/// The format of the result: the one that was asked for, or that of the output's suffix. Refuses a
/// suffix that names none.
kxcms::image::Format FormatOf(const ConvertRequest& request);

/// Whose colours an image was taken to have.
struct ProfileRecord {
  /// "profile" or "map" (named), "embedded", "stated" (by the image to be sRGB), or "assumed".
  std::string source;
  std::string sha256;       ///< of its bytes
  std::string description;  ///< that it has
  std::string tag;          ///< that is used: "A2B0" and so on, or "matrix"
  bool isFallback = false;  ///< it is not the tag of the intent
};

/// A page of the result.
struct PageRecord {
  std::size_t page = 0;  ///< of the source, from 1
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  unsigned bits = 0;
  unsigned samples = 0;
  ProfileRecord profile;
};

/// What a conversion did.
struct ConversionRecord {
  kxcms::image::Format format = kxcms::image::Format::kTiff;
  std::string destination;
  std::vector<PageRecord> pages;
  std::vector<std::string> notes;
  std::vector<std::string> dropped;
  /// Of R, G and B: the share of the result's samples that are 0 or full scale, over all pages.
  std::array<double, 3> clipped = {};
  std::string pixelSha256;  ///< of the samples that decoding the result gives, see `PixelDigest`
};

/// What a conversion finds out besides the result; each costs time.
struct Findings {
  bool clipped = false;
  bool pixelSha256 = false;
};

/// One conversion in phases, from the request to a file that only waits for its name. Each throws a
/// `Refusal` instead of letting anything doubtful pass, and none prints. Not for two threads at
/// once; conversions with a common `ColorStore` may run at the same time.
class Conversion {
 public:
  /// Told the number of pixels that are done, between pieces, on any thread but never on two at
  /// once; may throw to end the conversion.
  using Watch = std::function<void(std::uint64_t donePixels)>;

  /// Refuses options that contradict the format.
  explicit Conversion(ConvertRequest request, Findings findings = {});

  /// Opens the input and looks which pages it has.
  void Open();
  const kxcms::image::ImageSource& source() const { return *source_; }
  /// Names the profile of the device, in place of what the request says.
  /// @param source  what the record is to have for it
  void UseProfile(const std::string& name, const std::string& source);
  /// Chooses the pages and their profiles; afterwards everything that can be refused without
  /// looking at pixels has been. The store has to stay.
  void Choose(ColorStore& colors);
  /// Converts into the file, and leaves it to the caller to commit it.
  void Write(OutputFile& output, const Watch& watch);

  /// Of the opened input.
  int inputFd() const { return input_->fd(); }
  /// Of all pages, once they are chosen.
  std::uint64_t PixelCount() const;
  /// What has been done so far.
  const ConversionRecord& record() const { return record_; }

 private:
  /// A page that is converted.
  struct Work {
    std::size_t index;                                    ///< in the source
    kxcms::image::Page page;                              ///< as it is written
    const std::vector<unsigned char>* profile = nullptr;  ///< of its colours, borrowed
    std::string profileName;
  };
  struct Piece;

  template <typename Function>
  auto Named(Function function);
  [[noreturn]] void RefuseInput(const std::string& reason) const;
  void CheckOptions() const;
  void ChoosePages();
  void ChooseProfiles();
  void ChooseProfile(Work& work, ProfileRecord& record);
  std::shared_ptr<const DeviceColors> ColorsOf(const Work& work);
  void Note(const std::string& note);
  void NoteFallback(bool isFallback, const std::string& tag, const std::string& name);
  void PreparePage(Work& work);
  bool IsBig() const;
  /// Refuses at once what would be written in vain.
  void CheckSizeOfTiff() const;
  void ConvertRows(const Work& work, kxcms::image::ImageSink& sink, const Watch& watch);
  void ConvertPiece(const DeviceColors& colors, const kxcms::image::Page& from,
                    const kxcms::image::Page& to, const kxp_convert_options& options,
                    Piece& piece) const;
  void FindPixelDigest(const OutputFile& output, std::uint64_t sizeBytes);
  void Examine(const unsigned char* result, const kxcms::image::Page& page, std::uint32_t rows);

  ConvertRequest request_;
  std::string namedBy_ = "profile";
  const Findings findings_;
  std::optional<ImageInput> input_;
  std::unique_ptr<kxcms::image::ImageSource> source_;
  std::vector<Work> work_;
  ColorStore* colors_ = nullptr;
  std::uint64_t donePixels_ = 0;
  std::array<std::uint64_t, 3> clippedSamples_ = {};
  std::optional<PixelDigest> pixels_;
  ConversionRecord record_;
};

#endif

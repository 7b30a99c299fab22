#include "Convert.h"

#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "InputFile.h"
#include "OutputFile.h"
#include "ProfileCheck.h"
#include "ProfileSource.h"
#include "Progress.h"
#include "Refusal.h"
#include "TiffCheck.h"
#include "Verification.h"
#include "codes/ResultCodes.h"
#include "engine/CIccEngineS.h"
#include "tiff/CTiff.h"
#include "tiff/TiffLayout.h"

namespace {

using namespace KX_Tiff_STL3;
using ICC40::ICC_ENG_S4::CIccEngineS;

// Pixels between two progress reports; enough for the threads not to notice.
constexpr std::uint64_t kPixelsAtOnce = 1u << 20;

/// Reads the image with the library; the pixels end up interleaved in the StripOffsets tag.
void ReadImage(CTiff& image, FILE* stream, const TiffForm& form, const std::string& name) {
  bool read = false;
  try {
    // The base's reader throws where CTiff's prints on standard output.
    read = image.Tiff::ReadTiff(stream) == 0;
  } catch (const char*) {
  } catch (const ErrCode&) {
  }
  const std::uint64_t bytes = form.PixelBytes();
  if (!read || image.GetTagValue(StripByteCounts) < bytes) {
    throw Refusal(Exit::InputUnreadable, name + ": cannot be read");
  }
  // Planes in several strips each arrive gathered but not interleaved.
  if (image.GetTagValue(PlanarConfiguration) == kSeparatePlanes) {
    const int width = static_cast<int>(form.width);
    const int length = static_cast<int>(form.length);
    if (form.bits == 8) {
      image.Pack<unsigned char>(width, length);
    } else {
      image.Pack<unsigned short>(width, length);
    }
    image.Tiff::SetTagValue(PlanarConfiguration, kChunky);
  }
  if (image.GetTag(StripOffsets)->GetData() == nullptr) {
    throw Refusal(Exit::InputUnreadable, name + ": cannot be read");
  }
}

void SelectProfile(CIccEngineS& engine, const std::string& path, const ConvertRequest& request,
                   int bits, std::size_t tagCount) {
  const auto input = bits == 16 ? ICC40::ICCFILE::RGB_16 : ICC40::ICCFILE::RGB;
  const int result =
      engine.SetProfile(path.c_str(), request.intent, input, request.space->Code(bits),
                        request.lightness, request.chroma, request.hueDeg);
  if (result != IccResultOk || engine.outputColor != request.space->Code(bits) ||
      engine.engineStatus == IccResultNotSet || engine.inLut0 == nullptr ||
      // The reader's memory is bounded; the tag that it left out may have been the right one.
      engine.iccFile.tags.size() != tagCount) {
    throw Refusal(Exit::ProfileUnusable, "the profile cannot be used");
  }
  // The engine's constructor has set its own idea of both.
  omp_set_dynamic(0);
  omp_set_num_threads(request.threads > 0 ? request.threads : omp_get_num_procs());
}

void ConvertPixels(CIccEngineS& engine, unsigned char* source, unsigned char* destination,
                   const TiffForm& form) {
  const std::uint64_t pixels = std::uint64_t{form.width} * form.length;
  const std::uint64_t pixelBytes = form.bits == 16 ? 6 : 3;
  Progress progress(pixels);
  for (std::uint64_t done = 0; done < pixels;) {
    const std::uint64_t count = std::min(kPixelsAtOnce, pixels - done);
    engine.Conversion(source + done * pixelBytes, destination + done * pixelBytes,
                      static_cast<int>(count));
    done += count;
    progress.Report(done);
  }
}

/// Makes the tags of an image that was converted in place true again.
void RepairTags(CTiff& image, const TiffForm& form) {
  std::erase_if(image.tags, [&form](const std::shared_ptr<TiffTag>& tag) {
    return std::find(form.leftOut.begin(), form.leftOut.end(), tag->tag) != form.leftOut.end();
  });

  const auto bytes = static_cast<unsigned>(form.PixelBytes());
  const std::shared_ptr<TiffTag> counts = image.GetTag(StripByteCounts);
  if (counts->value != bytes || (counts->type == TIFF_SHORT && bytes > kMostInShort)) {
    counts->type = TIFF_LONG;
    counts->value = bytes;
  }
  const std::shared_ptr<TiffTag> offsets = image.GetTag(StripOffsets);
  if (offsets->type == TIFF_SHORT && PixelOffset(image.tags) > kMostInShort) {
    offsets->type = TIFF_LONG;
  }
}

/// Writes the image and makes sure that all of it is there.
void WriteImage(CTiff& image, OutputFile& output) {
  image.SaveTiff(output.stream());
  const std::shared_ptr<TiffTag> strip = image.GetTag(StripOffsets);
  const std::size_t pixelBytes = image.GetTagValue(StripByteCounts);
  const std::uint64_t pixelsEnd = std::uint64_t{strip->value} + pixelBytes;
  output.Expect(0, BytesBeforePixels(image));
  output.Expect(strip->value, {strip->data, pixelBytes});
  if (const std::shared_ptr<TiffTag> exif = image.GetTag(ExifIfd)) {
    output.Expect(pixelsEnd, {exif->data, kExifBlockBytes});
  }
  output.Commit(pixelsEnd + (image.GetTag(ExifIfd) ? kExifBlockBytes : 0));
}

}  // namespace

void ConvertFile(const ConvertRequest& request) {
  const Stream stream = OpenInput(request.input);
  const TiffForm form = CheckTiff(fileno(stream.get()), request.input);

  const bool embedded = !request.profile;
  if (embedded && (!form.profile || form.profile->empty())) {
    throw Refusal(Exit::ProfileUnusable,
                  request.input + ": no profile is embedded; name one with --profile");
  }
  const std::vector<unsigned char> profileBytes =
      embedded ? *form.profile : ReadProfileFile(*request.profile);
  CheckProfile(profileBytes, request.intent,
               embedded ? "profile embedded in " + request.input : "profile " + *request.profile);
  OutputFile output(request.output);

  // The engine holds its tables inline, too many for the stack.
  const auto engine = std::make_unique<CIccEngineS>();
  const PrivateProfile profile(profileBytes);
  SelectProfile(*engine, profile.path(), request, form.bits, ProfileTagCount(profileBytes));
  VerifyProfile(engine->iccFile, profileBytes);

  CTiff image;
  ReadImage(image, stream.get(), form, request.input);
  VerifyImage(fileno(stream.get()), request.input, form, image);
  unsigned char* const pixels = image.GetTag(StripOffsets)->GetData();
  if (form.bits == 8) {
    ConvertPixels(*engine, pixels, pixels, form);
    RepairTags(image, form);
    WriteImage(image, output);
    return;
  }
  CTiff result;
  result.CreateNew(static_cast<int>(form.width), static_cast<int>(form.length), kNewImageResolution,
                   3, 16, 1);
  // A tag that there is no memory for is left out.
  if (result.GetImageBuf() == nullptr || result.tags.size() != kNewImageTags) {
    throw std::bad_alloc();
  }
  result.RemoveIcc();  // an empty place for a profile, which other programs take for an error
  ConvertPixels(*engine, pixels, result.GetImageBuf(), form);
  if (form.orientation != 1) {
    result.SetTag(Orientation, TIFF_SHORT, 1, form.orientation, nullptr);
    if (!result.GetTag(Orientation)) throw std::bad_alloc();
  }
  WriteImage(result, output);
}

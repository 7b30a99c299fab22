#include "engine/FileConversion.h"

#include <omp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "base/FileStream.h"
#include "base/Limits.h"
#include "codes/ResultCodes.h"
#include "engine/ConversionTypes.h"
#include "engine/EnginePipeline.h"
#include "engine/Stopwatch.h"
#include "tiff/CTiff.h"
#include "tiff/ImageBytes.h"
#include "tiff/PixelRuns.h"
#include "tiff/TiffLayout.h"

namespace ICC40 {
namespace ICC_ENG_S4 {

using ICCFILE::RGB;
using KX_Tiff_STL3::CTiff;

namespace {

constexpr unsigned kSamples = 3;
constexpr int kBits16 = 16;
constexpr unsigned kNewSampleBytes = 2;

// They stay in a processor's own caches, and one thread converts them alone.
constexpr int kPiecePixels = kMinParallelPixels - 1;

// As many as the library sets by itself. Each holds a piece.
constexpr int kMostThreads = 8;

using Clock = std::chrono::steady_clock;

struct Dimensions {
  unsigned width, length, bits;

  std::uint64_t Pixels() const { return std::uint64_t{width} * length; }
  // Images of other depths become new ones of 16 bits.
  bool KeepsImage() const { return bits == 8; }
};

Dimensions DimensionsOf(CTiff& image) {
  return {image.GetTagValue(KX_Tiff_STL3::ImageWidth), image.GetTagValue(KX_Tiff_STL3::ImageLength),
          image.GetTagValue(KX_Tiff_STL3::BitsPerSample)};
}

// Bytes per sample of the source image that a conversion touches: reads, and in place also writes.
// An engine without tables, or with a pair of codes that it does not convert, touches none.
unsigned TouchedSampleBytes(const CIccEngineS& engine, bool inPlace) {
  if (engine.inLut0 == nullptr) return 0;
  if (engine.inputColor != RGB) return 2;
  const bool widens = engine.conversionType == kType8To16;
  if (!widens && engine.conversionType != kType8To8) return 0;
  return widens && inPlace ? 2 : 1;
}

// Bytes per sample of a conversion that makes every pixel out of the one at its place; 0 when the
// engine does something else or nothing.
unsigned ReplacedSampleBytes(const CIccEngineS& engine) {
  if (!HasTables(engine) || IsFilled(engine)) return 0;
  if (engine.inputColor != RGB) return 2;
  return engine.conversionType == kType8To8 ? 1 : 0;
}

// Whether `bufferBytes` hold all pixels at this depth, and their number is one that a conversion
// takes.
bool HoldPixels(std::uint64_t bufferBytes, const Dimensions& dimensions, unsigned sampleBytes) {
  const std::uint64_t pixels = dimensions.Pixels();
  return pixels <= std::numeric_limits<int>::max() &&
         pixels * kSamples * sampleBytes <= bufferBytes;
}

// Whether the new image stays in proportion to the file. It does for every image that has all its
// pixels.
bool MayBeMadeNew(const Dimensions& dimensions, std::uint64_t fileBytes) {
  return dimensions.Pixels() * kSamples * kNewSampleBytes <= ReaderLimit(fileBytes);
}

void CreateNewImage(CTiff& image, const Dimensions& dimensions, bool allocate) {
  image.CreateNew(static_cast<int>(dimensions.width), static_cast<int>(dimensions.length),
                  KX_Tiff_STL3::kNewImageResolution, kSamples, kBits16, allocate ? 1 : 0);
}

// ---- In pieces

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A file server may show one file under two numbers; the rest agrees then.
bool MayBeSameFile(const struct stat& a, const struct stat& b) {
  return IsSameFile(a, b) || (a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
                              a.st_mtim.tv_nsec == b.st_mtim.tv_nsec);
}

// Whether the output can be emptied before the input is read and the lines are printed.
bool MayBeEmptiedFirst(char const* outPath, char const* inPath) {
  struct stat in, out, printed;
  if (inPath == nullptr || stat(inPath, &in) != 0 || !S_ISREG(in.st_mode)) return false;
  if (outPath == nullptr) return false;
  if (stat(outPath, &out) != 0) return errno == ENOENT;
  const bool takesLines = fstat(STDOUT_FILENO, &printed) == 0 && IsSameFile(out, printed);
  return S_ISREG(out.st_mode) && !takesLines && !MayBeSameFile(in, out);
}

// The way of an image through a few pieces of memory, one for each thread. While the system stores
// what one thread has converted, another reads and converts.
class Passage {
 public:
  Passage(CIccEngineS& engine, int piecePixels)
      : engine_(engine),
        sampleBytes_(ReplacedSampleBytes(engine)),
        pieceBytes_(static_cast<unsigned>(piecePixels) * kSamples * sampleBytes_) {}

  // All that can fail. Nothing is printed, and only success touches the output.
  bool Open(char const* inPath, char const* outPath) {
    if (sampleBytes_ == 0 || !MayBeEmptiedFirst(outPath, inPath)) return false;
    in_ = KX_Tiff_STL3::OpenForReading(inPath);
    return in_ && Prepare() && (out_ = KX_Tiff_STL3::OpenForWriting(outPath));
  }

  // As `Tiff::SaveTiff`, with the pixels from the input.
  void Run() {
    image_->WriteHeader(out_.get());
    image_->WriteIFD(out_.get());
    image_->WriteTagData(out_.get());
    stripBytes_ = image_->GetTagValue(KX_Tiff_STL3::StripByteCounts);
    Stopwatch stopwatch;
    const auto start = Clock::now();
    ChooseWorker();
    if (!PassTogether()) PassInOrder();
    const auto elsewhere = Clock::now() - start - Converting();
    stopwatch.Stop(std::chrono::floor<std::chrono::seconds>(elsewhere).count());
    image_->WriteData_Exif_IFD_Tag(out_.get());
  }

 private:
  bool Prepare() try {
    pixels_ = ReadWithoutPixels(source_, in_.get());
    if (!pixels_) return false;
    const Dimensions dimensions = DimensionsOf(source_);
    const unsigned stripBytes = source_.GetTagValue(KX_Tiff_STL3::StripByteCounts);
    if (!HoldPixels(stripBytes, dimensions, sampleBytes_)) return false;
    convertedBytes_ = dimensions.Pixels() * kSamples * sampleBytes_;
    if (dimensions.KeepsImage()) {
      // The embedded profile no longer describes the pixels.
      source_.RemoveIcc();
    } else {
      if (sampleBytes_ != kNewSampleBytes) return false;
      if (!MayBeMadeNew(dimensions, StreamSize(in_.get()))) return false;
      CreateNewImage(newImage_, dimensions, false);
      image_ = &newImage_;
    }
    if (dimensions.Pixels() >= kMinParallelPixels) {
      threads_ = std::clamp(omp_get_max_threads(), 1, kMostThreads);
    }
    memory_.reset(new unsigned char[static_cast<unsigned>(threads_) * pieceBytes_]);
    return true;
  } catch (char const*) {
    return false;
  } catch (const KX_Tiff_STL3::ErrCode&) {
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }

  // Once, for all threads: tables that a first conversion makes are there when they begin.
  void ChooseWorker() {
    const PixelFormat format = sampleBytes_ == 1 ? PixelFormat::k8To8 : PixelFormat::k16To16;
    const auto pixels = static_cast<std::int64_t>(pieceBytes_ / (kSamples * sampleBytes_));
    if (FixedPipeline* pipeline = OwnPipelineOf(engine_)) {
      worker_ = pipeline->WorkerFor(format, pixels);
    } else {
      programsTables_ = TablesOf(engine_);
      worker_ = PixelWorker(programsTables_, format);
    }
  }

  struct Piece {
    std::uint64_t begin, size;  // in the pixel buffer, bytes
  };
  std::int64_t Pieces() const {
    return static_cast<std::int64_t>((stripBytes_ + pieceBytes_ - 1) / pieceBytes_);
  }
  Piece PieceAt(std::int64_t number) const {
    const std::uint64_t begin = static_cast<std::uint64_t>(number) * pieceBytes_;
    return {begin, std::min<std::uint64_t>(pieceBytes_, stripBytes_ - begin)};
  }

  // Reads and converts. What an image holds beyond its pixels is passed as it is.
  void Convert(const Piece& piece, unsigned char* bytes) {
    pixels_->Read(in_.get(), piece.begin, bytes, piece.size);
    const std::uint64_t end = std::min(piece.begin + piece.size, convertedBytes_);
    if (end <= piece.begin) return;
    const auto start = Clock::now();
    (*worker_)(bytes, bytes, 0,
               static_cast<std::int64_t>((end - piece.begin) / (kSamples * sampleBytes_)));
    convertingTicks_ += (Clock::now() - start).count();
  }

  // Whoever is free takes the next piece: on a busy machine none waits for another.
  // @return whether the file took all of them; otherwise it ends before the first.
  bool PassTogether() {
    const off_t begin = ftello(out_.get());
    if (begin < 0 || std::fflush(out_.get()) != 0) return false;
    std::atomic<bool> isWhole = true;
    const auto pass = [&](std::int64_t number, unsigned char* bytes) {
      if (!isWhole) return;
      const Piece piece = PieceAt(number);
      Convert(piece, bytes);
      const std::uint64_t offset = static_cast<std::uint64_t>(begin) + piece.begin;
      if (!KX_Tiff_STL3::WriteApart(out_.get(), offset, bytes, piece.size)) isWhole = false;
    };
    const std::int64_t pieces = Pieces();
    if (threads_ > 1 && pieces > 1) {
#pragma omp parallel num_threads(threads_)
      {
        const auto thread = static_cast<unsigned>(omp_get_thread_num());
        unsigned char* const bytes = memory_.get() + thread * pieceBytes_;
#pragma omp single nowait
        threads_ = omp_get_num_threads();
#pragma omp for schedule(dynamic)
        for (std::int64_t number = 0; number < pieces; ++number) pass(number, bytes);
      }
    } else {
      for (std::int64_t number = 0; number < pieces; ++number) pass(number, memory_.get());
    }
    const off_t end = begin + static_cast<off_t>(stripBytes_);
    if (isWhole && fseeko(out_.get(), end, SEEK_SET) == 0) return true;
    static_cast<void>(ftruncate(fileno(out_.get()), begin));
    return false;
  }

  // Where the disk is full, the file ends there and not somewhere before.
  void PassInOrder() {
    const std::int64_t pieces = Pieces();
    for (std::int64_t number = 0; number < pieces; ++number) {
      const Piece piece = PieceAt(number);
      Convert(piece, memory_.get());
      if (KX_Tiff_STL3::WriteBytes(out_.get(), memory_.get(), piece.size) != piece.size) return;
    }
  }

  Clock::duration Converting() const {
    return Clock::duration(convertingTicks_ / threads_);
  }

  CIccEngineS& engine_;
  FixedTables programsTables_{};  // where a program has put arrays of its own into the engine
  std::optional<PixelWorker> worker_;
  unsigned sampleBytes_;
  std::size_t pieceBytes_;
  OwnedStream in_, out_;
  CTiff source_, newImage_;
  CTiff* image_ = &source_;  // what is written, without pixels of its own
  std::optional<KX_Tiff_STL3::PixelRuns> pixels_;
  std::uint64_t convertedBytes_ = 0;
  std::uint64_t stripBytes_ = 0;
  int threads_ = 1;
  std::unique_ptr<unsigned char[]> memory_;      // a piece for each thread
  std::atomic<Clock::rep> convertingTicks_ = 0;  // of all threads together
};

// ---- As a whole

// The pixels of a new image are made in the buffer of the source where they fit into it.
void ConvertToNewImage(CIccEngineS& engine, CTiff& source, CTiff& newImage,
                       const Dimensions& dimensions) {
  const auto pixels = static_cast<int>(dimensions.Pixels());
  unsigned char* const buffer = source.GetImageBuf();
  const bool replaces = ReplacedSampleBytes(engine) == kNewSampleBytes && pixels > 0;
  CreateNewImage(newImage, dimensions, !replaces);
  // Without memory for its tags it would not take the buffer.
  if (replaces && newImage.GetTag(KX_Tiff_STL3::StripOffsets)) {
    source.ForgetImageBuf();
    newImage.SetImageBuf(buffer, false);
  }
  Stopwatch stopwatch;
  engine.Conversion(buffer, newImage.GetImageBuf(), pixels);
  stopwatch.Stop();
}

}  // namespace

int ConvertWholeImage(CIccEngineS& engine, char const* inPath, char const* outPath) {
  CTiff source;
  CTiff newImage;
  if (source.ReadFile(inPath) < 0) return IccResultFail;
  const Dimensions dimensions = DimensionsOf(source);
  const bool inPlace = dimensions.KeepsImage();
  if (!HoldPixels(ImageBytes(source), dimensions, TouchedSampleBytes(engine, inPlace))) {
    return IccResultFail;
  }
  if (inPlace) {
    Stopwatch stopwatch;
    engine.Conversion(source.GetImageBuf(), source.GetImageBuf(),
                      static_cast<int>(dimensions.Pixels()));
    stopwatch.Stop();
    // The embedded profile no longer describes the pixels.
    source.RemoveIcc();
    source.SaveFile(outPath);
  } else {
    if (!MayBeMadeNew(dimensions, FileSize(inPath))) return IccResultFail;
    ConvertToNewImage(engine, source, newImage, dimensions);
    newImage.SaveFile(outPath);
  }
  return IccResultOk;
}

bool ConvertInPieces(CIccEngineS& engine, char const* inPath, char const* outPath,
                     int piecePixels) {
  Passage passage(engine, piecePixels);
  if (!passage.Open(inPath, outPath)) return false;
  passage.Run();
  return true;
}

int CIccEngineS::Conversion(char const* inPath, char const* outPath) {
  if (ConvertInPieces(*this, inPath, outPath, kPiecePixels)) return IccResultOk;
  return ConvertWholeImage(*this, inPath, outPath);
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40

#include <algorithm>
#include <atomic>

#include "api/Failure.h"
#include "api/ImageCheck.h"
#include "api/Objects.h"
#include "api/Workers.h"
#include "pipeline/precise/PrecisePipeline.h"

using namespace kxcms;

namespace {

// What threads take at a time: some ten microseconds of work at the least.
constexpr std::size_t kPiecePixels = 32768;
// More threads than any machine has use for.
constexpr std::uint32_t kMostThreads = 1024;
// Between two reports of progress a host's threads get so many pieces each.
constexpr std::uint64_t kPiecesPerReport = 16;

// An image cut into pieces: parts of a row, or whole rows.
class Pieces {
 public:
  Pieces(std::size_t width, std::size_t height)
      : width_(width),
        height_(height),
        perRow_((width + kPiecePixels - 1) / kPiecePixels),
        rows_(std::max<std::size_t>(1, kPiecePixels / width)) {}

  std::uint64_t count() const { return std::uint64_t{perRow_} * ((height_ + rows_ - 1) / rows_); }

  // Calls take(row, column, pixels) for the runs of a piece.
  template <typename Take>
  void ForEachRun(std::uint64_t piece, const Take& take) const {
    const auto column = static_cast<std::size_t>(piece % perRow_) * kPiecePixels;
    const auto first = static_cast<std::size_t>(piece / perRow_) * rows_;
    const std::size_t pixels = std::min(kPiecePixels, width_ - column);
    const std::size_t last = std::min(first + rows_, height_);
    for (std::size_t row = first; row < last; ++row) take(row, column, pixels);
  }

  std::uint64_t PixelsOf(std::uint64_t piece) const {
    std::uint64_t sum = 0;
    ForEachRun(piece, [&](std::size_t, std::size_t, std::size_t pixels) { sum += pixels; });
    return sum;
  }

 private:
  std::size_t width_, height_;
  std::size_t perRow_;  // pieces
  std::size_t rows_;    // of a piece
};

template <typename Byte>
PixelRun<Byte> RunOf(const Image& image, std::size_t row, std::size_t column) {
  const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(row) * image.rowStride +
                                static_cast<std::ptrdiff_t>(column) * image.pixelStride;
  PixelRun<Byte> run;
  for (int c = 0; c < 4; ++c) {
    run.samples[c] = image.samples[c] == nullptr ? nullptr : image.samples[c] + offset;
  }
  run.pixelStride = image.pixelStride;
  run.type = static_cast<SampleType>(image.sample);
  run.isAssociated = (image.flags & KXP_ASSOCIATED_ALPHA) != 0;
  return run;
}

// Whether a row begins where the one before it ends: the whole image is one long row then.
bool RowsJoin(const Image& image, std::size_t width) {
  std::ptrdiff_t length;
  return !__builtin_mul_overflow(image.pixelStride, width, &length) && length == image.rowStride;
}

// One call of kxp_convert, shared by its threads.
class Conversion {
 public:
  Conversion(const PrecisePipeline& pipeline, const Image& source, const Image& destination,
             std::size_t width, std::size_t height)
      : pipeline_(pipeline),
        source_(source),
        destination_(destination),
        pieces_(width, height),
        total_(std::uint64_t{width} * height) {}

  std::uint64_t pieceCount() const { return pieces_.count(); }

  // Converts pieces below `end` until there are none, or until this is cancelled. After each calls
  // afterPiece().
  template <typename AfterPiece>
  void Work(std::uint64_t end, const AfterPiece& afterPiece) {
    while (!cancelled_.load(std::memory_order_relaxed)) {
      std::uint64_t piece = next_.load(std::memory_order_relaxed);
      do {
        if (piece >= end) return;
      } while (!next_.compare_exchange_weak(piece, piece + 1, std::memory_order_relaxed));
      ConvertPiece(piece);
      done_.fetch_add(pieces_.PixelsOf(piece), std::memory_order_relaxed);
      afterPiece();
    }
  }

  // Tells the caller how far it is, before the end.
  void Report(const kxp_convert_options& options) {
    const std::uint64_t done = done_.load(std::memory_order_relaxed);
    if (options.progress == nullptr || done >= total_) return;
    if (options.progress(options.progress_context, done, total_) != 0) cancelled_ = true;
  }

  void ReportEnd(const kxp_convert_options& options) {
    if (options.progress != nullptr) {
      options.progress(options.progress_context, total_, total_);
    }
  }

  bool IsCancelled() const { return cancelled_; }

 private:
  void ConvertPiece(std::uint64_t piece) const {
    const auto alpha =
        (destination_.flags & KXP_OPAQUE) != 0 ? AlphaResult::kOpaque : AlphaResult::kKept;
    pieces_.ForEachRun(piece, [&](std::size_t row, std::size_t column, std::size_t pixels) {
      pipeline_.Convert(RunOf<const unsigned char>(source_, row, column),
                        RunOf<unsigned char>(destination_, row, column), alpha,
                        static_cast<std::int64_t>(pixels));
    });
  }

  const PrecisePipeline& pipeline_;
  const Image& source_;
  const Image& destination_;
  const Pieces pieces_;
  const std::uint64_t total_;
  std::atomic<std::uint64_t> next_{0};
  std::atomic<std::uint64_t> done_{0};
  std::atomic<bool> cancelled_{false};
};

void RunOnOwnThreads(Conversion& conversion, const kxp_convert_options& options) {
  const std::uint64_t pieces = conversion.pieceCount();
  const auto wanted = std::clamp<std::uint64_t>(options.threads, 1, kMostThreads);
  RunOnThreads(static_cast<std::uint32_t>(std::min(wanted, pieces)), [&](std::uint32_t thread) {
    conversion.Work(pieces, [&] {
      if (thread == 0) conversion.Report(options);
    });
  });
}

// One hand-out of jobs to a host's threads: they share the pieces below `end`.
struct HandOut {
  Conversion* conversion;
  std::uint64_t end;
};

void RunOnHostThreads(Conversion& conversion, const kxp_convert_options& options) {
  const std::uint64_t pieces = conversion.pieceCount();
  const auto wanted = std::clamp<std::uint64_t>(options.threads, 1, kMostThreads);
  const std::uint64_t step = options.progress == nullptr ? pieces : wanted * kPiecesPerReport;
  for (std::uint64_t begin = 0; begin < pieces && !conversion.IsCancelled(); begin += step) {
    HandOut handOut = {&conversion, std::min(pieces, begin + step)};
    const auto jobs = static_cast<std::uint32_t>(std::min(wanted, handOut.end - begin));
    options.run(
        options.run_context, jobs,
        [](void* argument, std::uint32_t) {
          const auto* work = static_cast<const HandOut*>(argument);
          work->conversion->Work(work->end, [] {});
        },
        &handOut);
    // What jobs that the host left out would have done. One that it calls twice finds nothing to
    // do.
    conversion.Work(handOut.end, [] {});
    conversion.Report(options);
  }
}

kxp_convert_options CheckedOptions(const kxp_convert_options* given) {
  if (given == nullptr) return {};
  const auto options = Known(given, sizeof(kxp_convert_options), "kxp_convert_options");
  Require(options.flags == 0, "The options of the conversion have an unknown flag.");
  return options;
}

}  // namespace

kxp_status kxp_convert(const kxp_pipeline* pipeline, const kxp_image* source,
                       const kxp_image* destination, size_t width, size_t height,
                       const kxp_convert_options* options, kxp_error* error) {
  return Guarded(error, [&] {
    Require(pipeline != nullptr, "The pipeline is null.");
    const kxp_convert_options how = CheckedOptions(options);
    if (width == 0 || height == 0) return KXP_OK;
    std::uint64_t pixels;
    Require(!__builtin_mul_overflow(std::uint64_t{width}, std::uint64_t{height}, &pixels),
            "There are more pixels than any memory holds.");
    const Image from = CheckedImage(source, width, height, "source");
    const Image to = CheckedImage(destination, width, height, "destination");
    Require((from.flags & ~std::uint32_t{KXP_ASSOCIATED_ALPHA}) == 0,
            "The source image has a flag that is unknown or for destinations only.");
    Require((to.flags & ~std::uint32_t{KXP_ASSOCIATED_ALPHA | KXP_OPAQUE}) == 0,
            "The destination image has an unknown flag.");
    Require(pipeline->precise.CanGive(static_cast<SampleType>(to.sample)),
            "Lab and XYZ are written as samples of 16 bits or floats only.");
    CheckOverlap(from, to, width, height);
    if (RowsJoin(from, width) && RowsJoin(to, width)) {
      width *= height;
      height = 1;
    }
    Conversion conversion(pipeline->precise, from, to, width, height);
    if (how.run != nullptr) {
      RunOnHostThreads(conversion, how);
    } else {
      RunOnOwnThreads(conversion, how);
    }
    if (conversion.IsCancelled()) {
      throw Failure{KXP_CANCELLED, {"The progress callback cancelled the conversion."}};
    }
    conversion.ReportEnd(how);
    return KXP_OK;
  });
}

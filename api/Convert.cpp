#include <algorithm>
#include <atomic>

#include "api/Failure.h"
#include "api/ImageCheck.h"
#include "api/Objects.h"
#include "api/Workers.h"
#include "pipeline/RunConverter.h"

using namespace kxcms;

namespace {

// What threads take at a time: some ten microseconds of work at the least.
constexpr std::uint64_t kPiecePixels = 32768;
// More threads than any machine has use for.
constexpr std::uint32_t kMostThreads = 1024;
// Between two reports of progress a host's threads get so many pieces each.
constexpr std::uint64_t kPiecesPerReport = 16;

// One call of kxp_convert, shared by its threads. Its pixels, counted row by row, are cut into
// pieces.
class Conversion {
 public:
  Conversion(const RunConverter& pipeline, const ImagePair& images, std::uint64_t pixels)
      : pipeline_(pipeline), images_(images), total_(pixels) {}

  std::uint64_t pieceCount() const { return (total_ - 1) / kPiecePixels + 1; }

  // Converts pieces below `end` until there are none, or until this is cancelled. After each calls
  // afterPiece().
  template <typename AfterPiece>
  void Work(std::uint64_t end, const AfterPiece& afterPiece) {
    while (!cancelled_.load(std::memory_order_relaxed)) {
      std::uint64_t piece = next_.load(std::memory_order_relaxed);
      do {
        if (piece >= end) return;
      } while (!next_.compare_exchange_weak(piece, piece + 1, std::memory_order_relaxed));
      const std::uint64_t begin = piece * kPiecePixels;
      const std::uint64_t count = std::min(kPiecePixels, total_ - begin);
      ConvertPixels(pipeline_, images_.source, images_.destination, images_.alpha,
                    static_cast<std::int64_t>(begin), static_cast<std::int64_t>(begin + count));
      done_.fetch_add(count, std::memory_order_relaxed);
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
  const RunConverter& pipeline_;
  const ImagePair& images_;
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
    const ImagePair images = CheckedImages(source, destination, width, height);
    const RunConverter& converter = *pipeline->converter;
    Require(converter.CanConvert(images.source.firstRow.type, images.destination.firstRow.type),
            pipeline->precise != nullptr
                ? "Lab and XYZ are written as samples of 16 bits or floats only."
                : "The fixed pipeline takes and gives samples of 8 or 16 bits only.");
    Conversion conversion(converter, images, pixels);
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

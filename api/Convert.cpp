#include <algorithm>
#include <atomic>

#include "api/Failure.h"
#include "api/ImageCheck.h"
#include "api/Objects.h"
#include "api/Workers.h"
#include "pipeline/RunConverter.h"
#include "pipeline/precise/Stages.h"

using namespace kxcms;

namespace {

// What threads take at a time: whole blocks, some ten microseconds of work at the least.
constexpr std::uint64_t kPiecePixels = std::uint64_t{57} * kBlockPixels;
// More threads than any machine has use for.
constexpr std::uint32_t kMostThreads = 1024;
// Between two reports of progress other threads get so many pieces each.
constexpr std::uint64_t kPiecesPerReport = 4;

// One call of kxp_convert, shared by its threads. Its pixels, counted row by row, are cut into
// pieces.
class Conversion {
 public:
  Conversion(const RunConverter& pipeline, const ImagePair& images, std::uint64_t pixels)
      : pipeline_(pipeline), images_(images), total_(pixels) {}

  std::uint64_t pieceCount() const { return (total_ - 1) / kPiecePixels + 1; }

  // Converts pieces below `end` until there are none, or until this is cancelled.
  void Work(std::uint64_t end) {
    while (!IsCancelled() && WorkOnce(end)) {
    }
  }

  // The same on a thread beside the caller's: as far ahead of its reports as the caller lets it.
  void WorkBesideCaller(std::uint64_t end) {
    for (;;) {
      const std::uint64_t limit = limit_.load(std::memory_order_acquire);
      Work(std::min(limit, end));
      if (limit >= end || IsCancelled()) return;
      limit_.wait(limit, std::memory_order_acquire);
    }
  }

  // The same on the caller's thread, which tells how far all are after each piece of its own, and
  // before the others go more than `ahead` pieces ahead of that.
  void WorkAndReport(std::uint64_t end, std::uint64_t ahead, const kxp_convert_options& options) {
    const auto let = [this](std::uint64_t limit) {
      limit_.store(limit, std::memory_order_release);
      limit_.notify_all();
    };
    do {
      Report(options);
      if (IsCancelled()) break;
      let(std::min(end, next_.load(std::memory_order_relaxed) + ahead));
    } while (WorkOnce(end));
    let(end);
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
  // @return whether there was a piece below `end`.
  bool WorkOnce(std::uint64_t end) {
    std::uint64_t piece = next_.load(std::memory_order_relaxed);
    do {
      if (piece >= end) return false;
    } while (!next_.compare_exchange_weak(piece, piece + 1, std::memory_order_relaxed));
    const std::uint64_t begin = piece * kPiecePixels;
    const std::uint64_t count = std::min(kPiecePixels, total_ - begin);
    ConvertPixels(pipeline_, images_.source, images_.destination, images_.alpha,
                  static_cast<std::int64_t>(begin), static_cast<std::int64_t>(begin + count));
    done_.fetch_add(count, std::memory_order_relaxed);
    return true;
  }

  const RunConverter& pipeline_;
  const ImagePair& images_;
  const std::uint64_t total_;
  std::atomic<std::uint64_t> next_{0};
  std::atomic<std::uint64_t> limit_{0};  // pieces that may be begun before the next report
  std::atomic<std::uint64_t> done_{0};
  std::atomic<bool> cancelled_{false};
};

void RunOnOwnThreads(Conversion& conversion, const kxp_convert_options& options) {
  const std::uint64_t pieces = conversion.pieceCount();
  const auto wanted = std::clamp<std::uint64_t>(options.threads, 1, kMostThreads);
  const auto threads = static_cast<std::uint32_t>(std::min(wanted, pieces));
  const std::uint64_t ahead = options.progress == nullptr ? pieces : threads * kPiecesPerReport;
  RunOnThreads(threads, [&](std::uint32_t thread) {
    if (thread == 0) {
      conversion.WorkAndReport(pieces, ahead, options);
    } else {
      conversion.WorkBesideCaller(pieces);
    }
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
  for (std::uint64_t begin = 0; begin < pieces; begin += step) {
    conversion.Report(options);
    if (conversion.IsCancelled()) return;
    HandOut handOut = {&conversion, std::min(pieces, begin + step)};
    const auto jobs = static_cast<std::uint32_t>(std::min(wanted, handOut.end - begin));
    options.run(
        options.run_context, jobs,
        [](void* argument, std::uint32_t) {
          const auto* work = static_cast<const HandOut*>(argument);
          work->conversion->Work(work->end);
        },
        &handOut);
    // What jobs that the host left out would have done. One that it calls twice finds nothing to
    // do.
    conversion.Work(handOut.end);
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
    if (how.threads <= 1 && how.run == nullptr && how.progress == nullptr) {
      // Nothing to share and nobody to tell: a call of one pixel would notice the counters.
      ConvertPixels(converter, images.source, images.destination, images.alpha, 0,
                    static_cast<std::int64_t>(pixels));
      return KXP_OK;
    }
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

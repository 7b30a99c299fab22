// Conversions on several threads: the library's own, the host's, and many callers at once. Run
// under the thread sanitizer too, which sees what luck hides.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/TestImage.h"

namespace {

using namespace api_test;

// More pixels than one piece of work has, in shapes that are cut in every way.
constexpr Shape kShapes[] = {{1, 1}, {40000, 3}, {300, 301}, {3, 50000}, {120000, 1}};

const kxp_pipeline* Scanner() {
  static const Pipeline pipeline = ScannerToSrgb();
  return pipeline.get();
}

const Bytes& SourcePixels() {
  static const Bytes kPixels = SomeBytes(3 * 160000, 31);
  return kPixels;
}

kxp_status ConvertInto(Bytes& result, const Shape& shape, const kxp_convert_options* options,
                       const kxp_pipeline* pipeline = Scanner(), kxp_error* error = nullptr) {
  Bytes source(
      SourcePixels().begin(),
      SourcePixels().begin() + static_cast<std::ptrdiff_t>(3 * shape.width * shape.height));
  result.assign(source.size(), 0);
  const kxp_image in = PlainImage(source.data(), KXP_U8), out = PlainImage(result.data(), KXP_U8);
  return kxp_convert(pipeline, &in, &out, shape.width, shape.height, options, error);
}

Bytes Converted(const Shape& shape, const kxp_convert_options* options = nullptr,
                const kxp_pipeline* pipeline = Scanner()) {
  Bytes result;
  EXPECT_EQ(ConvertInto(result, shape, options, pipeline), KXP_OK);
  return result;
}

std::string NameOf(const Shape& shape) {
  return std::to_string(shape.width) + " x " + std::to_string(shape.height);
}

// Runs all at the same moment, each on a thread of its own.
void AtOnce(const std::vector<std::function<void()>>& pieces) {
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  for (const auto& piece : pieces) {
    threads.emplace_back([&] {
      ++ready;
      while (ready < pieces.size()) std::this_thread::yield();
      piece();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// First of all: what the library makes at first use is then made by several threads at once.
TEST(Threads, FirstUseByManyThreadsAtOnce) {
  const char* const kSpaces[] = {"srgb",    "adobe-rgb",  "prophoto", "ecirgb-v2",
                                 "rec2020", "display-p3", "lab",      "xyz"};
  std::vector<Bytes> results(std::size(kSpaces));
  const auto convert = [](const char* space) {
    EXPECT_STRNE(kxp_level(), "");
    const Pipeline pipeline = Connect(FromMemory(ScannerProfile()), BuiltIn(space));
    Bytes source(SourcePixels().begin(), SourcePixels().begin() + 3000), result(6000);
    const kxp_image in = PlainImage(source.data(), KXP_U8);
    const kxp_image out = PlainImage(result.data(), KXP_U16);
    EXPECT_EQ(kxp_convert(pipeline.get(), &in, &out, 1000, 1, nullptr, nullptr), KXP_OK);
    return result;
  };
  std::vector<std::function<void()>> pieces;
  for (std::size_t n = 0; n < results.size(); ++n) {
    pieces.push_back([&, n] { results[n] = convert(kSpaces[n]); });
  }
  AtOnce(pieces);
  for (std::size_t n = 0; n < results.size(); ++n) {
    EXPECT_EQ(results[n], convert(kSpaces[n])) << kSpaces[n];
  }
}

TEST(Threads, AnyNumberOfThreadsGivesTheSameBytes) {
  for (const Shape& shape : kShapes) {
    const Bytes expected = Converted(shape);
    for (std::uint32_t threads = 0; threads <= 16; ++threads) {
      kxp_convert_options options = NewConvertOptions();
      options.threads = threads;
      EXPECT_EQ(Converted(shape, &options), expected) << NameOf(shape) << ", " << threads;
    }
    kxp_convert_options options = NewConvertOptions();
    options.threads = 0xFFFFFFFF;
    EXPECT_EQ(Converted(shape, &options), expected) << NameOf(shape) << ", as many as there are";
  }
}

// In layouts in which threads write next to one another.
TEST(Threads, EveryLayoutOnSeveralThreads) {
  const Shape shape = {211, 331};
  kxp_convert_options options = NewConvertOptions();
  options.threads = 5;
  const Conversion alone = {.from = KXP_U8, .to = KXP_U8, .fromChannels = 4, .toChannels = 4};
  Conversion together = alone;
  together.options = &options;
  const Bytes samples = SomeBytes(4 * shape.width * shape.height, 37);
  const Bytes expected = ConvertedPlainly(Scanner(), shape, alone, samples);
  for (const NamedLayout& layout : AllLayouts()) {
    EXPECT_EQ(ConvertedThrough(Scanner(), layout, layout, shape, together, samples), expected)
        << layout.name;
  }
}

// ---- The host's own threads ---------------------------------------------------------------------

// A host's pool: what it was asked for, and how it runs that.
struct Pool {
  const char* what;
  std::function<void(std::uint32_t, const std::function<void(std::uint32_t)>&)> run;
  std::vector<std::uint32_t> asked;
  std::mutex mutex;

  Pool(const char* name, decltype(run) how) : what(name), run(std::move(how)) {}

  void Attach(kxp_convert_options& options) {
    options.run_context = this;
    options.run = [](void* context, std::uint32_t count, kxp_job job, void* argument) {
      auto* const pool = static_cast<Pool*>(context);
      {
        const std::lock_guard lock(pool->mutex);
        pool->asked.push_back(count);
      }
      pool->run(count, [=](std::uint32_t index) { job(argument, index); });
    };
  }
};

using Job = std::function<void(std::uint32_t)>;

void RunOnThreeThreads(std::uint32_t count, const Job& job) {
  std::atomic<std::uint32_t> next{0};
  std::vector<std::thread> threads;
  for (int n = 0; n < 3; ++n) {
    threads.emplace_back([&] {
      for (std::uint32_t index = next++; index < count; index = next++) job(index);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

std::vector<std::unique_ptr<Pool>> Pools() {
  std::vector<std::unique_ptr<Pool>> pools;
  const auto add = [&](const char* what, auto run) {
    pools.push_back(std::make_unique<Pool>(what, run));
  };
  add("three threads", RunOnThreeThreads);
  add("one after the other", [](std::uint32_t count, const Job& job) {
    for (std::uint32_t n = 0; n < count; ++n) job(n);
  });
  add("backwards", [](std::uint32_t count, const Job& job) {
    for (std::uint32_t n = count; n-- > 0;) job(n);
  });
  add("every second one left out", [](std::uint32_t count, const Job& job) {
    for (std::uint32_t n = 0; n < count; n += 2) job(n);
  });
  add("all left out", [](std::uint32_t, const Job&) {});
  add("each twice", [](std::uint32_t count, const Job& job) {
    for (std::uint32_t n = 0; n < 2 * count; ++n) job(n / 2);
  });
  add("all on threads of their own", [](std::uint32_t count, const Job& job) {
    std::vector<std::thread> threads;
    for (std::uint32_t n = 0; n < count; ++n) threads.emplace_back([&job, n] { job(n); });
    for (std::thread& thread : threads) thread.join();
  });
  return pools;
}

TEST(Threads, APoolOfTheHost) {
  for (const auto& pool : Pools()) {
    for (const Shape& shape : kShapes) {
      const Bytes expected = Converted(shape);
      for (const std::uint32_t jobs : {0u, 1u, 2u, 3u, 16u}) {
        for (const bool tells : {false, true}) {
          kxp_convert_options options = NewConvertOptions();
          options.threads = jobs;
          pool->Attach(options);
          pool->asked.clear();
          if (tells) options.progress = [](void*, std::uint64_t, std::uint64_t) { return 0; };
          EXPECT_EQ(Converted(shape, &options), expected)
              << pool->what << ", " << NameOf(shape) << ", " << jobs << " jobs";
          EXPECT_FALSE(pool->asked.empty());
          for (const std::uint32_t count : pool->asked) {
            EXPECT_GE(count, 1u);
            EXPECT_LE(count, std::max(jobs, 1u));
          }
        }
      }
    }
  }
}

// No thread of the library's own beside the host's: every job runs where the host runs it.
TEST(Threads, JobsRunOnTheHostsThreadsAlone) {
  const std::thread::id caller = std::this_thread::get_id();
  Pool pool("on the caller's thread", [&](std::uint32_t count, const Job& job) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    for (std::uint32_t n = 0; n < count; ++n) job(n);
  });
  kxp_convert_options options = NewConvertOptions();
  options.threads = 4;
  pool.Attach(options);
  Converted({40000, 3}, &options);
  EXPECT_EQ(pool.asked, (std::vector<std::uint32_t>{4}));
}

// ---- Progress -----------------------------------------------------------------------------------

struct Told {
  std::thread::id caller = std::this_thread::get_id();
  std::vector<std::uint64_t> done;
  std::uint64_t total = 0;
  std::size_t cancelsAt = ~std::size_t{0};  // which report is answered with a cancellation
  bool isElsewhere = false;

  void Attach(kxp_convert_options& options) {
    options.progress_context = this;
    options.progress = [](void* context, std::uint64_t pixels, std::uint64_t ofPixels) {
      auto* const told = static_cast<Told*>(context);
      told->isElsewhere = told->isElsewhere || std::this_thread::get_id() != told->caller;
      told->done.push_back(pixels);
      told->total = ofPixels;
      return told->done.size() > told->cancelsAt ? 1 : 0;
    };
  }
};

// A conversion's own threads or a host's, and how many.
struct Crew {
  const char* what;
  std::uint32_t threads;
  Pool* pool;
};

std::vector<Crew> Crews(Pool& pool) {
  return {{"the caller's thread", 0, nullptr},
          {"one thread", 1, nullptr},
          {"four threads", 4, nullptr},
          {"a pool", 3, &pool},
          {"a pool, a job at a time", 1, &pool}};
}

TEST(Threads, Progress) {
  Pool pool("three threads", RunOnThreeThreads);
  for (const Crew& crew : Crews(pool)) {
    for (const Shape& shape : kShapes) {
      SCOPED_TRACE(std::string(crew.what) + ", " + NameOf(shape));
      kxp_convert_options options = NewConvertOptions();
      options.threads = crew.threads;
      if (crew.pool != nullptr) crew.pool->Attach(options);
      Told told;
      told.Attach(options);
      const std::uint64_t pixels = std::uint64_t{shape.width} * shape.height;
      EXPECT_EQ(Converted(shape, &options), Converted(shape));
      ASSERT_FALSE(told.done.empty());
      EXPECT_EQ(told.done.front(), 0u);
      EXPECT_TRUE(std::is_sorted(told.done.begin(), told.done.end()));
      EXPECT_EQ(told.done.back(), pixels);
      EXPECT_EQ(std::count(told.done.begin(), told.done.end(), pixels), 1);
      EXPECT_EQ(told.total, pixels);
      EXPECT_FALSE(told.isElsewhere);
    }
  }
}

TEST(Threads, Cancelling) {
  const Shape shape = {160000, 1};
  Pool pool("three threads", RunOnThreeThreads);
  for (const Crew& crew : Crews(pool)) {
    for (const std::size_t cancelsAt : {std::size_t{0}, std::size_t{1}}) {
      SCOPED_TRACE(std::string(crew.what) + ", report " + std::to_string(cancelsAt));
      kxp_convert_options options = NewConvertOptions();
      options.threads = crew.threads;
      if (crew.pool != nullptr) crew.pool->Attach(options);
      Told told;
      told.cancelsAt = cancelsAt;
      told.Attach(options);
      kxp_error error = NewError();
      Bytes result;
      const kxp_status status = ConvertInto(result, shape, &options, Scanner(), &error);
      // Other threads may have come to the end before the caller was told again.
      if (told.done.back() == told.total) {
        EXPECT_TRUE(cancelsAt > 0 && (crew.threads > 1 || crew.pool != nullptr));
        EXPECT_EQ(status, KXP_OK);
        EXPECT_EQ(result, Converted(shape));
        continue;
      }
      EXPECT_EQ(status, KXP_CANCELLED);
      EXPECT_EQ(error.status, KXP_CANCELLED);
      EXPECT_STRNE(error.message, "");
      EXPECT_EQ(told.done.size(), cancelsAt + 1) << "told again after cancelling";
      // Every pixel is either converted or as it was.
      const Bytes whole = Converted(shape);
      for (std::size_t n = 0; n < result.size(); ++n) {
        ASSERT_TRUE(result[n] == whole[n] || result[n] == 0) << n;
      }
      EXPECT_EQ(Converted(shape), whole) << "the next conversion";
    }
  }
}

// However many threads take the processors from the caller's: they wait for its reports.
TEST(Threads, ManyThreadsDoNotOutrunTheReports) {
  constexpr std::size_t kPixels = 10'000'000;
  Bytes pixels(3 * kPixels);
  const kxp_image image = PlainImage(pixels.data(), KXP_U8);
  for (int round = 0; round < 5; ++round) {
    kxp_convert_options options = NewConvertOptions();
    options.threads = 16;
    Told told;
    told.Attach(options);
    EXPECT_EQ(kxp_convert(Scanner(), &image, &image, kPixels, 1, &options, nullptr), KXP_OK);
    // A report lets 4 pieces of 32832 pixels a thread be begun, and one is the caller's.
    EXPECT_GE(told.done.size(), 1 + kPixels / (65 * 32832) + 1);
  }
}

TEST(Threads, TheLastReportCannotCancel) {
  kxp_convert_options options = NewConvertOptions();
  options.progress = [](void*, std::uint64_t done, std::uint64_t total) {
    return done == total ? 1 : 0;
  };
  EXPECT_EQ(Converted({300, 301}, &options), Converted({300, 301}));
}

// ---- Many callers -------------------------------------------------------------------------------

TEST(Threads, OneHandleSharedByManyThreads) {
  const Profile profile = FromMemory(ScannerProfile()), space = BuiltIn("adobe-rgb");
  kxp_pipeline* const pipeline = Connect(profile, space).release();
  const Shape shape = {300, 150};
  const Bytes expected = Converted(shape, nullptr, pipeline);
  std::vector<std::function<void()>> pieces;
  for (std::uint32_t n = 0; n < 8; ++n) {
    pieces.push_back([&, n] {
      for (int round = 0; round < 4; ++round) {
        kxp_pipeline* const own = kxp_pipeline_retain(pipeline);
        kxp_convert_options options = NewConvertOptions();
        options.threads = n % 4;
        EXPECT_EQ(Converted(shape, &options, own), expected);
        char text[16];
        EXPECT_EQ(kxp_pipeline_text(own, KXP_SOURCE_TAG, 0, text, sizeof text, nullptr), KXP_OK);
        EXPECT_STREQ(text, "A2B0");
        double size = 0;
        EXPECT_EQ(kxp_profile_number(profile.get(), KXP_SIZE, 0, &size), KXP_OK);
        // Another pipeline of the same profiles, used and gone.
        const Pipeline another = Connect(profile, space, KXP_RELATIVE);
        EXPECT_EQ(Converted({10, 10}, nullptr, another.get()).size(), 300u);
        kxp_pipeline_release(own);
      }
    });
  }
  AtOnce(pieces);
  kxp_pipeline_release(pipeline);
}

// Conversions start conversions: a host's job may convert by itself.
TEST(Threads, ConversionsWithinConversions) {
  const Shape shape = {300, 301};
  const Bytes expected = Converted(shape);
  Pool pool("converts before it runs", [&](std::uint32_t count, const Job& job) {
    kxp_convert_options inner = NewConvertOptions();
    inner.threads = 2;
    EXPECT_EQ(Converted(shape, &inner), expected);
    RunOnThreeThreads(count, job);
  });
  kxp_convert_options options = NewConvertOptions();
  options.threads = 3;
  pool.Attach(options);
  EXPECT_EQ(Converted(shape, &options), expected);
}

}  // namespace

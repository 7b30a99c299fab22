#include "tools/Relay.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// In a step that one thread at a time may take.
struct Alone {
  explicit Alone(std::atomic<int>& inside) : threads(inside) { EXPECT_EQ(threads++, 0); }
  ~Alone() { --threads; }
  Alone(const Alone&) = delete;
  Alone& operator=(const Alone&) = delete;
  std::atomic<int>& threads;
};

// Numbers that go through runners, each as long at work as it says.
struct Line {
  explicit Line(int count) : pieces(count) {}

  RelaySteps Runner(int& piece) {
    return {[&] {
              const Alone alone(takers);
              if (next == pieces) return false;
              Meet("take", piece = next++);
              return true;
            },
            [&] {
              // The earlier of two neighbours takes longer.
              std::this_thread::sleep_for(std::chrono::microseconds(piece % 2 == 0 ? 300 : 0));
              Meet("work", piece);
            },
            [&] {
              const Alone alone(handers);
              Meet("hand", piece);
              handed.push_back(piece);
            }};
  }

  void Run(int threads) {
    std::vector<int> at(static_cast<std::size_t>(threads));
    std::vector<RelaySteps> runners;
    for (int& piece : at) runners.push_back(Runner(piece));
    RunRelay(runners);
  }

  void Meet(const std::string& step, int piece) const {
    if (step != failingStep || piece < failingPiece) return;
    throw std::runtime_error(step + " " + std::to_string(piece));
  }

  int pieces;
  std::string failingStep;
  int failingPiece = 0;
  int next = 0;
  std::atomic<int> takers = 0, handers = 0;
  std::vector<int> handed;
};

std::vector<int> UpTo(int end) {
  std::vector<int> numbers;
  for (int n = 0; n < end; ++n) numbers.push_back(n);
  return numbers;
}

TEST(Relay, EveryPieceInOrder) {
  for (const int threads : {1, 2, 3, 8}) {
    for (const int pieces : {0, 1, 2, 7, 100}) {
      Line line(pieces);
      line.Run(threads);
      EXPECT_EQ(line.handed, UpTo(pieces)) << threads << " threads";
    }
  }
}

TEST(Relay, TheEarliestFailureEndsItBehindThePiecesBefore) {
  for (const char* step : {"take", "work", "hand"}) {
    for (const int threads : {1, 2, 3, 8}) {
      for (const int piece : {0, 1, 10}) {
        Line line(40);
        line.failingStep = step;
        line.failingPiece = piece;
        const std::string what = std::string(step) + " " + std::to_string(piece);
        try {
          line.Run(threads);
          ADD_FAILURE() << what << " passed with " << threads << " threads";
        } catch (const std::runtime_error& failure) {
          EXPECT_EQ(failure.what(), what) << threads << " threads";
        }
        EXPECT_EQ(line.handed, UpTo(piece)) << what << ", " << threads << " threads";
      }
    }
  }
}

}  // namespace

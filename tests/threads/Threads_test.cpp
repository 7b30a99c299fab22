// Several threads at once, each with engines and images of its own, against the same work done by
// one thread. Run under the thread sanitizer too, which sees what luck hides.

#include <gtest/gtest.h>
#include <omp.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "interface/EngineSlots.h"
#include "interface/kxcms.h"
#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"
#include "tests/tiff/TiffBytes.h"
#include "tiff/CTiff.h"

namespace {

using ICC40::ICC_ENG_S4::CIccEngineS;
using ICC40::ICCFILE::ColorSpaceSignature;
using ICC40::ICCFILE::Intent;
using KX_Tiff_STL3::CTiff;
using tiff_test::Bytes;

// More than a conversion leaves to a single thread.
constexpr int kPixels = 40000;
constexpr int kRounds = 3;
constexpr int kThreadsPerCaller = 3;

// What the engine's constructor sets holds for the thread that loaded the library; here every
// caller gets a team, however busy the machine is.
void UseTeam() {
  omp_set_dynamic(0);
  omp_set_num_threads(kThreadsPerCaller);
}

using Work = std::function<Bytes()>;

// The results of all pieces of work, each done by a thread of its own at the same time.
std::vector<Bytes> AtOnce(const std::vector<Work>& pieces) {
  std::vector<Bytes> results(pieces.size());
  std::atomic<std::size_t> ready{0};
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    threads.emplace_back([&, i] {
      UseTeam();
      ++ready;
      while (ready < pieces.size()) std::this_thread::yield();
      results[i] = pieces[i]();
    });
  }
  for (std::thread& thread : threads) thread.join();
  return results;
}

std::vector<Bytes> InTurn(const std::vector<Work>& pieces) {
  std::vector<Bytes> results;
  for (const Work& piece : pieces) results.push_back(piece());
  return results;
}

// Threads first: what is made at first use is then made by several of them at once.
void ExpectSameBytes(const std::vector<Work>& pieces) {
  const std::vector<Bytes> atOnce = AtOnce(pieces);
  const std::vector<Bytes> inTurn = InTurn(pieces);
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    EXPECT_FALSE(inTurn[i].empty()) << "piece " << i;
    EXPECT_TRUE(atOnce[i] == inTurn[i]) << "piece " << i;
  }
}

const TemporaryFile& Profile(int number) {
  static const TemporaryFile profiles[] = {
      TemporaryFile(reference::WriteProfile(reference::PlainSpec(5, 256, 256))),
      TemporaryFile(reference::WriteProfile(reference::PlainSpec(9, 4096, 2))),
      TemporaryFile(reference::WriteProfile(reference::PlainSpec(17, 3, 1024))),
  };
  return profiles[number];
}

struct Slot {
  CIccEngineS& engine;
  int (*setProfile)(const char*, const char*, int, int, int);
  int (*setIntent)(int, int, int);
  int (*adjust)(unsigned char*, unsigned char*, unsigned char*, int, double, double, double);
  int (*convert)(unsigned char*, unsigned char*, int);
  int (*convertFile)(const char*, const char*);
};

const Slot kSlots[] = {
    {IccEngine, KX_Icc_SetProfile, KX_Icc_SetIntent, KX_Icc_Adjust, KX_Icc_Convert2,
     KX_Icc_ConvertFile},
    {IccEngine_2nd, KX_Icc_SetProfile_2nd, KX_Icc_SetIntent_2nd, KX_Icc_Adjust_2nd,
     KX_Icc_Convert2_2nd, KX_Icc_ConvertFile_2nd},
    {IccEngine_3rd, KX_Icc_SetProfile_3rd, KX_Icc_SetIntent_3rd, KX_Icc_Adjust_3rd,
     KX_Icc_Convert2_3rd, KX_Icc_ConvertFile_3rd},
};

Bytes Pixels(int sampleBytes) {
  return tiff_test::Ramp(std::size_t{3} * kPixels * static_cast<unsigned>(sampleBytes), 11, 101);
}

void AppendConverted(const Slot& slot, int sampleBytes, Bytes& to) {
  Bytes pixels = Pixels(sampleBytes);
  EXPECT_EQ(slot.convert(pixels.data(), pixels.data(), kPixels), 0);
  tiff_test::Append(to, pixels);
}

// A life of a slot: every operation, and what the conversions in between gave.
Bytes LifeOf(const Slot& slot, int number) {
  unsigned char curve[4] = {0, 90, 180, 250};
  Bytes results;
  for (int round = 0; round < kRounds; ++round) {
    // Another file in between, so that the selection is never the one that is there.
    slot.setProfile(Profile((number + 1) % 3).Path(), nullptr, 0, 0, 10);
    EXPECT_EQ(slot.setProfile(Profile(number).Path(), nullptr, 0, 0, 12), 12);
    AppendConverted(slot, 1, results);
    EXPECT_EQ(slot.adjust(curve, curve, curve, 4, 3 + number, -2, 5), 12);
    AppendConverted(slot, 1, results);
    EXPECT_EQ(slot.setProfile(Profile(number).Path(), nullptr, 1, 1, 27), 27);
    AppendConverted(slot, 2, results);
    EXPECT_EQ(slot.setIntent(2, 1, 13), 13);
    AppendConverted(slot, 2, results);
  }
  return results;
}

TEST(Threads, ThreeSlotsByThreeThreads) {
  ExpectSameBytes({[] { return LifeOf(kSlots[0], 0); }, [] { return LifeOf(kSlots[1], 1); },
                   [] { return LifeOf(kSlots[2], 2); }});
}

TEST(Threads, ConversionsAgainstReconfigurationOfAnotherSlot) {
  const auto conversions = [](const Slot& slot) {
    Bytes results;
    for (int i = 0; i < 8 * kRounds; ++i) AppendConverted(slot, 1, results);
    return results;
  };
  ASSERT_EQ(KX_Icc_SetProfile(Profile(0).Path(), nullptr, 0, 0, 12), 12);
  ASSERT_EQ(KX_Icc_SetProfile_3rd(Profile(2).Path(), nullptr, 0, 0, 22), 22);
  ExpectSameBytes({[&] { return conversions(kSlots[0]); }, [] { return LifeOf(kSlots[1], 1); },
                   [&] { return conversions(kSlots[2]); }});
}

// An engine of the thread's own, from its construction to its end, and every output code.
Bytes LifeOfAnEngine(int number) {
  Bytes results;
  for (int output = 8 + number % 2; output < 40; output += 5) {
    const auto engine = std::make_unique<CIccEngineS>();
    UseTeam();  // constructing an engine has changed the team
    engine->SetProfile(Profile(number % 3).Path(), static_cast<Intent>(number % 4),
                       ICC40::ICCFILE::RGB, static_cast<ColorSpaceSignature>(output), number, 0, 0);
    Bytes pixels = Pixels(1);
    Bytes converted(2 * pixels.size());  // room for either depth
    engine->Conversion(pixels.data(), converted.data(), kPixels);
    tiff_test::Append(results, converted);
  }
  return results;
}

TEST(Threads, SeveralEnginesInSeveralThreads) {
  std::vector<Work> pieces;
  for (int i = 0; i < 5; ++i) pieces.push_back([i] { return LifeOfAnEngine(i); });
  ExpectSameBytes(pieces);
}

Bytes Image(unsigned number) {
  return tiff_test::ImageEntries(200, 180, 3, 8, 60, 1)
      .AddStrips({tiff_test::Ramp(36000, number), tiff_test::Ramp(36000, 2 * number, 3),
                  tiff_test::Ramp(36000, 3 * number, 7)})
      .Build();
}

// Files with names of their own; the names are given by one thread.
struct ImageFiles {
  explicit ImageFiles(unsigned number) : image(Image(number)) {}
  TemporaryFile image;
  TemporaryFile saved;
};

TEST(Threads, FileConversionsInThreeSlots) {
  const ImageFiles files[] = {ImageFiles(1), ImageFiles(2), ImageFiles(3)};
  std::vector<Work> pieces;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(kSlots[i].setProfile(Profile(i).Path(), nullptr, 0, 0, 12), 12);
    pieces.push_back([&files, i] {
      EXPECT_EQ(kSlots[i].convertFile(files[i].image.Path(), files[i].saved.Path()), 12);
      return files[i].saved.Read();
    });
  }
  ExpectSameBytes(pieces);
}

TEST(Threads, ImagesInSeveralThreads) {
  const ImageFiles files[] = {ImageFiles(4), ImageFiles(5), ImageFiles(6), ImageFiles(7)};
  std::vector<Work> pieces;
  for (const ImageFiles& file : files) {
    pieces.push_back([&file] {
      Bytes results;
      for (int round = 0; round < kRounds; ++round) {
        CTiff image(file.image.Path());
        *image.GetXY(round, 7) = 77;
        image.SaveFile(file.saved.Path());
        tiff_test::Append(results, file.saved.Read());
      }
      return results;
    });
  }
  ExpectSameBytes(pieces);
}

// One engine may go from thread to thread, as long as one at a time has it.
TEST(Threads, AnEngineThatMovesFromThreadToThread) {
  ASSERT_EQ(KX_Icc_SetProfile(Profile(0).Path(), nullptr, 0, 0, 12), 12);
  Bytes expected;
  AppendConverted(kSlots[0], 1, expected);
  for (int i = 0; i < 2 * kRounds; ++i) {
    Bytes result;
    std::thread([&result] {
      UseTeam();
      AppendConverted(kSlots[0], 1, result);
    }).join();
    EXPECT_TRUE(result == expected) << i;
  }
}

}  // namespace

// What the library does to the OpenMP runtime that it shares with its process, and what fork leaves
// of it. This program uses the runtime itself, but does not link the library.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <ostream>
#include <thread>
#include <vector>

#include "tests/TemporaryFile.h"
#include "tests/reference/RandomProfile.h"

namespace {

// More than a conversion leaves to a single thread, and the most that it does.
constexpr int kManyPixels = 40000;
constexpr int kFewPixels = 32767;

class Library {
 public:
  Library() : handle_(dlopen(KXCMS_LIBRARY, RTLD_NOW)) {}
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    if (handle_ != nullptr) dlclose(handle_);
  }

  bool IsLoaded() const { return handle_ != nullptr; }
  int Select(const char* profile) const {
    return Find<int(const char*, const char*, int, int, int)>("KX_Icc_SetProfile_2nd")(
        profile, nullptr, 0, 0, 12);
  }
  std::vector<unsigned char> Convert(int pixels) const {
    std::vector<unsigned char> samples(std::size_t{3} * static_cast<unsigned>(pixels));
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<unsigned char>(i);
    const int result = Find<int(unsigned char*, unsigned char*, int)>("KX_Icc_Convert2_2nd")(
        samples.data(), samples.data(), pixels);
    return result == 0 ? samples : std::vector<unsigned char>();
  }

 private:
  template <typename Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(handle_, name));
  }

  void* handle_;
};

// OpenMP's settings for the parallel regions of one thread.
struct Team {
  int threads;
  bool isDynamic;
  bool operator==(const Team&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Team& team) {
  return out << team.threads << (team.isDynamic ? " threads or fewer" : " threads");
}

Team TeamHere() {
  return {omp_get_max_threads(), omp_get_dynamic() != 0};
}

void UseTeam(const Team& team) {
  omp_set_num_threads(team.threads);
  omp_set_dynamic(team.isDynamic);
}

template <typename Work>
auto InNewThread(const Work& work) {
  decltype(work()) result;
  std::thread([&] { result = work(); }).join();
  return result;
}

TEST(OpenMpRuntime, LoadingSetsTheTeamOfTheLoadingThreadOnly) {
  const Team ofNewThreads = InNewThread(TeamHere);
  const Team here = {5, false}, before = {3, false};
  UseTeam(here);
  std::optional<Library> library;
  const Team after = InNewThread([&] {
    UseTeam(before);
    library.emplace();
    return TeamHere();
  });
  ASSERT_TRUE(library->IsLoaded());
  EXPECT_EQ(after, (Team{8, true}));
  EXPECT_EQ(TeamHere(), here);
  EXPECT_EQ(InNewThread(TeamHere), ofNewThreads);
}

int ThreadsOfProcess() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

// The runtime keeps the threads of a team for the next region of the same thread.
TEST(OpenMpRuntime, OtherThreadsConvertWithTheTeamOfTheEnvironment) {
  if (!std::filesystem::exists("/proc/self/task")) GTEST_SKIP() << "no /proc to count threads by";
  if (InNewThread(TeamHere).isDynamic) GTEST_SKIP() << "OMP_DYNAMIC lets a team be smaller";
  const char* const asked = std::getenv("OMP_NUM_THREADS");
  const int team = asked != nullptr ? std::atoi(asked) : omp_get_num_procs();
  const TemporaryFile profile(reference::WriteProfile(reference::PlainSpec(2, 2, 2)));
  const Library library;
  ASSERT_TRUE(library.IsLoaded());
  ASSERT_EQ(library.Select(profile.Path()), 12);
  const auto joining = [&library](int pixels) {
    return InNewThread([&] {
      const int before = ThreadsOfProcess();
      EXPECT_FALSE(library.Convert(pixels).empty());
      return ThreadsOfProcess() - before;
    });
  };
  EXPECT_EQ(joining(kFewPixels), 0);
  EXPECT_EQ(joining(kManyPixels), team - 1);
}

// GNU's runtime takes the threads of its teams for alive in a child, which has none of them. What
// asks for no team, or for a new one, works.
TEST(OpenMpRuntime, AfterForkAChildConvertsWithoutTheOldTeam) {
  const TemporaryFile profile(reference::WriteProfile(reference::PlainSpec(2, 2, 2)));
  const Library library;
  ASSERT_TRUE(library.IsLoaded());
  ASSERT_EQ(library.Select(profile.Path()), 12);
  UseTeam({3, false});
  const std::vector<unsigned char> few = library.Convert(kFewPixels);
  const std::vector<unsigned char> many = library.Convert(kManyPixels);
  const struct {
    const char* what;
    std::function<bool()> convertsAsBefore;
  } kRows[] = {
      {"few pixels", [&] { return library.Convert(kFewPixels) == few; }},
      {"one thread",
       [&] {
         UseTeam({1, false});
         return library.Convert(kManyPixels) == many;
       }},
      {"a new thread, with a team of its own",
       [&] {
         return InNewThread([&] {
           UseTeam({3, false});
           return library.Convert(kManyPixels) == many;
         });
       }},
  };
  for (const auto& row : kRows) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      alarm(60);  // ends a child that hangs
      _exit(row.convertsAsBefore() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << row.what << ": " << status;
  }
}

}  // namespace

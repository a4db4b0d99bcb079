#include "platform/linux/directory_watch_linux.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <thread>

#include "base/manual_executor.hpp"
#include "support/run_until.hpp"
#include "support/temp_root.hpp"

namespace kolvo::platform {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::run_until;
using testing::TempRoot;

TEST(LinuxDirectoryWatch, EachKindOfChangeInTheFolderIsReported) {
  struct Case {
    const char* name;
    std::function<void(const fs::path& folder, const fs::path& outside)> change;
  };
  const std::vector<Case> cases = {
      {"a file renamed in from elsewhere",
       [](const fs::path& folder, const fs::path& outside) {
         std::ofstream(outside / "status.json.tmp") << R"({"event":"Stop"})";
         fs::rename(outside / "status.json.tmp", folder / "status.json");
       }},
      {"a temporary file renamed over an existing one",
       [](const fs::path& folder, const fs::path&) {
         std::ofstream(folder / "status.json.tmp") << "{}";
         fs::rename(folder / "status.json.tmp", folder / "existing.json");
       }},
      {"a file written", [](const fs::path& folder, const fs::path&) { std::ofstream(folder / "new.json") << "{}"; }},
      {"a file rewritten in place",
       [](const fs::path& folder, const fs::path&) { std::ofstream(folder / "existing.json", std::ios::app) << "x"; }},
      {"a file deleted", [](const fs::path& folder, const fs::path&) { fs::remove(folder / "existing.json"); }},
      {"a file renamed away",
       [](const fs::path& folder, const fs::path& outside) {
         fs::rename(folder / "existing.json", outside / "gone.json");
       }},
  };
  for (const auto& c : cases) {
    TempRoot root("dirwatch");
    const fs::path folder = root.path() / "agents";
    const fs::path outside = root.path() / "elsewhere";
    fs::create_directories(folder);
    fs::create_directories(outside);
    std::ofstream(folder / "existing.json") << "{}";
    base::ManualExecutor main;
    int calls = 0;
    auto watch = watch_directory_linux(folder, main, [&calls] { ++calls; });
    ASSERT_TRUE(watch) << c.name;
    // A change outside the folder is not this watch's business.
    std::ofstream(outside / "unrelated.json") << "{}";
    c.change(folder, outside);
    EXPECT_TRUE(run_until(main, [&calls] { return calls > 0; })) << c.name;
  }
}

TEST(LinuxDirectoryWatch, NothingIsCalledOnceTheWatchIsGone) {
  TempRoot root("dirwatch");
  const fs::path folder = root.path() / "agents";
  fs::create_directories(folder);
  base::ManualExecutor main;
  int calls = 0;
  auto watch = watch_directory_linux(folder, main, [&calls] { ++calls; });
  ASSERT_TRUE(watch);
  std::ofstream(folder / "a.json") << "{}";
  // The change is posted, not yet run, when the watch goes.
  for (int spin = 0; spin < 2000 && main.pending_count() == 0; ++spin) std::this_thread::sleep_for(1ms);
  ASSERT_GT(main.pending_count(), 0u);
  watch.reset();
  std::ofstream(folder / "b.json") << "{}";
  std::this_thread::sleep_for(20ms);
  main.run_pending();
  EXPECT_EQ(calls, 0);
}

TEST(LinuxDirectoryWatch, ABurstIsCoalescedAndLaterChangesAreHeardAgain) {
  TempRoot root("dirwatch");
  const fs::path folder = root.path() / "agents";
  fs::create_directories(folder);
  base::ManualExecutor main;
  int calls = 0;
  auto watch = watch_directory_linux(folder, main, [&calls] { ++calls; });
  ASSERT_TRUE(watch);
  for (int i = 0; i < 50; ++i) std::ofstream(folder / ("f" + std::to_string(i))) << i;
  std::this_thread::sleep_for(50ms);
  // However the thread saw the burst, no more than one call waits at a time.
  EXPECT_LE(main.pending_count(), 1u);
  ASSERT_TRUE(run_until(main, [&calls] { return calls > 0; }));
  const int after_burst = calls;
  fs::remove(folder / "f0");
  EXPECT_TRUE(run_until(main, [&] { return calls > after_burst; }));
}

TEST(LinuxDirectoryWatch, AFolderThatIsNotThereCannotBeWatched) {
  TempRoot root("dirwatch");
  base::ManualExecutor main;
  EXPECT_EQ(watch_directory_linux(root.path() / "missing", main, [] {}), nullptr);
  std::ofstream(root.path() / "file") << "";
  EXPECT_EQ(watch_directory_linux(root.path() / "file", main, [] {}), nullptr);
  EXPECT_NE(linux_directory_watch_factory()(root.path(), main, [] {}), nullptr);
}

}  // namespace
}  // namespace kolvo::platform

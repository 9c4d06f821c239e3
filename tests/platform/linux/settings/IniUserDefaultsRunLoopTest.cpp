// Saving from a run loop.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "foundation/FileDescriptor.h"
#include "foundation/RunLoop.h"
#include "platform/linux/settings/IniUserDefaults.h"
#include "tests/platform/linux/settings/Writer.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Threads.h"
#include "tests/support/TurnLoop.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using testing::TurnLoopUntil;
using testing::Writer;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

constexpr std::chrono::minutes kTooLong = 1h;

class IniUserDefaultsRunLoopTest : public ::testing::Test {
 protected:
  [[nodiscard]] bool IsSaved(const std::string& key) const {
    return IniUserDefaults::ReadOnly(fPath).GetString(key).has_value();
  }

  /// How often this thread has gone to sleep by itself.
  [[nodiscard]] static long OwnWaits() {
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
  }

  std::shared_ptr<PollRunLoop> fLoop = PollRunLoop::Current();
  testing::TemporaryFolder fFolder;
  std::filesystem::path fPath = fFolder.Path() / "config" / "settings.conf";
};

TEST_F(IniUserDefaultsRunLoopTest, SavesAChangeByItselfButNotInsideTheCall) {
  IniUserDefaults defaults(fPath, fLoop, {kTooLong, kTooLong});
  defaults.SetString("name", "x");
  EXPECT_FALSE(std::filesystem::exists(fPath));
  EXPECT_TRUE(TurnLoopUntil([&] { return IsSaved("name"); }));
}

TEST_F(IniUserDefaultsRunLoopTest, SavesNoMoreOftenThanOnceInAPause) {
  auto now = Clock::now();
  IniUserDefaults defaults(fPath, fLoop, {kTooLong, kTooLong}, [&] { return now; });
  for (int pause = 0; pause < 5; ++pause) {
    const std::string change = std::to_string(pause);
    defaults.SetString(change, "x");
    EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
    EXPECT_TRUE(IsSaved(change));
    now += kTooLong / 2;
    defaults.SetString(change + " early", "x");
    EXPECT_FALSE(fLoop->RunOnce(0ms));
    now += kTooLong / 2;
  }
}

TEST_F(IniUserDefaultsRunLoopTest, LeavesWhatComesWithinThePauseToTheEnd) {
  {
    IniUserDefaults defaults(fPath, fLoop, {kTooLong, kTooLong});
    defaults.SetString("first", "x");
    ASSERT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
    EXPECT_TRUE(IsSaved("first"));
    defaults.SetString("second", "x");
    EXPECT_FALSE(fLoop->RunOnce(0ms));
    EXPECT_FALSE(IsSaved("second"));
  }
  EXPECT_TRUE(IsSaved("second"));
}

TEST_F(IniUserDefaultsRunLoopTest, TriesAgainAfterThePauseWhereAnotherHeldTheLock) {
  std::filesystem::create_directory(fPath.parent_path());
  FileDescriptor holder(::open((fPath.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(::flock(holder.Get(), LOCK_EX), 0);
  IniUserDefaults defaults(fPath, fLoop, {20ms, kTooLong});
  defaults.SetString("name", "x");
  EXPECT_FALSE(defaults.Synchronize());  // which leaves the next attempt to the loop
  holder.Reset();
  EXPECT_TRUE(TurnLoopUntil([&] { return IsSaved("name"); }));
}

TEST_F(IniUserDefaultsRunLoopTest, NeverMakesTheLoopWaitForTheLockOfAStoppedProcess) {
  std::filesystem::create_directory(fPath.parent_path());
  auto holder = Writer::StoppedWithTheLock(fPath);
  CaptureStderr();
  IniUserDefaults defaults(fPath, fLoop, {10ms, 10ms});
  long mostWaits = 0;
  const auto turn = [&] {
    const long before = OwnWaits();
    const bool hasRun = fLoop->RunOnce(0ms);
    mostWaits = std::max(mostWaits, OwnWaits() - before);
    return hasRun;
  };
  for (int i = 0; i < 50; ++i) {
    defaults.SetString(std::to_string(i), "x");
    EXPECT_TRUE(testing::Eventually(turn));
  }
  // A wait for the lock would be a hundred short ones.
  EXPECT_LT(mostWaits, 10);
  EXPECT_FALSE(IsSaved("0"));
  EXPECT_EQ(holder.End(SIGCONT), 0);
  EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
  EXPECT_TRUE(IsSaved("0") && IsSaved("49"));
  const auto console = GetCapturedStderr();
  const std::string told = "Cannot save " + fPath.string() + " (another program holds its lock)";
  EXPECT_THAT(console, HasSubstr(told));
  EXPECT_EQ(console.find(told), console.rfind(told)) << console;
  EXPECT_THAT(console, HasSubstr("is saved again"));
}

TEST_F(IniUserDefaultsRunLoopTest, SavesAtTheEndAsSoonAsTheLockIsFree) {
  std::filesystem::create_directory(fPath.parent_path());
  auto holder = std::make_unique<Writer>(Writer::StoppedWithTheLock(fPath));
  CaptureStderr();
  std::thread later;
  {
    IniUserDefaults defaults(fPath, fLoop, {kTooLong, kTooLong, kTooLong});
    defaults.SetString("name", "x");
    EXPECT_TRUE(fLoop->RunOnce(-1ms));
    EXPECT_FALSE(IsSaved("name"));
    const auto release = [&] {  // just before the last save
      later = std::thread([&] { holder.reset(); });
      return true;
    };
    defaults.SetEarlier({.isSaved = {}, .save = release}, "no key");
  }
  later.join();
  EXPECT_TRUE(IsSaved("name"));
  EXPECT_EQ(GetCapturedStderr(), "");
}

TEST_F(IniUserDefaultsRunLoopTest, TriesAgainByItselfWhatCouldNotBeSaved) {
  std::ofstream(fPath.parent_path()) << "a file where the folder should be";
  IniUserDefaults defaults(fPath, fLoop, {kTooLong, 20ms});
  CaptureStderr();
  defaults.SetString("name", "x");
  EXPECT_FALSE(defaults.Synchronize());
  std::filesystem::remove(fPath.parent_path());
  EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
  EXPECT_TRUE(IsSaved("name"));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("saved again"));
}

TEST_F(IniUserDefaultsRunLoopTest, SavesByItselfWhatWasHeldBack) {
  bool isReady = false;
  IniUserDefaults defaults(fPath, fLoop, {kTooLong, 20ms});
  const auto isSaved = [&] { return isReady; };
  defaults.SetEarlier({isSaved, isSaved}, "record-");
  defaults.SetString("record-a", "x");
  EXPECT_FALSE(defaults.Synchronize());
  EXPECT_FALSE(IsSaved("record-a"));
  isReady = true;
  EXPECT_TRUE(TurnLoopUntil([&] { return IsSaved("record-a"); }));
}

TEST_F(IniUserDefaultsRunLoopTest, SavesWhatWasHeldBackWhenItIsTold) {
  IniUserDefaults earlier(fFolder.Path() / "earlier.conf", fLoop, {kTooLong, kTooLong});
  IniUserDefaults defaults(fPath, fLoop, {0ms, kTooLong});
  defaults.SetEarlier({.isSaved = [&] { return earlier.IsSaved(); }, .save = [] { return true; }}, "record-");
  earlier.SetAfterSaving([&] { defaults.SaveSoon(); });
  earlier.SetString("name", "x");
  defaults.SetString("record-a", "x");
  EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
  EXPECT_TRUE(IsSaved("record-a"));
  EXPECT_TRUE(earlier.IsSaved());

  earlier.SetString("name", "y");  // within the pause of this one
  defaults.SetString("record-b", "x");
  defaults.SetString("name", "x");
  EXPECT_TRUE(TurnLoopUntil([&] { return IsSaved("name"); }));
  EXPECT_FALSE(IsSaved("record-b"));
}

TEST_F(IniUserDefaultsRunLoopTest, SavesWhatNeedNotBeHeldBackAnyMoreAlsoAfterAFailedSave) {
  std::ofstream(fFolder.Path() / "file") << "where a folder should be";
  bool isReady = false;
  IniUserDefaults earlier(fFolder.Path() / "file" / "earlier.conf", fLoop, {kTooLong, kTooLong});
  IniUserDefaults defaults(fPath, fLoop, {0ms, kTooLong});
  const auto isSaved = [&] { return isReady; };
  defaults.SetEarlier({isSaved, isSaved}, "record-");
  earlier.SetAfterSaving([&] { defaults.SaveSoon(); });
  defaults.SetString("record-a", "x");
  defaults.SetString("name", "x");
  EXPECT_TRUE(TurnLoopUntil([&] { return IsSaved("name"); }));
  EXPECT_FALSE(IsSaved("record-a"));
  CaptureStderr();
  isReady = true;
  earlier.SetString("name", "x");
  EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
  EXPECT_FALSE(earlier.IsSaved());
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("Cannot save"));
}

TEST_F(IniUserDefaultsRunLoopTest, SavesWithoutAThreadIfNoneIsLeft) {
  IniUserDefaults defaults(fPath, fLoop, {0ms, kTooLong});
  const testing::NoThreadsLeft none;
  for (const char* key : {"first", "second"}) {
    defaults.SetString(key, "x");
    EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
    EXPECT_TRUE(IsSaved(key));
  }
}

TEST_F(IniUserDefaultsRunLoopTest, SavesAChangeThatIsMadeDuringASave) {
  IniUserDefaults defaults(fPath, fLoop, {0ms, kTooLong});
  for (int i = 0; i < 100; ++i) {
    defaults.SetString("name", std::to_string(i));
    EXPECT_TRUE(fLoop->RunOnce(-1ms));  // starts the save, or takes over its result
  }
  EXPECT_TRUE(TurnLoopUntil([&] { return defaults.IsSaved(); }));
  EXPECT_EQ(IniUserDefaults::ReadOnly(fPath).GetString("name"), "99");
}

}  // namespace
}  // namespace vorn

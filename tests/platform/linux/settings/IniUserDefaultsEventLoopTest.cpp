// Saving where an application object exists.
#include <QtCore/QCoreApplication>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <tuple>

#include "foundation/FileDescriptor.h"
#include "platform/linux/settings/IniUserDefaults.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

constexpr auto kNever = 1h;

class IniUserDefaultsEventLoopTest : public ::testing::Test {
 protected:
  [[nodiscard]] bool IsSaved(const std::string& key) const {
    return IniUserDefaults::ReadOnly(fPath).GetString(key).has_value();
  }
  template <typename Condition>
  [[nodiscard]] static bool Served(Condition condition) {
    return testing::Eventually([&] {
      QCoreApplication::processEvents();
      return condition();
    });
  }

  /// Changes whenever the file is written.
  [[nodiscard]] std::tuple<ino_t, time_t, long> Version() const {
    struct stat status = {};
    if (::stat(fPath.c_str(), &status) != 0) return {};
    return {status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
  }

  int fArgumentCount = 1;
  char fName[5] = "test";
  char* fArguments[2] = {fName, nullptr};
  QCoreApplication fApplication{fArgumentCount, fArguments};
  testing::TemporaryFolder fFolder;
  std::filesystem::path fPath = fFolder.Path() / "config" / "settings.conf";
};

TEST_F(IniUserDefaultsEventLoopTest, SavesAChangeByItselfButNotInsideTheCall) {
  IniUserDefaults defaults(fPath, {kNever, kNever});
  defaults.SetString("name", "x");
  EXPECT_FALSE(std::filesystem::exists(fPath));
  EXPECT_TRUE(Served([&] { return IsSaved("name"); }));
}

TEST_F(IniUserDefaultsEventLoopTest, SavesNoMoreOftenThanOnceInAPause) {
  constexpr auto kPause = 200ms;
  IniUserDefaults defaults(fPath, {kPause, kNever});
  std::set<std::tuple<ino_t, time_t, long>> versions;
  int changes = 0;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(Served([&] {
    if (changes < 500) defaults.SetString(std::to_string(changes++), "x");
    versions.insert(Version());
    return changes == 500 && IsSaved("499");
  }));
  const auto pauses = (std::chrono::steady_clock::now() - start) / kPause;
  // None yet, the first at once, and one for each pause; a coarse timer may be a little early.
  EXPECT_LE(versions.size(), static_cast<std::size_t>(pauses + pauses / 10 + 4));
}

TEST_F(IniUserDefaultsEventLoopTest, LeavesWhatComesWithinThePauseToTheEnd) {
  {
    IniUserDefaults defaults(fPath, {kNever, kNever});
    defaults.SetString("first", "x");
    ASSERT_TRUE(Served([&] { return IsSaved("first"); }));
    defaults.SetString("second", "x");
    for (int i = 0; i < 100; ++i) QCoreApplication::processEvents();
    EXPECT_FALSE(IsSaved("second"));
  }
  EXPECT_TRUE(IsSaved("second"));
}

TEST_F(IniUserDefaultsEventLoopTest, TriesAgainAfterThePauseWhereAnotherHeldTheLock) {
  std::filesystem::create_directory(fPath.parent_path());
  FileDescriptor holder(::open((fPath.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(::flock(holder.Get(), LOCK_EX), 0);
  IniUserDefaults defaults(fPath, {20ms, kNever});
  defaults.SetString("name", "x");
  EXPECT_FALSE(defaults.Synchronize());  // which leaves the next attempt to the event loop
  holder.Reset();
  EXPECT_TRUE(Served([&] { return IsSaved("name"); }));
}

TEST_F(IniUserDefaultsEventLoopTest, TriesAgainByItselfWhatCouldNotBeSaved) {
  std::ofstream(fPath.parent_path()) << "a file where the folder should be";
  IniUserDefaults defaults(fPath, {kNever, 20ms});
  CaptureStderr();
  defaults.SetString("name", "x");
  EXPECT_FALSE(defaults.Synchronize());
  std::filesystem::remove(fPath.parent_path());
  EXPECT_TRUE(Served([&] { return IsSaved("name"); }));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("saved again"));
}

TEST_F(IniUserDefaultsEventLoopTest, SavesByItselfWhatWasHeldBack) {
  bool isReady = false;
  IniUserDefaults defaults(fPath, {kNever, 20ms});
  defaults.SetBeforeSaving([&] { return isReady; }, "record-");
  defaults.SetString("record-a", "x");
  EXPECT_FALSE(defaults.Synchronize());
  EXPECT_FALSE(IsSaved("record-a"));
  isReady = true;
  EXPECT_TRUE(Served([&] { return IsSaved("record-a"); }));
}

}  // namespace
}  // namespace vorn

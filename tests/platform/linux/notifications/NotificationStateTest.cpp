#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <future>
#include <optional>

#include "notification/KeptNotifications.h"
#include "platform/linux/notifications/NotificationState.h"
#include "platform/linux/settings/IniUserDefaults.h"
#include "tests/notification/KeptSamples.h"
#include "tests/support/Eventually.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using Notification::KeptNotifications;
using Notification::testing::ExpectEqual;
using Notification::testing::MakeKept;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

const NotificationServer::Identity kHere{"bus-1", ":1.7"};

TEST(NotificationStateTest, GivesBackWhatWasWrittenThroughAFileOfItsOwnerAlone) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "state" / "vorn-device-finder" / "notices.conf";
  const std::vector<Notification::KeptNotification> notifications{MakeKept("b", 7), MakeKept("a", 0)};
  {
    IniUserDefaults state(path);
    KeptNotifications(&state).Write(notifications, kHere);
  }
  IniUserDefaults state(path);
  const auto read = KeptNotifications(&state).Read(kHere);
  ASSERT_EQ(read.size(), 2U);
  ExpectEqual(read[0], notifications[0]);
  ExpectEqual(read[1], notifications[1]);
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  ASSERT_EQ(::stat(path.parent_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST(NotificationStateTest, SetsADamagedFileAside) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "notices.conf";
  std::ofstream(path) << std::string("\x1f\x8b wai\0ting\n", 12);
  CaptureStderr();
  IniUserDefaults state(path);
  EXPECT_THAT(KeptNotifications(&state).Read(kHere), IsEmpty());
  EXPECT_THAT(GetCapturedStderr(),
              HasSubstr(path.string() + " cannot be used (it is no settings file); renamed to"));
  EXPECT_TRUE(std::filesystem::exists(path.string() + ".damaged-1"));
}

TEST(NotificationStateTest, LiesInTheUsersFolderForState) {
  const testing::ScopedEnvironment home("HOME", "/home/somebody");
  {
    const testing::ScopedEnvironment state("XDG_STATE_HOME", "/elsewhere");
    EXPECT_EQ(UserNotificationsPath(), "/elsewhere/vorn-device-finder/notices.conf");
  }
  const testing::ScopedEnvironment relative("XDG_STATE_HOME", "elsewhere");
  EXPECT_EQ(UserNotificationsPath(), "/home/somebody/.local/state/vorn-device-finder/notices.conf");
}

TEST(NotificationStateTest, BelongsToOneProgramAtATime) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "state" / "notices.conf";
  auto first = std::make_unique<NotificationState>(path, 0ms);
  ASSERT_NE(first->Store(), nullptr);
  first->Store()->SetStringArray("notices", {"mine"});
  CaptureStderr();
  EXPECT_EQ(NotificationState(path, 0ms).Store(), nullptr);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr(path.string() + " is in use by another program"));
  first.reset();
  NotificationState next(path, 0ms);
  ASSERT_NE(next.Store(), nullptr);
  EXPECT_EQ(next.Store()->GetStringArray("notices"), (std::optional<std::vector<std::string>>({"mine"})));
}

TEST(NotificationStateTest, WaitsForAProgramThatIsJustEnding) {
  const testing::TemporaryFolder folder;
  const auto path = folder.Path() / "notices.conf";
  auto ending = std::make_unique<NotificationState>(path);
  auto next = std::async(std::launch::async, [&] {
    return NotificationState(path, testing::kGenerousDeadline).Store() != nullptr;
  });
  EXPECT_TRUE(
      testing::Eventually([&] { return testing::CountDescriptorsOf(path.string() + ".owner") == 2; }));
  ending.reset();
  EXPECT_TRUE(next.get());
}

TEST(NotificationStateTest, IsOursWhereNoLockCanBeMade) {
  const testing::TemporaryFolder folder;
  std::ofstream(folder.Path() / "file") << "where the folder should be";
  EXPECT_NE(NotificationState(folder.Path() / "file" / "notices.conf", 0ms).Store(), nullptr);
  EXPECT_NE(NotificationState({}, 0ms).Store(), nullptr);
}

}  // namespace
}  // namespace vorn

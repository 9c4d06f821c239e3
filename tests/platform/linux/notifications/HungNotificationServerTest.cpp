// Longer than the 25 seconds after which the bus library itself gives a call up.
#include <QtCore/QCoreApplication>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Center.h"
#include "platform/linux/notifications/FreedesktopNotificationServer.h"
#include "tests/platform/linux/notifications/ScriptedNotificationServer.h"
#include "tests/support/Eventually.h"
#include "tests/support/PrivateBus.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using testing::ScriptedNotificationServer;

constexpr auto kBeyondEveryTimeout = 28s;

/// A server on a private bus, and a centre that sends a notification at once.
struct Desktop {
  explicit Desktop(ScriptedNotificationServer::Mood mood, bool holdsQuestions) {
    fServer.fMood = mood;
    fServer.fHoldsQuestions = holdsQuestions;
    UserNotification notification;
    notification.title = "title";
    EXPECT_TRUE(fCenter.DeliverNotification(notification));
  }

  testing::PrivateBus fBus;
  ScriptedNotificationServer fServer{fBus.Address()};
  Notification::Center fCenter{
      std::make_unique<FreedesktopNotificationServer>(
          FreedesktopNotificationServer::Presentation{"a", "b", "c"}, fBus.Address()),
      {.timing = {50ms, 0ms}}};
};

TEST(HungNotificationServerTest, IsAskedAndSentEverythingOnce) {
  Desktop hung(ScriptedNotificationServer::Mood::kSilent, false);
  Desktop slow(ScriptedNotificationServer::Mood::kAnswers, true);
  const auto end = std::chrono::steady_clock::now() + kBeyondEveryTimeout;
  EXPECT_TRUE(testing::Eventually(
      [&] {
        QCoreApplication::processEvents();
        return std::chrono::steady_clock::now() >= end;
      },
      2 * kBeyondEveryTimeout));
  EXPECT_EQ(hung.fServer.fShown.size(), 1U);
  EXPECT_EQ(slow.fServer.fQuestions, 1);
  slow.fServer.AnswerHeld();
  EXPECT_TRUE(testing::Eventually([&] {
    QCoreApplication::processEvents();
    return slow.fServer.fShown.size() == 1;
  }));
}

}  // namespace
}  // namespace vorn

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

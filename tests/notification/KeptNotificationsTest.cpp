#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/KeptNotifications.h"
#include "tests/notification/KeptSamples.h"
#include "tests/platform/FakeUserDefaults.h"

namespace Notification {
namespace {

using testing::ExpectEqual;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MakeKept;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using Identity = vorn::NotificationServer::Identity;
using Texts = std::vector<std::string>;

const Identity kHere{"bus-1", ":1.7"};

class KeptNotificationsTest : public ::testing::Test {
 protected:
  /// What is read from a state that holds these texts.
  std::vector<KeptNotification> ReadFrom(const Texts& notifications) {
    fState.SetString("bus", kHere.bus);
    fState.SetString("server", kHere.server);
    fState.SetStringArray("notices", notifications);
    return KeptNotifications(&fState).Read(kHere);
  }

  vorn::testing::FakeUserDefaults fState;
};

TEST_F(KeptNotificationsTest, GivesBackWhatWasWrittenInItsOrder) {
  const std::vector<KeptNotification> notifications{MakeKept("b", 7), MakeKept("a", 0)};
  KeptNotifications(&fState).Write(notifications, kHere);
  const auto read = KeptNotifications(&fState).Read(kHere);
  ASSERT_EQ(read.size(), 2U);
  ExpectEqual(read[0], notifications[0]);
  ExpectEqual(read[1], notifications[1]);
}

TEST_F(KeptNotificationsTest, KeepsNothingWithoutAState) {
  KeptNotifications nowhere(nullptr);
  EXPECT_THAT(nowhere.Read(kHere), IsEmpty());
  nowhere.Write({MakeKept("a", 0)}, kHere);
  EXPECT_THAT(nowhere.Read(kHere), IsEmpty());
  EXPECT_FALSE(nowhere.Synchronize());
}

TEST_F(KeptNotificationsTest, LeavesOutWhatStoodOnAnotherServerOrBus) {
  for (const auto& other : {Identity{"bus-1", ":1.8"}, Identity{"bus-2", ":1.7"}, Identity{}}) {
    KeptNotifications(&fState).Write({MakeKept("a", 7), MakeKept("b", 0)}, kHere);
    const auto read = KeptNotifications(&fState).Read(other);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].notification.subject, "b");
  }
}

TEST_F(KeptNotificationsTest, HoldsNoIdToBeThatOfAServerWhichNobodyKnows) {
  const Identity nobody;
  KeptNotifications(&fState).Write({MakeKept("a", 7)}, nobody);
  EXPECT_THAT(KeptNotifications(&fState).Read(nobody), IsEmpty());
}

TEST_F(KeptNotificationsTest, ReadsTheGoodNotificationsBesideTheBadOnes) {
  const Texts good{"waiting", "sound", "subject", "title", "text", "http://a/"};
  const std::vector<std::pair<std::size_t, std::string>> faults{{0, ""},
                                                                {0, "0"},
                                                                {0, "-1"},
                                                                {0, "4294967296"},
                                                                {0, "7x"},
                                                                {0, "x7"},
                                                                {1, "loud"},
                                                                {2, std::string(8193, 'x')},
                                                                {5, std::string(8193, 'x')}};
  for (const auto& [place, text] : faults) {
    Texts notifications = good;
    notifications[place] = text;
    notifications.insert(notifications.end(), good.begin(), good.end());
    CaptureStderr();
    EXPECT_EQ(ReadFrom(notifications).size(), 1U) << text;
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read")) << text;
  }
}

TEST_F(KeptNotificationsTest, ReadsWhatIsWholeOfAListThatWasCutOff) {
  CaptureStderr();
  EXPECT_EQ(ReadFrom({"waiting", "sound", "a", "b", "c", "", "waiting", "sound"}).size(), 1U);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read"));
}

TEST_F(KeptNotificationsTest, KeepsABoundedNumberOfNotifications) {
  Texts notifications;
  for (std::size_t i = 0; i <= KeptNotifications::kMaxNotifications; ++i) {
    const Texts one{"waiting", "silent", std::to_string(i), "t", "", ""};
    notifications.insert(notifications.end(), one.begin(), one.end());
  }
  CaptureStderr();
  EXPECT_EQ(ReadFrom(notifications).size(), KeptNotifications::kMaxNotifications);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read"));
  const std::vector<KeptNotification> many(KeptNotifications::kMaxNotifications + 1, MakeKept("a", 0));
  KeptNotifications(&fState).Write(many, kHere);
  EXPECT_EQ(KeptNotifications(&fState).Read(kHere).size(), KeptNotifications::kMaxNotifications);
}

TEST_F(KeptNotificationsTest, KeepsABoundedSizeOfTexts) {
  auto large = MakeKept("a", 0);
  large.notification.title = std::string(KeptNotifications::kMaxLength, 'x');
  const std::vector<KeptNotification> many(1000, large);
  KeptNotifications(&fState).Write(many, kHere);
  std::size_t size = 0;
  for (const auto& text : fState.fArrays.at("notices")) size += text.size();
  EXPECT_LE(size, KeptNotifications::kMaxSize);
  EXPECT_GT(size, KeptNotifications::kMaxSize - 2 * KeptNotifications::kMaxLength);
}

TEST_F(KeptNotificationsTest, ReadsNotificationsWithoutSourcesOfAnEarlierVersion) {
  const auto written = MakeKept("a", 0);
  KeptNotifications(&fState).Write({written, MakeKept("b", 0)}, kHere);
  const std::string longText(65, 'x');
  for (const Texts& sources :
       {Texts{}, Texts{"192.0.2.1"}, Texts{"1", "2", "3"}, Texts{longText, longText}}) {
    fState.SetStringArray("sources", sources);
    const auto read = KeptNotifications(&fState).Read(kHere);
    ASSERT_EQ(read.size(), 2U);
    EXPECT_EQ(read[0].notification.title, written.notification.title);
    EXPECT_EQ(read[0].notification.source, "");
  }
}

TEST_F(KeptNotificationsTest, LeavesTheStateAloneWhereNothingHasChanged) {
  int writes = 0;
  fState.fOnArrayStored = [&] { ++writes; };  // two arrays at a time
  KeptNotifications store(&fState);
  store.Write({}, kHere);
  EXPECT_EQ(writes, 0);
  store.Write({MakeKept("a", 7)}, kHere);
  store.Write({MakeKept("a", 7)}, kHere);
  EXPECT_EQ(writes, 2);
  store.Write({MakeKept("a", 7)}, {"bus-1", ":1.8"});
  store.Write({}, kHere);
  EXPECT_EQ(writes, 6);
}

}  // namespace
}  // namespace Notification

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "notification/Logic.h"
#include "platform/linux/FreedesktopNotificationCenter.h"
#include "tests/notification/Devices.h"
#include "tests/platform/FakeUrlOpener.h"
#include "tests/platform/FakeUserDefaults.h"
#include "tests/platform/PrivateBus.h"
#include "tests/platform/ScriptedNotificationServer.h"
#include "tests/support/Eventually.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::ScriptedNotificationServer;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using Mood = ScriptedNotificationServer::Mood;

class Clicks final : public NotificationCenter::Delegate {
 public:
  void DidActivateNotification(const UserNotification& notification) override {
    fAll.push_back(notification);
  }
  std::vector<UserNotification> fAll;
};

class FreedesktopNotificationCenterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(fBus.Address().empty());
    MakeCenter(60s);
  }

  void MakeCenter(std::chrono::milliseconds quietTime) {
    fCenter = std::make_unique<FreedesktopNotificationCenter>(
        FreedesktopNotificationCenter::Identity{"Vorn Device Finder", "example.vorn.DeviceFinder",
                                                "vorn-icon"},
        FreedesktopNotificationCenter::Options{fBus.Address(), quietTime, [this] { return fNow(); }});
    fCenter->SetDelegate(fClicks);
  }

  void StartServer(const QStringList& capabilities = {"body"}) {
    fServer = std::make_unique<ScriptedNotificationServer>(fBus.Address(), capabilities);
    ASSERT_TRUE(fServer->fIsThere);
  }

  void Deliver(const std::string& subject, const std::string& title, const std::string& text = "1.4.2") {
    UserNotification notice;
    notice.title = title;
    notice.informativeText = text;
    notice.subject = subject;
    notice.userInfo["URL"] = "http://" + subject + "/";
    notice.playsDefaultSound = true;
    fCenter->DeliverNotification(notice);
  }

  template <typename Condition>
  [[nodiscard]] static bool Served(Condition condition) {
    return testing::Eventually([&] {
      QCoreApplication::processEvents();
      return condition();
    });
  }
  [[nodiscard]] bool Shown(std::size_t count) const {
    return Served([&] { return fServer->fNotices.size() >= count; });
  }

  /// Until everything sent so far has been answered: what one more notice, of
  /// a subject of its own, brings comes behind it.
  void Settle() {
    const auto count = fServer->fNotices.size();
    Deliver("settle " + std::to_string(++fSettled), "settle");
    ASSERT_TRUE(Served(
        [&] { return fServer->fNotices.size() > count && fServer->fNotices.back().summary == "settle"; }));
    fServer->Click(fServer->fNotices.back().id);  // goes out behind the answer
    const auto clicks = fClicks->fAll.size();
    ASSERT_TRUE(
        Served([&] { return fClicks->fAll.size() > clicks && fClicks->fAll.back().title == "settle"; }));
    fServer->fNotices.pop_back();
    std::erase_if(fClicks->fAll, [](const auto& click) { return click.title == "settle"; });
  }

  testing::PrivateBus fBus;
  std::function<std::chrono::steady_clock::time_point()> fNow = std::chrono::steady_clock::now;
  std::shared_ptr<Clicks> fClicks = std::make_shared<Clicks>();
  std::unique_ptr<FreedesktopNotificationCenter> fCenter;
  std::unique_ptr<ScriptedNotificationServer> fServer;
  int fSettled = 0;
};

TEST_F(FreedesktopNotificationCenterTest, SendsEverythingAServerWantsToKnow) {
  StartServer({"body", "body-markup", "sound"});
  Deliver("unit", "Update <b>&</b> \xe2\x99\xaa", "1 < 2 & \"3\"");
  ASSERT_TRUE(Shown(1));
  const auto& notice = fServer->fNotices[0];
  EXPECT_EQ(notice.application, "Vorn Device Finder");
  EXPECT_EQ(notice.icon, "vorn-icon");
  EXPECT_EQ(notice.summary, QString::fromUtf8("Update <b>&</b> \xe2\x99\xaa"));  // literal
  EXPECT_EQ(notice.body, "1 &lt; 2 &amp; &quot;3&quot;");
  EXPECT_EQ(notice.actions, (QStringList{"default", "Open"}));
  EXPECT_EQ(notice.timeout, -1);
  EXPECT_EQ(notice.replacesId, 0U);
  EXPECT_EQ(notice.hints.value("desktop-entry"), "example.vorn.DeviceFinder");
  EXPECT_EQ(notice.hints.value("category"), "device");
  EXPECT_EQ(notice.hints.value("urgency").typeId(), QMetaType::UChar);
  EXPECT_EQ(notice.hints.value("urgency").toInt(), 1);
  EXPECT_EQ(notice.hints.value("sound-name"), "message-new-instant");
}

TEST_F(FreedesktopNotificationCenterTest, RespectsWhatTheServerCannotDo) {
  StartServer({"body"});
  Deliver("unit", "title", "1 < 2");
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fNotices[0].body, "1 < 2");
  EXPECT_FALSE(fServer->fNotices[0].hints.contains("sound-name"));
}

TEST_F(FreedesktopNotificationCenterTest, UsesAServerThatDoesNotKnowItsCapabilities) {
  StartServer();
  fServer->fKnowsCapabilities = false;
  Deliver("unit", "title");
  EXPECT_TRUE(Shown(1));
}

TEST_F(FreedesktopNotificationCenterTest, FollowsClicksOnAServerThatWasThereBeforeIt) {
  for (const bool knowsCapabilities : {true, false}) {
    StartServer();
    fServer->fKnowsCapabilities = knowsCapabilities;
    MakeCenter(60s);
    Deliver("unit", "title");
    ASSERT_TRUE(Shown(1));
    ASSERT_TRUE(Served([&] {  // from the moment on that the answer has come
      fServer->Click(1);
      return !fClicks->fAll.empty();
    }));
    fCenter.reset();
    fClicks->fAll.clear();
    fServer.reset();
  }
}

TEST_F(FreedesktopNotificationCenterTest, MakesAStrangersBytesPresentable) {
  StartServer();
  Deliver("unit", std::string("a\0b\xff", 4) + std::string(5000, 'x'));
  ASSERT_TRUE(Shown(1));
  const QString summary = fServer->fNotices[0].summary;
  EXPECT_TRUE(
      summary.startsWith(QString::fromUtf8("a\xef\xbf\xbd"
                                           "b\xef\xbf\xbdxxx")));
  EXPECT_EQ(summary.size(), 1000);
  Settle();
  fServer->Click(1);
  ASSERT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
  EXPECT_EQ(QString::fromStdString(fClicks->fAll[0].title), summary);  // nor is more of it held
}

TEST_F(FreedesktopNotificationCenterTest, ReportsAClickWithUserInfoAndToken) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->Emit("ActivationToken", 1, QString("token-1"));
  fServer->Click(1);
  ASSERT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
  EXPECT_EQ(fClicks->fAll[0].userInfo.at("URL"), "http://unit/");
  EXPECT_EQ(fClicks->fAll[0].activationToken, "token-1");
  EXPECT_NE(fClicks->fAll[0].identifier, 0U);
  fCenter->RemoveDeliveredNotification(fClicks->fAll[0]);
  EXPECT_TRUE(Served([&] { return !fServer->fClosed.empty(); }));
  EXPECT_THAT(fServer->fClosed, ElementsAre(1U));
}

TEST_F(FreedesktopNotificationCenterTest, HandsOnATokenOfReasonableLengthAlone) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  for (const int length : {1001, 1000}) {
    fServer->Emit("ActivationToken", 1, QString(length, 'x'));
    fServer->Click(1);
  }
  ASSERT_TRUE(Served([&] { return fClicks->fAll.size() == 2; }));
  EXPECT_EQ(fClicks->fAll[0].activationToken, "");
  EXPECT_EQ(fClicks->fAll[1].activationToken, std::string(1000, 'x'));
}

TEST_F(FreedesktopNotificationCenterTest, IgnoresSignalsAboutOthersNoticesAndOtherActions) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->Click(999);
  fServer->Click(0);
  fServer->Click(1, "settings");
  fServer->Emit("ActivationToken", 999, QString("x"));
  fServer->Close(999);
  fServer->Emit("ActionInvoked", 1, QVariant::fromValue<uint>(5));  // of the wrong type
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  fServer->Click(1);
  ASSERT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
  EXPECT_EQ(fClicks->fAll[0].activationToken, "");
}

TEST_F(FreedesktopNotificationCenterTest, IgnoresSignalsFromAnybodyButTheServer) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  auto forged = QDBusMessage::createSignal("/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                                           "ActionInvoked");
  forged.setArguments({QVariant::fromValue<uint>(1), QString("default")});
  {
    auto stranger = QDBusConnection::connectToBus(QString::fromStdString(fBus.Address()), "stranger");
    EXPECT_TRUE(stranger.send(forged));
    // Its call comes back only after the bus has passed the signal on.
    stranger.call(
        QDBusMessage::createMethodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"));
  }
  QDBusConnection::disconnectFromBus("stranger");
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_F(FreedesktopNotificationCenterTest, ForgetsANoticeThatWasClosed) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->Close(1);
  fServer->Click(1);
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_F(FreedesktopNotificationCenterTest, DeliversTheNewestNoticeOfEachUnitToAServerThatStartsLater) {
  Deliver("a", "old");
  Deliver("b", "other");
  Deliver("a", "new");
  StartServer();
  ASSERT_TRUE(Shown(2));
  Settle();
  ASSERT_EQ(fServer->fNotices.size(), 2U);
  EXPECT_EQ(fServer->fNotices[0].summary, "other");
  EXPECT_EQ(fServer->fNotices[1].summary, "new");
}

TEST_F(FreedesktopNotificationCenterTest, UsesAServerThatStartsWhileItsAbsenceIsBeingReported) {
  for (int round = 0; round < 20; ++round) {
    Deliver("unit " + std::to_string(round), "title");
    for (int i = 0; i < round; ++i) QCoreApplication::processEvents();
    StartServer();
    ASSERT_TRUE(Shown(1)) << round;
    fServer.reset();
  }
}

TEST_F(FreedesktopNotificationCenterTest, DeliversAgainWhatAServerTookWithIt) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fServer.reset();
  for (int i = 0; i < 100; ++i) QCoreApplication::processEvents();
  StartServer();
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fNotices[0].summary, "title");
  Settle();
  EXPECT_EQ(fServer->fNotices.size(), 1U);
}

TEST_F(FreedesktopNotificationCenterTest, DeliversAgainAlsoWhereTheNextServerComesAtOnce) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fServer.reset();
  StartServer();
  ASSERT_TRUE(Shown(1));
  Settle();
  EXPECT_EQ(fServer->fNotices.size(), 1U);
}

TEST_F(FreedesktopNotificationCenterTest, ForgetsWhatStoodOnAServerThatEnded) {
  StartServer();
  Deliver("a", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer.reset();
  StartServer();
  fServer->fNextId = 500;
  Settle();
  fServer->Click(1);  // somebody else's on this server
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  EXPECT_THAT(fServer->fNotices, IsEmpty());  // and nothing is announced twice
}

TEST_F(FreedesktopNotificationCenterTest, AsksEachServerForItsCapabilitiesAnew) {
  StartServer({"body", "body-markup"});
  Deliver("a", "x", "1 < 2");
  ASSERT_TRUE(Shown(1));
  fServer.reset();
  StartServer({"body"});
  int count = 0;
  EXPECT_TRUE(Served([&] {  // from the moment on that the bus has told of the change
    Deliver("b" + std::to_string(++count), "x", "1 < 2");
    return !fServer->fNotices.empty() && fServer->fNotices.back().body == "1 < 2";
  }));
}

TEST_F(FreedesktopNotificationCenterTest, TriesARefusedNoticeAgainAndGivesUpInTheEnd) {
  MakeCenter(20ms);
  StartServer();
  fServer->fMood = Mood::kRefuses;
  CaptureStderr();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(4));
  fServer->fMood = Mood::kAnswers;
  Settle();
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("given up"));
  EXPECT_EQ(fServer->fNotices.size(), 4U);
}

TEST_F(FreedesktopNotificationCenterTest, WaitsForAnAnswerAndMeanwhileServesOthers) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "first");
  ASSERT_TRUE(Shown(1));
  Deliver("unit", "second");
  fServer->fMood = Mood::kAnswers;
  now += 1h;
  Settle();
  EXPECT_EQ(fServer->fNotices.size(), 1U);
  fServer->AnswerHeld();
  ASSERT_TRUE(Served([&] {
    fServer->Click(1);
    return !fClicks->fAll.empty();
  }));
  EXPECT_EQ(fClicks->fAll[0].title, "first");
  now += 60s;
  Settle();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[1].summary, "second");
  EXPECT_EQ(fServer->fNotices[1].replacesId, 1U);
}

TEST_F(FreedesktopNotificationCenterTest, SendsAServerThatHangsAFewNoticesAlone) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  for (int i = 0; i < 20; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  ASSERT_TRUE(Shown(8));
  fServer->AnswerHeld(1);
  ASSERT_TRUE(Shown(9));
  EXPECT_EQ(fServer->fNotices.size(), 9U);
  fServer.reset();
  StartServer();
  ASSERT_TRUE(Shown(19));  // all but the one that was answered
  Settle();
  EXPECT_EQ(fServer->fNotices.size(), 19U);
}

TEST_F(FreedesktopNotificationCenterTest, WaitsForAServerThatIsSlowToTellItsCapabilities) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  StartServer();
  MakeCenter(60s);  // which is told of no change of servers while it asks
  fServer->fHoldsQuestions = true;
  Deliver("a", "first");
  ASSERT_TRUE(Served([&] { return fServer->fQuestions == 1; }));
  now += 1h;
  Deliver("b", "second");
  fServer->AnswerHeld();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fQuestions, 1);
}

TEST_F(FreedesktopNotificationCenterTest, AsksTheNextServerWhereOneEndsOverTheQuestion) {
  StartServer();
  fServer->fHoldsQuestions = true;
  Deliver("unit", "title");
  ASSERT_TRUE(Served([&] { return fServer->fQuestions == 1; }));
  fServer.reset();
  StartServer();
  EXPECT_TRUE(Shown(1));
}

TEST_F(FreedesktopNotificationCenterTest, GivesUpWhereAServerSaysThatThereIsNone) {
  MakeCenter(20ms);
  StartServer();
  fServer->fMood = Mood::kRefuses;
  fServer->fRefusal = "org.freedesktop.DBus.Error.ServiceUnknown";  // as one that only passes notices on
  CaptureStderr();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(4));
  fServer->fMood = Mood::kAnswers;
  Settle();
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("given up"));
  EXPECT_EQ(fServer->fNotices.size(), 4U);
}

TEST_F(FreedesktopNotificationCenterTest, HoldsOneNoticeAUnitAndReplacesIt) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  StartServer();
  Deliver("unit", "first");
  ASSERT_TRUE(Shown(1));
  Settle();
  Deliver("unit", "second");
  Deliver("unit", "third");
  Settle();
  EXPECT_EQ(fServer->fNotices.size(), 1U);
  now += 60s;
  Settle();  // any event finds what is due by now
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[1].summary, "third");
  EXPECT_EQ(fServer->fNotices[1].replacesId, fServer->fNotices[0].id);
}

TEST_F(FreedesktopNotificationCenterTest, BringsUpByItselfWhatWaitedForTheQuietTime) {
  MakeCenter(100ms);
  StartServer();
  Deliver("unit", "first");
  ASSERT_TRUE(Shown(1));
  Deliver("unit", "second");
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[1].summary, "second");
}

TEST_F(FreedesktopNotificationCenterTest, DeliversManyNoticesEachOnce) {
  StartServer();
  for (int i = 0; i < 300; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  ASSERT_TRUE(Shown(300));
  Settle();
  ASSERT_EQ(fServer->fNotices.size(), 300U);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(fServer->fNotices[static_cast<std::size_t>(i)].summary, QString::number(i));
  }
}

TEST_F(FreedesktopNotificationCenterTest, StartsAServerThatTheBusKnowsHowToStart) {
  const auto mark = fBus.Folder() / "started";
  std::ofstream(fBus.Services() / "org.freedesktop.Notifications.service")
      << "[D-BUS Service]\nName=org.freedesktop.Notifications\nExec=/bin/sh -c \"touch " << mark.string()
      << "; exit 1\"\n";
  auto connection = QDBusConnection::connectToBus(QString::fromStdString(fBus.Address()), "reload");
  connection.call(
      QDBusMessage::createMethodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "ReloadConfig"));
  QDBusConnection::disconnectFromBus("reload");
  Deliver("unit", "title");
  EXPECT_TRUE(Served([&] { return std::filesystem::exists(mark); }));
  for (int i = 0; i < 100; ++i) QCoreApplication::processEvents();
  StartServer();  // that one failed: the next is as good
  EXPECT_TRUE(Shown(1));
}

TEST_F(FreedesktopNotificationCenterTest, LivesWithoutABusAndSaysSoOnce) {
  CaptureStderr();
  FreedesktopNotificationCenter center({"a", "b", "c"}, {"unix:path=/nowhere/at/all", 60s, fNow});
  center.DeliverNotification({});
  center.DeliverNotification({});
  center.RemoveDeliveredNotification({});
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("no session bus"));
  EXPECT_EQ(console.find("no session bus"), console.rfind("no session bus"));
}

TEST_F(FreedesktopNotificationCenterTest, LivesOnWhenTheBusEnds) {
  StartServer();
  Deliver("a", "standing");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->Click(1);
  ASSERT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
  fServer->fMood = Mood::kSilent;
  Deliver("b", "in flight");
  ASSERT_TRUE(Shown(2));
  fBus.Kill();
  EXPECT_TRUE(Served([&] {
    CaptureStderr();
    Deliver("c", "title");
    return GetCapturedStderr().find("no session bus") != std::string::npos;
  }));
  fCenter->RemoveDeliveredNotification(fClicks->fAll[0]);
  Deliver("d", "title");
}

TEST_F(FreedesktopNotificationCenterTest, EndsCleanlyWithCallsInFlight) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fCenter.reset();
  fServer->fMood = Mood::kAnswers;
  fServer->AnswerHeld();
  fServer->Click(1);
  fServer->fNextId = 500;
  MakeCenter(60s);
  Settle();  // what comes behind the answer and the click has arrived
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_F(FreedesktopNotificationCenterTest, CarriesAnAnnouncementFromListToBrowser) {
  StartServer();
  testing::FakeUserDefaults defaults;
  testing::FakeUrlOpener opener;
  Notification::Logic logic(defaults, *fCenter, opener);
  logic.MaybeNotify({Notification::testing::MakeDevice({1, 0, 0, 5}, {1, 4, 2, 311})});
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fNotices[0].summary, "Update Available for Studio A");
  EXPECT_EQ(fServer->fNotices[0].body, "1.4.2");
  const auto clicked = [&] {
    fServer->Emit("ActivationToken", 1, QString("token"));
    fServer->Click(1);
    return !opener.fUrls.empty();
  };
  ASSERT_TRUE(Served(clicked));
  EXPECT_THAT(opener.fUrls, ElementsAre("http://studio-a.local:80/#device"));
  EXPECT_THAT(opener.fTokens, ElementsAre("token"));
  ASSERT_TRUE(Served([&] { return !fServer->fClosed.empty(); }));
  EXPECT_THAT(fServer->fClosed, ElementsAre(1U));
}

}  // namespace
}  // namespace vorn

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

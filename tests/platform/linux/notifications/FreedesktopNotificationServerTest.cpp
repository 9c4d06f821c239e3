#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <optional>

#include "foundation/RunLoop.h"
#include "notification/Center.h"
#include "notification/Logic.h"
#include "platform/linux/notifications/FreedesktopNotificationServer.h"
#include "tests/notification/Devices.h"
#include "tests/platform/FakeUrlOpener.h"
#include "tests/platform/FakeUserDefaults.h"
#include "tests/platform/linux/notifications/ScriptedNotificationServer.h"
#include "tests/platform/linux/notifications/SenderlessBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/PrivateBus.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;
using Notification::Center;
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

std::unique_ptr<NotificationServer> MakeServerWithoutBus() {
  return std::make_unique<FreedesktopNotificationServer>(
      FreedesktopNotificationServer::Presentation{"a", "b", "c"}, "unix:path=/nowhere/at/all");
}

/// Whether answers on the bus name their sender.
enum class Senders { kNamed, kUnnamed };

class FreedesktopNotificationServerTest : public ::testing::TestWithParam<Senders> {
 protected:
  void SetUp() override {
    ASSERT_FALSE(fBus.Address().empty());
    if (GetParam() == Senders::kUnnamed) {
      fSenderlessBus.emplace(fBus.Folder() / "socket", fBus.Folder() / "senderless");
    }
    MakeCenter();
  }

  [[nodiscard]] std::string CentersBus() const {
    return fSenderlessBus ? fSenderlessBus->Address() : fBus.Address();
  }

  void MakeCenter() {
    const FreedesktopNotificationServer::Presentation presentation{"Vorn Device Finder",
                                                                   "example.vorn.DeviceFinder", "vorn-icon"};
    fCenter = std::make_unique<Center>(
        std::make_unique<FreedesktopNotificationServer>(presentation, CentersBus()),
        Center::Options{&fState, {60s, 0s}, 0s, fAllowancePeriod}, [this] { return fNow(); });
    fCenter->SetDelegate(fClicks);
  }

  void StartServer(const QStringList& capabilities = {"body"}) {
    fServer = std::make_unique<ScriptedNotificationServer>(fBus.Address(), capabilities);
    ASSERT_TRUE(fServer->fIsThere);
  }

  void Deliver(const std::string& subject, const std::string& title, const std::string& text = "1.4.2") {
    UserNotification notification;
    notification.title = title;
    notification.informativeText = text;
    notification.subject = subject;
    notification.userInfo["URL"] = "http://" + subject + "/";
    notification.playsDefaultSound = true;
    EXPECT_TRUE(fCenter->DeliverNotification(notification));
  }

  template <typename Condition>
  [[nodiscard]] static bool Served(Condition condition) {
    return testing::Eventually([&] {
      QCoreApplication::processEvents();
      PollRunLoop::Current()->RunOnce(0ms);  // the centre's timers
      return condition();
    });
  }
  [[nodiscard]] bool Shown(std::size_t count) const {
    return Served([&] { return fServer->fShown.size() >= count; });
  }

  /// The program ends and starts again.
  void Restart() {
    fCenter.reset();
    MakeCenter();
  }

  [[nodiscard]] QStringList Summaries() const {
    QStringList summaries;
    for (const auto& notification : fServer->fShown) summaries.push_back(notification.summary);
    return summaries;
  }

  /// Until the last notification was answered.
  void AwaitAnswers() {
    const auto clicks = fClicks->fAll.size();
    fServer->Click(fServer->fShown.back().id);  // goes out behind the answer
    ASSERT_TRUE(Served([&] { return fClicks->fAll.size() > clicks; }));
    fClicks->fAll.pop_back();
  }

  /// Until everything until now was answered: the answer to one more notification, of a separate subject,
  /// comes after it.
  void Settle() {
    const auto count = fServer->fShown.size();
    Deliver("settle " + std::to_string(++fSettled), "settle");
    ASSERT_TRUE(
        Served([&] { return fServer->fShown.size() > count && fServer->fShown.back().summary == "settle"; }));
    fServer->Click(fServer->fShown.back().id);  // goes out behind the answer
    const auto clicks = fClicks->fAll.size();
    ASSERT_TRUE(
        Served([&] { return fClicks->fAll.size() > clicks && fClicks->fAll.back().title == "settle"; }));
    fServer->fShown.pop_back();
    std::erase_if(fClicks->fAll, [](const auto& click) { return click.title == "settle"; });
  }

  testing::PrivateBus fBus;
  std::optional<testing::SenderlessBus> fSenderlessBus;
  std::function<std::chrono::steady_clock::time_point()> fNow = std::chrono::steady_clock::now;
  std::chrono::milliseconds fAllowancePeriod{0};  ///< no bound in most of these tests
  testing::FakeUserDefaults fState;
  std::shared_ptr<Clicks> fClicks = std::make_shared<Clicks>();
  std::unique_ptr<Center> fCenter;
  std::unique_ptr<ScriptedNotificationServer> fServer;
  int fSettled = 0;
};

TEST_P(FreedesktopNotificationServerTest, SendsEverythingAServerWantsToKnow) {
  StartServer({"body", "body-markup", "sound"});
  Deliver("unit", "Update <b>&</b> \xe2\x99\xaa", "1 < 2 & \"3\"");
  ASSERT_TRUE(Shown(1));
  const auto& notification = fServer->fShown[0];
  EXPECT_EQ(notification.application, "Vorn Device Finder");
  EXPECT_EQ(notification.icon, "vorn-icon");
  EXPECT_EQ(notification.summary, QString::fromUtf8("Update <b>&</b> \xe2\x99\xaa"));  // literal
  EXPECT_EQ(notification.body, "1 &lt; 2 &amp; &quot;3&quot;");
  EXPECT_EQ(notification.actions, (QStringList{"default", "Open"}));
  EXPECT_EQ(notification.timeout, -1);
  EXPECT_EQ(notification.replacesId, 0U);
  EXPECT_EQ(notification.hints.value("desktop-entry"), "example.vorn.DeviceFinder");
  EXPECT_EQ(notification.hints.value("category"), "device");
  EXPECT_EQ(notification.hints.value("urgency").typeId(), QMetaType::UChar);
  EXPECT_EQ(notification.hints.value("urgency").toInt(), 1);
  EXPECT_EQ(notification.hints.value("sound-name"), "message-new-instant");
}

TEST_P(FreedesktopNotificationServerTest, RespectsWhatTheServerCannotDo) {
  StartServer({"body"});
  Deliver("unit", "title", "1 < 2");
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fShown[0].body, "1 < 2");
}

TEST_P(FreedesktopNotificationServerTest, UsesAServerThatDoesNotKnowItsCapabilities) {
  StartServer();
  fServer->fKnowsCapabilities = false;
  Deliver("unit", "title");
  EXPECT_TRUE(Shown(1));
}

TEST_P(FreedesktopNotificationServerTest, FollowsClicksOnAServerThatWasThereBeforeIt) {
  for (const bool knowsCapabilities : {true, false}) {
    StartServer();
    fServer->fKnowsCapabilities = knowsCapabilities;
    MakeCenter();
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

TEST_P(FreedesktopNotificationServerTest, ReportsAClickWithUserInfoAndToken) {
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

TEST_P(FreedesktopNotificationServerTest, IgnoresSignalsAboutOthersNotificationsAndOtherActions) {
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

TEST_P(FreedesktopNotificationServerTest, IgnoresSignalsFromAnybodyButTheServer) {
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
    // Its call returns only after the bus has passed the signal on.
    stranger.call(
        QDBusMessage::createMethodCall("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"));
  }
  QDBusConnection::disconnectFromBus("stranger");
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_P(FreedesktopNotificationServerTest, DeliversTheNewestNotificationOfEachUnitToAServerThatStartsLater) {
  Deliver("a", "old");
  Deliver("b", "other");
  Deliver("a", "new");
  StartServer();
  ASSERT_TRUE(Shown(2));
  Settle();
  ASSERT_EQ(fServer->fShown.size(), 2U);
  EXPECT_EQ(fServer->fShown[0].summary, "other");
  EXPECT_EQ(fServer->fShown[1].summary, "new");
}

TEST_P(FreedesktopNotificationServerTest, UsesAServerThatStartsWhileItsAbsenceIsBeingReported) {
  for (int round = 0; round < 20; ++round) {
    Deliver("unit " + std::to_string(round), "title");
    for (int i = 0; i < round; ++i) QCoreApplication::processEvents();
    StartServer();
    ASSERT_TRUE(Shown(1)) << round;
    fServer.reset();
  }
}

TEST_P(FreedesktopNotificationServerTest, DeliversAgainWhatAServerTookWithIt) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fServer.reset();
  for (int i = 0; i < 100; ++i) QCoreApplication::processEvents();
  StartServer();
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fShown[0].summary, "title");
  Settle();
  EXPECT_EQ(fServer->fShown.size(), 1U);
}

TEST_P(FreedesktopNotificationServerTest, DeliversAgainAlsoWhereTheNextServerComesAtOnce) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fServer.reset();
  StartServer();
  ASSERT_TRUE(Shown(1));
  Settle();
  EXPECT_EQ(fServer->fShown.size(), 1U);
}

TEST_P(FreedesktopNotificationServerTest, ForgetsWhatStoodOnAServerThatEnded) {
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
  EXPECT_THAT(fServer->fShown, IsEmpty());  // and nothing is announced twice
}

TEST_P(FreedesktopNotificationServerTest, AsksEachServerForItsCapabilitiesAnew) {
  StartServer({"body", "body-markup"});
  Deliver("a", "x", "1 < 2");
  ASSERT_TRUE(Shown(1));
  fServer.reset();
  StartServer({"body"});
  int count = 0;
  EXPECT_TRUE(Served([&] {  // from the moment on that the bus has told of the change
    Deliver("b" + std::to_string(++count), "x", "1 < 2");
    return !fServer->fShown.empty() && fServer->fShown.back().body == "1 < 2";
  }));
}

TEST_P(FreedesktopNotificationServerTest, BringsUpWhatAFullServerRefusedAsSoonAsThereIsRoom) {
  StartServer();
  fServer->fLimit = 20;
  constexpr int kUnits = 40;
  for (int i = 1; i <= kUnits; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  ASSERT_TRUE(Served([&] { return fServer->fRefused == 8; }));  // what was under way
  for (std::uint32_t id = 1; id <= 20; ++id) {
    const int stillWaiting = kUnits - 20 - static_cast<int>(id);
    const int refusals = fServer->fRefused + std::min(stillWaiting, 2);
    fServer->Close(id);
    ASSERT_TRUE(Served([&] { return fServer->fStanding.size() == 20 && fServer->fRefused == refusals; }));
    EXPECT_EQ(fServer->fShown.back().summary, QString::number(id + 20));
  }
}

TEST_P(FreedesktopNotificationServerTest, TakesItForARefusalWhereAServerSaysThatThereIsNone) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  StartServer();
  fServer->fMood = Mood::kRefuses;
  fServer->fRefusal =
      "org.freedesktop.DBus.Error.ServiceUnknown";  // as one that only passes notifications on
  CaptureStderr();
  Deliver("unit", "title");
  ASSERT_TRUE(Served([&] { return fServer->fRefused == 1; }));
  fServer->fMood = Mood::kAnswers;
  Settle();
  EXPECT_EQ(fServer->fShown.size(), 1U);  // not over and over
  now += 60s;
  Settle();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fShown[1].summary, "title");
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("accepts no more"));
}

TEST_P(FreedesktopNotificationServerTest, DeliversManyNotificationsEachOnce) {
  StartServer();
  for (int i = 0; i < 300; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  ASSERT_TRUE(Shown(300));
  Settle();
  ASSERT_EQ(fServer->fShown.size(), 300U);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(fServer->fShown[static_cast<std::size_t>(i)].summary, QString::number(i));
  }
}

TEST_P(FreedesktopNotificationServerTest, BringsUpEachHonestNotificationAfterAFloodDuringWhichTheServerHung) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  fAllowancePeriod = 60s;
  MakeCenter();
  StartServer();
  fServer->fMood = Mood::kSilent;
  testing::FakeUserDefaults defaults;
  testing::FakeUrlOpener opener;
  Notification::Logic logic(defaults, *fCenter, opener);
  constexpr int kFlooders = 5;
  CaptureStderr();
  const auto publish = [&](int minute) {
    std::vector<DeviceList::ExtendedDeviceInfo> list;
    for (int unit = 0; unit < 100; ++unit) {
      const auto uid = std::to_string(minute) + " " + std::to_string(unit);
      list.push_back(Notification::testing::MakeDevice({1, 0, 0, 1}, {2, 0, 0, 1}, uid));
      list.back().address = "192.0.2.10" + std::to_string(unit % kFlooders);
    }
    list.push_back(Notification::testing::MakeDevice({1, 0, 0, 1}, {3, 0, 0, 1}, "early"));
    if (minute > 45) list.push_back(Notification::testing::MakeDevice({1, 0, 0, 1}, {3, 1, 0, 1}, "late"));
    logic.MaybeNotify(list);
    now += 60s;
  };
  for (int minute = 0; minute < 50; ++minute) publish(minute);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("are given up"));
  fServer->fMood = Mood::kAnswers;
  fServer->AnswerHeld();
  const auto isShown = [&](const QString& release) {
    return std::any_of(fServer->fShown.begin(), fServer->fShown.end(),
                       [&](const auto& shown) { return shown.body == release; });
  };
  EXPECT_TRUE(Served([&] { return isShown("3.0.0") && isShown("3.1.0"); }));
}

TEST_P(FreedesktopNotificationServerTest, StartsAServerThatTheBusKnowsHowToStart) {
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

TEST_P(FreedesktopNotificationServerTest, LivesWithoutABusAndSaysSoOnce) {
  CaptureStderr();
  Center center(MakeServerWithoutBus(), {.state = &fState});
  EXPECT_TRUE(center.DeliverNotification({}));
  EXPECT_TRUE(center.DeliverNotification({}));
  center.RemoveDeliveredNotification({});
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("no session bus"));
  EXPECT_EQ(console.find("no session bus"), console.rfind("no session bus"));
}

// --- across a restart of the program ---------------------------------------

TEST_P(FreedesktopNotificationServerTest, SendsWhatFoundNoServerInAnEarlierRun) {
  Deliver("a", "first");
  Deliver("b", "second");
  Restart();
  StartServer();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fShown[0].summary, "first");
  EXPECT_EQ(fServer->fShown[1].summary, "second");
  AwaitAnswers();
  fServer->fProgram = "dunst";
  Restart();  // where they keep their place
  ASSERT_TRUE(Shown(4));
  EXPECT_EQ(fServer->fShown[2].replacesId, 1U);
  EXPECT_EQ(fServer->fShown[3].replacesId, 2U);
}

TEST_P(FreedesktopNotificationServerTest, SendsWhatAnEarlierRunMetNoBusFor) {
  {
    CaptureStderr();
    Center busless(MakeServerWithoutBus(), {.state = &fState});
    UserNotification notification;
    notification.title = "title";
    EXPECT_TRUE(busless.DeliverNotification(notification));
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("no session bus"));
  }
  StartServer();
  MakeCenter();
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fShown[0].summary, "title");
}

TEST_P(FreedesktopNotificationServerTest, KeepsTheClickOfANotificationThatOutlivedItsProgram) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->fProgram = "gnome-shell";
  Restart();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fShown[1].replacesId, 1U);
  fServer->Emit("ActivationToken", 1, QString("token-1"));
  fServer->Click(1);
  ASSERT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
  EXPECT_EQ(fClicks->fAll[0].userInfo.at("URL"), "http://unit/");
  EXPECT_EQ(fClicks->fAll[0].activationToken, "token-1");
  fCenter->RemoveDeliveredNotification(fClicks->fAll[0]);
  ASSERT_TRUE(Served([&] { return !fServer->fClosed.empty(); }));
  EXPECT_THAT(fServer->fClosed, ElementsAre(1U));
}

TEST_P(FreedesktopNotificationServerTest, BringsUpAgainWhatWasClickedWhileNoProgramRan) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fCenter.reset();
  fServer->Click(1);
  fServer->Close(1);
  fServer->fShown.clear();
  fServer->fProgram = "dunst";
  MakeCenter();
  ASSERT_TRUE(Served([&] { return Summaries().contains("title"); }));
  const auto again = std::find_if(fServer->fShown.begin(), fServer->fShown.end(),
                                  [](const auto& notification) { return notification.summary == "title"; });
  EXPECT_FALSE(again->hints.contains("sound-name"));
  ASSERT_TRUE(Served([&] {
    fServer->Click(again->id);
    return !fClicks->fAll.empty();
  }));
}

TEST_P(FreedesktopNotificationServerTest, FollowsClicksAfterARestartWithoutShowingAnythingAgain) {
  for (const char* program : {"scripted", ""}) {
    StartServer();
    fServer->fProgram = program;
    MakeCenter();
    Deliver("unit", "title");
    ASSERT_TRUE(Shown(1));
    Settle();
    fCenter.reset();
    fServer->fShown.clear();
    MakeCenter();
    ASSERT_TRUE(Served([&] { return fServer->fQuestions == 2; }));
    Deliver("other", "later");
    ASSERT_TRUE(Shown(1));
    EXPECT_EQ(fServer->fShown[0].summary, "later");
    fServer->Click(1);
    EXPECT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
    fCenter.reset();
    fClicks->fAll.clear();
    fServer.reset();
  }
}

TEST_P(FreedesktopNotificationServerTest, ForgetsWhatStoodOnAServerThatEndedMeanwhile) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fCenter.reset();
  fServer.reset();
  StartServer();
  fServer->fNextId = 500;
  MakeCenter();
  Settle();
  fServer->Click(1);
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  EXPECT_THAT(fServer->fShown, IsEmpty());
}

TEST_P(FreedesktopNotificationServerTest, LivesOnWhenTheBusEnds) {
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

TEST_P(FreedesktopNotificationServerTest, EndsCleanlyWithCallsInFlight) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fCenter.reset();
  fServer->fMood = Mood::kAnswers;
  fServer->AnswerHeld();
  fServer->Click(1);
  fServer->fNextId = 500;
  MakeCenter();
  Settle();  // what comes behind the answer and the click has arrived
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_P(FreedesktopNotificationServerTest, CarriesAnAnnouncementFromListToBrowser) {
  StartServer();
  testing::FakeUserDefaults defaults;
  testing::FakeUrlOpener opener;
  Notification::Logic logic(defaults, *fCenter, opener);
  logic.MaybeNotify({Notification::testing::MakeDevice({1, 0, 0, 5}, {1, 4, 2, 311})});
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fShown[0].summary, "Update Available for Studio A");
  EXPECT_EQ(fServer->fShown[0].body, "1.4.2");
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

INSTANTIATE_TEST_SUITE_P(OnBuses, FreedesktopNotificationServerTest,
                         ::testing::Values(Senders::kNamed, Senders::kUnnamed), [](const auto& bus) {
                           return bus.param == Senders::kNamed ? "ThatNameSenders" : "ThatNameNoSenders";
                         });

}  // namespace
}  // namespace vorn

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <optional>

#include "notification/Logic.h"
#include "platform/linux/notices/FreedesktopNotificationCenter.h"
#include "tests/notification/Devices.h"
#include "tests/platform/FakeUrlOpener.h"
#include "tests/platform/FakeUserDefaults.h"
#include "tests/platform/linux/notices/ScriptedNotificationServer.h"
#include "tests/platform/linux/notices/SenderlessBus.h"
#include "tests/support/Eventually.h"
#include "tests/support/PrivateBus.h"

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

/// Whether answers that come over the bus name their sender.
enum class Senders { kNamed, kUnnamed };

class FreedesktopNotificationCenterTest : public ::testing::TestWithParam<Senders> {
 protected:
  void SetUp() override {
    ASSERT_FALSE(fBus.Address().empty());
    if (GetParam() == Senders::kUnnamed) {
      fSenderlessBus.emplace(fBus.Folder() / "socket", fBus.Folder() / "senderless");
    }
    MakeCenter(60s);
  }

  [[nodiscard]] std::string CentersBus() const {
    return fSenderlessBus ? fSenderlessBus->Address() : fBus.Address();
  }

  void MakeCenter(std::chrono::milliseconds quietTime) {
    fCenter = std::make_unique<FreedesktopNotificationCenter>(
        FreedesktopNotificationCenter::Identity{"Vorn Device Finder", "example.vorn.DeviceFinder",
                                                "vorn-icon"},
        FreedesktopNotificationCenter::Options{
            CentersBus(), &fState, {quietTime, fPace}, fSettleTime, [this] { return fNow(); }});
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

  /// The program ends and starts again.
  void Restart() {
    fCenter.reset();
    MakeCenter(60s);
  }

  [[nodiscard]] QStringList Summaries() const {
    QStringList summaries;
    for (const auto& notice : fServer->fNotices) summaries.push_back(notice.summary);
    return summaries;
  }

  /// Until the last notice shown has been answered.
  void AwaitAnswers() {
    const auto clicks = fClicks->fAll.size();
    fServer->Click(fServer->fNotices.back().id);  // goes out behind the answer
    ASSERT_TRUE(Served([&] { return fClicks->fAll.size() > clicks; }));
    fClicks->fAll.pop_back();
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
  std::optional<testing::SenderlessBus> fSenderlessBus;
  std::function<std::chrono::steady_clock::time_point()> fNow = std::chrono::steady_clock::now;
  testing::FakeUserDefaults fState;
  std::shared_ptr<Clicks> fClicks = std::make_shared<Clicks>();
  std::unique_ptr<FreedesktopNotificationCenter> fCenter;
  std::unique_ptr<ScriptedNotificationServer> fServer;
  std::chrono::milliseconds fPace{0};  ///< no figure of it in most of these tests
  std::chrono::milliseconds fSettleTime{0};
  int fSettled = 0;
};

TEST_P(FreedesktopNotificationCenterTest, SendsEverythingAServerWantsToKnow) {
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

TEST_P(FreedesktopNotificationCenterTest, RespectsWhatTheServerCannotDo) {
  StartServer({"body"});
  Deliver("unit", "title", "1 < 2");
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fNotices[0].body, "1 < 2");
  EXPECT_FALSE(fServer->fNotices[0].hints.contains("sound-name"));
}

TEST_P(FreedesktopNotificationCenterTest, UsesAServerThatDoesNotKnowItsCapabilities) {
  StartServer();
  fServer->fKnowsCapabilities = false;
  Deliver("unit", "title");
  EXPECT_TRUE(Shown(1));
}

TEST_P(FreedesktopNotificationCenterTest, FollowsClicksOnAServerThatWasThereBeforeIt) {
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

TEST_P(FreedesktopNotificationCenterTest, MakesAStrangersBytesPresentable) {
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

TEST_P(FreedesktopNotificationCenterTest, ReportsAClickWithUserInfoAndToken) {
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

TEST_P(FreedesktopNotificationCenterTest, HandsOnATokenOfReasonableLengthAlone) {
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

TEST_P(FreedesktopNotificationCenterTest, IgnoresSignalsAboutOthersNoticesAndOtherActions) {
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

TEST_P(FreedesktopNotificationCenterTest, IgnoresSignalsFromAnybodyButTheServer) {
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

TEST_P(FreedesktopNotificationCenterTest, ForgetsANoticeThatWasClosed) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->Close(1);
  fServer->Click(1);
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_P(FreedesktopNotificationCenterTest, DeliversTheNewestNoticeOfEachUnitToAServerThatStartsLater) {
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

TEST_P(FreedesktopNotificationCenterTest, UsesAServerThatStartsWhileItsAbsenceIsBeingReported) {
  for (int round = 0; round < 20; ++round) {
    Deliver("unit " + std::to_string(round), "title");
    for (int i = 0; i < round; ++i) QCoreApplication::processEvents();
    StartServer();
    ASSERT_TRUE(Shown(1)) << round;
    fServer.reset();
  }
}

TEST_P(FreedesktopNotificationCenterTest, DeliversAgainWhatAServerTookWithIt) {
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

TEST_P(FreedesktopNotificationCenterTest, DeliversAgainAlsoWhereTheNextServerComesAtOnce) {
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

TEST_P(FreedesktopNotificationCenterTest, ForgetsWhatStoodOnAServerThatEnded) {
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

TEST_P(FreedesktopNotificationCenterTest, AsksEachServerForItsCapabilitiesAnew) {
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

TEST_P(FreedesktopNotificationCenterTest, TriesARefusedNoticeAgainHoweverOftenItIsRefused) {
  MakeCenter(20ms);
  StartServer();
  fServer->fMood = Mood::kRefuses;
  CaptureStderr();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(10));
  fServer->fMood = Mood::kAnswers;
  fServer->fNotices.clear();
  ASSERT_TRUE(Shown(1));
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("takes no more notices"));
  EXPECT_EQ(console.find("takes no more"), console.rfind("takes no more"));
}

TEST_P(FreedesktopNotificationCenterTest, BringsUpWhatAFullServerRefusedAsSoonAsThereIsRoom) {
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
    EXPECT_EQ(fServer->fNotices.back().summary, QString::number(id + 20));
  }
}

TEST_P(FreedesktopNotificationCenterTest, TakesItForARefusalWhereAServerSaysThatThereIsNone) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  StartServer();
  fServer->fMood = Mood::kRefuses;
  fServer->fRefusal = "org.freedesktop.DBus.Error.ServiceUnknown";  // as one that only passes notices on
  CaptureStderr();
  Deliver("unit", "title");
  ASSERT_TRUE(Served([&] { return fServer->fRefused == 1; }));
  fServer->fMood = Mood::kAnswers;
  Settle();
  EXPECT_EQ(fServer->fNotices.size(), 1U);  // not over and over
  now += 60s;
  Settle();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[1].summary, "title");
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("takes no more"));
}

TEST_P(FreedesktopNotificationCenterTest, HoldsOneNoticeAUnitAndReplacesIt) {
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

TEST_P(FreedesktopNotificationCenterTest, BringsUpByItselfWhatWaitedForTheQuietTime) {
  MakeCenter(100ms);
  StartServer();
  Deliver("unit", "first");
  ASSERT_TRUE(Shown(1));
  Deliver("unit", "second");
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[1].summary, "second");
}

TEST_P(FreedesktopNotificationCenterTest, DeliversManyNoticesEachOnce) {
  StartServer();
  for (int i = 0; i < 300; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  ASSERT_TRUE(Shown(300));
  Settle();
  ASSERT_EQ(fServer->fNotices.size(), 300U);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(fServer->fNotices[static_cast<std::size_t>(i)].summary, QString::number(i));
  }
}

TEST_P(FreedesktopNotificationCenterTest, StartsAServerThatTheBusKnowsHowToStart) {
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

TEST_P(FreedesktopNotificationCenterTest, LivesWithoutABusAndSaysSoOnce) {
  CaptureStderr();
  FreedesktopNotificationCenter center({"a", "b", "c"},
                                       {.busAddress = "unix:path=/nowhere/at/all", .state = &fState});
  center.DeliverNotification({});
  center.DeliverNotification({});
  center.RemoveDeliveredNotification({});
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("no session bus"));
  EXPECT_EQ(console.find("no session bus"), console.rfind("no session bus"));
}

// --- across a restart of the program ---------------------------------------

TEST_P(FreedesktopNotificationCenterTest, SendsWhatFoundNoServerInAnEarlierRun) {
  Deliver("a", "first");
  Deliver("b", "second");
  Restart();
  StartServer();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[0].summary, "first");
  EXPECT_EQ(fServer->fNotices[1].summary, "second");
  AwaitAnswers();
  Restart();  // where they keep their place
  ASSERT_TRUE(Shown(4));
  EXPECT_EQ(fServer->fNotices[2].replacesId, 1U);
  EXPECT_EQ(fServer->fNotices[3].replacesId, 2U);
}

TEST_P(FreedesktopNotificationCenterTest, SendsWhatAnEarlierRunMetNoBusFor) {
  {
    CaptureStderr();
    FreedesktopNotificationCenter busless({"a", "b", "c"},
                                          {.busAddress = "unix:path=/nowhere/at/all", .state = &fState});
    UserNotification notice;
    notice.title = "title";
    busless.DeliverNotification(notice);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("no session bus"));
  }
  StartServer();
  MakeCenter(60s);
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fNotices[0].summary, "title");
}

TEST_P(FreedesktopNotificationCenterTest, SendsWhatWasInFlightWhenAnEarlierRunEnded) {
  StartServer();
  fServer->fMood = Mood::kSilent;
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  fServer->fMood = Mood::kAnswers;
  Restart();
  EXPECT_TRUE(Shown(2));
}

TEST_P(FreedesktopNotificationCenterTest, KeepsTheClickOfANoticeThatOutlivedItsProgram) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  Restart();
  ASSERT_TRUE(Shown(2));
  EXPECT_EQ(fServer->fNotices[1].replacesId, 1U);
  fServer->Emit("ActivationToken", 1, QString("token-1"));
  fServer->Click(1);
  ASSERT_TRUE(Served([&] { return !fClicks->fAll.empty(); }));
  EXPECT_EQ(fClicks->fAll[0].userInfo.at("URL"), "http://unit/");
  EXPECT_EQ(fClicks->fAll[0].activationToken, "token-1");
  fCenter->RemoveDeliveredNotification(fClicks->fAll[0]);
  ASSERT_TRUE(Served([&] { return !fServer->fClosed.empty(); }));
  EXPECT_THAT(fServer->fClosed, ElementsAre(1U));
}

TEST_P(FreedesktopNotificationCenterTest, BringsUpAgainWhatWasClickedWhileNoProgramRan) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fCenter.reset();
  fServer->Click(1);
  fServer->Close(1);
  fServer->fNotices.clear();
  MakeCenter(60s);
  ASSERT_TRUE(Served([&] { return Summaries().contains("title"); }));
  const auto again = std::find_if(fServer->fNotices.begin(), fServer->fNotices.end(),
                                  [](const auto& notice) { return notice.summary == "title"; });
  EXPECT_FALSE(again->hints.contains("sound-name"));
  ASSERT_TRUE(Served([&] {
    fServer->Click(again->id);
    return !fClicks->fAll.empty();
  }));
}

TEST_P(FreedesktopNotificationCenterTest, ForgetsWhatStoodOnAServerThatEndedMeanwhile) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fCenter.reset();
  fServer.reset();
  StartServer();
  fServer->fNextId = 500;
  MakeCenter(60s);
  Settle();
  fServer->Click(1);
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  EXPECT_THAT(fServer->fNotices, IsEmpty());
}

TEST_P(FreedesktopNotificationCenterTest, ForgetsTheIdsOfAnotherBus) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fCenter.reset();
  ASSERT_TRUE(fState.GetString("bus"));
  fState.SetString("bus", "0123456789abcdef0123456789abcdef");
  MakeCenter(60s);
  fServer->Click(1);
  Settle();
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  EXPECT_EQ(fServer->fNotices.size(), 1U);
}

TEST_P(FreedesktopNotificationCenterTest, SaysNothingMoreOfWhatWasClosedBeforeTheEnd) {
  StartServer();
  Deliver("unit", "title");
  ASSERT_TRUE(Shown(1));
  Settle();
  fServer->Close(1);
  Settle();
  fServer->fNotices.clear();
  Restart();
  Settle();
  EXPECT_FALSE(Summaries().contains("title"));
}

TEST_P(FreedesktopNotificationCenterTest, WaitsForTheListBeforeItSendsWhatAnEarlierRunKept) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  fSettleTime = 5s;
  Deliver("a", "updated meanwhile");
  Deliver("b", "still true");
  Restart();
  StartServer();
  Settle();
  EXPECT_THAT(fServer->fNotices, IsEmpty());
  fCenter->ForgetWaitingNotification("a");
  now += 5s;
  Settle();
  ASSERT_TRUE(Shown(1));
  EXPECT_EQ(fServer->fNotices[0].summary, "still true");
}

TEST_P(FreedesktopNotificationCenterTest, ForgetsAllThatWaitsForThisRunAndTheNext) {
  Deliver("a", "first");
  Deliver("b", "second");
  fCenter->ForgetWaitingNotifications();
  Restart();
  StartServer();
  Settle();
  EXPECT_THAT(fServer->fNotices, IsEmpty());
}

TEST_P(FreedesktopNotificationCenterTest, KeepsBeforeItAnswersThatItHasKept) {
  Deliver("a", "first");
  EXPECT_TRUE(fCenter->Synchronize());
  EXPECT_EQ(fState.GetStringArray("notices")->size(), 6U);
}

TEST_P(FreedesktopNotificationCenterTest, SaysThatSomethingWaitsWhichIsNotSavedUntilItIsShown) {
  fState.fCanSave = false;
  EXPECT_TRUE(fCenter->Synchronize());
  Deliver("a", "first");
  EXPECT_FALSE(fCenter->Synchronize());
  StartServer();
  fServer->fMood = Mood::kSilent;
  ASSERT_TRUE(Shown(1));
  EXPECT_FALSE(fCenter->Synchronize());  // the server may end before it answers
  fServer->fMood = Mood::kAnswers;
  fServer->AnswerHeld();
  EXPECT_TRUE(Served([&] { return fCenter->Synchronize(); }));
}

TEST_P(FreedesktopNotificationCenterTest, ShowsManyNoticesOneAfterAnother) {
  auto now = std::chrono::steady_clock::now();
  fNow = [&now] { return now; };
  fPace = 3s;
  MakeCenter(60s);
  StartServer();
  for (int i = 0; i < 6; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  ASSERT_TRUE(Shown(3));
  AwaitAnswers();
  EXPECT_EQ(fServer->fNotices.size(), 3U);
  now += 3s;
  fServer->Close(12345);  // any event finds what is due by now
  ASSERT_TRUE(Shown(4));
  EXPECT_EQ(fServer->fNotices[3].summary, "3");
}

TEST_P(FreedesktopNotificationCenterTest, LivesOnWhenTheBusEnds) {
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

TEST_P(FreedesktopNotificationCenterTest, EndsCleanlyWithCallsInFlight) {
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

TEST_P(FreedesktopNotificationCenterTest, CarriesAnAnnouncementFromListToBrowser) {
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

INSTANTIATE_TEST_SUITE_P(OnBuses, FreedesktopNotificationCenterTest,
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

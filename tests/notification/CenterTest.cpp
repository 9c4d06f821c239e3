#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Center.h"
#include "tests/platform/FakeNotificationServer.h"
#include "tests/platform/FakeUserDefaults.h"
#include "tests/support/TurnLoop.h"

namespace Notification {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using vorn::testing::FakeNotificationServer;
using vorn::testing::TurnLoopUntil;
using Answer = vorn::NotificationServer::Answer;
using Identity = vorn::NotificationServer::Identity;

constexpr std::uint32_t kAnothers = 999999;  // the id of another program's notification

vorn::UserNotification Titled(const std::string& title) {
  vorn::UserNotification notification;
  notification.title = title;
  return notification;
}

class Clicks final : public vorn::NotificationCenter::Delegate {
 public:
  void DidActivateNotification(const vorn::UserNotification& notification) override {
    fAll.push_back(notification);
  }
  std::vector<vorn::UserNotification> fAll;
};

class CenterTest : public ::testing::Test {
 protected:
  CenterTest() { MakeCenter(); }

  void MakeCenter() {
    auto server = std::make_unique<FakeNotificationServer>(fIdentity);
    server->fNextId = fServer ? fServer->fNextId : 1;
    fCenter.reset();  // an earlier one's server goes with it
    server->fBindsToSender = fServerBindsToSender;
    fServer = server.get();
    fCenter = std::make_unique<Center>(std::move(server),
                                       Center::Options{&fState, fTiming, fSettleTime, fAllowancePeriod},
                                       [this] { return fNow; });
    fCenter->SetDelegate(fClicks);
  }

  /// The program ends and starts again beside the same server.
  void Restart() { MakeCenter(); }

  void Deliver(const std::string& subject, const std::string& title) {
    auto notification = Titled(title);
    notification.subject = subject;
    notification.userInfo[vorn::kUserInfoUrl] = "http://" + subject + "/";
    notification.playsDefaultSound = true;
    EXPECT_TRUE(fCenter->DeliverNotification(notification));
    fServer->AnswerOpen();
  }

  /// Time passes. What is due by then is sent, and answered.
  void Pass(std::chrono::milliseconds time) {
    fNow += time;
    fServer->fHandlers.onClosed(kAnothers);  // any event finds what is due
    fServer->AnswerOpen();
  }

  void Click(std::uint32_t id) { fServer->fHandlers.onAction(id, "default"); }

  [[nodiscard]] std::vector<std::string> SentTitles() const {
    std::vector<std::string> titles;
    for (const auto& sent : fServer->fSent) titles.push_back(sent.notification.title);
    return titles;
  }

  Identity fIdentity{"bus-1", ":1.7"};
  bool fServerBindsToSender = false;
  Queue::Timing fTiming{60s, 0s};  ///< no figure of the pace in most of these tests
  std::chrono::milliseconds fSettleTime{0};
  std::chrono::milliseconds fAllowancePeriod{0};  ///< no bound in most of these tests
  Center::TimePoint fNow{1h};
  vorn::testing::FakeUserDefaults fState;
  std::shared_ptr<Clicks> fClicks = std::make_shared<Clicks>();
  FakeNotificationServer* fServer = nullptr;  ///< the centre's
  std::unique_ptr<Center> fCenter;
};

// --- what is sent, and when -------------------------------------------------

TEST_F(CenterTest, AsksAServerWhatItCanShowOnceAndOnlyWhenThereIsSomethingToShow) {
  EXPECT_EQ(fServer->fQuestions, 0);
  Deliver("a", "first");
  Deliver("b", "second");
  EXPECT_EQ(fServer->fQuestions, 1);
  EXPECT_THAT(SentTitles(), ElementsAre("first", "second"));
}

TEST_F(CenterTest, SendsNothingBeforeTheServerHasSaidWhatItCanShow) {
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("title")));
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("title")));
  EXPECT_EQ(fServer->fQuestions, 1);
  EXPECT_THAT(fServer->fSent, IsEmpty());
  fServer->AnswerOpen();
  EXPECT_EQ(fServer->fSent.size(), 1U);
}

TEST_F(CenterTest, UsesAServerThatDoesNotKnowTheQuestion) {
  fServer->fQuestionAnswer = Answer::kRefused;
  Deliver("a", "title");
  EXPECT_THAT(SentTitles(), ElementsAre("title"));
}

TEST_F(CenterTest, MakesAStrangersBytesPresentable) {
  Deliver("unit", std::string("a\0b\xff", 4) + std::string(5000, 'x'));
  const std::string replacement = "\xef\xbf\xbd";
  const std::string expected = "a" + replacement + "b" + replacement + std::string(995, 'x') + "\xe2\x80\xa6";
  EXPECT_THAT(SentTitles(), ElementsAre(expected));  // 1,000 characters
  Click(1);
  EXPECT_EQ(fClicks->fAll.at(0).title, expected);  // nor is more of it held
}

TEST_F(CenterTest, LeavesTextsOfTheLongestLengthAlone) {
  std::string longest;
  for (int i = 0; i < 1000; ++i) longest += "\xf0\x9f\x8e\xb5";
  Deliver("unit", longest);
  EXPECT_THAT(SentTitles(), ElementsAre(longest));
}

TEST_F(CenterTest, HoldsOneNotificationAUnitAndReplacesIt) {
  Deliver("unit", "first");
  Deliver("unit", "second");
  Deliver("unit", "third");
  EXPECT_THAT(SentTitles(), ElementsAre("first"));
  Pass(60s);
  EXPECT_THAT(SentTitles(), ElementsAre("first", "third"));
  EXPECT_EQ(fServer->fSent[1].replacesId, fServer->fSent[0].id);
}

TEST_F(CenterTest, BringsUpByItselfWhatWaitedForTheQuietTime) {
  fTiming.quietTime = 20ms;
  MakeCenter();
  Deliver("unit", "first");
  Deliver("unit", "second");
  fNow += 20ms;
  EXPECT_TRUE(TurnLoopUntil([&] { return SentTitles().size() == 2; }));
}

TEST_F(CenterTest, SendsManyEachOnceAndEightAtATime) {
  for (int i = 0; i < 300; ++i) {
    auto notification = Titled(std::to_string(i));
    notification.subject = notification.title;
    EXPECT_TRUE(fCenter->DeliverNotification(notification));
  }
  fServer->AnswerOpen(1);  // the question
  EXPECT_EQ(fServer->fSent.size(), 8U);
  fServer->AnswerOpen(1);
  EXPECT_EQ(fServer->fSent.size(), 9U);
  fServer->AnswerOpen();
  const auto titles = SentTitles();
  ASSERT_EQ(titles.size(), 300U);
  for (std::size_t i = 0; i < titles.size(); ++i) EXPECT_EQ(titles[i], std::to_string(i));
}

TEST_F(CenterTest, ShowsManyOneAfterAnother) {
  fTiming.pace = 3s;
  MakeCenter();
  for (int i = 0; i < 6; ++i) Deliver("unit " + std::to_string(i), std::to_string(i));
  EXPECT_THAT(SentTitles(), ElementsAre("0", "1", "2"));
  Pass(3s);
  EXPECT_THAT(SentTitles(), ElementsAre("0", "1", "2", "3"));
}

// --- servers that fail ------------------------------------------------------

TEST_F(CenterTest, SaysOnceThatThereIsNoBus) {
  fServer->fIsConnected = false;
  CaptureStderr();
  Deliver("a", "first");
  Deliver("b", "second");
  fCenter->RemoveDeliveredNotification({});
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("There is no session bus: notifications wait"));
  EXPECT_EQ(console.find("no session bus"), console.rfind("no session bus"));
  EXPECT_THAT(fServer->fSent, IsEmpty());
}

TEST_F(CenterTest, HasAServerStartedOnceAMinuteWhereNoneCanBe) {
  fServer->Change("");
  Pass(0s);
  EXPECT_EQ(fServer->fStarts, 0);  // there is nothing to show
  Deliver("a", "title");
  Deliver("b", "title");
  EXPECT_EQ(fServer->fStarts, 1);
  fServer->AnswerStart(Answer::kNoServer);
  Pass(59s);
  EXPECT_EQ(fServer->fStarts, 1);
  Pass(1s);
  EXPECT_EQ(fServer->fStarts, 2);
}

TEST_F(CenterTest, DoesNotStartAServerOverAndOverThatCannotLive) {
  fTiming.pace = 3s;
  MakeCenter();
  fServer->Change("");
  Deliver("a", "title");
  EXPECT_EQ(fServer->fStarts, 0);  // one has just ended
  Pass(3s);
  EXPECT_EQ(fServer->fStarts, 1);
  fServer->Change(":1.8");
  fServer->AnswerStart(Answer::kOk);
  fServer->Change("");
  Pass(2s);
  EXPECT_EQ(fServer->fStarts, 1);
  Pass(1s);
  EXPECT_EQ(fServer->fStarts, 2);
}

TEST_F(CenterTest, SendsAgainWhatTheServerTookWithIt) {
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("title")));
  fServer->AnswerOpen(1);
  EXPECT_EQ(fServer->fSent.size(), 1U);
  fServer->Change(":1.8");
  fServer->AnswerOpen();
  EXPECT_EQ(fServer->fQuestions, 2);
  EXPECT_EQ(fServer->fSent.size(), 2U);
}

TEST_F(CenterTest, SendsNothingToAServerThatWasLostUntilTheNextOneIsThere) {
  fServer->fNotifyAnswer = Answer::kLost;
  fServer->fQuestionAnswer = Answer::kOk;
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("title")));
  fServer->AnswerOpen(1);
  fServer->AnswerOpen(1);  // lost
  EXPECT_EQ(fServer->fSent.size(), 1U);
  fServer->fNotifyAnswer = Answer::kOk;
  fServer->Change(":1.8");
  fServer->AnswerOpen();
  EXPECT_EQ(fServer->fSent.size(), 2U);
}

TEST_F(CenterTest, GivesUpANotificationThatEveryServerDiesOf) {
  CaptureStderr();
  Deliver("other", "harmless");
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("deadly")));
  for (std::size_t i = 0; i < Queue::kMaxFailures; ++i) {
    EXPECT_EQ(fServer->fSent.size(), 2 + i);
    fServer->Change(":2." + std::to_string(i));
    fNow += 60s;
    fServer->fHandlers.onClosed(kAnothers);
    fServer->AnswerOpen(1);  // the question
  }
  EXPECT_EQ(fServer->fSent.size(), 1U + Queue::kMaxFailures);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("this one is given up"));
}

TEST_F(CenterTest, TriesARefusedNotificationAgainHoweverOftenItIsRefused) {
  fServer->fNotifyAnswer = Answer::kRefused;
  CaptureStderr();
  Deliver("unit", "title");
  for (int i = 0; i < 10; ++i) Pass(60s);
  EXPECT_EQ(fServer->fSent.size(), 11U);
  fServer->fNotifyAnswer = Answer::kOk;
  Pass(60s);
  Pass(60s);
  EXPECT_EQ(fServer->fSent.size(), 12U);
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("accepts no more notifications"));
  EXPECT_EQ(console.find("accepts no more"), console.rfind("accepts no more"));
}

// --- strangers that cause too many ------------------------------------------

class FloodedCenterTest : public CenterTest {
 protected:
  FloodedCenterTest() {
    fAllowancePeriod = 60s;
    MakeCenter();
  }

  /// Whether the centre takes a notification of a subject that it has not met.
  bool TakesFrom(const std::string& source) {
    auto notification = Titled("from " + source);
    notification.subject = "unit " + std::to_string(++fUnits);
    notification.source = source;
    return fCenter->DeliverNotification(notification);
  }

  /// How many it takes of a hundred.
  int CountTakenFrom(const std::string& source) {
    int taken = 0;
    for (int i = 0; i < 100; ++i) taken += TakesFrom(source) ? 1 : 0;
    return taken;
  }

  int fUnits = 0;
};

TEST_F(FloodedCenterTest, TakesTenAMinuteOfOneSource) {
  EXPECT_EQ(CountTakenFrom("192.0.2.66"), 10);
  EXPECT_TRUE(TakesFrom("192.0.2.1"));
  fNow += 60s - 1ms;
  EXPECT_FALSE(TakesFrom("192.0.2.66"));
  fNow += 1ms;
  EXPECT_EQ(CountTakenFrom("192.0.2.66"), 10);
}

TEST_F(FloodedCenterTest, TakesSixtyAMinuteInAll) {
  int taken = 0;
  for (int source = 0; source < 100; ++source) taken += TakesFrom(std::to_string(source)) ? 1 : 0;
  EXPECT_EQ(taken, 60);
  fNow += 60s;
  EXPECT_TRUE(TakesFrom("one more"));
}

TEST_F(FloodedCenterTest, CountsEachMinuteAndNotTheMinutesOfAClock) {
  for (int second = 0; second < 600; ++second, fNow += 1s) {
    const bool isTaken = TakesFrom("192.0.2.66");
    EXPECT_EQ(isTaken, second % 60 < 10) << second;
  }
}

TEST_F(FloodedCenterTest, LeavesSomethingForNewSourcesWhileSeveralAskForAll) {
  for (int round = 0; round < 10; ++round) {
    for (int source = 0; source < 8; ++source) (void)TakesFrom("flooder " + std::to_string(source));
  }
  EXPECT_TRUE(TakesFrom("192.0.2.1"));
  EXPECT_TRUE(TakesFrom("192.0.2.2"));
}

TEST_F(FloodedCenterTest, SaysOnceThatItTakesNoMore) {
  CaptureStderr();
  (void)CountTakenFrom("192.0.2.66");
  fNow += 60s;
  (void)CountTakenFrom("192.0.2.67");
  const std::string console = GetCapturedStderr();
  EXPECT_THAT(console, HasSubstr("too many new releases"));
  EXPECT_EQ(console.find("too many"), console.rfind("too many"));
}

TEST_F(FloodedCenterTest, KeepsNothingOfWhatItRefuses) {
  (void)CountTakenFrom("192.0.2.66");
  EXPECT_TRUE(fCenter->Synchronize());
  EXPECT_EQ(fState.fArrays.at("notices").size(), 60U);  // six texts each
}

TEST_F(FloodedCenterTest, CallsOnceFromTheRunLoopWhenThereIsRoomAfterARefusal) {
  fAllowancePeriod = 20ms;
  MakeCenter();
  int calls = 0;
  fCenter->SetOnRoom([&] {
    ++calls;
    EXPECT_TRUE(TakesFrom("192.0.2.66"));
  });
  EXPECT_EQ(CountTakenFrom("192.0.2.66"), 10);
  fNow += 20ms;
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(TurnLoopUntil([&] { return calls > 0; }));
  vorn::PollRunLoop::Current()->RunOnce(40ms);
  EXPECT_EQ(calls, 1);
}

TEST_F(FloodedCenterTest, ShowsAnHonestNotificationInItsTurnHoweverManyWait) {
  fTiming.pace = 3s;
  MakeCenter();
  Pass(0s);
  for (int minute = 0; minute < 20; ++minute, fNow += 60s) {
    for (int source = 0; source < 5; ++source) (void)CountTakenFrom("flooder " + std::to_string(source));
  }
  fServer->AnswerOpen();
  EXPECT_TRUE(TakesFrom("192.0.2.1"));
  for (int turn = 0; turn < 6; ++turn) Pass(3s);  // five flooders and the honest one
  EXPECT_THAT(SentTitles(), ::testing::Contains("from 192.0.2.1"));
}

TEST_F(FloodedCenterTest, ForgetsNoHonestNotificationWhileTheServerHangs) {
  CaptureStderr();
  EXPECT_TRUE(TakesFrom("192.0.2.1"));
  for (int minute = 0; minute < 45; ++minute, fNow += 60s) {
    for (int source = 0; source < 5; ++source) (void)CountTakenFrom("flooder " + std::to_string(source));
  }
  EXPECT_TRUE(TakesFrom("192.0.2.2"));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("are given up"));
  Restart();
  fTiming.pace = 0s;
  Pass(0s);
  const auto titles = SentTitles();
  EXPECT_EQ(titles.size(), Queue::kMaxNotifications);
  EXPECT_THAT(titles, ::testing::Contains("from 192.0.2.1"));
  EXPECT_THAT(titles, ::testing::Contains("from 192.0.2.2"));
}

// --- clicks -----------------------------------------------------------------

TEST_F(CenterTest, ReportsAClickOnTheNotificationItself) {
  Deliver("unit", "title");
  fServer->fHandlers.onAction(1, "settings");
  fServer->fHandlers.onAction(2, "default");
  fServer->fHandlers.onAction(0, "default");
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  Click(1);
  ASSERT_EQ(fClicks->fAll.size(), 1U);
  EXPECT_EQ(fClicks->fAll[0].userInfo.at(vorn::kUserInfoUrl), "http://unit/");
  EXPECT_EQ(fClicks->fAll[0].activationToken, "");
  EXPECT_NE(fClicks->fAll[0].identifier, 0U);
  fCenter->RemoveDeliveredNotification(fClicks->fAll[0]);
  EXPECT_THAT(fServer->fClosed, ElementsAre(1U));
}

TEST_F(CenterTest, HandsOnATokenOfReasonableLengthAlone) {
  Deliver("unit", "title");
  for (const std::size_t length : {1001U, 1000U}) {
    fServer->fHandlers.onActivationToken(1, std::string(length, 'x'));
    Click(1);
  }
  ASSERT_EQ(fClicks->fAll.size(), 2U);
  EXPECT_EQ(fClicks->fAll[0].activationToken, "");
  EXPECT_EQ(fClicks->fAll[1].activationToken, std::string(1000, 'x'));
}

TEST_F(CenterTest, ForgetsANotificationThatWasClosed) {
  Deliver("unit", "title");
  fServer->fHandlers.onClosed(1);
  Click(1);
  EXPECT_THAT(fClicks->fAll, IsEmpty());
}

TEST_F(CenterTest, ForgetsWhatStoodOnAServerThatEnded) {
  Deliver("unit", "title");
  fServer->Change(":1.8");
  fServer->AnswerOpen();
  Click(1);  // somebody else's on this server
  EXPECT_THAT(fClicks->fAll, IsEmpty());
  EXPECT_THAT(SentTitles(), ElementsAre("title"));  // and nothing is announced twice
}

// --- across a restart of the program ----------------------------------------

TEST_F(CenterTest, SendsAndKeepsInItsPlaceWhatWasInFlightWhenAnEarlierRunEnded) {
  fServerBindsToSender = true;
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("title")));
  fServer->AnswerOpen(1);
  EXPECT_EQ(fServer->fSent.size(), 1U);
  Restart();
  Pass(0s);
  EXPECT_THAT(SentTitles(), ElementsAre("title"));
  const auto id = fServer->fSent[0].id;
  Restart();
  Pass(0s);
  EXPECT_THAT(SentTitles(), ElementsAre("title"));
  EXPECT_EQ(fServer->fSent[0].replacesId, id);
  EXPECT_FALSE(fServer->fSent[0].notification.playsDefaultSound);
}

TEST_F(CenterTest, FollowsClicksOnWhatAnEarlierRunShowedWithoutShowingItAgain) {
  Deliver("unit", "title");
  const auto id = fServer->fSent.at(0).id;
  for (int run = 0; run < 2; ++run) {
    Restart();
    Pass(60s);
    EXPECT_EQ(fServer->fQuestions, 1);
    EXPECT_THAT(fServer->fSent, IsEmpty());
  }
  Click(id);
  EXPECT_EQ(fClicks->fAll.size(), 1U);
  Deliver("unit", "newer");
  ASSERT_THAT(SentTitles(), ElementsAre("newer"));
  EXPECT_EQ(fServer->fSent[0].replacesId, id);
}

TEST_F(CenterTest, ForgetsWhatStoodOnAnotherServerOrBus) {
  for (const auto& next : {Identity{"bus-1", ":1.8"}, Identity{"bus-2", ":1.7"}}) {
    fIdentity = {"bus-1", ":1.7"};
    Restart();
    Deliver("unit", "title");
    const auto id = fServer->fSent.back().id;
    fIdentity = next;
    Restart();
    Pass(0s);
    Click(id);
    EXPECT_THAT(fClicks->fAll, IsEmpty());
    EXPECT_THAT(fServer->fSent, IsEmpty());
  }
}

TEST_F(CenterTest, SaysNothingMoreOfWhatWasClosedBeforeTheEnd) {
  Deliver("unit", "title");
  fServer->fHandlers.onClosed(1);
  Restart();
  Pass(0s);
  EXPECT_THAT(fServer->fSent, IsEmpty());
}

TEST_F(CenterTest, WaitsForTheListBeforeItSendsWhatAnEarlierRunKept) {
  fServer->fIsConnected = false;
  fSettleTime = 5s;
  Deliver("a", "updated meanwhile");
  Deliver("b", "still true");
  Restart();
  Pass(4s);
  EXPECT_THAT(fServer->fSent, IsEmpty());
  fCenter->ForgetWaitingNotification("a");
  Pass(1s);
  EXPECT_THAT(SentTitles(), ElementsAre("still true"));
}

TEST_F(CenterTest, ForgetsAllThatWaitsForThisRunAndTheNext) {
  fServer->fIsConnected = false;
  Deliver("a", "first");
  Deliver("b", "second");
  fCenter->ForgetWaitingNotifications();
  Restart();
  Pass(60s);
  EXPECT_THAT(fServer->fSent, IsEmpty());
}

TEST_F(CenterTest, KeepsAtTheNextTurnOfTheRunLoopOnceForAllChanges) {
  int writes = 0;
  fState.fOnArrayStored = [&] { ++writes; };  // two arrays at a time
  Deliver("a", "first");
  Deliver("b", "second");
  EXPECT_EQ(writes, 0);
  EXPECT_TRUE(TurnLoopUntil([&] { return writes > 0; }));
  EXPECT_EQ(writes, 2);
  EXPECT_EQ(fState.fArrays.at("notices").size(), 12U);
}

TEST_F(CenterTest, KeepsBeforeItAnswersThatItHasKept) {
  Deliver("a", "first");
  EXPECT_TRUE(fCenter->Synchronize());
  EXPECT_EQ(fState.fArrays.at("notices").size(), 6U);
  Deliver("b", "second");
  EXPECT_TRUE(fCenter->IsSaved());
  EXPECT_EQ(fState.fArrays.at("notices").size(), 12U);
}

TEST_F(CenterTest, SaysThatSomethingWaitsWhichIsNotSavedUntilItIsShown) {
  fState.fCanSave = false;
  EXPECT_TRUE(fCenter->IsSaved());
  EXPECT_TRUE(fCenter->Synchronize());
  EXPECT_TRUE(fCenter->DeliverNotification(Titled("title")));
  EXPECT_FALSE(fCenter->IsSaved());
  EXPECT_FALSE(fCenter->Synchronize());
  fServer->AnswerOpen(1);
  EXPECT_FALSE(fCenter->IsSaved());  // the server may end before it answers
  EXPECT_FALSE(fCenter->Synchronize());
  fServer->AnswerOpen();
  EXPECT_TRUE(fCenter->IsSaved());
  EXPECT_TRUE(fCenter->Synchronize());
}

TEST_F(CenterTest, SaysThatSomethingWaitsWhichNoStateKeeps) {
  auto server = std::make_unique<FakeNotificationServer>(fIdentity);
  auto* open = server.get();
  Center center(std::move(server), {});
  EXPECT_TRUE(center.Synchronize());
  EXPECT_TRUE(center.DeliverNotification(Titled("title")));
  EXPECT_FALSE(center.Synchronize());
  open->AnswerOpen();
  EXPECT_TRUE(center.Synchronize());
}

}  // namespace
}  // namespace Notification

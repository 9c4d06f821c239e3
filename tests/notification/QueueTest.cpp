#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Queue.h"

namespace Notification {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Answer = Queue::Answer;

class QueueTest : public ::testing::Test {
 protected:
  explicit QueueTest(std::chrono::milliseconds pace = 0s) : fQueue({60s, pace}) {}

  void Add(const std::string& subject, const std::string& title, const std::string& source = {}) {
    EXPECT_TRUE(AddFrom(source, subject, title));
  }

  /// Whether everything that waited still does.
  bool AddFrom(const std::string& source, const std::string& subject, const std::string& title) {
    vorn::UserNotification notification;
    notification.subject = subject;
    notification.source = source;
    notification.title = title;
    return fQueue.Add(notification, fNow);
  }

  /// The title of the next notification that is due, now in flight; empty if none is due.
  std::string Take() {
    const auto sending = fQueue.Take(fNow);
    if (!sending) return {};
    fTaken = sending->notification.identifier;
    fReplaces = sending->replacesId;
    return sending->notification.title;
  }

  /// Adds, takes and delivers.
  std::uint64_t Show(const std::string& subject, const std::string& title, std::uint32_t serverId) {
    Add(subject, title);
    EXPECT_EQ(Take(), title);
    EXPECT_THAT(fQueue.Delivered(fTaken, serverId, fNow), IsEmpty());
    return fTaken;
  }

  static KeptNotification MakeKept(const std::string& subject, const std::string& title,
                                   std::uint32_t serverId) {
    KeptNotification kept;
    kept.notification.subject = subject;
    kept.notification.title = title;
    kept.notification.playsDefaultSound = true;
    kept.serverId = serverId;
    return kept;
  }

  /// Title and server's id of all that is kept.
  [[nodiscard]] std::vector<std::string> Kept() const {
    std::vector<std::string> texts;
    for (const auto& [notification, serverId] : fQueue.Kept()) {
      texts.push_back(notification.title + " " + std::to_string(serverId));
    }
    return texts;
  }

  void Refuse() { EXPECT_TRUE(fQueue.Failed(fTaken, Answer::kRefused, fNow)); }

  Queue::TimePoint fNow{1h};
  Queue fQueue;
  std::uint64_t fTaken = 0;
  std::uint32_t fLastId = 0;
  std::uint32_t fReplaces = 0;
};

class PacedQueueTest : public QueueTest {
 protected:
  PacedQueueTest() : QueueTest(3s) {}
};

TEST_F(QueueTest, SendsNotificationsInTheirOrderOnce) {
  Add("b", "first");
  Add("a", "second");
  EXPECT_EQ(Take(), "first");
  EXPECT_EQ(Take(), "second");
  EXPECT_EQ(Take(), "");
  EXPECT_FALSE(fQueue.NextDue());
}

TEST_F(QueueTest, KeepsOnlyTheNewestWaitingNotificationOfASubject) {
  Add("a", "old");
  Add("b", "other");
  Add("a", "new");
  EXPECT_EQ(Take(), "other");
  EXPECT_EQ(Take(), "new");
  EXPECT_EQ(Take(), "");
}

TEST_F(QueueTest, ReplacesAStandingNotificationAfterTheQuietTime) {
  Show("a", "first", 7);
  Add("a", "second");
  fNow += 59s;
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(*fQueue.NextDue(), fNow + 1s);
  fNow += 1s;
  EXPECT_EQ(Take(), "second");
  EXPECT_EQ(fReplaces, 7U);
  EXPECT_THAT(fQueue.Delivered(fTaken, 7, fNow), IsEmpty());
  EXPECT_EQ(fQueue.FindStanding(7)->title, "second");
}

TEST_F(QueueTest, BringsASubjectUpAtMostOnceAMinuteHoweverOftenItIsAnnounced) {
  int shown = 0;
  for (int second = 0; second < 600; ++second, fNow += 1s) {
    Add("", "release " + std::to_string(second));
    if (Take().empty()) continue;
    ++shown;
    EXPECT_THAT(fQueue.Delivered(fTaken, 3, fNow), IsEmpty());
  }
  EXPECT_EQ(shown, 10);
}

TEST_F(QueueTest, KeepsTheQuietTimeAlsoWhenTheNotificationWasClosed) {
  Show("a", "first", 7);
  fQueue.Closed(7);
  Add("a", "second");
  EXPECT_EQ(Take(), "");
  fNow += 60s;
  EXPECT_EQ(Take(), "second");
  EXPECT_EQ(fReplaces, 0U);
}

TEST_F(QueueTest, DoesNotSendASubjectTwiceAtATime) {
  Add("a", "first");
  EXPECT_EQ(Take(), "first");
  Add("a", "second");
  EXPECT_EQ(Take(), "");
  EXPECT_FALSE(fQueue.NextDue());
  EXPECT_THAT(fQueue.Delivered(fTaken, 1, fNow), IsEmpty());
  EXPECT_EQ(*fQueue.NextDue(), fNow + 60s);
}

TEST_F(QueueTest, ClosesTheOldNotificationWhereTheServerDidNotReplaceIt) {
  Show("a", "first", 7);
  Add("a", "second");
  fNow += 60s;
  EXPECT_EQ(Take(), "second");
  EXPECT_THAT(fQueue.Delivered(fTaken, 8, fNow), ElementsAre(7U));
  EXPECT_EQ(fQueue.FindStanding(7), nullptr);
  EXPECT_EQ(fQueue.FindStanding(8)->title, "second");
}

TEST_F(QueueTest, KnowsOnlyItsOwnStandingNotifications) {
  Show("a", "first", 7);
  EXPECT_EQ(fQueue.FindStanding(8), nullptr);
  EXPECT_EQ(fQueue.FindStanding(0), nullptr);
  fQueue.Closed(8);
  EXPECT_NE(fQueue.FindStanding(7), nullptr);
  fQueue.Closed(7);
  EXPECT_EQ(fQueue.FindStanding(7), nullptr);
}

TEST_F(QueueTest, SendsAgainAtOnceWhatNeverReachedAServer) {
  Add("a", "first");
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Take(), "first");
    EXPECT_TRUE(fQueue.Failed(fTaken, Answer::kNoServer, fNow));
  }
}

TEST_F(QueueTest, SendsAgainWhatTheServerTookWithIt) {
  Add("a", "first");
  EXPECT_EQ(Take(), "first");
  EXPECT_TRUE(fQueue.Failed(fTaken, Answer::kLost, fNow));
  EXPECT_EQ(Take(), "first");
}

TEST_F(QueueTest, DoesNotKeepKillingAServerWithOneNotification) {
  Add("a", "first");
  for (int i = 1; i < Queue::kMaxFailures; ++i) {
    EXPECT_EQ(Take(), "first");
    EXPECT_TRUE(fQueue.Failed(fTaken, Answer::kLost, fNow));
    EXPECT_TRUE(i == 1 || *fQueue.NextDue() == fNow + 60s);
    fNow += 60s;
  }
  EXPECT_EQ(Take(), "first");
  EXPECT_FALSE(fQueue.Failed(fTaken, Answer::kLost, fNow));
  EXPECT_FALSE(fQueue.HasUnshown());
}

TEST_F(QueueTest, PrefersWhatWasAnnouncedSinceOverWhatFailed) {
  Add("a", "old");
  EXPECT_EQ(Take(), "old");
  Add("a", "new");
  EXPECT_TRUE(fQueue.Failed(fTaken, Answer::kLost, fNow));
  EXPECT_EQ(Take(), "new");
  EXPECT_EQ(Take(), "");
}

TEST_F(QueueTest, ForgetsStandingNotificationsWithTheirServer) {
  const auto identifier = Show("a", "first", 7);
  EXPECT_EQ(fQueue.ServerChanged(fNow), 0U);
  EXPECT_EQ(fQueue.FindStanding(7), nullptr);
  EXPECT_EQ(fQueue.Remove(identifier), 0U);
  Add("a", "second");
  fNow += 60s;
  EXPECT_EQ(Take(), "second");
  EXPECT_EQ(fReplaces, 0U);
}

TEST_F(QueueTest, SendsAgainWhatAServerThatChangedHadNotAnswered) {
  Add("a", "first");
  EXPECT_EQ(Take(), "first");
  EXPECT_EQ(fQueue.ServerChanged(fNow), 0U);
  EXPECT_THAT(fQueue.Delivered(fTaken, 7, fNow), IsEmpty());  // too late
  EXPECT_EQ(fQueue.FindStanding(7), nullptr);
  EXPECT_EQ(Take(), "first");
}

TEST_F(QueueTest, HoldsNoNotificationThatAServerGaveNoIdFor) {
  Add("a", "first");
  EXPECT_EQ(Take(), "first");
  EXPECT_THAT(fQueue.Delivered(fTaken, 0, fNow), IsEmpty());
  EXPECT_EQ(fQueue.FindStanding(0), nullptr);
  EXPECT_FALSE(fQueue.HasUnshown());
}

TEST_F(QueueTest, TriesARefusedNotificationAgainAfterTheQuietTime) {
  Add("a", "first");
  for (int i = 0; i < 20; ++i, fNow += 60s) {
    EXPECT_EQ(Take(), "first");
    Refuse();
    EXPECT_EQ(Take(), "");
    EXPECT_EQ(*fQueue.NextDue(), fNow + 60s);
  }
}

TEST_F(QueueTest, SendsNothingToAServerThatRefusesTwoInARow) {
  for (const char* title : {"a", "b", "c"}) Add(title, title);
  EXPECT_EQ(Take(), "a");
  Refuse();
  EXPECT_EQ(Take(), "b");
  Refuse();
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(*fQueue.NextDue(), fNow + 60s);
  fNow += 60s;
  EXPECT_EQ(Take(), "a");
  EXPECT_EQ(Take(), "");  // one at a time from now on
  EXPECT_FALSE(fQueue.NextDue());
  EXPECT_THAT(fQueue.Delivered(fTaken, 1, fNow), IsEmpty());
  EXPECT_EQ(Take(), "b");
}

TEST_F(QueueTest, GoesOnAsSoonAsSomethingIsClosedOldestFirst) {
  for (const char* title : {"a", "b", "c"}) Add(title, title);
  for (const char* title : {"a", "b", "c"}) {
    EXPECT_EQ(Take(), title);
    EXPECT_THAT(fQueue.Delivered(fTaken, ++fLastId, fNow), IsEmpty());
    while (!Take().empty()) Refuse();
    fQueue.Closed(12345);  // another program's
  }
}

TEST_F(QueueTest, PutsANotificationBehindTheOthersThatIsRefusedForWhatItIs) {
  for (const char* title : {"unwelcome", "b", "c"}) Add(title, title);
  EXPECT_EQ(Take(), "unwelcome");
  Refuse();
  EXPECT_EQ(Take(), "b");
  EXPECT_THAT(fQueue.Delivered(fTaken, 1, fNow), IsEmpty());
  fNow += 60s;
  EXPECT_EQ(Take(), "c");
  EXPECT_THAT(fQueue.Delivered(fTaken, 2, fNow), IsEmpty());
  EXPECT_EQ(Take(), "unwelcome");
}

TEST_F(QueueTest, HoldsNoRefusalAgainstASubjectThatIsForgotten) {
  Add("a", "first");
  EXPECT_EQ(Take(), "first");
  Refuse();
  EXPECT_TRUE(fQueue.ForgetWaiting("a"));
  Show("b", "second", 2);
  fQueue.Closed(1);
  EXPECT_THAT(Kept(), ElementsAre("second 2"));
}

TEST_F(QueueTest, GoesOnWhenARefusedSubjectHadToMakeRoom) {
  for (std::uint32_t i = 1; i <= Queue::kMaxNotifications; ++i) Show("unit " + std::to_string(i), "x", i);
  fNow += 60s;
  Add("unit 1", "newer");
  EXPECT_EQ(Take(), "newer");
  Refuse();
  EXPECT_TRUE(fQueue.ForgetWaiting("unit 1"));
  Add("one more", "y");
  EXPECT_EQ(fQueue.FindStanding(1), nullptr);  // it made room
  fQueue.Closed(2);
  EXPECT_EQ(Take(), "y");
  EXPECT_THAT(fQueue.Delivered(fTaken, 100000, fNow), IsEmpty());
}

TEST_F(PacedQueueTest, SendsAFewAtOnceAndThenOneAPace) {
  for (int i = 0; i < 8; ++i) Add("unit " + std::to_string(i), std::to_string(i));
  std::vector<std::string> shown;
  for (int second = 0; second < 10; ++second, fNow += 1s) {
    for (auto title = Take(); !title.empty(); title = Take()) {
      shown.push_back(title + " at " + std::to_string(second));
      EXPECT_THAT(fQueue.Delivered(fTaken, static_cast<std::uint32_t>(shown.size()), fNow), IsEmpty());
    }
    EXPECT_GT(*fQueue.NextDue(), fNow);
  }
  EXPECT_THAT(shown, ElementsAre("0 at 0", "1 at 0", "2 at 0", "3 at 3", "4 at 6", "5 at 9"));
}

TEST_F(PacedQueueTest, CountsOnlyWhatWasShownTowardsThePace) {
  Add("a", "first");
  for (const auto answer : {Answer::kNoServer, Answer::kRefused, Answer::kNoServer, Answer::kNoServer}) {
    EXPECT_EQ(Take(), "first");
    EXPECT_TRUE(fQueue.Failed(fTaken, answer, fNow));
    fQueue.Closed(1);
  }
  EXPECT_EQ(Take(), "first");
}

// --- across a restart -------------------------------------------------------

TEST_F(QueueTest, KeepsWhatWaitsFliesAndStandsInItsOrder) {
  Show("a", "standing", 7);
  Add("a", "newer");
  Add("b", "flying");
  Add("c", "waiting");
  EXPECT_EQ(Take(), "flying");
  EXPECT_THAT(Kept(), ElementsAre("standing 7", "newer 0", "flying 0", "waiting 0"));
}

TEST_F(QueueTest, KeepsNothingThatIsNotWantedAnyMore) {
  Show("a", "closed", 7);
  fQueue.Closed(7);
  Add("b", "removed in flight");
  EXPECT_EQ(Take(), "removed in flight");
  EXPECT_EQ(fQueue.Remove(fTaken), 0U);
  EXPECT_THAT(Kept(), IsEmpty());
}

TEST_F(QueueTest, SendsWhatAnEarlierRunKeptOnceItIsDue) {
  fQueue.Restore({MakeKept("a", "old", 0), MakeKept("b", "other", 0)}, fNow + 5s);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(*fQueue.NextDue(), fNow + 5s);
  Add("a", "new");
  fNow += 5s;
  EXPECT_EQ(Take(), "other");
  EXPECT_EQ(Take(), "new");
  EXPECT_EQ(Take(), "");
}

TEST_F(QueueTest, FollowsClicksOnWhatStoodAndBringsItUpOnceMoreInItsPlace) {
  fQueue.Restore({MakeKept("a", "standing", 7)}, fNow + 5s);
  EXPECT_EQ(fQueue.FindStanding(7)->title, "standing");
  EXPECT_THAT(Kept(), ElementsAre("standing 7"));
  const auto sending = fQueue.Take(fNow);
  ASSERT_TRUE(sending);
  EXPECT_EQ(sending->notification.title, "standing");
  EXPECT_EQ(sending->replacesId, 7U);
  EXPECT_FALSE(sending->notification.playsDefaultSound);
  EXPECT_THAT(Kept(), ElementsAre("standing 7"));
  EXPECT_THAT(fQueue.Delivered(sending->notification.identifier, 7, fNow), IsEmpty());
  EXPECT_EQ(fQueue.FindStanding(7)->title, "standing");
  EXPECT_FALSE(fQueue.HasUnshown());
}

TEST_F(QueueTest, WhatIsBroughtUpAgainDelaysNothingNew) {
  std::vector<KeptNotification> kept;
  for (std::uint32_t id = 1; id <= 5; ++id) kept.push_back(MakeKept(std::to_string(id), "standing", id));
  fQueue.Restore(kept, fNow + 5s);
  for (std::uint32_t id = 1; id <= 5; ++id) {
    const auto sending = fQueue.Take(fNow);
    ASSERT_TRUE(sending);
    EXPECT_THAT(fQueue.Delivered(sending->notification.identifier, sending->replacesId, fNow), IsEmpty());
  }
  for (const char* subject : {"1", "2", "3"}) Add(subject, "new");
  EXPECT_EQ(Take(), "new");
  EXPECT_EQ(Take(), "new");
  EXPECT_EQ(Take(), "new");
}

TEST_F(QueueTest, LeavesWhatStandsAsItIs) {
  fQueue.Restore({MakeKept("a", "standing", 7), MakeKept("b", "waiting", 0)}, fNow);
  fQueue.LeaveStanding();
  EXPECT_EQ(Take(), "waiting");
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(fQueue.FindStanding(7)->title, "standing");
  EXPECT_THAT(Kept(), ElementsAre("standing 7", "waiting 0"));
}

TEST_F(QueueTest, DoesNotBringUpAgainWhatTheUserHasDealtWith) {
  fQueue.Restore({MakeKept("a", "closed", 1), MakeKept("b", "clicked", 2), MakeKept("c", "gone", 3)}, fNow);
  fQueue.Closed(1);
  EXPECT_EQ(fQueue.Remove(fQueue.FindStanding(2)->identifier), 2U);
  EXPECT_EQ(Take(), "gone");
  EXPECT_EQ(fQueue.ServerChanged(fNow), 0U);
  EXPECT_EQ(Take(), "");
  EXPECT_THAT(Kept(), IsEmpty());
}

TEST_F(QueueTest, DoesNotBringUpAgainWhatWasRefusedAndThenClosed) {
  fQueue.Restore({MakeKept("a", "standing", 7)}, fNow);
  EXPECT_EQ(Take(), "standing");
  Refuse();
  Show("b", "other", 8);  // puts the refused one behind
  EXPECT_THAT(Kept(), UnorderedElementsAre("standing 7", "other 8"));
  fQueue.Closed(7);
  fNow += 60s;
  EXPECT_EQ(Take(), "");
  EXPECT_THAT(Kept(), ElementsAre("other 8"));
}

// --- what no longer holds ---------------------------------------------------

TEST_F(QueueTest, ForgetsWhatWaitsForASubjectAndLeavesWhatStands) {
  Show("a", "standing", 7);
  Add("a", "newer");
  Add("b", "other");
  EXPECT_TRUE(fQueue.ForgetWaiting("a"));
  EXPECT_FALSE(fQueue.ForgetWaiting("a"));
  EXPECT_FALSE(fQueue.ForgetWaiting("nobody"));
  EXPECT_THAT(Kept(), ElementsAre("standing 7", "other 0"));
}

TEST_F(QueueTest, ForgetsAllThatIsNotShownAndClosesWhatFlies) {
  Add("a", "flying");
  Add("b", "waiting");
  EXPECT_EQ(Take(), "flying");
  fQueue.ForgetAllWaiting();
  EXPECT_THAT(Kept(), IsEmpty());
  EXPECT_THAT(fQueue.Delivered(fTaken, 9, fNow), ElementsAre(9U));
  EXPECT_FALSE(fQueue.HasUnshown());
}

TEST_F(QueueTest, GivesAnIdThatTheServerUsedTwiceToTheLaterNotification) {
  Show("a", "first", 7);
  Show("b", "second", 7);
  EXPECT_EQ(fQueue.FindStanding(7)->title, "second");
}

TEST_F(QueueTest, RemovesNotificationsInEveryState) {
  const auto standing = Show("a", "standing", 7);
  Add("a", "newer");
  EXPECT_EQ(fQueue.Remove(standing), 7U);
  EXPECT_EQ(fQueue.Remove(standing), 0U);
  EXPECT_TRUE(fQueue.HasUnshown());

  Add("b", "flying");
  EXPECT_EQ(Take(), "flying");
  EXPECT_EQ(fQueue.Remove(fTaken), 0U);
  EXPECT_THAT(fQueue.Delivered(fTaken, 9, fNow), ElementsAre(9U));
  EXPECT_EQ(fQueue.FindStanding(9), nullptr);

  Add("c", "waiting");
  EXPECT_EQ(fQueue.Remove(fTaken + 1), 0U);
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(fQueue.Remove(12345), 0U);
  EXPECT_EQ(fQueue.Remove(0), 0U);
}

TEST_F(QueueTest, DoesNotSendAgainWhatWasRemovedInFlight) {
  Add("a", "first");
  EXPECT_EQ(Take(), "first");
  EXPECT_EQ(fQueue.Remove(fTaken), 0U);
  EXPECT_TRUE(fQueue.Failed(fTaken, Answer::kLost, fNow));
  EXPECT_FALSE(fQueue.HasUnshown());
}

TEST_F(QueueTest, HoldsABoundedNumberOfSubjects) {
  for (std::uint32_t i = 1; i <= Queue::kMaxNotifications; ++i) Show("unit " + std::to_string(i), "x", i);
  Show("one more", "y", 100000);
  EXPECT_EQ(fQueue.FindStanding(1), nullptr);  // the one that stood longest made room
  EXPECT_NE(fQueue.FindStanding(2), nullptr);
  for (std::uint32_t i = 1; i <= 100000; i += i < 5000 ? 1 : 95000) fQueue.Closed(i);
  fNow += 60s;
  for (std::size_t i = 0; i < Queue::kMaxNotifications; ++i) Add("waiting " + std::to_string(i), "z");
  EXPECT_FALSE(AddFrom("", "one more", "z"));
  EXPECT_EQ(fQueue.Kept().size(), Queue::kMaxNotifications);
  EXPECT_EQ(fQueue.Kept().front().notification.subject, "waiting 1");
  EXPECT_EQ(fQueue.Kept().back().notification.subject, "one more");
}

TEST_F(QueueTest, ReplacesAWaitingNotificationWithoutRoomForAnother) {
  for (std::size_t i = 0; i < Queue::kMaxNotifications; ++i) Add("unit " + std::to_string(i), "z");
  Add("unit 7", "newer");
  EXPECT_EQ(fQueue.Kept().size(), Queue::kMaxNotifications);
}

TEST_F(QueueTest, ForgetsTheOldestOfTheFullestSource) {
  Add("honest", "oldest of all", "192.0.2.1");
  for (std::size_t i = 0; i + 2 < Queue::kMaxNotifications; ++i) {
    Add("flood " + std::to_string(i), "x", i % 3 == 0 ? "192.0.2.67" : "192.0.2.66");
  }
  Add("other", "also honest", "192.0.2.2");
  EXPECT_FALSE(AddFrom("192.0.2.3", "newest", "honest as well"));
  const auto kept = Kept();
  EXPECT_EQ(kept.size(), Queue::kMaxNotifications);
  EXPECT_EQ(kept.front(), "oldest of all 0");
  EXPECT_EQ(fQueue.Kept()[1].notification.subject, "flood 0");  // of the source with fewer
  EXPECT_EQ(fQueue.Kept()[2].notification.subject, "flood 2");
  EXPECT_EQ(kept.back(), "honest as well 0");
}

TEST_F(QueueTest, HoldsABoundedNumberOfBytes) {
  Add("honest", "short", "192.0.2.1");
  const std::string longTitle(4000, 'x');
  for (int i = 0; i < 1000; ++i) (void)AddFrom("192.0.2.66", "flood " + std::to_string(i), longTitle);
  std::size_t size = 0;
  for (const auto& kept : fQueue.Kept()) size += SizeOf(kept.notification);
  EXPECT_LE(size, Queue::kMaxSize);
  EXPECT_GT(size, Queue::kMaxSize - 2 * longTitle.size());
  EXPECT_EQ(Kept().front(), "short 0");
  EXPECT_EQ(fQueue.Kept().back().notification.subject, "flood 999");
}

TEST_F(QueueTest, ForgetsNothingThatTheServerHasNotAnswered) {
  Add("flying", "flying", "192.0.2.66");
  EXPECT_EQ(Take(), "flying");
  for (std::size_t i = 0; i <= Queue::kMaxNotifications; ++i) {
    (void)AddFrom("192.0.2.66", "flood " + std::to_string(i), "x");
  }
  EXPECT_EQ(Kept().front(), "flying 0");
  EXPECT_THAT(fQueue.Delivered(fTaken, 7, fNow), IsEmpty());
  EXPECT_NE(fQueue.FindStanding(7), nullptr);
}

TEST_F(QueueTest, LetsTheSourcesTakeTurns) {
  for (const char* title : {"a1", "a2", "a3", "a4"}) Add(title, title, "a");
  Add("b1", "b1", "b");
  Add("b2", "b2", "b");
  Add("c1", "c1", "c");
  std::vector<std::string> shown;
  for (auto title = Take(); !title.empty(); title = Take()) {
    shown.push_back(title);
    EXPECT_THAT(fQueue.Delivered(fTaken, ++fLastId, fNow), IsEmpty());
  }
  EXPECT_THAT(shown, ElementsAre("a1", "b1", "c1", "a2", "b2", "a3", "a4"));
}

TEST_F(QueueTest, IgnoresAnswersToNothing) {
  EXPECT_THAT(fQueue.Delivered(99, 1, fNow), IsEmpty());
  EXPECT_TRUE(fQueue.Failed(99, Answer::kRefused, fNow));
  EXPECT_EQ(fQueue.FindStanding(1), nullptr);
}

}  // namespace
}  // namespace Notification

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "notification/Logic.h"
#include "tests/notification/Devices.h"
#include "tests/platform/FakeNotificationCenter.h"
#include "tests/platform/FakeUrlOpener.h"
#include "tests/platform/FakeUserDefaults.h"

namespace Notification {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::MakeDevice;
using Texts = std::vector<std::string>;

constexpr char kKey[] = "notificationrecord-0001f2fffe00aa01";

class LogicTest : public ::testing::Test {
 protected:
  void Publish(const vorn::FirmwareVersion& current, const vorn::FirmwareVersion& latest) {
    fLogic.MaybeNotify({MakeDevice(current, latest)});
  }
  [[nodiscard]] std::size_t Notifications() const { return fCenter.fDelivered.size(); }

  vorn::testing::FakeUserDefaults fDefaults;
  vorn::testing::FakeNotificationCenter fCenter;
  vorn::testing::FakeUrlOpener fOpener;
  Logic fLogic{fDefaults, fCenter, fOpener};
};

TEST_F(LogicTest, AnnouncesAnUpdateOnceAndStoresBothVersions) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 1U);
  EXPECT_EQ(fDefaults.fArrays[kKey], (Texts{"1.0.0+5", "1.1.0+2"}));
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 1U);
}

TEST_F(LogicTest, SaysNothingOnceTheUnitIsUpdated) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  Publish({1, 1, 0, 2}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 1U);
  EXPECT_EQ(fDefaults.fArrays[kKey], (Texts{"1.0.0+5", "1.1.0+2"}));
}

TEST_F(LogicTest, WithdrawsWhatNobodyHasSeenOnceTheUnitIsUpdated) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_THAT(fCenter.fForgotten, IsEmpty());
  Publish({1, 1, 0, 2}, {1, 1, 0, 2});
  EXPECT_THAT(fCenter.fForgotten, ElementsAre("0001f2fffe00aa01"));
}

TEST_F(LogicTest, WithdrawsNothingOfAnotherUnitThatSharesTheUid) {
  const auto outdated = MakeDevice({1, 0, 0, 1}, {1, 1, 0, 1}, "");
  const auto current = MakeDevice({1, 1, 0, 1}, {1, 1, 0, 1}, "");
  fLogic.MaybeNotify({outdated, current});
  fLogic.MaybeNotify({current, outdated});
  EXPECT_EQ(Notifications(), 1U);
  EXPECT_THAT(fCenter.fForgotten, IsEmpty());
  fLogic.MaybeNotify({current, current});
  EXPECT_THAT(fCenter.fForgotten, ElementsAre("", ""));
}

TEST_F(LogicTest, WithdrawsNothingWhileAVersionIsNotKnown) {
  auto device = MakeDevice({1, 1, 0, 2}, {1, 1, 0, 2});
  device.latestVersion.reset();
  fLogic.MaybeNotify({device});
  device = MakeDevice({1, 1, 0, 2}, {1, 1, 0, 2});
  device.firmwareVersion.reset();
  fLogic.MaybeNotify({device});
  EXPECT_THAT(fCenter.fForgotten, IsEmpty());
}

TEST_F(LogicTest, WithdrawsEverythingThatNobodyHasSeen) {
  fLogic.WithdrawAll();
  EXPECT_THAT(fCenter.fForgotten, ElementsAre("(all)"));
}

TEST_F(LogicTest, AnnouncesADifferentRelease) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  Publish({1, 0, 0, 5}, {1, 2, 0, 1});
  EXPECT_EQ(Notifications(), 2U);
  EXPECT_EQ(fDefaults.fArrays[kKey], (Texts{"1.0.0+5", "1.2.0+1"}));
}

TEST_F(LogicTest, DoesNotAnnounceTheSameReleaseToAUnitThatWasDowngraded) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  Publish({0, 9, 0, 1}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 1U);
}

TEST_F(LogicTest, ComparesByAnySmallerField) {
  Publish({1, 1, 0, 9}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 0U);
  Publish({1, 1, 0, 1}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 1U);
  Publish({2, 0, 0, 0}, {1, 5, 0, 0});
  EXPECT_EQ(Notifications(), 2U);
}

TEST_F(LogicTest, ComparesStoredReleasesByAllFourFields) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  Publish({1, 0, 0, 5}, {1, 1, 0, 3});
  EXPECT_EQ(Notifications(), 2U);
}

TEST_F(LogicTest, TreatsUnreadableRecordsAsMissingAndRewritesThem) {
  const Texts good{"1.0.0+5", "1.1.0+2"};
  for (const Texts& stored :
       {Texts{"1.0.0+5", "1.1.0"}, Texts{"", "1.1.0+2"}, Texts{"1.0.0+5"}, Texts{}, Texts{"x", "1.1.0+2"}}) {
    fDefaults.fArrays[kKey] = stored;
    fCenter.fDelivered.clear();
    Publish({1, 0, 0, 5}, {1, 1, 0, 2});
    EXPECT_EQ(Notifications(), 1U);
    EXPECT_EQ(fDefaults.fArrays[kKey], good);
  }
}

TEST_F(LogicTest, PassesOverUnitsOfWhichSomethingIsUnknown) {
  auto nameless = MakeDevice({1, 0, 0, 5}, {1, 1, 0, 2});
  nameless.name.reset();
  auto unreadable = MakeDevice({1, 0, 0, 5}, {1, 1, 0, 2});
  unreadable.firmwareVersion.reset();
  auto unpublished = MakeDevice({1, 0, 0, 5}, {1, 1, 0, 2});
  unpublished.latestVersion.reset();
  fLogic.MaybeNotify({nameless, unreadable, unpublished});
  fLogic.MaybeNotify({});
  EXPECT_EQ(Notifications(), 0U);
  EXPECT_THAT(fDefaults.fArrays, IsEmpty());
}

TEST_F(LogicTest, AnnouncesUnitsInTheirOrderEachUnderItsOwnUid) {
  auto first = MakeDevice({1, 0, 0, 1}, {1, 1, 0, 1}, "b");
  auto second = MakeDevice({1, 0, 0, 1}, {1, 1, 0, 1}, "a");
  second.name = std::string("Studio B");
  fLogic.MaybeNotify({first, second});
  ASSERT_EQ(Notifications(), 2U);
  EXPECT_EQ(fCenter.fDelivered[0].title, "Update Available for Studio A");
  EXPECT_EQ(fCenter.fDelivered[1].title, "Update Available for Studio B");
  EXPECT_TRUE(fDefaults.fArrays.contains("notificationrecord-a"));
  EXPECT_TRUE(fDefaults.fArrays.contains("notificationrecord-b"));
}

TEST_F(LogicTest, AnnouncesBeforeItStores) {
  std::string order;
  fCenter.fOnDelivered = [&] { order += "announced "; };
  fDefaults.fOnArrayStored = [&] { order += "stored "; };
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_EQ(order, "announced stored ");
}

TEST_F(LogicTest, StoresNothingForWhatTheCentreRefusesAndAnnouncesItWithALaterList) {
  fCenter.fIsFull = true;
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_THAT(fDefaults.fArrays, IsEmpty());
  fCenter.fIsFull = false;
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_EQ(Notifications(), 1U);
  EXPECT_EQ(fDefaults.fArrays[kKey], (Texts{"1.0.0+5", "1.1.0+2"}));
}

TEST_F(LogicTest, LeavesAnEarlierRecordAloneWhenTheCentreRefusesTheNextRelease) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  fCenter.fIsFull = true;
  Publish({1, 0, 0, 5}, {1, 2, 0, 1});
  EXPECT_EQ(fDefaults.fArrays[kKey], (Texts{"1.0.0+5", "1.1.0+2"}));
}

TEST_F(LogicTest, KeepsItsDecisionForUnitsThatShareAUid) {
  const auto first = MakeDevice({1, 0, 0, 1}, {1, 1, 0, 1}, "");
  const auto second = MakeDevice({1, 0, 0, 1}, {1, 2, 0, 1}, "");
  fLogic.MaybeNotify({first, second});
  fLogic.MaybeNotify({first, second});
  EXPECT_EQ(Notifications(), 4U);
}

TEST_F(LogicTest, RemembersAcrossARestart) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  Logic next(fDefaults, fCenter, fOpener);
  next.MaybeNotify({MakeDevice({1, 0, 0, 5}, {1, 1, 0, 2})});
  EXPECT_EQ(Notifications(), 1U);
}

TEST_F(LogicTest, AnswersClicksFromItsConstructionOn) {
  Publish({1, 0, 0, 5}, {1, 1, 0, 2});
  EXPECT_TRUE(fCenter.Activate(fCenter.fDelivered.front()));
  EXPECT_THAT(fOpener.fUrls, ElementsAre("http://studio-a.local:80/#device"));
}

class PersistenceTest : public ::testing::Test {
 protected:
  vorn::testing::FakeUserDefaults fDefaults;
  Persistence fPersistence{fDefaults};
};

TEST_F(PersistenceTest, StoresTwoTextsUnderTheUidVerbatim) {
  const std::string uid = "a/b\\c=d[e]\n\xff";
  fPersistence.StoreRecord({uid, {1, 2, 3, 45}, {18446744073709551615U, 0, 7, 1}});
  ASSERT_EQ(fDefaults.fArrays.size(), 1U);
  EXPECT_EQ(fDefaults.fArrays.begin()->first, "notificationrecord-" + uid);
  EXPECT_EQ(fDefaults.fArrays.begin()->second,
            (std::vector<std::string>{"1.2.3+45", "18446744073709551615.0.7+1"}));
}

TEST_F(PersistenceTest, ReadsBackWhatItStored) {
  fPersistence.StoreRecord({"unit", {1, 2, 3, 4}, {5, 6, 7, 8}});
  const auto record = fPersistence.GetRecordForUID("unit");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->uid, "unit");
  EXPECT_TRUE(record->currentVersion == (vorn::FirmwareVersion{1, 2, 3, 4}));
  EXPECT_TRUE(record->latestVersion == (vorn::FirmwareVersion{5, 6, 7, 8}));
}

TEST_F(PersistenceTest, ReplacesAnEarlierRecord) {
  fPersistence.StoreRecord({"unit", {1, 0, 0, 0}, {2, 0, 0, 0}});
  fPersistence.StoreRecord({"unit", {1, 0, 0, 0}, {3, 0, 0, 0}});
  EXPECT_EQ(fPersistence.GetRecordForUID("unit")->latestVersion.major, 3U);
}

TEST_F(PersistenceTest, HasNoRecordForAnUnknownUid) {
  fPersistence.StoreRecord({"unit", {1, 0, 0, 0}, {2, 0, 0, 0}});
  EXPECT_FALSE(fPersistence.GetRecordForUID("Unit"));
  EXPECT_FALSE(fPersistence.GetRecordForUID(""));
}

TEST_F(PersistenceTest, IgnoresWhatFollowsAVersion) {
  fDefaults.fArrays["notificationrecord-unit"] = {"1.0.0+1 beta", "1.2.0+1.5", "more"};
  EXPECT_TRUE(fPersistence.GetRecordForUID("unit"));
}

}  // namespace
}  // namespace Notification

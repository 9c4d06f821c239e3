#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "devicelist/SupervisedDeviceList.h"
#include "tests/devicelist/Announcements.h"
#include "tests/devicelist/Units.h"

namespace DeviceList {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::NamesOf;
using testing::TurnLoop;
using testing::TurnLoopUntil;
using testing::Unit;
using testing::WithFirmware;
using State = SupervisedDeviceList::State;
using List = std::vector<ExtendedDeviceInfo>;
using std::chrono::steady_clock;

// A supervised list whose monitor is the test and whose lists publish what the
// test says.
class SupervisedDeviceListTest : public ::testing::Test {
 protected:
  // One list that was built: alive until it is destroyed.
  class BuiltList : public PollingDeviceList {
   public:
    BuiltList(SupervisedDeviceListTest& test, vorn::DNSSD& dnssd)
        : PollingDeviceList({}, dnssd, {}), fTest(test) {
      fTest.fAliveAtOnce = std::max(fTest.fAliveAtOnce, ++fTest.fAlive);
    }
    ~BuiltList() override { --fTest.fAlive; }

   private:
    SupervisedDeviceListTest& fTest;
  };

  explicit SupervisedDeviceListTest(std::chrono::milliseconds retryTime = SupervisedDeviceList::kRetryTime) {
    SupervisedDeviceList::Makers makers;
    makers.retryTime = retryTime;
    makers.now = [this] { return fNow ? *fNow : vorn::AbsoluteTimeGetCurrent(); };
    makers.list = [this](SupervisedDeviceList::Publish publish) -> std::unique_ptr<PollingDeviceList> {
      ++fBuilt;
      if (fRefuse) throw std::runtime_error("no thread left");
      fPublish = std::move(publish);
      return std::make_unique<BuiltList>(*this, fNetwork);
    };
    makers.monitor = [this](vorn::ResponderMonitor::Callback report) {
      fReport = std::move(report);
      return std::unique_ptr<vorn::ResponderMonitor>();
    };
    fList = std::make_unique<SupervisedDeviceList>([this](List list) { fPublished.push_back(NamesOf(list)); },
                                                   [this](State state) { fStates.push_back(state); }, makers);
  }

  // What the monitor reports, and its coming through to the list's thread.
  void Report(State state) {
    std::thread([&] { fReport(state); }).join();
    TurnLoop();
  }

  // The responder restarts under a list that shows "desk" and "rack".
  void RestartShowingTwo() {
    Report(State::kAnswering);
    fPublish({Unit("desk", "1"), Unit("rack", "2")});
    Report(State::kAbsent);
    Report(State::kAnswering);
    fPublished.clear();
  }

  vorn::test::ScriptedDNSSD fNetwork;
  vorn::optional<vorn::AbsoluteTime> fNow;  // where the hold's clock stands; empty: it runs
  int fBuilt = 0;
  int fAlive = 0;
  int fAliveAtOnce = 0;
  bool fRefuse = false;
  SupervisedDeviceList::Publish fPublish;
  vorn::ResponderMonitor::Callback fReport;
  std::vector<std::vector<std::string>> fPublished;
  std::vector<State> fStates;
  std::unique_ptr<SupervisedDeviceList> fList;
};

TEST_F(SupervisedDeviceListTest, BuildsNothingBeforeTheResponderAnswers) {
  TurnLoop();
  Report(State::kAbsent);
  Report(State::kSilent);
  EXPECT_EQ(fBuilt, 0);
  EXPECT_THAT(fPublished, IsEmpty());
}

TEST_F(SupervisedDeviceListTest, BuildsAListWhenTheResponderAnswers) {
  Report(State::kAbsent);
  Report(State::kAnswering);
  EXPECT_EQ(fBuilt, 1);
  fPublish({Unit("desk")});
  EXPECT_THAT(fPublished, ElementsAre(ElementsAre("desk")));
}

TEST_F(SupervisedDeviceListTest, TellsEachChangeOfStateOnItsOwnThread) {
  Report(State::kAbsent);
  Report(State::kAnswering);
  Report(State::kSilent);
  Report(State::kAnswering);
  EXPECT_THAT(fStates, ElementsAre(State::kAbsent, State::kAnswering, State::kSilent, State::kAnswering));
}

TEST_F(SupervisedDeviceListTest, KeepsTheListWhileTheResponderIsAway) {
  Report(State::kAnswering);
  fPublish({Unit("desk")});
  Report(State::kAbsent);
  EXPECT_EQ(fAlive, 1);
  EXPECT_THAT(fPublished.back(), ElementsAre("desk"));
}

TEST_F(SupervisedDeviceListTest, BuildsAFreshListWheneverAResponderAnswersAgain) {
  Report(State::kAnswering);
  Report(State::kAbsent);
  Report(State::kAnswering);
  Report(State::kSilent);
  Report(State::kAnswering);
  EXPECT_EQ(fBuilt, 3);
  EXPECT_EQ(fAlive, 1);
  EXPECT_EQ(fAliveAtOnce, 1);
}

TEST_F(SupervisedDeviceListTest, BuildsAFreshListWhenAnotherResponderTakesOver) {
  Report(State::kAnswering);
  std::thread([&] {  // both before the loop turns
    fReport(State::kAbsent);
    fReport(State::kAnswering);
  })
      .join();
  TurnLoop();
  EXPECT_EQ(fBuilt, 2);
  EXPECT_THAT(fStates, ElementsAre(State::kAnswering));
}

TEST_F(SupervisedDeviceListTest, ResponderThatCameAndWentBeforeTheLoopTurnedIsFoundOnItsReturn) {
  std::thread([&] {
    fReport(State::kAnswering);
    fReport(State::kAbsent);
  }).join();
  TurnLoop();
  EXPECT_EQ(fBuilt, 0);
  Report(State::kAnswering);
  EXPECT_EQ(fBuilt, 1);
}

TEST_F(SupervisedDeviceListTest, WhatWasShownStaysUntilItIsNamedAgain) {
  RestartShowingTwo();
  fPublish({});
  fPublish({Unit("rack", "2")});
  fPublish({Unit("new", "3"), Unit("rack", "2")});
  fPublish({Unit("desk", "1"), Unit("new", "3"), Unit("rack", "2")});
  fPublish({Unit("new", "3")});
  EXPECT_THAT(fPublished, ElementsAre(ElementsAre("desk", "rack"), ElementsAre("desk", "rack"),
                                      ElementsAre("desk", "new", "rack"), ElementsAre("desk", "new", "rack"),
                                      ElementsAre("new")));
}

TEST_F(SupervisedDeviceListTest, WhatWasShownIsLetGoOfAfterFiveSecondsAndNotBefore) {
  const auto begin = steady_clock::now();
  RestartShowingTwo();
  fPublish({Unit("rack", "2")});
  EXPECT_TRUE(TurnLoopUntil([&] { return fPublished.size() == 2; }));
  EXPECT_THAT(fPublished, ElementsAre(ElementsAre("desk", "rack"), ElementsAre("rack")));
  EXPECT_GE(steady_clock::now() - begin, SupervisedDeviceList::kHoldTime - std::chrono::milliseconds(1));
}

TEST_F(SupervisedDeviceListTest, SecondRestartKeepsWhatIsStillHeld) {
  RestartShowingTwo();
  fPublish({Unit("rack", "2")});
  Report(State::kAbsent);
  Report(State::kAnswering);
  fPublish({});
  EXPECT_THAT(fPublished.back(), ElementsAre("desk", "rack"));
}

// The responder restarts every half a second of a clock that only the test
// moves on.
class SupervisedDeviceListFlappingTest : public SupervisedDeviceListTest {
 protected:
  static constexpr int kRestartsInTheHoldTime = 2 * SupervisedDeviceList::kHoldTime.count();

  SupervisedDeviceListFlappingTest() { fNow = vorn::AbsoluteTimeGetCurrent(); }

  void RestartHalfASecondLater() {
    *fNow += 0.5;
    Report(State::kAbsent);
    Report(State::kAnswering);
  }
};

TEST_F(SupervisedDeviceListFlappingTest, UnitThatLeftGoesInTimeHoweverOftenTheResponderRestarts) {
  RestartShowingTwo();
  for (int restart = 1; restart < kRestartsInTheHoldTime; ++restart) {
    fPublish({Unit("rack", "2")});
    RestartHalfASecondLater();
  }
  fPublish({Unit("rack", "2")});
  EXPECT_THAT(fPublished, ::testing::Each(ElementsAre("desk", "rack")));
  RestartHalfASecondLater();
  EXPECT_TRUE(TurnLoopUntil([&] { return fPublished.back() == std::vector<std::string>{"rack"}; }));
}

TEST_F(SupervisedDeviceListFlappingTest, UnitThatIsThereStaysHoweverOftenTheResponderRestarts) {
  const auto full = WithFirmware(Unit("desk", "1"), {1, 2, 3, 4});
  Report(State::kAnswering);
  fPublish({full});
  for (int restart = 0; restart < 2 * kRestartsInTheHoldTime; ++restart) {
    RestartHalfASecondLater();
    fPublish({});
    fPublish({Unit("desk", "1")});  // its firmware not asked for yet
  }
  EXPECT_THAT(fPublished, ::testing::Each(ElementsAre("desk")));
}

TEST_F(SupervisedDeviceListTest, ListThatCannotBeBuiltIsTriedAgain) {
  fRefuse = true;
  ::testing::internal::CaptureStderr();
  Report(State::kAnswering);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("no thread left"));
  EXPECT_EQ(fBuilt, 1);
  fRefuse = false;
  EXPECT_TRUE(TurnLoopUntil([&] { return fBuilt == 2; }));
  EXPECT_EQ(fAlive, 1);
}

class SupervisedDeviceListRetryTest : public SupervisedDeviceListTest {
 protected:
  static constexpr std::chrono::milliseconds kShortRetry{50};
  SupervisedDeviceListRetryTest() : SupervisedDeviceListTest(kShortRetry) {}

  // The list's engine stops by itself.
  void EndBrowsing() {
    fNetwork.processError = kDNSServiceErr_Unknown;
    fNetwork.ReplyAdd("x");
    EXPECT_TRUE(fNetwork.WaitForHandled(1));
    fNetwork.processError = kDNSServiceErr_NoError;
  }
};

TEST_F(SupervisedDeviceListRetryTest, ListThatTheResponderRefusesIsTriedAgain) {
  ::testing::internal::CaptureStderr();
  fNetwork.browseError = kDNSServiceErr_Unknown;
  Report(State::kAnswering);
  EXPECT_TRUE(TurnLoopUntil([&] { return fBuilt > 1; }));
  EXPECT_THAT(fNetwork.Begun(), IsEmpty());
  fNetwork.browseError = kDNSServiceErr_NoError;
  EXPECT_TRUE(TurnLoopUntil([&] { return !fNetwork.Begun().empty(); }));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("beginning anew"));
  EXPECT_EQ(fAlive, 1);
  EXPECT_EQ(fAliveAtOnce, 1);
}

TEST_F(SupervisedDeviceListRetryTest, ARefusalThatLastsIsToldOnce) {
  const auto count = [](const std::string& console) {
    int lines = 0;
    for (auto at = console.find("anew"); at != std::string::npos; at = console.find("anew", at + 1)) ++lines;
    return lines;
  };
  ::testing::internal::CaptureStderr();
  fNetwork.browseError = kDNSServiceErr_Unknown;
  Report(State::kAnswering);
  EXPECT_TRUE(TurnLoopUntil([&] { return fBuilt > 3; }));
  EXPECT_EQ(count(::testing::internal::GetCapturedStderr()), 1);

  fNetwork.browseError = kDNSServiceErr_NoError;
  EXPECT_TRUE(TurnLoopUntil([&] { return !fNetwork.Begun().empty(); }));
  const auto wentWell = steady_clock::now() + 4 * kShortRetry;
  EXPECT_TRUE(TurnLoopUntil([&] { return steady_clock::now() >= wentWell; }));
  ::testing::internal::CaptureStderr();
  EndBrowsing();
  const int before = fBuilt;
  EXPECT_TRUE(TurnLoopUntil([&] { return fBuilt > before; }));
  EXPECT_EQ(count(::testing::internal::GetCapturedStderr()), 1) << "another failure";
}

TEST_F(SupervisedDeviceListRetryTest, ListWhoseBrowsingEndsIsBuiltAnew) {
  Report(State::kAnswering);
  fPublish({Unit("desk", "1")});
  EndBrowsing();
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(TurnLoopUntil([&] { return fBuilt == 2; }));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("beginning anew"));
  fPublish({});
  EXPECT_THAT(fPublished.back(), ElementsAre("desk"));  // held, as after any restart
}

TEST_F(SupervisedDeviceListRetryTest, ListWhoseBrowsingEndsStaysUntilTheResponderAnswers) {
  Report(State::kAnswering);
  Report(State::kSilent);
  EndBrowsing();
  ::testing::internal::CaptureStderr();
  const auto end = steady_clock::now() + 4 * kShortRetry;
  EXPECT_TRUE(TurnLoopUntil([&] { return steady_clock::now() >= end; }));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), IsEmpty());
  EXPECT_EQ(fBuilt, 1);
  Report(State::kAnswering);
  EXPECT_EQ(fBuilt, 2);
}

TEST_F(SupervisedDeviceListRetryTest, ListThatBrowsesIsLeftAlone) {
  Report(State::kAnswering);
  const auto end = steady_clock::now() + 4 * kShortRetry;
  EXPECT_TRUE(TurnLoopUntil([&] { return steady_clock::now() >= end; }));
  EXPECT_EQ(fBuilt, 1);
}

TEST_F(SupervisedDeviceListTest, DestructionEndsTheListToo) {
  Report(State::kAnswering);
  fList.reset();
  EXPECT_EQ(fAlive, 0);
  TurnLoop();
  EXPECT_THAT(fPublished, IsEmpty());
}

TEST(SupervisedDeviceListStateTest, WorksWithoutCallbacks) {
  SupervisedDeviceList::Makers makers;
  vorn::ResponderMonitor::Callback report;
  vorn::test::ScriptedDNSSD network;
  makers.list = [&](SupervisedDeviceList::Publish publish) {
    return std::make_unique<PollingDeviceList>(std::move(publish), network, PollingDeviceList::Makers{});
  };
  makers.monitor = [&](vorn::ResponderMonitor::Callback callback) {
    report = std::move(callback);
    return std::unique_ptr<vorn::ResponderMonitor>();
  };
  const SupervisedDeviceList list({}, {}, makers);
  report(State::kAnswering);
  TurnLoop();
  EXPECT_THAT(network.Begun(), ElementsAre("browse"));
}

}  // namespace
}  // namespace DeviceList

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "devicelist/SupervisedDeviceList.h"
#include "tests/devicelist/Announcements.h"
#include "tests/devicelist/FakePoller.h"
#include "tests/devicelist/SilentFirmwarePoller.h"
#include "tests/devicelist/Units.h"
#include "tests/support/TurnLoop.h"

namespace DeviceList {
namespace {

using testing::Announce;
using ::testing::ElementsAre;
using testing::FakePoller;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::NamesOf;
using testing::PollerBoard;
using vorn::testing::TurnLoop;
using vorn::testing::TurnLoopFor;
using vorn::testing::TurnLoopUntil;
using State = SupervisedDeviceList::State;
using List = std::vector<ExtendedDeviceInfo>;
using namespace std::chrono_literals;

// A supervised list on a scripted network; the test acts as its monitor.
class SupervisedDeviceListTest : public ::testing::Test {
 protected:
  explicit SupervisedDeviceListTest(std::chrono::milliseconds retryTime = SupervisedDeviceList::kRetryTime) {
    SupervisedDeviceList::Makers makers;
    makers.retryTime = retryTime;
    makers.now = [this] {
      ++fTimerSets;
      return vorn::Clock::now() + fAhead;
    };
    makers.list = [this](SupervisedDeviceList::Publish publish) {
      ++fBuilt;
      if (fOnBuild) fOnBuild();
      if (fRefuse) throw std::runtime_error("no thread left");
      return std::make_unique<PollingDeviceList>(std::move(publish), fNetwork, FakePollers());
    };
    makers.monitor = [this](vorn::ResponderMonitor::Callback report) {
      fReport = std::move(report);
      return std::unique_ptr<vorn::ResponderMonitor>();
    };
    fList = std::make_unique<SupervisedDeviceList>([this](List list) { fPublished.push_back(NamesOf(list)); },
                                                   [this](State state) { fStates.push_back(state); }, makers);
  }

  ~SupervisedDeviceListTest() override { fList.reset(); }

  // Pollers that show each unit by its announced name.
  PollingDeviceList::Makers FakePollers() {
    PollingDeviceList::Makers makers;
    makers.now = [this] { return fNow; };
    makers.firmwarePoller = [this](const std::string&, const std::string&, std::function<void()>) {
      ++fModelsAsked;
      return testing::SilentFirmwarePoller();
    };
    makers.poller = [this](Entry entry, const std::shared_ptr<const LocalHosts>&) {
      auto poller = std::make_unique<FakePoller>(std::move(entry), fBoard);
      poller->SayName(poller->GetEntry().name);
      return poller;
    };
    return makers;
  }

  // A report of the monitor that reaches the list's thread.
  void Report(State state) {
    std::thread([&] { fReport(state); }).join();
    TurnLoop();
  }

  // How often browsing has begun.
  std::ptrdiff_t Browses() {
    const auto begun = fNetwork.Begun();
    return std::count(begun.begin(), begun.end(), "browse");
  }

  // The responder answers and names a unit, which is shown.
  void ShowDesk() {
    Report(State::kAnswering);
    Announce(fNetwork, {"desk", {"vorn.mdns.type=plexadevice", "uid=1"}});
    TurnLoop();
    ASSERT_THAT(fPublished.back(), ElementsAre("desk"));
  }

  // The engine stops by itself.
  void EndBrowsing() {
    const std::size_t handled = fNetwork.Handled().size();
    fNetwork.processError = kDNSServiceErr_Unknown;
    fNetwork.ReplyBrowse(0, "", 0, kDNSServiceErr_Unknown);
    EXPECT_TRUE(fNetwork.WaitForHandled(handled + 1));
    fNetwork.processError = kDNSServiceErr_NoError;
  }

  vorn::testing::ScriptedDNSSD fNetwork;
  PollerBoard fBoard;
  vorn::Clock::time_point fNow{};  // the hold's clock
  vorn::Clock::duration fAhead{};  // the retry timer's clock, against the system's
  int fTimerSets = 0;              // how often the retry timer was set
  int fBuilt = 0;
  int fModelsAsked = 0;
  bool fRefuse = false;
  std::function<void()> fOnBuild;  // called at each attempt to make the list
  vorn::ResponderMonitor::Callback fReport;
  std::vector<std::vector<std::string>> fPublished;
  std::vector<State> fStates;
  std::unique_ptr<SupervisedDeviceList> fList;
};

TEST_F(SupervisedDeviceListTest, MakesNothingBeforeTheResponderAnswers) {
  TurnLoop();
  Report(State::kAbsent);
  Report(State::kSilent);
  EXPECT_EQ(fBuilt, 0);
  EXPECT_THAT(fPublished, IsEmpty());
}

TEST_F(SupervisedDeviceListTest, BrowsesWhenTheResponderAnswers) {
  Report(State::kAbsent);
  ShowDesk();
  EXPECT_EQ(fBuilt, 1);
  EXPECT_EQ(Browses(), 1);
}

TEST_F(SupervisedDeviceListTest, WhetherTheUpdateServerIsAskedHoldsForALaterListToo) {
  fList->CheckForUpdates(false);
  ShowDesk();
  fBoard.alive.front()->SayModel(std::string("24ai"));
  TurnLoop();
  EXPECT_EQ(fModelsAsked, 0);
  fList->CheckForUpdates(true);
  TurnLoop();
  EXPECT_EQ(fModelsAsked, 1);
}

TEST_F(SupervisedDeviceListTest, ReportsEachChangeOfStateOnItsOwnThread) {
  Report(State::kAbsent);
  Report(State::kAnswering);
  Report(State::kSilent);
  Report(State::kAnswering);
  EXPECT_THAT(fStates, ElementsAre(State::kAbsent, State::kAnswering, State::kSilent, State::kAnswering));
}

TEST_F(SupervisedDeviceListTest, OneListBrowsesAnewWheneverAResponderAnswersAgain) {
  ShowDesk();
  Report(State::kAbsent);
  EXPECT_EQ(Browses(), 1);
  Report(State::kAnswering);
  Report(State::kSilent);
  Report(State::kAnswering);
  EXPECT_EQ(Browses(), 3);
  EXPECT_EQ(fBuilt, 1);
  EXPECT_THAT(fPublished.back(), ElementsAre("desk"));
  EXPECT_THAT(fBoard.events, ElementsAre("made http://unit.local/"));
}

TEST_F(SupervisedDeviceListTest, BrowsesAnewWhenAnotherResponderTakesOver) {
  Report(State::kAnswering);
  std::thread([&] {  // both before the loop turns
    fReport(State::kAbsent);
    fReport(State::kAnswering);
  })
      .join();
  TurnLoop();
  EXPECT_EQ(Browses(), 2);
  EXPECT_THAT(fStates, ElementsAre(State::kAnswering));
}

TEST_F(SupervisedDeviceListTest, ResponderThatCameAndWentBeforeTheLoopTurnedIsUsedOnItsReturn) {
  std::thread([&] {
    fReport(State::kAnswering);
    fReport(State::kAbsent);
  }).join();
  TurnLoop();
  EXPECT_EQ(fBuilt, 0);
  Report(State::kAnswering);
  EXPECT_EQ(Browses(), 1);
}

TEST_F(SupervisedDeviceListTest, UnitThatIsNotNamedAgainGoesAfterFiveSecondsOfAnAnsweringResponder) {
  const auto pass = [this](State state, std::chrono::milliseconds time) {
    Report(state);
    fNow += time;
    TurnLoop();
  };
  ShowDesk();
  for (int i = 0; i < 4; ++i) {
    pass(State::kAbsent, 100s);
    pass(State::kAnswering, 1200ms);
  }
  pass(State::kSilent, 100s);
  EXPECT_THAT(fPublished.back(), ElementsAre("desk"));
  pass(State::kAnswering, 200ms);
  pass(State::kSilent, 100s);
  Report(State::kAnswering);
  EXPECT_TRUE(TurnLoopUntil([&] { return fPublished.back().empty(); }));
}

class SupervisedDeviceListRetryTest : public SupervisedDeviceListTest {
 protected:
  static constexpr std::chrono::milliseconds kShortRetry{5};
  SupervisedDeviceListRetryTest() : SupervisedDeviceListTest(kShortRetry) {}

  // Turns the loop until the list has checked twice that browsing continues.
  [[nodiscard]] bool PassRetryTime() {
    return TurnLoopUntil([this, before = fTimerSets] { return fTimerSets >= before + 2; });
  }

  std::ptrdiff_t BrowseCalls() {
    const auto calls = fNetwork.Calls();
    return std::count_if(calls.begin(), calls.end(),
                         [](const std::string& call) { return call.starts_with("browse"); });
  }
};

TEST_F(SupervisedDeviceListRetryTest, ListThatCannotBeMadeIsTriedAgain) {
  fRefuse = true;
  ::testing::internal::CaptureStderr();
  Report(State::kAnswering);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("no thread left"));
  EXPECT_EQ(fBuilt, 1);
  fRefuse = false;
  EXPECT_TRUE(TurnLoopUntil([&] { return fBuilt == 2; }));
  EXPECT_EQ(Browses(), 1);
}

TEST_F(SupervisedDeviceListRetryTest, RefusalToBrowseIsTriedAgainAndReportedOnce) {
  const auto count = [](const std::string& console) {
    int lines = 0;
    for (auto at = console.find("starting again"); at != std::string::npos;
         at = console.find("starting again", at + 1))
      ++lines;
    return lines;
  };
  ::testing::internal::CaptureStderr();
  fNetwork.browseError = kDNSServiceErr_Unknown;
  Report(State::kAnswering);
  EXPECT_TRUE(TurnLoopUntil([&] { return BrowseCalls() > 3; }));
  EXPECT_EQ(Browses(), 0);
  EXPECT_EQ(count(::testing::internal::GetCapturedStderr()), 1);

  fNetwork.browseError = kDNSServiceErr_NoError;
  EXPECT_TRUE(TurnLoopUntil([&] { return Browses() == 1; }));
  ASSERT_TRUE(PassRetryTime());  // it succeeded
  ::testing::internal::CaptureStderr();
  EndBrowsing();
  EXPECT_TRUE(TurnLoopUntil([&] { return Browses() == 2; }));
  EXPECT_EQ(count(::testing::internal::GetCapturedStderr()), 1) << "another failure";
}

TEST_F(SupervisedDeviceListRetryTest, TheTimeToTheNextAttemptCountsFromTheEndOfTheLast) {
  fRefuse = true;
  fAhead = -1h;
  fOnBuild = [&] { fAhead = 1h; };  // as with a responder that does not answer
  ::testing::internal::CaptureStderr();
  Report(State::kAnswering);
  TurnLoopFor(0ms);
  EXPECT_EQ(fBuilt, 1);
  ::testing::internal::GetCapturedStderr();
}

TEST_F(SupervisedDeviceListRetryTest, BrowsingThatEndsUnderAnAnsweringResponderBeginsAnew) {
  ShowDesk();
  EndBrowsing();
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(TurnLoopUntil([&] { return Browses() == 2; }));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("starting again"));
  TurnLoop();
  EXPECT_THAT(fPublished.back(), ElementsAre("desk"));
  EXPECT_THAT(fBoard.events, ElementsAre("made http://unit.local/"));
}

TEST_F(SupervisedDeviceListRetryTest, BrowsingThatEndsWithTheResponderBeginsAnewWhenItAnswers) {
  ShowDesk();
  Report(State::kSilent);
  EndBrowsing();
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(PassRetryTime());
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), IsEmpty());
  EXPECT_EQ(Browses(), 1);
  Report(State::kAnswering);
  EXPECT_EQ(Browses(), 2);
}

TEST_F(SupervisedDeviceListRetryTest, ListThatBrowsesIsLeftAlone) {
  Report(State::kAnswering);
  EXPECT_TRUE(PassRetryTime());
  EXPECT_EQ(Browses(), 1);
}

TEST_F(SupervisedDeviceListRetryTest, BrowseThatWaitsForASlowResponderIsLeftAlone) {
  fNetwork.browseHasBegun = false;
  ::testing::internal::CaptureStderr();
  Report(State::kAnswering);
  EXPECT_TRUE(PassRetryTime());
  EXPECT_EQ(BrowseCalls(), 1);
  fNetwork.browseHasBegun = true;
  EXPECT_TRUE(PassRetryTime());
  EXPECT_EQ(BrowseCalls(), 1);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST_F(SupervisedDeviceListRetryTest, BrowseThatASlowResponderRefusesAtLastBeginsAnew) {
  fNetwork.browseHasBegun = false;
  Report(State::kAnswering);
  EndBrowsing();
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(TurnLoopUntil([&] { return Browses() == 2; }));
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("starting again"));
}

TEST_F(SupervisedDeviceListTest, DestructionEndsTheListToo) {
  ShowDesk();
  fPublished.clear();
  fList.reset();
  EXPECT_THAT(fBoard.alive, IsEmpty());
  TurnLoop();
  EXPECT_THAT(fPublished, IsEmpty());
}

TEST(SupervisedDeviceListStateTest, WorksWithoutCallbacks) {
  SupervisedDeviceList::Makers makers;
  vorn::ResponderMonitor::Callback report;
  vorn::testing::ScriptedDNSSD network;
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

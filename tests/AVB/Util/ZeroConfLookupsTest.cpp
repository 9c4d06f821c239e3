// The engine's look-ups: how many are pending, which ones wait, which ones lose their place.

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

#include "tests/AVB/Util/ZeroConfEngineFixture.h"
#include "tests/support/Eventually.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;
using testing::Advance;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using testing::TxtBytes;

std::atomic<int> gLooks{0};

// While a look-up waits for a place, the engine reads the clock twice in each cycle.
Clock::time_point CountingNow() {
  ++gLooks;
  return testing::FakeNow();
}

class ZeroConfLookupsTest : public testing::ZeroConfEngineTest {
 protected:
  void AddInstances(int count, int from = 0) {
    for (int i = from; i < count; ++i) fDnssd.ReplyAdd("u" + std::to_string(i));
  }

  // Instances up to that number, none of which answers, with places for all that may be open; "u0" a
  // millisecond before all others.
  void AddSilentInstances(int count) {
    AddInstances(1);
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    LetPass(milliseconds(1));
    for (int i = 1; i < count; i += kBeginning - 1) {
      AddInstances(std::min(count, i + kBeginning - 1), i);
      LetPass(ZeroConfEngine::kBeginningTime);
    }
  }

  // Until the engine has done what that time allows.
  void LetPass(milliseconds time) {
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    Advance(time);
    fPassed += time;
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }

  std::ptrdiff_t TimesBegun(const std::string& operation) {
    return std::ranges::count(fDnssd.Begun(), operation);
  }

  // Advances the time, in steps of the starting time, until that look-up was started this often.
  bool PassTimeUntilBegun(const std::string& operation, std::ptrdiff_t times = 1) {
    for (int i = 0; i < 200 && TimesBegun(operation) < times; ++i) LetPass(ZeroConfEngine::kBeginningTime);
    return TimesBegun(operation) >= times;
  }

  static constexpr int kBeginning = ZeroConfEngine::kMaxBeginning;
  static constexpr int kOpen = ZeroConfEngine::kMaxOpen;
  milliseconds fPassed{0};
};

TEST_F(ZeroConfLookupsTest, NoMoreThanFortyEightLookupsBeginAtATimeAndTheRestWaitsInOrder) {
  Browse();
  AddInstances(60);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(fDnssd.Begun().size(), 49U);  // and the browse
  fDnssd.ReplyResolve("u5", "h.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("address h.local."));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  // The look-up of the address took the resolve's place.
  EXPECT_EQ(fDnssd.Begun().size(), 50U);
  fDnssd.ReplyAddress("h.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(fDnssd.Begun().size(), 51U);
}

TEST_F(ZeroConfLookupsTest, AnUnansweredLookupLeavesItsPlaceAfterAQuarterOfASecondAndStaysOpen) {
  Browse();
  AddInstances(60);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  Advance(ZeroConfEngine::kBeginningTime - milliseconds(1));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(TimesBegun("resolve u48"), 0);
  Advance(milliseconds(1));
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u59"));
  EXPECT_THAT(fDnssd.Released(), ::testing::IsEmpty());
  // The old ones still get their answers.
  fDnssd.ReplyResolve("u0", "h0.local.");
  fDnssd.ReplyAddress("h0.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("u0"));
}

TEST_F(ZeroConfLookupsTest, ANewcomerBeginsAtOnceBesideHundredsThatNeverAnswer) {
  Browse();
  AddSilentInstances(300);
  fDnssd.ReplyAdd("good");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());  // no time has passed
  fDnssd.ReplyResolve("good", "good.local.");
  fDnssd.ReplyAddress("good.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("good"));
}

TEST_F(ZeroConfLookupsTest, EveryServiceIsResolvedHoweverManyWait) {
  Browse();
  constexpr int kServices = 150;
  AddInstances(kServices);
  std::vector<std::string> expected;
  for (int i = 0; i < kServices; ++i) {
    const std::string host = "h" + std::to_string(i) + ".local.";
    fDnssd.ReplyResolve("u" + std::to_string(i), host.c_str());
    fDnssd.ReplyAddress(host);
    expected.push_back("u" + std::to_string(i));
  }
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(Names(), expected);
  // While an address look-up takes over a place, its resolve is still there.
  EXPECT_LE(fDnssd.MostPendingLookups(), ZeroConfEngine::kMaxBeginning + 1);
}

TEST_F(ZeroConfLookupsTest, ARemovalFindsAWaitingInstance) {
  Browse();
  AddInstances(50);
  fDnssd.ReplyRemove("u48");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
  fDnssd.ReplyRemove("u0");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u49"));
  EXPECT_THAT(fDnssd.Begun(), ::testing::Not(::testing::Contains("resolve u48")));
}

TEST_F(ZeroConfLookupsTest, AtFourHundredAndEightyOpenTheOldestGiveWayAfterFiveSecondsAndComeBackLater) {
  Browse();
  AddSilentInstances(kOpen);
  EXPECT_EQ(std::ssize(fDnssd.Begun()), kOpen + 1);
  fDnssd.ReplyAdd("late");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  LetPass(ZeroConfEngine::kOpenTime - fPassed - milliseconds(1));
  EXPECT_EQ(TimesBegun("resolve late"), 0);
  EXPECT_THAT(fDnssd.Released(), ::testing::IsEmpty());

  Advance(milliseconds(1));
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve late"));
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve u0"));

  // The one that lost its place starts again when a place is free.
  fDnssd.ReplyResolve("late", "late.local.");
  fDnssd.ReplyAddress("late.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u0", 2));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("late"));
  fDnssd.ReplyResolve("u0", "h0.local.", 80, TxtBytes({"k=v"}));
  fDnssd.ReplyAddress("h0.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("u0", "late"));
}

TEST_F(ZeroConfLookupsTest, ThoseThatWereNeverLookedUpComeBeforeThoseThatGaveWay) {
  Browse();
  AddSilentInstances(kOpen + 2 * kBeginning);
  ASSERT_TRUE(PassTimeUntilBegun("resolve u" + std::to_string(kOpen + 2 * kBeginning - 1)));
  for (int i = kOpen; i < kOpen + 2 * kBeginning; ++i) {
    EXPECT_EQ(TimesBegun("resolve u" + std::to_string(i)), 1);
  }
  EXPECT_LE(fDnssd.MostPendingLookups(), ZeroConfEngine::kMaxOpen);
  // Now many that lost their place wait; a new one starts before them.
  fDnssd.ReplyAdd("new");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  const auto before = fDnssd.Begun().size();
  ASSERT_TRUE(PassTimeUntilBegun("resolve new"));
  EXPECT_EQ(fDnssd.Begun().at(before), "resolve new");
}

TEST_F(ZeroConfLookupsTest, AnUnansweredAddressLookupStartsAgainAsAnAddressLookup) {
  Browse();
  AddInstances(1);
  fDnssd.ReplyResolve("u0", "h0.local.", 80, TxtBytes({"k=v"}));
  ASSERT_TRUE(fDnssd.WaitForBegun("address h0.local."));
  AddSilentInstances(kOpen + 1);  // "u0" for the second time among them
  ASSERT_TRUE(PassTimeUntilBegun("resolve u" + std::to_string(kOpen)));
  ASSERT_TRUE(fDnssd.WaitForReleased("address h0.local."));
  ASSERT_TRUE(PassTimeUntilBegun("address h0.local.", 2));
  fDnssd.ReplyAddress("h0.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  const auto service = OnlyService();
  EXPECT_EQ(service.name, "u0");
  EXPECT_THAT(service.txt, SizeIs(1));
}

TEST_F(ZeroConfLookupsTest, ALookupThatReportedAnErrorIsNeverBegunAgain) {
  Browse();
  AddInstances(2);
  fDnssd.ReplyResolve("u0", nullptr, 0, {}, kDNSServiceErr_Unknown);
  fDnssd.ReplyResolve("u1", "h1.local.");
  fDnssd.ReplyAddress("h1.local.", "10.0.0.1", kDNSServiceFlagsAdd, kDNSServiceErr_Unknown);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  AddSilentInstances(kOpen + kBeginning);  // two of them also have the names "u0" and "u1"
  ASSERT_TRUE(PassTimeUntilBegun("resolve u2", 3));
  EXPECT_EQ(TimesBegun("address h1.local."), 1);
  // What was started for the others of the same name was not started for these.
  EXPECT_EQ(TimesBegun("resolve u2"), TimesBegun("resolve u0") - 1);
  EXPECT_EQ(TimesBegun("resolve u2"), TimesBegun("resolve u1") - 1);
}

TEST_F(ZeroConfLookupsTest, ALookupThatReportedAnErrorTakesNoPlace) {
  Browse();
  AddInstances(50);
  fDnssd.ReplyResolve("u0", nullptr, 0, {}, kDNSServiceErr_Unknown);
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(TimesBegun("resolve u49"), 0);
}

TEST_F(ZeroConfLookupsTest, LookupsThatReportErrorsDoNotPileUpAtTheResponder) {
  Browse();
  for (int i = 0; i < 2 * kOpen; ++i) {
    const std::string name = "u" + std::to_string(i);
    const std::string host = "h" + std::to_string(i) + ".local.";
    fDnssd.ReplyAdd(name);
    if (i % 2 == 0) {
      fDnssd.ReplyResolve(name, nullptr, 0, {}, kDNSServiceErr_Unknown);
    } else {
      fDnssd.ReplyResolve(name, host.c_str());
      fDnssd.ReplyAddress(host, "10.0.0.1", kDNSServiceFlagsAdd, kDNSServiceErr_Unknown);
    }
  }
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_LE(fDnssd.MostPendingLookups(), ZeroConfEngine::kMaxBeginning + 1);
  EXPECT_EQ(fDnssd.Released().size(), 3U * kOpen);  // every lookup
}

TEST_F(ZeroConfLookupsTest, AnExceptionInStartingAWaitingLookupOnlyPutsItOff) {
  std::atomic<int> failures{3};
  fDnssd.onResolve = [&](const std::string& name) -> DNSServiceErrorType {
    if (name == "u48" && failures-- > 0) throw std::bad_alloc();
    return kDNSServiceErr_NoError;
  };
  Browse();
  AddInstances(50);
  fDnssd.ReplyRemove("u0");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));
  EXPECT_LT(failures, 0);
  fDnssd.ReplyRemove("u1");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u49"));
  fDnssd.ReplyResolve("u48", "h48.local.");
  fDnssd.ReplyAddress("h48.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("u48"));
  fEngine.reset();  // before what its thread calls
}

TEST_F(ZeroConfLookupsTest, AnInstanceThatWaitedAndIsRefusedIsDropped) {
  fDnssd.onResolve = [](const std::string& name) {
    return name == "u48" ? kDNSServiceErr_Unknown : kDNSServiceErr_NoError;
  };
  Browse();
  AddInstances(50);
  fDnssd.ReplyRemove("u0");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u49"));  // the next one got the place
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
  fDnssd.ReplyRemove("u48");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_FALSE(fEngine->TestAndClearModified());
}

TEST_F(ZeroConfLookupsTest, AnInstanceThatGaveWayAndIsRefusedStays) {
  std::atomic<int> asked{0};
  fDnssd.onResolve = [&](const std::string& name) {
    return name == "u0" && ++asked > 1 ? kDNSServiceErr_Unknown : kDNSServiceErr_NoError;
  };
  Browse();
  AddSilentInstances(kOpen + 1);
  LetPass(ZeroConfEngine::kOpenTime - fPassed);
  EXPECT_EQ(TimesBegun("resolve u" + std::to_string(kOpen)), 1);  // in u0's place
  EXPECT_EQ(asked, 1);
  fDnssd.ReplyRemove("u1");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(asked, 2);
  EXPECT_TRUE(fEngine->TestAndClearModified());
  fDnssd.ReplyRemove("u0");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
  fEngine.reset();  // before what its thread calls
}

TEST_F(ZeroConfLookupsTest, WakesInTimeForThePlaceThatABeginnerLeaves) {
  MakeEngine(CountingNow);
  Browse();
  AddInstances(49);
  LetPass(ZeroConfEngine::kBeginningTime - milliseconds(1));
  const int before = gLooks;
  // One cycle in each millisecond, with two looks each; ten times a second would take a hundred.
  EXPECT_TRUE(testing::Eventually([&] { return gLooks >= before + 2000; }));
}

TEST_F(ZeroConfLookupsTest, WakesTenTimesASecondWhenNothingComes) {
  MakeEngine(CountingNow);
  Browse();
  AddInstances(49);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  const auto start = Clock::now();
  const int before = gLooks;
  EXPECT_TRUE(testing::Eventually([&] { return gLooks >= before + 22; }, std::chrono::seconds(6)));
  EXPECT_GE(Clock::now() - start,
            milliseconds(1000));  // the first of the eleven may have been running already
}

}  // namespace
}  // namespace vorn

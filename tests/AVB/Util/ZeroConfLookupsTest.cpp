// The engine's lookups: how many are pending, who waits, who gives way.

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

#include "tests/AVB/Util/ZeroConfEngineFixture.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using test::Advance;
using test::TxtBytes;
using ::testing::ElementsAre;
using ::testing::SizeIs;

std::atomic<int> gCycles{0};

// While somebody waits for a place, the engine looks at the clock once a cycle.
steady_clock::time_point CountingNow() {
  ++gCycles;
  return test::FakeNow();
}

class ZeroConfLookupsTest : public test::ZeroConfEngineTest {
 protected:
  void AddInstances(int count, int from = 0) {
    for (int i = from; i < count; ++i) fDnssd.ReplyAdd("u" + std::to_string(i));
  }

  // Instances up to that number, "u0" a millisecond before all others.
  void AddInstancesOneByItself(int count) {
    AddInstances(1);
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    Advance(milliseconds(1));
    AddInstances(count, 1);
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }
};

TEST_F(ZeroConfLookupsTest, NoMoreThanFortyEightLookupsArePendingAndTheRestWaitsInOrder) {
  Browse();
  AddInstances(60);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(49U, fDnssd.Begun().size());  // and the browse
  fDnssd.ReplyResolve("u5", "h.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("address h.local."));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  // The look-up of the address took over the resolve's place.
  EXPECT_EQ(50U, fDnssd.Begun().size());
  fDnssd.ReplyAddress("h.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(51U, fDnssd.Begun().size());
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
  EXPECT_EQ(expected, Names());
  // While an address look-up takes over a place, its resolve is still there.
  EXPECT_LE(fDnssd.MostPendingLookups(), ZeroConfEngine::kMaxInFlight + 1);
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

TEST_F(ZeroConfLookupsTest, UnansweredLookupsGiveWayAfterFiveSecondsAndComeBackLater) {
  Browse();
  AddInstancesOneByItself(49);
  Advance(milliseconds(4998));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(fDnssd.Begun(), ::testing::Not(::testing::Contains("resolve u48")));

  Advance(milliseconds(1));
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));
  EXPECT_THAT(fDnssd.Released(), ElementsAre("resolve u0"));

  // The one that gave way went to the back; it starts again when a place is free.
  fDnssd.ReplyResolve("u48", "h48.local.");
  fDnssd.ReplyAddress("h48.local.");
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u0", 2));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("u48"));
  fDnssd.ReplyResolve("u0", "h0.local.", 80, TxtBytes({"k=v"}));
  fDnssd.ReplyAddress("h0.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("u0", "u48"));
}

TEST_F(ZeroConfLookupsTest, AnUnansweredAddressLookupStartsAgainAsAnAddressLookup) {
  Browse();
  AddInstances(49);
  fDnssd.ReplyResolve("u0", "h0.local.", 80, TxtBytes({"k=v"}));
  ASSERT_TRUE(fDnssd.WaitForReleased("resolve u0"));
  Advance(std::chrono::seconds(6));
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  // Its turn to give way comes after that of look-ups begun before it.
  for (int i = 0; i < 10 && !::testing::Value(fDnssd.Released(), ::testing::Contains("address h0.local."));
       ++i) {
    Advance(std::chrono::seconds(6));
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }
  ASSERT_TRUE(fDnssd.WaitForReleased("address h0.local."));
  for (int i = 0; i < 60 && std::ranges::count(fDnssd.Begun(), std::string("address h0.local.")) < 2; ++i) {
    Advance(std::chrono::seconds(6));
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }
  ASSERT_TRUE(fDnssd.WaitForBegun("address h0.local.", 2));
  fDnssd.ReplyAddress("h0.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  const auto service = OnlyService();
  EXPECT_EQ("u0", service.name);
  EXPECT_THAT(service.txt, SizeIs(1));
}

TEST_F(ZeroConfLookupsTest, AServiceIsFoundBehindFortyEightThatNeverAnswer) {
  Browse();
  for (int i = 0; i < 100; ++i) fDnssd.ReplyAdd("silent" + std::to_string(i));
  fDnssd.ReplyAdd("good");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  for (int i = 0; i < 3 && !::testing::Value(fDnssd.Begun(), ::testing::Contains("resolve good")); ++i) {
    Advance(std::chrono::seconds(5));
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }
  fDnssd.ReplyResolve("good", "good.local.");
  fDnssd.ReplyAddress("good.local.");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(Names(), ElementsAre("good"));
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
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u49"));  // the place was the next one's
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
  AddInstancesOneByItself(49);
  Advance(milliseconds(4999));
  ASSERT_TRUE(fDnssd.WaitForBegun("resolve u48"));  // in u0's place
  EXPECT_EQ(1, asked);
  fDnssd.ReplyRemove("u1");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_EQ(2, asked);
  EXPECT_TRUE(fEngine->TestAndClearModified());
  fDnssd.ReplyRemove("u0");
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->TestAndClearModified());
  fEngine.reset();  // before what its thread calls
}

TEST_F(ZeroConfLookupsTest, WakesTenTimesASecondWhenNothingComes) {
  MakeEngine(CountingNow);
  Browse();
  AddInstances(49);
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  const auto start = steady_clock::now();
  const int before = gCycles;
  while (gCycles < before + 11 && steady_clock::now() - start < std::chrono::seconds(30)) {
    std::this_thread::sleep_for(milliseconds(5));
  }
  const auto elapsed = steady_clock::now() - start;
  EXPECT_GE(elapsed, milliseconds(1000));  // the first of the eleven may have been under way
  EXPECT_LT(elapsed, std::chrono::seconds(6));
}

}  // namespace
}  // namespace vorn

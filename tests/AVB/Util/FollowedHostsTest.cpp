#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <string>
#include <vector>

#include "AVB/Util/FollowedHosts.h"
#include "tests/AVB/Util/ZeroConfEngineFixture.h"
#include "tests/support/Eventually.h"

namespace vorn {
namespace {

using testing::Advance;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::Eventually;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr DNSServiceFlags kRemoved = 0;
constexpr DNSServiceFlags kAdded = kDNSServiceFlagsAdd;

std::string Host(int number) {
  return "host-" + std::to_string(1000 + number) + ".local";
}

// An engine that browses and follows "desk.local".
class FollowedHostsTest : public testing::ZeroConfEngineTest {
 protected:
  void SetUp() override {
    ZeroConfEngineTest::SetUp();
    Browse();
    fEngine->Follow({"desk.local"});
    ASSERT_TRUE(fDnssd.WaitForBegun("follow desk.local."));
  }

  void Tell(const std::string& address, DNSServiceFlags flags = kAdded, std::uint32_t interfaceIndex = 7) {
    fDnssd.ReplyFollowed("desk.local.", address, flags, interfaceIndex);
    ASSERT_TRUE(fDnssd.WaitUntilIdle());
  }

  std::vector<std::string> Addresses(const std::string& host = "desk.local") {
    return fEngine->FollowedAddresses()[host].addresses;
  }
};

TEST_F(FollowedHostsTest, AsksForAllInterfacesAndTheNameWithItsDot) {
  EXPECT_EQ(fDnssd.Calls().back(), "address 16384 | 0 | 1 | desk.local.");
}

TEST_F(FollowedHostsTest, NewestAddressComesFirstAndAGoneOneIsLeftOut) {
  EXPECT_THAT(Addresses(), IsEmpty());
  Tell("192.168.1.1");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.1"));
  Tell("192.168.1.2");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2", "192.168.1.1"));
  Tell("192.168.1.1", kRemoved);
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2"));
}

TEST_F(FollowedHostsTest, ChangeWakesTheClientAndIsNoChangeOfTheServices) {
  ResolveFully("Desk", "desk.local.");
  EXPECT_TRUE(fEngine->TestAndClearModified());
  EXPECT_TRUE(ClientWoken());
  Tell("192.168.1.1");
  EXPECT_TRUE(ClientWoken());
  EXPECT_FALSE(fEngine->TestAndClearModified());
  Tell("192.168.1.1");  // nothing new
  EXPECT_FALSE(ClientWoken());
  EXPECT_EQ(OnlyService().address, "192.168.1.20");
}

TEST_F(FollowedHostsTest, LastAddressStaysUntilThereIsAnother) {
  Tell("192.168.1.1");
  Tell("192.168.1.1", kRemoved);
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.1"));
  Tell("192.168.1.2");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2"));
}

TEST_F(FollowedHostsTest, AddressOnTwoInterfacesGoesWithTheSecondAndIsNoNewerOnIt) {
  Tell("192.168.1.1", kAdded, 2);
  Tell("192.168.1.2", kAdded, 2);
  Tell("192.168.1.1", kAdded, 3);
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2", "192.168.1.1"));
  Tell("192.168.1.1", kRemoved, 2);
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2", "192.168.1.1"));
  Tell("192.168.1.1", kRemoved, 3);
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2"));
}

TEST_F(FollowedHostsTest, AddressesAreCompleteASecondAfterTheFirst) {
  const auto isComplete = [this] { return fEngine->FollowedAddresses()["desk.local"].isComplete; };
  Advance(FollowedHosts::kCompleteTime);
  Tell("192.168.1.1");
  EXPECT_FALSE(isComplete());
  EXPECT_TRUE(ClientWoken());
  Advance(FollowedHosts::kCompleteTime);
  EXPECT_TRUE(Eventually(isComplete));
  EXPECT_TRUE(Eventually([&] { return ClientWoken(); }));
}

TEST_F(FollowedHostsTest, OnlyTheNewestAddressesOfAHostAreKept) {
  const auto count = static_cast<int>(FollowedHosts::kMaxAddresses);
  for (int i = 1; i <= count + 5; ++i) Tell("192.168.1." + std::to_string(i));
  EXPECT_THAT(Addresses(), SizeIs(FollowedHosts::kMaxAddresses));
  EXPECT_EQ(Addresses().front(), "192.168.1." + std::to_string(count + 5));
  Tell("192.168.1.1", kRemoved);  // forgotten already
  EXPECT_THAT(Addresses(), SizeIs(FollowedHosts::kMaxAddresses));
}

TEST_F(FollowedHostsTest, HostsThatAreNotAskedForAnyMoreAreReleasedAndOthersAreNot) {
  Tell("192.168.1.1");
  fEngine->Follow({"booth.local", "desk.local"});
  ASSERT_TRUE(fDnssd.WaitForBegun("follow booth.local."));
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.1"));
  fEngine->Follow({"booth.local"});
  ASSERT_TRUE(fDnssd.WaitForReleased("follow desk.local."));
  EXPECT_TRUE(Eventually([&] { return fEngine->FollowedAddresses().empty(); }));
  EXPECT_THAT(fDnssd.Released(), ElementsAre("follow desk.local."));
}

TEST_F(FollowedHostsTest, MoreHostsThanTheLimitAreNotFollowed) {
  std::vector<std::string> hosts;
  for (int i = 0; i < static_cast<int>(FollowedHosts::kMaxHosts) + 1; ++i) hosts.push_back(Host(i));
  const std::string last = hosts[FollowedHosts::kMaxHosts - 1];
  fEngine->Follow(hosts);
  ASSERT_TRUE(fDnssd.WaitForBegun("follow " + last + "."));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_THAT(fDnssd.Begun(), Not(Contains("follow " + hosts.back() + ".")));
}

TEST_F(FollowedHostsTest, HostsThatAreFollowedAlreadyComeBeforeOthersAtTheLimit) {
  std::vector<std::string> hosts{"desk.local"};
  for (int i = 0; i < static_cast<int>(FollowedHosts::kMaxHosts); ++i) hosts.push_back("a" + Host(i));
  std::sort(hosts.begin(), hosts.end());
  fEngine->Follow(hosts);
  const std::string last = hosts[FollowedHosts::kMaxHosts - 2];
  ASSERT_TRUE(fDnssd.WaitForBegun("follow " + last + "."));
  EXPECT_THAT(fDnssd.Released(), IsEmpty());
  EXPECT_THAT(fDnssd.Begun(), Not(Contains("follow " + hosts[FollowedHosts::kMaxHosts - 1] + ".")));
}

TEST_F(FollowedHostsTest, LookUpThatEndsWithAnErrorStartsAgainLaterAndKnownAddressesStay) {
  Tell("192.168.1.1");
  fDnssd.ReplyFollowed("desk.local.", "", kAdded, 7, kDNSServiceErr_Unknown);
  ASSERT_TRUE(fDnssd.WaitForReleased("follow desk.local."));
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.1"));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  EXPECT_TRUE(fEngine->IsBrowsing());
  Advance(FollowedHosts::kRetryTime);
  EXPECT_TRUE(fDnssd.WaitForBegun("follow desk.local.", 2));
  // Nobody knows whether it ended in the meantime; only the reports of the new look-up count.
  Tell("192.168.1.2");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2"));
}

TEST_F(FollowedHostsTest, LookUpThatIsRefusedIsTriedAgainLater) {
  fDnssd.onGetAddrInfo = [](const std::string&) { return kDNSServiceErr_Unknown; };
  fEngine->Follow({"booth.local", "desk.local"});
  const auto tries = [this] {
    const auto calls = fDnssd.Calls();
    return std::count(calls.begin(), calls.end(), "address 16384 | 0 | 1 | booth.local.");
  };
  EXPECT_TRUE(Eventually([&] { return tries() == 1; }));
  Advance(FollowedHosts::kRetryTime);
  EXPECT_TRUE(Eventually([&] { return tries() == 2; }));
  fDnssd.ReplyAdd("x");
  EXPECT_TRUE(fDnssd.WaitForBegun("resolve x"));
}

TEST_F(FollowedHostsTest, NewcomersThatWaitDelayNoFollowingForEver) {
  constexpr int kNewcomers = ZeroConfEngine::kMaxBeginning + 1;
  for (int i = 0; i < kNewcomers; ++i) fDnssd.ReplyAdd(Host(i));
  ASSERT_TRUE(fDnssd.WaitUntilIdle());
  fEngine->Follow({"booth.local", "desk.local"});  // the clock stops: the last new service still waits
  EXPECT_TRUE(fDnssd.WaitForBegun("follow booth.local."));
  EXPECT_THAT(fDnssd.Begun(), Not(Contains("resolve " + Host(kNewcomers - 1))));
}

TEST_F(FollowedHostsTest, NoMoreLookUpsAreBegunAtATimeThanMayBe) {
  testing::ScriptedDNSSD library;
  FollowedHosts followed(library, testing::FakeNow, [] {});
  followed.Follow({"a.local", "b.local", "c.local"});
  followed.Serve(1);
  EXPECT_THAT(library.Begun(), ElementsAre("follow a.local."));
  followed.Serve(1);
  EXPECT_THAT(library.Begun(), ElementsAre("follow a.local.", "follow b.local."));
  followed.Serve(FollowedHosts::kMaxHosts);
  EXPECT_THAT(library.Begun(), SizeIs(3));
  followed.Release();
}

TEST_F(FollowedHostsTest, RepliesOfTheBrowseComeBeforeThoseOfFollowedHosts) {
  std::latch entered{1};
  std::latch open{1};
  fDnssd.ReplyWith("browse", [&](DNSServiceRef, void*) {
    entered.count_down();
    open.wait();
  });
  entered.wait();
  fDnssd.ReplyFollowed("desk.local.", "192.168.1.1");
  fDnssd.ReplyAdd("a");
  open.count_down();
  ASSERT_TRUE(fDnssd.WaitForHandled(3));
  EXPECT_THAT(fDnssd.Handled(), ElementsAre("browse", "browse", "follow desk.local."));
}

TEST_F(FollowedHostsTest, EngineReleasesWhatItFollowsOnItsOwnThread) {
  Tell("192.168.1.1");
  fEngine.reset();
  EXPECT_THAT(fDnssd.Released(), Contains("follow desk.local."));
  EXPECT_THAT(fDnssd.Threads(), SizeIs(1));
  EXPECT_FALSE(fDnssd.Misused());
}

TEST_F(FollowedHostsTest, WhatIsKnownOutlivesBrowsing) {
  Tell("192.168.1.1");
  fDnssd.processError = kDNSServiceErr_Unknown;
  fDnssd.ReplyAdd("a");
  ASSERT_TRUE(Eventually([&] { return !fEngine->IsBrowsing(); }));
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.1"));
}

TEST_F(FollowedHostsTest, CallbackWithoutContextIsIgnored) {
  const auto reply = fDnssd.FollowReply();
  reply(nullptr, kAdded, 7, kDNSServiceErr_NoError, "desk.local.", nullptr, 0, nullptr);
  EXPECT_THAT(Addresses(), IsEmpty());
}

}  // namespace
}  // namespace vorn

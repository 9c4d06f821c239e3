#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "devicelist/Watcher.h"
#include "tests/devicelist/Announcements.h"
#include "tests/support/Threads.h"
#include "tests/support/TurnLoop.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using testing::Announce;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Service;
using testing::Withdraw;
using vorn::testing::TurnLoop;
using vorn::testing::TurnLoopUntil;

const std::vector<std::string> kDevice{"vorn.mdns.type=plexadevice", "uid=1"};

class OpenWatcher : public Watcher {
 public:
  using Watcher::AddressesOf;
  using Watcher::Hosts;
  using Watcher::Watcher;
};

class WatcherTest : public ::testing::Test {
 protected:
  // Installs a callback that keeps every list.
  void Listen() {
    fWatcher.OnDeviceListChange([this](std::vector<Entry> entries) { fLists.push_back(std::move(entries)); });
  }

  std::vector<std::string> LastUrls() {
    std::vector<std::string> urls;
    if (fLists.empty()) return {"(no list)"};
    for (const Entry& entry : fLists.back()) urls.push_back(entry.url);
    return urls;
  }

  // Delivers what is due and returns the URLs of the last list.
  std::vector<std::string> Deliver() {
    TurnLoop();
    return LastUrls();
  }

  // The watcher's engine stops by itself.
  void EndBrowsing() {
    const std::size_t handled = fNetwork.Handled().size();
    fNetwork.processError = kDNSServiceErr_Unknown;
    fNetwork.ReplyBrowse(0, "", 0, kDNSServiceErr_Unknown);
    ASSERT_TRUE(fNetwork.WaitForHandled(handled + 1));
    fNetwork.processError = kDNSServiceErr_NoError;
    ASSERT_TRUE(TurnLoopUntil([&] { return fWatcher.HasBrowsingEnded(); }));
    TurnLoop();
  }

  vorn::testing::ScriptedDNSSD fNetwork;
  vorn::Clock::time_point fNow{};  // the hold's clock
  OpenWatcher fWatcher{fNetwork, [this] { return fNow; }};
  std::vector<std::vector<Entry>> fLists;
};

TEST_F(WatcherTest, BrowsesFromItsConstructionOn) {
  EXPECT_THAT(fNetwork.Begun(), ElementsAre("browse"));
}

TEST_F(WatcherTest, InstallingACallbackWhileIdleDeliversTheListOnce) {
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLists.empty(); }));
  EXPECT_THAT(fLists[0], IsEmpty());
  TurnLoop();
  EXPECT_EQ(fLists.size(), 1U);
}

TEST_F(WatcherTest, CallbackNeverRunsInsideItsInstallation) {
  Listen();
  EXPECT_TRUE(fLists.empty());
}

TEST_F(WatcherTest, AnotherCallbackGetsTheFullListAgain) {
  Announce(fNetwork, {"Desk", kDevice, "desk.local."});
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return fLists.size() == 1; }));
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return fLists.size() == 2; }));
  EXPECT_THAT(LastUrls(), ElementsAre("http://desk.local/"));
}

TEST_F(WatcherTest, ResolvedServiceIsDelivered) {
  Listen();
  Announce(fNetwork, {"Desk", kDevice, "desk.local.", 8080});
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLists.empty() && !fLists.back().empty(); }));
  EXPECT_TRUE(
      (fLists.back()[0] == Entry{std::string("Desk"), "plexadevice", "http://desk.local:8080/", "1"}));
}

TEST_F(WatcherTest, RemovalIsDelivered) {
  Announce(fNetwork, {"Desk", kDevice});
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLists.empty() && fLists.back().size() == 1; }));
  Withdraw(fNetwork, "Desk");
  EXPECT_TRUE(TurnLoopUntil([&] { return fLists.back().empty(); }));
}

TEST_F(WatcherTest, ServicesOfOneUrlAreListedOnceByTheFirstResolved) {
  Announce(fNetwork, {"First", kDevice});
  Announce(fNetwork, {"Second", kDevice});
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLists.empty(); }));
  ASSERT_EQ(fLists.back().size(), 1U);
  EXPECT_EQ(*fLists.back()[0].name, "First");
}

TEST_F(WatcherTest, ChangesBeforeTheLoopTurnsGiveOneUpdate) {
  Listen();
  for (const char* name : {"a", "b", "c"}) {
    Announce(fNetwork, {name, kDevice, std::string(name) + ".local."});
  }
  TurnLoop();
  EXPECT_EQ(fLists.size(), 1U);
  EXPECT_THAT(LastUrls(), ElementsAre("http://a.local/", "http://b.local/", "http://c.local/"));
}

TEST_F(WatcherTest, ChangeWithoutCallbackIsConsumed) {
  Announce(fNetwork, {"Desk", kDevice});
  TurnLoop();
  Listen();
  TurnLoop();
  EXPECT_EQ(fLists.size(), 1U);
  EXPECT_EQ(fLists[0].size(), 1U);
}

TEST_F(WatcherTest, EmptyCallbackEndsTheDeliveries) {
  Listen();
  fWatcher.OnDeviceListChange({});
  Announce(fNetwork, {"Desk", kDevice});
  TurnLoop();
  EXPECT_THAT(fLists, IsEmpty());
}

TEST_F(WatcherTest, CallbackThatThrowsLeavesTheWatcherUsable) {
  fWatcher.OnDeviceListChange([](std::vector<Entry>) { throw std::runtime_error("callback"); });
  TurnLoop();
  Listen();  // would wait for ever if a mutex were still locked
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLists.empty(); }));
}

TEST_F(WatcherTest, CallbackMayBeInstalledFromAnotherThreadAndRunsOnTheWatchers) {
  std::thread::id ranOn;
  std::thread([&] {
    fWatcher.OnDeviceListChange([&](std::vector<Entry>) { ranOn = std::this_thread::get_id(); });
  }).join();
  EXPECT_TRUE(TurnLoopUntil([&] { return ranOn != std::thread::id(); }));
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(WatcherTest, AddressesOfLocalHostsAreKnownBeforeTheListIsDelivered) {
  Announce(fNetwork, {"Desk", kDevice, "desk.local.", 80, "192.168.1.33"});
  std::vector<std::string> addresses;
  fWatcher.OnDeviceListChange(
      [&](std::vector<Entry>) { addresses = fWatcher.Hosts()->AddressesOf("desk.local"); });
  EXPECT_TRUE(TurnLoopUntil([&] { return !addresses.empty(); }));
  EXPECT_THAT(addresses, ElementsAre("192.168.1.33"));
}

TEST_F(WatcherTest, AnnouncementPinsNoHostOfAnotherKind) {
  Announce(fNetwork, {"Evil", kDevice, "updates.vorn.example.", 80, "192.168.1.66"});
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return !fLists.empty(); }));
  EXPECT_THAT(fWatcher.Hosts()->AddressesOf("updates.vorn.example"), IsEmpty());
  EXPECT_THAT(fWatcher.Hosts()->AddressesOf("updates.vorn.example."), IsEmpty());
}

TEST_F(WatcherTest, WithdrawnHostLosesItsAddress) {
  Announce(fNetwork, {"Desk", kDevice, "desk.local."});
  Listen();
  EXPECT_TRUE(TurnLoopUntil([&] { return !fWatcher.Hosts()->AddressesOf("desk.local").empty(); }));
  Withdraw(fNetwork, "Desk");
  EXPECT_TRUE(TurnLoopUntil([&] { return fWatcher.Hosts()->AddressesOf("desk.local").empty(); }));
}

// A watcher that has listed a unit, whose host it follows.
class WatcherAddressTest : public WatcherTest {
 protected:
  WatcherAddressTest() {
    Announce(fNetwork, {"Desk", kDevice, "Desk.local.", 80, "192.168.1.1"});
    Listen();
    EXPECT_THAT(Deliver(), ElementsAre("http://Desk.local/"));
    EXPECT_TRUE(fNetwork.WaitForBegun("follow desk.local."));
  }

  void Tell(const std::string& address, DNSServiceFlags flags = kDNSServiceFlagsAdd) {
    fNetwork.ReplyFollowed("desk.local.", address, flags);
    ASSERT_TRUE(fNetwork.WaitUntilIdle());
    TurnLoop();
  }

  // The addresses that the units' clients get.
  std::vector<std::string> Addresses() { return fWatcher.Hosts()->AddressesOf("Desk.local"); }
  [[nodiscard]] bool AddressesBecome(const std::vector<std::string>& addresses) {
    return TurnLoopUntil([&] { return Addresses() == addresses; });
  }
};

TEST_F(WatcherAddressTest, AddressesFollowTheHostAndNoListIsDelivered) {
  Tell("192.168.1.1");
  Tell("192.168.1.2");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2", "192.168.1.1"));
  Tell("192.168.1.1", 0);
  EXPECT_TRUE(AddressesBecome({"192.168.1.2"}));
  EXPECT_EQ(fLists.size(), 1U);
}

TEST_F(WatcherAddressTest, ResolvedAddressStaysUntilTheHostHasToldAllOfIts) {
  Tell("192.168.1.2");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2", "192.168.1.1"));
  EXPECT_TRUE(AddressesBecome({"192.168.1.2"}));
}

TEST_F(WatcherAddressTest, FreshEngineFollowsToo) {
  Tell("192.168.1.2");
  ASSERT_TRUE(AddressesBecome({"192.168.1.2"}));
  fWatcher.BrowseAnew();
  TurnLoop();
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.2"));
  ASSERT_TRUE(fNetwork.WaitForBegun("follow desk.local.", 2));
  Tell("192.168.1.3");
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.3", "192.168.1.2"));
  EXPECT_TRUE(AddressesBecome({"192.168.1.3"}));
}

TEST_F(WatcherAddressTest, AddressResolvedByTheFreshEngineComesBeforeThatOfBefore) {
  fWatcher.BrowseAnew();
  Announce(fNetwork, {"Desk", kDevice, "Desk.local.", 80, "192.168.1.9"});
  TurnLoop();
  EXPECT_THAT(Addresses(), ElementsAre("192.168.1.9", "192.168.1.1"));
}

TEST_F(WatcherAddressTest, HostOfAUnitThatLeftIsFollowedNoMore) {
  Withdraw(fNetwork, "Desk");
  TurnLoop();
  EXPECT_TRUE(fNetwork.WaitForReleased("follow desk.local."));
  EXPECT_THAT(Addresses(), IsEmpty());
}

TEST_F(WatcherAddressTest, HostIsFollowedInWhateverCaseItsDomainIsWritten) {
  Announce(fNetwork, {"Box", kDevice, "Box.Local.", 80, "192.168.1.5"});
  TurnLoop();
  ASSERT_TRUE(fNetwork.WaitForBegun("follow box.local."));
  fNetwork.ReplyFollowed("box.local.", "192.168.1.6");
  ASSERT_TRUE(fNetwork.WaitUntilIdle());
  TurnLoop();
  EXPECT_THAT(fWatcher.Hosts()->AddressesOf("Box.Local."), ElementsAre("192.168.1.6", "192.168.1.5"));
}

TEST_F(WatcherAddressTest, OnlyLocalHostsOfUnitsAreFollowed) {
  Announce(fNetwork, {"Printer", {}, "printer.local."});
  Announce(fNetwork, {"Far", kDevice, "far.example."});
  Announce(fNetwork, {"Last", kDevice, "last.local."});
  TurnLoop();
  ASSERT_TRUE(fNetwork.WaitForBegun("follow last.local."));
  for (const std::string& call : fNetwork.Begun()) {
    EXPECT_THAT(call, ::testing::AnyOf(::testing::Not(::testing::StartsWith("follow")), "follow desk.local.",
                                       "follow last.local."));
  }
}

// A watcher that has listed two units and has started to browse again.
class WatcherAnewTest : public WatcherTest {
 protected:
  WatcherAnewTest() {
    Announce(fNetwork, kDesk);
    Announce(fNetwork, kRack);
    Listen();
    EXPECT_THAT(Deliver(), ElementsAre("http://desk.local/", "http://rack.local/2/"));
    fWatcher.BrowseAnew();
  }

  const Service kDesk{"Desk", kDevice, "desk.local.", 80, "192.168.1.1"};
  const Service kRack{"Rack", {"vorn.mdns.type=plexahost", "uid_list=2"}, "rack.local.", 80, "192.168.1.2"};
};

TEST_F(WatcherAnewTest, TheOldEngineGoesBeforeTheFreshOneBrowses) {
  EXPECT_THAT(fNetwork.Released(), ::testing::Contains("browse"));
  EXPECT_EQ(fNetwork.Calls().back(), fNetwork.Calls().front());
  EXPECT_TRUE(fWatcher.IsBrowsing());
  EXPECT_FALSE(fNetwork.Misused());
}

TEST_F(WatcherAnewTest, WhatTheFreshEngineNamesComesFirstAndWhatIsHeldBehindIt) {
  EXPECT_THAT(Deliver(), ElementsAre("http://desk.local/", "http://rack.local/2/"));
  Announce(fNetwork, kRack);
  EXPECT_THAT(Deliver(), ElementsAre("http://rack.local/2/", "http://desk.local/"));
  Announce(fNetwork, {"New", {"vorn.mdns.type=plexadevice", "uid=3"}, "new.local."});
  EXPECT_THAT(Deliver(), ElementsAre("http://rack.local/2/", "http://new.local/", "http://desk.local/"));
}

TEST_F(WatcherAnewTest, RemovalOfWhatWasNamedAgainCountsAtOnce) {
  Announce(fNetwork, kDesk);
  TurnLoop();
  Withdraw(fNetwork, "Desk");
  EXPECT_THAT(Deliver(), ElementsAre("http://rack.local/2/"));
}

TEST_F(WatcherAnewTest, OfTwoServicesWithOneUrlTheOneNamedAnewIsListed) {
  Announce(fNetwork, {"Other", {"vorn.mdns.type=plexaswitch", "uid=9"}, "desk.local."});
  EXPECT_THAT(Deliver(), ElementsAre("http://desk.local/", "http://rack.local/2/"));
  EXPECT_EQ(*fLists.back()[0].name, "Other");
}

TEST_F(WatcherAnewTest, HostsOfHeldUnitsKeepTheirAddresses) {
  TurnLoop();
  EXPECT_THAT(fWatcher.Hosts()->AddressesOf("desk.local"), ElementsAre("192.168.1.1"));
}

TEST_F(WatcherAnewTest, WhatIsNotNamedGoesWhenTheHoldTimeIsOver) {
  Announce(fNetwork, kRack);
  fNow += HeldServices::kHoldTime - 100ms;
  fWatcher.PauseHold();
  fWatcher.BrowseAnew();
  TurnLoop();
  EXPECT_EQ(fLists.back().size(), 2U);
  fNow += 100ms;
  fWatcher.BrowseAnew();
  EXPECT_TRUE(TurnLoopUntil([&] { return LastUrls() == std::vector<std::string>{"http://rack.local/2/"}; }));
}

TEST_F(WatcherAnewTest, NoTimeCountsWhileNobodyBrowses) {
  EndBrowsing();
  fNow += 100s;
  fNetwork.browseError = kDNSServiceErr_Unknown;
  fWatcher.BrowseAnew();
  EXPECT_FALSE(fWatcher.IsBrowsing());
  fNow += 100s;
  {
    const vorn::testing::NoThreadsLeft none;
    fNetwork.browseError = kDNSServiceErr_NoError;
    EXPECT_THROW(fWatcher.BrowseAnew(), std::system_error);
  }
  EXPECT_FALSE(fWatcher.IsBrowsing());
  EXPECT_TRUE(fWatcher.HasBrowsingEnded());
  fNow += 100s;
  EXPECT_EQ(Deliver().size(), 2U);
  fWatcher.BrowseAnew();
  EXPECT_TRUE(fWatcher.IsBrowsing());
  EXPECT_EQ(Deliver().size(), 2U);
}

TEST_F(WatcherAnewTest, TimeCountsOnceASlowResponderHasAcceptedTheBrowse) {
  fNetwork.browseHasBegun = false;
  fWatcher.BrowseAnew();
  EXPECT_FALSE(fWatcher.IsBrowsing());
  EXPECT_FALSE(fWatcher.HasBrowsingEnded());
  fNow += 100s;
  EXPECT_EQ(Deliver().size(), 2U);
  fNetwork.browseHasBegun = true;
  EXPECT_TRUE(TurnLoopUntil([&] { return fWatcher.IsBrowsing(); }));
  EXPECT_EQ(Deliver().size(), 2U);
  fNow += HeldServices::kHoldTime;
  Announce(fNetwork, kRack);
  EXPECT_TRUE(TurnLoopUntil([&] { return LastUrls() == std::vector<std::string>{"http://rack.local/2/"}; }));
}

TEST_F(WatcherTest, ChangeThatTheOldEngineKnewOfIsDelivered) {
  Listen();
  Announce(fNetwork, {"Desk", kDevice, "desk.local."});
  fWatcher.BrowseAnew();
  EXPECT_THAT(Deliver(), ElementsAre("http://desk.local/"));
}

TEST_F(WatcherTest, ServicesThatAnnounceNoUnitsAreNotHeld) {
  Announce(fNetwork, {"Printer", {"uid=1"}, "printer.local."});
  Listen();
  fWatcher.BrowseAnew();
  EXPECT_THAT(Deliver(), IsEmpty());
  EXPECT_THAT(fWatcher.Hosts()->AddressesOf("printer.local"), IsEmpty());
}

TEST(WatcherWithoutResponderTest, DeliversAnEmptyList) {
  vorn::testing::ScriptedDNSSD network;
  network.browseError = kDNSServiceErr_Unknown;
  network.browseGivesReference = false;
  Watcher watcher(network);
  bool delivered = false;
  watcher.OnDeviceListChange([&](const std::vector<Entry>& entries) { delivered = entries.empty(); });
  EXPECT_TRUE(TurnLoopUntil([&] { return delivered; }));
}

TEST_F(WatcherTest, HostOutsideLocalIsAtItsLastAnnouncedAddress) {
  Listen();
  Announce(fNetwork, {"Desk", kDevice, "desk.vorn.example.", 80, "10.0.0.1"});
  TurnLoop();
  EXPECT_THAT(fWatcher.AddressesOf("http://desk.vorn.example/"), ElementsAre("10.0.0.1"));
  fWatcher.BrowseAnew();
  TurnLoop();
  EXPECT_THAT(fWatcher.AddressesOf("http://desk.vorn.example/"), ElementsAre("10.0.0.1"));
  Announce(fNetwork, {"Desk", kDevice, "desk.vorn.example.", 80, "10.0.0.2"});
  TurnLoop();
  EXPECT_THAT(fWatcher.AddressesOf("http://desk.vorn.example/"), ElementsAre("10.0.0.2"));
}

}  // namespace
}  // namespace DeviceList

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "devicelist/http/LocalHosts.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST(LocalHostsTest, KnowsALocalHostByItsLastLabel) {
  for (const char* host : {"a.local", "A.LOCAL", "a.local.", "a.b.Local"})
    EXPECT_TRUE(LocalHosts::IsLocal(host)) << host;
  for (const char* host :
       {"", "local", ".local", "alocal", "a.local.example", "a.localx", "a.local..", "127.0.0.1"})
    EXPECT_FALSE(LocalHosts::IsLocal(host)) << host;
}

TEST(LocalHostsTest, GivesTheAddressesOfAHostInAnySpelling) {
  LocalHosts hosts;
  hosts.Replace({{"Studio-A.local", {"192.0.2.1", "192.0.2.2"}}});
  EXPECT_THAT(hosts.AddressesOf("studio-a.LOCAL"), ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_THAT(hosts.AddressesOf("studio-a.local."), ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_THAT(hosts.AddressesOf("studio-b.local"), IsEmpty());
}

TEST(LocalHostsTest, NeverTakesAnotherKindOfHost) {
  LocalHosts hosts;
  hosts.Replace({{"updates.vorn.example", {"192.0.2.1"}}, {"localhost", {"192.0.2.1"}}, {"", {"192.0.2.1"}}});
  EXPECT_THAT(hosts.AddressesOf("updates.vorn.example"), IsEmpty());
  EXPECT_THAT(hosts.AddressesOf("localhost"), IsEmpty());
  EXPECT_THAT(hosts.AddressesOf(""), IsEmpty());
}

TEST(LocalHostsTest, LeavesOutWhatIsNoAddress) {
  LocalHosts hosts;
  hosts.Replace(
      {{"a.local", {"", "x", "1.2.3", "1.2.3.4,5.6.7.8", "1.2.3.4\0"s, "::1", "256.1.1.1", "192.0.2.9"}}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), ElementsAre("192.0.2.9"));
}

TEST(LocalHostsTest, PutsSpellingsOfOneHostTogetherAndKeepsAFew) {
  LocalHosts hosts;
  hosts.Replace({{"A.local", {"192.0.2.1", "192.0.2.2"}}, {"a.local", {"192.0.2.2", "192.0.2.3"}}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
  std::vector<std::string> many;
  for (int i = 1; i < 100; ++i) many.push_back("192.0.2." + std::to_string(i));
  hosts.Replace({{"a.local", many}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), SizeIs(LocalHosts::kMaxAddresses));
}

TEST(LocalHostsTest, ForgetsHostsThatTheNewTableLacks) {
  LocalHosts hosts;
  hosts.Replace({{"a.local", {"192.0.2.1"}}});
  hosts.Replace({{"b.local", {"192.0.2.2"}}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), IsEmpty());
  EXPECT_THAT(hosts.AddressesOf("b.local"), ElementsAre("192.0.2.2"));
}

TEST(LocalHostsTest, TellsNamesApartByMoreThanCaseAndFinalDot) {
  EXPECT_TRUE(LocalHosts::IsSameName("Studio-A.local", "studio-a.LOCAL."));
  EXPECT_FALSE(LocalHosts::IsSameName("studio-a.local", "studio-b.local"));
  EXPECT_FALSE(LocalHosts::IsSameName("studio-a.local", "studio-a.local.."));
}

class LocalHostsSubscriptionTest : public ::testing::Test {
 protected:
  /// How often the listener of "studio-a.local" was called since last asked.
  int Calls() { return std::exchange(fCalls, 0); }

  int fCalls = 0;
  const std::shared_ptr<LocalHosts> fHosts = std::make_shared<LocalHosts>();
  std::unique_ptr<LocalHosts::Subscription> fSubscription =
      std::make_unique<LocalHosts::Subscription>(fHosts, "Studio-A.local.", [this] { ++fCalls; });
};

TEST_F(LocalHostsSubscriptionTest, LearnsOfEachChangeOfItsHost) {
  fHosts->Replace({{"studio-a.local", {"192.0.2.1"}}});
  EXPECT_EQ(Calls(), 1);
  fHosts->Replace({{"studio-a.local", {"192.0.2.1", "192.0.2.2"}}});
  EXPECT_EQ(Calls(), 1);
  fHosts->Replace({{"studio-a.local", {"192.0.2.2"}}});
  EXPECT_EQ(Calls(), 1);
  fHosts->Replace({});
  EXPECT_EQ(Calls(), 1);
}

TEST_F(LocalHostsSubscriptionTest, LearnsNothingOfOtherHostsAndOfNoChange) {
  fHosts->Replace({{"studio-a.local", {"192.0.2.1"}}, {"studio-b.local", {"192.0.2.2"}}});
  EXPECT_EQ(Calls(), 1);
  fHosts->Replace({{"studio-a.local", {"192.0.2.1"}}, {"studio-b.local", {"192.0.2.3"}}});
  fHosts->Replace({{"a.local", {"192.0.2.4"}}, {"studio-a.local", {"192.0.2.1"}}});
  fHosts->Replace({{"STUDIO-A.local.", {"192.0.2.1", "x"}}, {"z.local", {"192.0.2.4"}}});
  EXPECT_EQ(Calls(), 0);
}

TEST_F(LocalHostsSubscriptionTest, LearnsOfOneChangeAmongMany) {
  LocalHosts::Table table;
  for (const char* host : {"r.local", "s.local", "studio-a.local", "t.local"}) table[host] = {"192.0.2.1"};
  fHosts->Replace(table);
  EXPECT_EQ(Calls(), 1);
  table.erase("s.local");
  table["t.local"] = {"192.0.2.9"};
  table["u.local"] = {"192.0.2.9"};
  fHosts->Replace(table);
  EXPECT_EQ(Calls(), 0);
  table["studio-a.local"] = {"192.0.2.9"};
  fHosts->Replace(table);
  EXPECT_EQ(Calls(), 1);
}

TEST_F(LocalHostsSubscriptionTest, EndsWithItsObjectWhileOthersGoOn) {
  int others = 0;
  const LocalHosts::Subscription other(fHosts, "studio-a.local", [&others] { ++others; });
  fSubscription.reset();
  fHosts->Replace({{"studio-a.local", {"192.0.2.1"}}});
  EXPECT_EQ(Calls(), 0);
  EXPECT_EQ(others, 1);
}

TEST_F(LocalHostsSubscriptionTest, MayBeginAndEndWhileTheTableChanges) {
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    for (int i = 0; !stop; ++i) fHosts->Replace({{"b.local", {"192.0.2." + std::to_string(i % 200)}}});
  });
  for (int i = 0; i < 1000; ++i) {
    bool alive = true;  // a late call would read it, and the sanitizers would find that
    const LocalHosts::Subscription subscription(fHosts, "b.local", [&alive] { EXPECT_TRUE(alive); });
  }
  stop = true;
  writer.join();
}

}  // namespace
}  // namespace DeviceList

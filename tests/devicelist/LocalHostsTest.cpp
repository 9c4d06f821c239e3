#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "devicelist/LocalHosts.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST(LocalHosts, KnowsALocalHostByItsLastLabel) {
  for (const char* host : {"a.local", "A.LOCAL", "a.local.", "a.b.Local"})
    EXPECT_TRUE(LocalHosts::IsLocal(host)) << host;
  for (const char* host :
       {"", "local", ".local", "alocal", "a.local.example", "a.localx", "a.local..", "127.0.0.1"})
    EXPECT_FALSE(LocalHosts::IsLocal(host)) << host;
}

TEST(LocalHosts, GivesTheAddressesOfAHostInAnySpelling) {
  LocalHosts hosts;
  hosts.Replace({{"Studio-A.local", {"192.0.2.1", "192.0.2.2"}}});
  EXPECT_THAT(hosts.AddressesOf("studio-a.LOCAL"), ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_THAT(hosts.AddressesOf("studio-a.local."), ElementsAre("192.0.2.1", "192.0.2.2"));
  EXPECT_THAT(hosts.AddressesOf("studio-b.local"), IsEmpty());
}

TEST(LocalHosts, NeverTakesAnotherKindOfHost) {
  LocalHosts hosts;
  hosts.Replace({{"updates.vorn.example", {"192.0.2.1"}}, {"localhost", {"192.0.2.1"}}, {"", {"192.0.2.1"}}});
  EXPECT_THAT(hosts.AddressesOf("updates.vorn.example"), IsEmpty());
  EXPECT_THAT(hosts.AddressesOf("localhost"), IsEmpty());
  EXPECT_THAT(hosts.AddressesOf(""), IsEmpty());
}

TEST(LocalHosts, LeavesOutWhatIsNoAddress) {
  LocalHosts hosts;
  hosts.Replace(
      {{"a.local", {"", "x", "1.2.3", "1.2.3.4,5.6.7.8", "1.2.3.4\0"s, "::1", "256.1.1.1", "192.0.2.9"}}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), ElementsAre("192.0.2.9"));
}

TEST(LocalHosts, PutsSpellingsOfOneHostTogetherAndKeepsAFew) {
  LocalHosts hosts;
  hosts.Replace({{"A.local", {"192.0.2.1", "192.0.2.2"}}, {"a.local", {"192.0.2.2", "192.0.2.3"}}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
  std::vector<std::string> many;
  for (int i = 1; i < 100; ++i) many.push_back("192.0.2." + std::to_string(i));
  hosts.Replace({{"a.local", many}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), SizeIs(LocalHosts::kMaxAddresses));
}

TEST(LocalHosts, ForgetsHostsThatTheNewTableLacks) {
  LocalHosts hosts;
  hosts.Replace({{"a.local", {"192.0.2.1"}}});
  hosts.Replace({{"b.local", {"192.0.2.2"}}});
  EXPECT_THAT(hosts.AddressesOf("a.local"), IsEmpty());
  EXPECT_THAT(hosts.AddressesOf("b.local"), ElementsAre("192.0.2.2"));
}

}  // namespace
}  // namespace DeviceList

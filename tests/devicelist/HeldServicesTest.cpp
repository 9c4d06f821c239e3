#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "devicelist/HeldServices.h"

namespace DeviceList {
namespace {

using Service = HeldServices::Service;
using Names = std::vector<std::string>;

using namespace std::chrono_literals;

constexpr HeldServices::Time kBegin(1000s);
constexpr auto kTime = HeldServices::kHoldTime;

Service Device(const std::string& name, const std::string& uid, const std::string& host = "unit.local") {
  Service service;
  service.name = name;
  service.type = "_http._tcp.";
  service.domain = "local.";
  service.host = host;
  service.address = "192.168.1.20";
  service.port = 80;
  service.txt = {{"vorn.mdns.type", "plexadevice"}, {"uid", uid}};
  return service;
}

Service WithPort(Service service, std::uint16_t port) {
  service.port = port;
  return service;
}

Service Host(const std::string& name, const std::string& uids, const std::string& host) {
  Service service = Device(name, "", host);
  service.txt = {{"vorn.mdns.type", "plexahost"}, {"uid_list", uids}};
  return service;
}

Service WithKind(Service service, const std::string& kind) {
  service.txt[0].value = kind;
  return service;
}

// "name host:port" of each, in order.
Names Merged(HeldServices& held, HeldServices::Services fresh) {
  Names names;
  for (const Service& service : held.Merge(std::move(fresh))) {
    names.push_back(service.name + " " + service.host + ":" + std::to_string(service.port));
  }
  return names;
}

const Service kDesk = Device("Desk", "1", "desk.local");
const Service kRack = Device("Rack", "2", "rack.local");

HeldServices Holding(HeldServices::Services services) {
  HeldServices held;
  held.Hold(std::move(services), kBegin);
  held.Run(kBegin);
  return held;
}

TEST(HeldServicesTest, HoldsNothingToBeginWith) {
  HeldServices held;
  held.Run(kBegin);
  EXPECT_FALSE(held.NextDue());
  EXPECT_FALSE(held.ReleaseDue(kBegin + kTime));
  EXPECT_EQ(Merged(held, {kDesk}), Names{"Desk desk.local:80"});
}

TEST(HeldServicesTest, WhatIsHeldComesBehindWhatIsNamed) {
  HeldServices held = Holding({kDesk});
  EXPECT_EQ(Merged(held, {}), Names{"Desk desk.local:80"});
  EXPECT_EQ(Merged(held, {kRack}), (Names{"Rack rack.local:80", "Desk desk.local:80"}));
}

TEST(HeldServicesTest, WhatIsNamedIsLetGoOfForGood) {
  HeldServices held = Holding({kDesk, kRack});
  EXPECT_EQ(Merged(held, {kDesk}), (Names{"Desk desk.local:80", "Rack rack.local:80"}));
  EXPECT_EQ(Merged(held, {}), Names{"Rack rack.local:80"});
}

TEST(HeldServicesTest, AnotherAddressIsStillTheSameService) {
  HeldServices held = Holding({kDesk});
  Service moved = kDesk;
  moved.address = "192.168.1.21";
  const auto merged = held.Merge({moved});
  ASSERT_EQ(merged.size(), 1U);
  EXPECT_EQ(merged[0].address, "192.168.1.21");
}

TEST(HeldServicesTest, BothRecordsOfAServiceOnTwoInterfacesAreLetGoOfWithTheFirst) {
  HeldServices held = Holding({kDesk, kDesk});
  EXPECT_EQ(Merged(held, {kDesk}), Names{"Desk desk.local:80"});
  EXPECT_EQ(Merged(held, {}), Names{});
}

TEST(HeldServicesTest, ServiceWithAnotherPortHostOrUidTakesThePlaceOfTheHeldOne) {
  for (const Service& changed :
       {WithPort(kDesk, 8080), Device("Desk", "1", "new.local"), Device("Desk", "9", "desk.local")}) {
    HeldServices held = Holding({kDesk, kRack});
    EXPECT_EQ(Merged(held, {changed}).size(), 2U);
    EXPECT_EQ(Merged(held, {}), Names{"Rack rack.local:80"});
  }
}

TEST(HeldServicesTest, ServiceOfTheSameKindAndUidTakesThePlaceOfTheHeldOne) {
  HeldServices held = Holding({kDesk, kRack});
  EXPECT_EQ(Merged(held, {Device("Desk 2", "1", "desk-2.local")}),
            (Names{"Desk 2 desk-2.local:80", "Rack rack.local:80"}));
}

TEST(HeldServicesTest, BothRecordsOfAServiceOnTwoInterfacesGiveWayToTheOneWithTheirUid) {
  HeldServices held = Holding({kDesk, kRack, kDesk});
  EXPECT_EQ(Merged(held, {Device("Desk 2", "1", "desk-2.local")}),
            (Names{"Desk 2 desk-2.local:80", "Rack rack.local:80"}));
}

TEST(HeldServicesTest, HostWithTheSameUidsTakesThePlaceOfTheHeldOne) {
  HeldServices held = Holding({Host("Rack", "a1:a2", "rack.local"), Host("Other", "b1", "other.local")});
  EXPECT_EQ(Merged(held, {Host("Rack 2", "a1:a2", "rack-2.local")}),
            (Names{"Rack 2 rack-2.local:80", "Other other.local:80"}));
}

TEST(HeldServicesTest, ServiceOfAnotherKindOrWithoutUidTakesNoOthersPlace) {
  HeldServices held = Holding({kDesk, Device("Plain", "", "plain.local")});
  EXPECT_EQ(
      Merged(held, {WithKind(Device("Switch", "1", "s.local"), "plexaswitch"), Device("New", "", "n.local")})
          .size(),
      4U);
}

TEST(HeldServicesTest, ServiceOfBeforeTakesNoOthersPlace) {
  const Service twin = Device("Twin", "1", "twin.local");  // with the uid of the first
  const Service elsewhere = WithPort(kDesk, 8080);         // of one name, on another link
  HeldServices held = Holding({kDesk, twin, elsewhere});
  for (int update = 0; update < 2; ++update) {
    EXPECT_EQ(Merged(held, {kDesk}),
              (Names{"Desk desk.local:80", "Twin twin.local:80", "Desk desk.local:8080"}));
  }
}

TEST(HeldServicesTest, LetsGoOfAServiceWhenItsTimeIsOverAndNotBefore) {
  HeldServices held = Holding({kDesk});
  ASSERT_TRUE(held.NextDue());
  EXPECT_EQ(*held.NextDue(), kBegin + kTime);
  EXPECT_FALSE(held.ReleaseDue(kBegin + kTime - 1ms));
  EXPECT_EQ(Merged(held, {}).size(), 1U);
  EXPECT_TRUE(held.ReleaseDue(kBegin + kTime));
  EXPECT_FALSE(held.ReleaseDue(kBegin + kTime));
  EXPECT_FALSE(held.NextDue());
  EXPECT_EQ(Merged(held, {}), Names{});
}

TEST(HeldServicesTest, TimeCountsOnlyWhileTheClockRuns) {
  HeldServices held;
  held.Hold({kDesk}, kBegin);
  EXPECT_FALSE(held.NextDue());
  EXPECT_FALSE(held.ReleaseDue(kBegin + 100s));
  held.Run(kBegin + 100s);
  held.Run(kBegin + 101s);  // it does already
  held.Pause(kBegin + 102s);
  held.Pause(kBegin + 200s);
  EXPECT_FALSE(held.NextDue());
  EXPECT_FALSE(held.ReleaseDue(kBegin + 300s));
  held.Run(kBegin + 300s);
  EXPECT_EQ(*held.NextDue(), kBegin + 300s + kTime - 2s);
  EXPECT_TRUE(held.ReleaseDue(kBegin + 300s + kTime - 2s));
}

TEST(HeldServicesTest, ServiceHeldAgainKeepsTheTimeThatItHasLeft) {
  HeldServices held = Holding({kDesk, kRack});
  for (int restart = 1; restart <= 4; ++restart) {
    held.Hold(held.Merge({kRack}), kBegin + std::chrono::seconds(restart));
    held.Run(kBegin + std::chrono::seconds(restart));
  }
  EXPECT_EQ(*held.NextDue(), kBegin + kTime);
  EXPECT_TRUE(held.ReleaseDue(kBegin + kTime));
  EXPECT_EQ(Merged(held, {}), Names{"Rack rack.local:80"});
  EXPECT_EQ(*held.NextDue(), kBegin + 4s + kTime);
}

TEST(HeldServicesTest, HoldReplacesWhatWasHeld) {
  HeldServices held = Holding({kDesk});
  held.Hold({kRack}, kBegin);
  EXPECT_EQ(Merged(held, {}), Names{"Rack rack.local:80"});
}

}  // namespace
}  // namespace DeviceList

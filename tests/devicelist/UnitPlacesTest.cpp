#include <gtest/gtest.h>

#include <string>

#include "devicelist/UnitPlaces.h"

namespace DeviceList {
namespace {

std::string AddressOf(std::size_t number) {
  return "10.0." + std::to_string(number / 256) + "." + std::to_string(number % 256);
}

UnitPlaces FullAddress(const std::string& address, bool givesWay) {
  UnitPlaces places;
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnitsAtAddress; ++i) places.Hold({address}, givesWay);
  return places;
}

TEST(UnitPlacesTest, GiveEachUnitAPlaceUpToTheBounds) {
  UnitPlaces places;
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnits; ++i)
    ASSERT_TRUE(places.Admit({AddressOf(i / UnitPlaces::kMaxUnitsAtAddress)}, false)) << i;
  EXPECT_FALSE(places.Admit({AddressOf(9999)}, true));
  EXPECT_FALSE(places.FullAddress());
}

TEST(UnitPlacesTest, RefuseAUnitAtAnAddressThatHasEnough) {
  UnitPlaces places = FullAddress("here", false);
  EXPECT_FALSE(places.Admit({"here"}, true));
  ASSERT_TRUE(places.FullAddress());
  EXPECT_EQ(*places.FullAddress(), "here");
  EXPECT_TRUE(places.Admit({"there"}, false));
}

TEST(UnitPlacesTest, CountAUnitAtEachOfItsAddresses) {
  UnitPlaces places;
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnitsAtAddress; ++i)
    ASSERT_TRUE(places.Admit({AddressOf(i), "shared"}, false));
  EXPECT_FALSE(places.Admit({"shared"}, false));
  EXPECT_FALSE(places.Admit({AddressOf(9999), "shared"}, false));
  EXPECT_EQ(*places.FullAddress(), "shared");
}

TEST(UnitPlacesTest, OldestUnitThatGivesWayLosesItsPlaceToANewcomer) {
  UnitPlaces places;
  places.Hold({"first"}, false);
  for (std::size_t i = 1; i < UnitPlaces::kMaxUnits; ++i) places.Hold({AddressOf(i)}, true);
  EXPECT_TRUE(places.Admit({"new"}, true));
  EXPECT_TRUE(places.Admit({"new"}, true));
  EXPECT_FALSE(places.HasLost(0));
  EXPECT_TRUE(places.HasLost(1));
  EXPECT_TRUE(places.HasLost(2));
  EXPECT_FALSE(places.HasLost(3));
  EXPECT_TRUE(places.WasFull());
  EXPECT_FALSE(places.FullAddress());
}

TEST(UnitPlacesTest, OneThatMayNotDisplaceWaits) {
  UnitPlaces places;
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnits; ++i) places.Hold({AddressOf(i)}, true);
  EXPECT_FALSE(places.Admit({"new"}, false));
  EXPECT_FALSE(places.HasLost(0));
  EXPECT_TRUE(places.WasFull());
}

TEST(UnitPlacesTest, NobodyGivesWayWhileThereIsRoom) {
  UnitPlaces places = FullAddress("here", true);
  EXPECT_TRUE(places.Admit({"there"}, true));
  EXPECT_FALSE(places.HasLost(0));
  EXPECT_FALSE(places.WasFull());
}

TEST(UnitPlacesTest, UnitAtAFullAddressOnlyDisplacesOneOfThatAddress) {
  UnitPlaces places;
  places.Hold({"elsewhere"}, true);
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnitsAtAddress; ++i) places.Hold({"here"}, i == 5);
  EXPECT_TRUE(places.Admit({"here"}, true));
  EXPECT_FALSE(places.HasLost(0));
  EXPECT_TRUE(places.HasLost(1 + 5));
  EXPECT_TRUE(places.WasFull());
  EXPECT_EQ(*places.FullAddress(), "here");
  EXPECT_FALSE(places.Admit({"here"}, true));
}

TEST(UnitPlacesTest, NobodyIsDisplacedForOneThatIsRefused) {
  UnitPlaces places;
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnitsAtAddress; ++i) places.Hold({"weak"}, true);
  for (std::size_t i = 0; i < UnitPlaces::kMaxUnitsAtAddress; ++i) places.Hold({"full"}, false);
  EXPECT_FALSE(places.Admit({"weak", "full"}, true));
  EXPECT_EQ(*places.FullAddress(), "full");
  EXPECT_FALSE(places.HasLost(0));
}

TEST(UnitPlacesTest, UnitsThatMoveToOneAddressLoseTheirPlacesBeyondItsBound) {
  UnitPlaces places = FullAddress("here", false);
  places.Hold({"here"}, false);
  places.Hold({"there"}, false);
  EXPECT_FALSE(places.HasLost(UnitPlaces::kMaxUnitsAtAddress - 1));
  EXPECT_TRUE(places.HasLost(UnitPlaces::kMaxUnitsAtAddress));
  EXPECT_FALSE(places.HasLost(UnitPlaces::kMaxUnitsAtAddress + 1));
}

}  // namespace
}  // namespace DeviceList

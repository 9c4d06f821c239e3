#include <gtest/gtest.h>

#include "devicelist/HostAlias.h"

namespace DeviceList {
namespace {

TEST(HostAlias, IsTheNameItselfForAnASCIIName) {
  EXPECT_EQ(HostAliasOf("studio-a.local"), "studio-a.local");
  EXPECT_EQ(HostAliasOf("Studio A.LOCAL"), "Studio A.LOCAL");
}

TEST(HostAlias, HoldsNoByteBeyondASCII) {
  EXPECT_EQ(HostAliasOf("b\xc3\xbchne.local"), "aliasb-c3-bchne.local");
  EXPECT_EQ(HostAliasOf("\xff"), "alias-ff");
}

TEST(HostAlias, NeverBeginsWithADash) {
  EXPECT_EQ(HostAliasOf("-a.local"), "alias-a.local");
  EXPECT_EQ(HostAliasOf("-"), "alias-");
}

}  // namespace
}  // namespace DeviceList

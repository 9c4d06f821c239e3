#include <gtest/gtest.h>
#include <linux/net_tstamp.h>

#include <optional>

#include "platform/linux/network/AVBCapabilityLinux.h"
#include "tests/platform/linux/network/FakeLinkTree.h"

namespace {

using Answer = vorn::AVBCapability::Answer;
using vorn::KernelLinks;

constexpr unsigned Bit(unsigned number) {
  return 1U << number;
}

ethtool_ts_info GoodStamping() {
  ethtool_ts_info stamping{};
  stamping.so_timestamping = SOF_TIMESTAMPING_TX_HARDWARE | SOF_TIMESTAMPING_RX_HARDWARE |
                             SOF_TIMESTAMPING_RAW_HARDWARE | SOF_TIMESTAMPING_TX_SOFTWARE;
  stamping.phc_index = 0;
  stamping.tx_types = Bit(HWTSTAMP_TX_OFF) | Bit(HWTSTAMP_TX_ON);
  stamping.rx_filters = Bit(HWTSTAMP_FILTER_NONE) | Bit(HWTSTAMP_FILTER_PTP_V2_EVENT);
  return stamping;
}

TEST(TimeStampingTest, IsEnoughWithHardwareStampsAndAClock) {
  EXPECT_TRUE(vorn::IsEnoughForAVB(GoodStamping()));
}

TEST(TimeStampingTest, IsNotEnoughWhenAnyStampIsMissing) {
  for (const unsigned missing :
       {SOF_TIMESTAMPING_TX_HARDWARE, SOF_TIMESTAMPING_RX_HARDWARE, SOF_TIMESTAMPING_RAW_HARDWARE}) {
    auto stamping = GoodStamping();
    stamping.so_timestamping &= ~missing;
    EXPECT_FALSE(vorn::IsEnoughForAVB(stamping)) << missing;
  }
}

TEST(TimeStampingTest, IsNotEnoughWithoutAClock) {
  auto stamping = GoodStamping();
  stamping.phc_index = -1;
  EXPECT_FALSE(vorn::IsEnoughForAVB(stamping));
}

TEST(TimeStampingTest, IsNotEnoughWhenSendingCannotBeStamped) {
  auto stamping = GoodStamping();
  stamping.tx_types = Bit(HWTSTAMP_TX_OFF);
  EXPECT_FALSE(vorn::IsEnoughForAVB(stamping));
}

TEST(TimeStampingTest, TakesEveryFilterThatCoversPTPOverEthernet) {
  for (const unsigned filter :
       {HWTSTAMP_FILTER_ALL, HWTSTAMP_FILTER_PTP_V2_EVENT, HWTSTAMP_FILTER_PTP_V2_L2_EVENT}) {
    auto stamping = GoodStamping();
    stamping.rx_filters = Bit(filter);
    EXPECT_TRUE(vorn::IsEnoughForAVB(stamping)) << filter;
  }
  for (const unsigned filter : {HWTSTAMP_FILTER_NONE, HWTSTAMP_FILTER_PTP_V1_L4_EVENT,
                                HWTSTAMP_FILTER_PTP_V2_L4_EVENT, HWTSTAMP_FILTER_PTP_V2_L2_SYNC}) {
    auto stamping = GoodStamping();
    stamping.rx_filters = Bit(filter);
    EXPECT_FALSE(vorn::IsEnoughForAVB(stamping)) << filter;
  }
}

class AVBCapabilityLinuxTest : public testing::Test {
 protected:
  Answer Query(const std::string& name) {
    vorn::AVBCapabilityLinux capability(KernelLinks(fTree.Root()),
                                        [this](const std::string&) { return fStamping; });
    return capability.Query(name);
  }

  FakeLinkTree fTree;
  std::optional<ethtool_ts_info> fStamping = GoodStamping();
};

TEST_F(AVBCapabilityLinuxTest, AnswersCapableWithThreeTransmitQueues) {
  fTree.Add("eth0", 2, 3);
  EXPECT_EQ(Query("eth0"), Answer::kCapable);
}

TEST_F(AVBCapabilityLinuxTest, AnswersTooFewQueuesBelowThat) {
  fTree.Add("eth0", 2, 2);
  EXPECT_EQ(Query("eth0"), Answer::kTooFewTransmitQueues);
}

TEST_F(AVBCapabilityLinuxTest, AnswersNoHardwareTimeStampingBeforeCountingQueues) {
  fTree.Add("eth0", 2, 1);
  fStamping = ethtool_ts_info{};
  EXPECT_EQ(Query("eth0"), Answer::kNoHardwareTimeStamping);
}

TEST_F(AVBCapabilityLinuxTest, AnswersWirelessWhateverElseIsThere) {
  fTree.Add("wlan0", 2, 4, "phy80211");
  fTree.Add("wlan1", 3, 4, "wireless");
  EXPECT_EQ(Query("wlan0"), Answer::kWireless);
  EXPECT_EQ(Query("wlan1"), Answer::kWireless);
}

TEST_F(AVBCapabilityLinuxTest, AnswersNoSuchInterfaceForOneThatIsGone) {
  fStamping = {};
  EXPECT_EQ(Query("eth0"), Answer::kNoSuchInterface);
}

TEST_F(AVBCapabilityLinuxTest, AsksNothingAboutTextsThatAreNoNames) {
  fTree.Add("eth0", 2, 3);
  const std::string nul("eth0\0", 5);
  for (const std::string& text : {std::string(), std::string("."), std::string(".."), std::string("../eth0"),
                                  std::string("a/b"), std::string("eth0:1"), std::string("eth 0"),
                                  std::string("eth0\n"), std::string("sixteencharacter"), nul}) {
    EXPECT_EQ(Query(text), Answer::kNoSuchInterface) << text;
  }
  EXPECT_TRUE(KernelLinks::IsName("fifteen-letters"));
}

TEST(KernelLinksTest, ListsNamesInTheOrderOfTheirIndexes) {
  FakeLinkTree tree;
  tree.Add("b", 10);
  tree.Add("a", 9);
  tree.Add("c", 100);
  std::ofstream(tree.Root() / "bonding_masters") << "\n";
  const auto names = KernelLinks(tree.Root()).NamesByIndex();
  ASSERT_TRUE(names);
  EXPECT_EQ(*names, (std::vector<std::string>{"a", "b", "c"}));
}

TEST(KernelLinksTest, TellsWhenThereIsNoTree) {
  EXPECT_FALSE(KernelLinks("/nonexistent").NamesByIndex());
  EXPECT_EQ(KernelLinks("/nonexistent").CountTransmitQueues("eth0"), 0U);
}

TEST(KernelLinksTest, CallsHardwareByTheBestThatIsKnown) {
  FakeLinkTree tree;
  tree.Add("eth0", 2);
  const KernelLinks links = tree.Links();
  const auto described = [&](const std::string& data) {
    tree.Describe(2, data);
    return links.HardwareDescription("eth0");
  };
  const std::string maker = "E:ID_VENDOR_FROM_DATABASE=Maker\n";
  const std::string model = "E:ID_MODEL_FROM_DATABASE=I210 Gigabit\n";
  EXPECT_EQ(described("S:net\nI:12\n"), "");
  EXPECT_EQ(described("S:net\n" + maker), "Maker");
  EXPECT_EQ(described(maker + model), "I210 Gigabit");
  EXPECT_EQ(described(maker + model + "E:ID_NET_LABEL_ONBOARD=NIC 1"), "NIC 1");
  EXPECT_EQ(described(maker + "E:ID_MODEL_FROM_DATABASE=\n"), "Maker");
  EXPECT_EQ(described("XE:ID_MODEL_FROM_DATABASE=x\nE:ID_MODEL_FROM_DATABASE_2=x\nE:ID_MODEL\n"), "");
  EXPECT_EQ(links.HardwareDescription("eth1"), "");
  EXPECT_EQ(links.HardwareDescription("../eth0"), "");
}

TEST(KernelLinksTest, TreatsADescriptionAsAStrangersText) {
  FakeLinkTree tree;
  tree.Add("eth0", 2);
  const auto described = [&](const std::string& value) {
    tree.Describe(2, "E:ID_MODEL_FROM_DATABASE=" + value + "\nE:ID_VENDOR_FROM_DATABASE=Maker\n");
    return tree.Links().HardwareDescription("eth0");
  };
  EXPECT_EQ(described("PRO/1000: dual port :2:"), "PRO/1000 dual port 2")
      << "its item needs a name without \":\"";
  EXPECT_EQ(described(" \x1b[31mred\t\x7f \xe2\x80\xae evil\xff\r"), "[31mred evil");
  EXPECT_EQ(described("\xe2\x80\x8b : \xff"), "Maker") << "nothing is left to be seen";
  EXPECT_EQ(described("B\xc3\xbchne"), "B\xc3\xbchne");
  EXPECT_EQ(described(std::string(100'000, 'x')), std::string(64, 'x'));
  EXPECT_EQ(described(std::string(100'000, ' ') + "x"), "");
}

TEST(KernelLinksTest, SeesHardwareBehindAnInterface) {
  FakeLinkTree tree;
  tree.Add("eth0", 2, 1, "device");
  tree.Add("br0", 3);
  const KernelLinks links(tree.Root());
  EXPECT_TRUE(links.HasHardware("eth0"));
  EXPECT_FALSE(links.HasHardware("br0"));
  EXPECT_FALSE(links.HasHardware("eth1"));
}

}  // namespace

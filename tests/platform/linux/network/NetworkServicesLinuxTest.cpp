#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <ostream>
#include <vector>

#include "platform/linux/network/NetworkServicesLinux.h"
#include "tests/platform/linux/network/FakeLinkTree.h"
#include "tests/platform/linux/network/MockNetworkDaemon.h"
#include "tests/support/OpenDescriptors.h"

namespace vorn {

bool operator==(const NetworkService& a, const NetworkService& b) {
  return a.name == b.name && a.interfaceName == b.interfaceName;
}

void PrintTo(const NetworkService& service, std::ostream* out) {
  *out << service.name << " on " << service.interfaceName;
}

}  // namespace vorn

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using vorn::NetworkService;
using vorn::NetworkServicesLinux;

class NetworkServicesLinuxTest : public testing::Test {
 protected:
  NetworkServicesLinuxTest() {
    fTree.Add("lo", 1);
    fTree.Add("eth1", 3, 1, "device");
    fTree.Add("eth0", 2, 1, "device");
    fTree.Add("br0", 4);
  }

  // With the bus at this address, and every interface but the loopback as hardware.
  NetworkServicesLinux On(const std::string& address) {
    return NetworkServicesLinux(
        {address, fTree.Links(), [](const std::string& name) { return name != "lo" && name != "br0"; }});
  }

  FakeLinkTree fTree;
};

TEST_F(NetworkServicesLinuxTest, ListsNetworkManagersDevicesByTheirConnections) {
  const MockNetworkDaemon daemon("networkmanager");
  ASSERT_FALSE(daemon.Address().empty());
  const auto services = On(daemon.Address()).CopyAll();
  ASSERT_TRUE(services);
  EXPECT_THAT(*services, ElementsAre(NetworkService{"Studio: main line", "veth0"},
                                     NetworkService{"Spare \u00e9", "veth1"},
                                     NetworkService{"wlan0", "wlan0"}, NetworkService{"veth2", "veth2"}));
}

TEST_F(NetworkServicesLinuxTest, ListsNetworkdsLinksWhereNetworkManagerDoesNotRun) {
  const MockNetworkDaemon daemon("networkd");
  ASSERT_FALSE(daemon.Address().empty());
  const auto services = On(daemon.Address()).CopyAll();
  ASSERT_TRUE(services);
  EXPECT_THAT(*services, ElementsAre(NetworkService{"veth1", "veth1"}, NetworkService{"veth0", "veth0"}));
}

TEST_F(NetworkServicesLinuxTest, ListsTheKernelsInterfacesWhereNoDaemonRuns) {
  const MockNetworkDaemon daemon("none");
  ASSERT_FALSE(daemon.Address().empty());
  const auto start = std::chrono::steady_clock::now();
  const auto services = On(daemon.Address()).CopyAll();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
  ASSERT_TRUE(services);
  EXPECT_THAT(*services, ElementsAre(NetworkService{"eth0", "eth0"}, NetworkService{"eth1", "eth1"}));
}

TEST_F(NetworkServicesLinuxTest, ListsTheKernelsInterfacesWithoutABus) {
  const auto services = On("unix:path=/nonexistent/bus").CopyAll();
  ASSERT_TRUE(services);
  EXPECT_THAT(*services, ElementsAre(NetworkService{"eth0", "eth0"}, NetworkService{"eth1", "eth1"}));
}

TEST_F(NetworkServicesLinuxTest, NamesWhatNoDaemonNamesByItsHardware) {
  fTree.Describe(2, "S:x\nE:ID_VENDOR_FROM_DATABASE=Maker\nE:ID_MODEL_FROM_DATABASE=I210 Gigabit\n");
  fTree.Describe(3, "E:ID_MODEL_FROM_DATABASE=I210 Gigabit\n");
  const std::vector<NetworkService> described{{"I210 Gigabit", "eth0"}, {"I210 Gigabit", "eth1"}};
  const MockNetworkDaemon daemon("none");
  ASSERT_FALSE(daemon.Address().empty());
  for (const std::string& address : {daemon.Address(), std::string("unix:path=/nonexistent/bus")}) {
    const auto services = On(address).CopyAll();
    ASSERT_TRUE(services);
    EXPECT_EQ(*services, described);
  }
}

TEST_F(NetworkServicesLinuxTest, NamesNetworkdsLinksByTheirHardware) {
  fTree.Add("veth0", 7, 1, "device");
  fTree.Describe(7, "E:ID_MODEL_FROM_DATABASE=I210 Gigabit\n");
  const MockNetworkDaemon daemon("networkd");
  ASSERT_FALSE(daemon.Address().empty());
  const auto services = On(daemon.Address()).CopyAll();
  ASSERT_TRUE(services);
  EXPECT_THAT(*services,
              ElementsAre(NetworkService{"veth1", "veth1"}, NetworkService{"I210 Gigabit", "veth0"}));
}

TEST_F(NetworkServicesLinuxTest, KeepsTheNamesThatNetworkManagerKnows) {
  fTree.Add("veth0", 7, 1, "device");
  fTree.Add("veth2", 8, 1, "device");
  fTree.Describe(7, "E:ID_MODEL_FROM_DATABASE=I210 Gigabit\n");
  fTree.Describe(8, "E:ID_MODEL_FROM_DATABASE=I225-V\n");
  const MockNetworkDaemon daemon("networkmanager");
  ASSERT_FALSE(daemon.Address().empty());
  const auto services = On(daemon.Address()).CopyAll();
  ASSERT_TRUE(services);
  EXPECT_THAT(*services, ElementsAre(NetworkService{"Studio: main line", "veth0"},
                                     NetworkService{"Spare \u00e9", "veth1"},
                                     NetworkService{"wlan0", "wlan0"}, NetworkService{"I225-V", "veth2"}));
}

TEST_F(NetworkServicesLinuxTest, SurvivesAnAddressThatIsNoAddress) {
  EXPECT_TRUE(On("nonsense;;=").CopyAll());
}

TEST_F(NetworkServicesLinuxTest, DoesNotWaitLongForADaemonThatHangs) {
  const MockNetworkDaemon daemon("hanging");
  ASSERT_FALSE(daemon.Address().empty());
  const auto start = std::chrono::steady_clock::now();
  const auto services = On(daemon.Address()).CopyAll();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 8s);
  ASSERT_TRUE(services);
  EXPECT_EQ(services->size(), 2U);
}

TEST_F(NetworkServicesLinuxTest, LeavesOutWhatTheDeviceTreeSaysHasNoHardware) {
  const auto services = NetworkServicesLinux({"unix:path=/nonexistent/bus", fTree.Links(), {}}).CopyAll();
  ASSERT_TRUE(services);
  EXPECT_THAT(*services, ElementsAre(NetworkService{"eth0", "eth0"}, NetworkService{"eth1", "eth1"}));
}

TEST_F(NetworkServicesLinuxTest, AnswersSeveralThreadsAtOnceAndLeavesNoDescriptorBehind) {
  const MockNetworkDaemon daemon("networkmanager");
  ASSERT_FALSE(daemon.Address().empty());
  auto services = On(daemon.Address());
  const auto before = CountOpenDescriptors();
  for (int round = 0; round < 5; ++round) {
    std::vector<std::future<std::size_t>> counts;
    for (int i = 0; i < 4; ++i) {
      counts.push_back(std::async(std::launch::async, [&services] {
        const auto all = services.CopyAll();
        return all ? all->size() : 0;
      }));
    }
    for (auto& count : counts) EXPECT_EQ(count.get(), 4U);
  }
  EXPECT_EQ(CountOpenDescriptors(), before);
}

}  // namespace

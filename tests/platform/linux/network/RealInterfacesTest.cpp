// With the kernel's own interfaces; in_network_namespace.sh makes them.
#include <gtest/gtest.h>
#include <net/if.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/network/AVBCapabilityLinux.h"
#include "platform/linux/network/KernelLinks.h"
#include "platform/linux/network/NetworkServicesLinux.h"
#include "tests/support/OpenDescriptors.h"

namespace {

using Answer = vorn::AVBCapability::Answer;
using vorn::NetworkServicesLinux;

std::vector<std::string> MadeLinks() {
  const char* text = std::getenv("VORN_TEST_LINKS");
  std::istringstream stream(text == nullptr ? "" : text);
  std::vector<std::string> names;
  for (std::string name; stream >> name;) names.push_back(name);
  return names;
}

NetworkServicesLinux::Surroundings WithoutBus() {
  NetworkServicesLinux::Surroundings surroundings;
  surroundings.busAddress = "unix:path=/nonexistent/bus";
  return surroundings;
}

TEST(RealInterfacesTest, RunsWhereTheLinksWereMade) {
  const auto links = MadeLinks();
  ASSERT_GE(links.size(), 2U);
  for (const auto& name : links) EXPECT_NE(::if_nametoindex(name.c_str()), 0U) << name;
}

TEST(RealInterfacesTest, NoLinkWithoutHardwareCanCarryAVB) {
  vorn::AVBCapabilityLinux capability;
  EXPECT_EQ(capability.Query("lo"), Answer::kNoHardwareTimeStamping);
  for (const auto& name : MadeLinks()) {
    EXPECT_EQ(capability.Query(name), Answer::kNoHardwareTimeStamping) << name;
  }
}

TEST(RealInterfacesTest, AnInterfaceThatIsNotThereIsToldApart) {
  vorn::AVBCapabilityLinux capability;
  EXPECT_EQ(capability.Query("vorn-absent"), Answer::kNoSuchInterface);
}

TEST(RealInterfacesTest, TheKernelAnswersTheTimeStampingRequest) {
  const auto stamping = vorn::ReadTimeStamping("vorn0");
  ASSERT_TRUE(stamping);
  EXPECT_NE(stamping->so_timestamping, 0U);  // a pair stamps in software
  EXPECT_EQ(stamping->phc_index, -1);
}

TEST(RealInterfacesTest, LinksWithoutHardwareAreNoServices) {
  const auto services = NetworkServicesLinux(WithoutBus()).CopyAll();
  ASSERT_TRUE(services);
  EXPECT_TRUE(services->empty());
}

TEST(RealInterfacesTest, TheKernelsLinksAreServicesUnderTheirOwnNamesInTheirOrder) {
  auto surroundings = WithoutBus();
  surroundings.isHardware = [](const std::string& name) { return name.starts_with("vorn"); };
  const auto services = NetworkServicesLinux(surroundings).CopyAll();
  ASSERT_TRUE(services);
  const auto byIndex = vorn::KernelLinks().NamesByIndex();
  ASSERT_TRUE(byIndex);
  std::vector<std::string> expected = *byIndex;
  std::erase_if(expected, [](const std::string& name) { return !name.starts_with("vorn"); });
  ASSERT_EQ(services->size(), MadeLinks().size());
  for (std::size_t i = 0; i < services->size(); ++i) {
    EXPECT_EQ((*services)[i].interfaceName, expected[i]);
    EXPECT_EQ((*services)[i].name, expected[i]);
  }
}

TEST(RealInterfacesTest, ATreeThatIsMissingIsAFailure) {
  auto surroundings = WithoutBus();
  surroundings.links = vorn::KernelLinks("/nonexistent");
  EXPECT_FALSE(NetworkServicesLinux(surroundings).CopyAll());
}

TEST(RealInterfacesTest, AskingLeavesNoDescriptorBehind) {
  vorn::AVBCapabilityLinux capability;
  NetworkServicesLinux services(WithoutBus());
  const auto before = CountOpenDescriptors();
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(capability.Query("vorn0"), Answer::kNoHardwareTimeStamping);
    EXPECT_TRUE(services.CopyAll());
  }
  EXPECT_EQ(CountOpenDescriptors(), before);
}

}  // namespace

// With a real NetworkManager; with_network_manager.sh starts it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "platform/linux/network/NetworkServicesLinux.h"
#include "platform/linux/processes/ChildProcessLauncherLinux.h"

namespace {

// The services as "name on interface", sorted, because the service's order is its own.
std::vector<std::string> Services() {
  vorn::NetworkServicesLinux services(
      {{}, vorn::KernelLinks(), [](const std::string& name) { return name.starts_with("vorn"); }});
  const auto all = services.CopyAll();
  std::vector<std::string> texts;
  if (!all) return texts;
  for (const auto& service : *all) texts.push_back(service.name + " on " + service.interfaceName);
  std::sort(texts.begin(), texts.end());
  return texts;
}

TEST(RealNetworkManagerTest, NamesConnectedConfiguredAndBareDevices) {
  const std::vector<std::string> expected{"Studio: main on vorn0", "vorn1 on vorn1"};
  EXPECT_EQ(Services(), expected);

  vorn::ChildProcessLauncherLinux launcher;
  const auto down = launcher.Launch({"/usr/bin/nmcli", {"connection", "down", "Studio: main"}, {}, {}})
                        ->CollectUntil(std::chrono::steady_clock::now() + std::chrono::seconds(20));
  EXPECT_NE(down.output.find("deactivated"), std::string::npos) << down.output << down.error;
  EXPECT_EQ(Services(), expected);  // by the profile that fits it now
}

}  // namespace

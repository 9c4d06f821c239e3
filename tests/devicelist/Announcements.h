#pragma once

#include <string>
#include <vector>

#include "tests/AVB/Util/ScriptedDNSSD.h"

namespace DeviceList::testing {

/// One service as its host announces it.
struct Service {
  std::string name;
  std::vector<std::string> txt;
  std::string host = "unit.local.";
  std::uint16_t port = 80;
  std::string address = "192.168.1.20";
};

/// Announces the service on the scripted library, including the last reply. When this returns, the engine
/// knows it, but the watcher's thread must still turn its loop.
inline void Announce(vorn::testing::ScriptedDNSSD& network, const Service& service) {
  network.ReplyAdd(service.name);
  network.ReplyResolve(service.name, service.host.c_str(), service.port,
                       vorn::testing::TxtBytes(service.txt));
  network.ReplyAddress(service.host, service.address);
  network.WaitUntilIdle();
}

inline void Withdraw(vorn::testing::ScriptedDNSSD& network, const std::string& name) {
  network.ReplyRemove(name);
  network.WaitUntilIdle();
}

}  // namespace DeviceList::testing

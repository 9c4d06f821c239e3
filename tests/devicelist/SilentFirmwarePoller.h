#pragma once

#include <string>
#include <utility>

#include "devicelist/FirmwarePoller.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList::testing {

inline std::string LoopbackUrlOfNobody() {
  return "http://127.0.0.1:" + std::to_string(vorn::testing::UnusedPort()) + "/";
}

/// A firmware poller that asks nobody: a moved-from one. Before the move it only asked this computer.
inline FirmwarePoller SilentFirmwarePoller() {
  static FirmwarePoller silent = [] {
    FirmwarePoller poller("model", "", {}, *UpdateServer::At(LoopbackUrlOfNobody() + "api/"));
    const FirmwarePoller taken(std::move(poller));
    return poller;
  }();
  return std::move(silent);
}

}  // namespace DeviceList::testing

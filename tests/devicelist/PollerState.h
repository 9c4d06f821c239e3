#pragma once

#include <string>

#include "devicelist/Poller.h"
#include "tests/support/Eventually.h"

namespace DeviceList::testing {

inline std::string Shown(const vorn::optional<std::string>& text) {
  return text ? *text : "(none)";
}

/// What a poller shows: name, model and firmware version.
[[nodiscard]] inline std::string StateOf(const Poller& poller) {
  return Shown(poller.GetName()) + " " + Shown(poller.GetModelID()) + " " +
         Shown(poller.GetFirmwareVersion());
}

[[nodiscard]] inline bool Becomes(const Poller& poller, const std::string& state) {
  return vorn::testing::Eventually([&] { return StateOf(poller) == state; });
}

}  // namespace DeviceList::testing

#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "foundation/Clock.h"
#include "foundation/RunLoop.h"
#include "foundation/RunLoopTimer.h"
#include "tests/AVB/Util/ScriptedDNSSD.h"
#include "tests/support/Eventually.h"

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

/// Turns the calling thread's run loop until the condition is true; false if the deadline comes first.
template <typename Condition>
[[nodiscard]] bool TurnLoopUntil(Condition condition) {
  const auto loop = vorn::PollRunLoop::Current();
  const auto end = std::chrono::steady_clock::now() + vorn::testing::kGenerousDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    loop->RunOnce(std::chrono::milliseconds(50));
  }
  return true;
}

/// Serves what waits on the calling thread's run loop.
inline void TurnLoop() {
  while (vorn::PollRunLoop::Current()->RunOnce(std::chrono::milliseconds(0))) {
  }
}

/// Turns the calling thread's run loop until a timer of that time has fired, and all timers that were due
/// before.
inline void TurnLoopFor(std::chrono::milliseconds time) {
  bool hasFired = false;
  const vorn::RunLoopTimer timer(vorn::RunLoop::Current(), vorn::AbsoluteTimeAt(vorn::Clock::now() + time),
                                 [&] { hasFired = true; });
  (void)TurnLoopUntil([&] { return hasFired; });
  TurnLoop();
}

}  // namespace DeviceList::testing

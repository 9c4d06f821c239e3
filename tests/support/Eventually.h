#pragma once

#include <chrono>
#include <thread>

namespace vorn::testing {

/// How long a test waits for an event before it counts as missing.
inline constexpr std::chrono::seconds kGenerousDeadline{30};

/// Waits until the condition is true; false if the deadline comes first.
template <typename Condition>
[[nodiscard]] bool Eventually(Condition condition, std::chrono::milliseconds deadline = kGenerousDeadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// Lets the other threads run so many times over. After an event, ever more of
/// it spreads what comes next over the moments that follow the event.
inline void Yield(int times) {
  for (int i = 0; i < times; ++i) std::this_thread::yield();
}

}  // namespace vorn::testing

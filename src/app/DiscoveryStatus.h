#pragma once

#include <chrono>
#include <functional>

#include "AVB/Util/ResponderMonitor.h"
#include "ui/DiscoveryHint.h"

namespace vorn::app {

/// Why nothing may be listed, from what is known of the responder and the
/// network. Main thread.
class DiscoveryStatus {
 public:
  using Clock = std::chrono::steady_clock;

  /// What the status asks; what programs use is the default.
  struct Sources {
    std::function<Clock::time_point()> now = &Clock::now;
    std::function<bool()> hasNetwork;  ///< empty: the system's interfaces
  };

  /// How long after discovery began (again) it still counts as looking. Units
  /// answer within a second or two; a responder repeats its question for some
  /// seconds more.
  static constexpr std::chrono::seconds kLooking{10};

  DiscoveryStatus();
  explicit DiscoveryStatus(Sources sources);

  void setResponderState(ResponderMonitor::State state);

  /// As of now.
  [[nodiscard]] ui::DiscoveryHint hint() const;

 private:
  const Sources fSources;
  ResponderMonitor::State fState = ResponderMonitor::State::kUnknown;
  Clock::time_point fSince;  ///< when the state was last set
};

}  // namespace vorn::app

#pragma once

#include <chrono>
#include <functional>

#include "AVB/Util/ResponderMonitor.h"
#include "foundation/Clock.h"

namespace DeviceList {

/// The line below the units of a list: why nothing may be listed.
enum class DiscoveryHint {
  kNone,             ///< there is nothing to say
  kStillLooking,     ///< discovery has just started; only interesting while nothing is listed
  kResponderAbsent,  ///< the DNS-SD responder is not running, so nothing can be found
  kResponderSilent,  ///< the DNS-SD responder is running but does not answer
  kNoNetwork,        ///< no network interface is up
};

/// Whether a hint says that nothing can be found at present.
[[nodiscard]] bool CannotLook(DiscoveryHint hint);

/// Says why nothing may be listed, from the state of the responder and of the network. Belongs to one thread;
/// does not block.
class DiscoveryStatus {
 public:
  /// The sources of the status; programs use the default.
  struct Sources {
    vorn::Now now = vorn::Clock::now;
    std::function<bool()> hasNetwork;  ///< empty: the system's interfaces
  };

  /// How long after its start, or a new start, discovery still counts as looking. Units answer within a
  /// second or two. A responder repeats its question for some seconds more.
  static constexpr std::chrono::seconds kLooking{10};

  DiscoveryStatus();
  explicit DiscoveryStatus(Sources sources);

  void SetResponderState(vorn::ResponderMonitor::State state);

  /// The hint for now.
  [[nodiscard]] DiscoveryHint Hint() const;

  /// The hint for now, if nobody will look any longer. A responder that has not answered yet counts as one
  /// that does not answer.
  [[nodiscard]] DiscoveryHint FinalHint() const;

 private:
  const Sources fSources;
  vorn::ResponderMonitor::State fState = vorn::ResponderMonitor::State::kUnknown;
  vorn::Clock::time_point fSince;  ///< when the state was last set
};

}  // namespace DeviceList

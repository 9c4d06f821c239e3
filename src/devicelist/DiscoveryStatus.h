#pragma once

#include <chrono>
#include <functional>

#include "AVB/Util/ResponderMonitor.h"
#include "foundation/Clock.h"

namespace DeviceList {

/// What a list says below its units: why nothing may be listed.
enum class DiscoveryHint {
  kNone,             ///< there is nothing to say
  kStillLooking,     ///< discovery has just begun; of interest only while nothing is listed
  kResponderAbsent,  ///< the DNS-SD responder is not running, so nothing can be found
  kResponderSilent,  ///< the DNS-SD responder is running but does not answer
  kNoNetwork,        ///< no network interface is up
};

/// Whether a hint says that nothing can be found as things are.
[[nodiscard]] bool CannotLook(DiscoveryHint hint);

/// Tells why nothing may be listed, from what is known of the responder and the
/// network. Belongs to one thread; does not block.
class DiscoveryStatus {
 public:
  /// What the status asks; what programs use is the default.
  struct Sources {
    vorn::Now now = vorn::Clock::now;
    std::function<bool()> hasNetwork;  ///< empty: the system's interfaces
  };

  /// How long after discovery began (again) it still counts as looking. Units
  /// answer within a second or two; a responder repeats its question for some
  /// seconds more.
  static constexpr std::chrono::seconds kLooking{10};

  DiscoveryStatus();
  explicit DiscoveryStatus(Sources sources);

  void SetResponderState(vorn::ResponderMonitor::State state);

  /// As of now.
  [[nodiscard]] DiscoveryHint Hint() const;

  /// As of now, for whoever will not look any longer: a responder that has not
  /// answered yet counts as one that does not answer.
  [[nodiscard]] DiscoveryHint FinalHint() const;

 private:
  const Sources fSources;
  vorn::ResponderMonitor::State fState = vorn::ResponderMonitor::State::kUnknown;
  vorn::Clock::time_point fSince;  ///< when the state was last set
};

}  // namespace DeviceList

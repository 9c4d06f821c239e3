#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "foundation/Clock.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// The services that were known when browsing began anew, each kept until the
/// fresh engine names it, or the hold time is over. A service that is new, and
/// has the instance name of a held one, or its kind and uid (a host's uids), is
/// that one with another port, host, uid or name, and takes its place.
///
/// The hold time is counted while somebody looks for the services: from Run to
/// Pause. A plain value of one thread; `now` never goes back.
class HeldServices {
 public:
  using Service = vorn::ZeroConfEngine::ServiceInfo;
  using Services = std::vector<Service>;

  /// How long the clock runs for a service that is not named.
  static constexpr std::chrono::seconds kHoldTime{5};

  /// Holds `services` in the place of what was held. What was held already, and
  /// not named since, keeps the time that it had. The clock stands until Run.
  void Hold(Services services, vorn::AbsoluteTime now);

  void Run(vorn::AbsoluteTime now);
  void Pause(vorn::AbsoluteTime now);

  /// Lets go of the services whose time is over; returns whether there was one.
  bool ReleaseDue(vorn::AbsoluteTime now);

  /// When the first service's time is over; empty while the clock stands or
  /// nothing is held.
  [[nodiscard]] vorn::optional<vorn::AbsoluteTime> NextDue() const;

  /// Lets go of what `fresh` names, and returns `fresh` with what is still held
  /// behind it.
  [[nodiscard]] Services Merge(Services fresh);

 private:
  struct Held {
    Service service;
    double until = 0;    // by the clock, in seconds
    bool isHeld = true;  // false: let go for good, but known as one of before
  };

  [[nodiscard]] double Clock(vorn::AbsoluteTime now) const;
  [[nodiscard]] std::vector<std::size_t> SameUnit(const Service& service) const;
  [[nodiscard]] bool Knows(const Service& service) const;
  void LetGoOf(const Service& named);
  void LetGo(Held& held);

  std::vector<Held> fHeld;
  std::size_t fCount = 0;  // how many are still held
  std::unordered_multimap<std::string, std::size_t> fByName;
  std::unordered_map<std::string, std::size_t> fByUID;  // the first of those that share one
  double fCounted = 0;                                  // what the clock showed when it was last stopped
  vorn::optional<vorn::AbsoluteTime> fRunsFrom;         // empty: the clock stands
};

}  // namespace DeviceList

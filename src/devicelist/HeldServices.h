#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "foundation/Clock.h"

namespace DeviceList {

/// The services that were known when browsing started again. Each is kept until the new engine names it, or
/// until the hold time is over. A new service replaces a held one if it has the same instance name, or the
/// same kind and uid (for a host: uids). Then it is the same unit with another port, host, uid or name.
///
/// The hold time counts while somebody looks for the services: from Run to Pause. A plain value of one
/// thread; `now` never goes back.
class HeldServices {
 public:
  using Service = vorn::ZeroConfEngine::ServiceInfo;
  using Services = std::vector<Service>;
  using Time = vorn::Clock::time_point;

  /// How long the clock runs for a service that is not named.
  static constexpr std::chrono::seconds kHoldTime{5};

  /// Holds `services` instead of the earlier ones. A service that was held already, and not named since,
  /// keeps its remaining time. The clock stops until Run.
  void Hold(Services services, Time now);

  void Run(Time now);
  void Pause(Time now);

  /// Drops the services whose time is over. Returns whether there was one.
  bool ReleaseDue(Time now);

  /// When the first service's time is over; empty while the clock stops or nothing is held.
  [[nodiscard]] std::optional<Time> NextDue() const;

  /// Drops the services that `fresh` names, and returns `fresh` followed by the services that are still held.
  [[nodiscard]] Services Merge(Services fresh);

 private:
  using Duration = vorn::Clock::duration;

  struct Held {
    Service service;
    Duration until{};    // as CountedAt counts
    bool isHeld = true;  // false: dropped for good, but still known as an earlier one
  };

  [[nodiscard]] Duration CountedAt(Time now) const;
  [[nodiscard]] std::vector<std::size_t> SameUnit(const Service& service) const;
  [[nodiscard]] bool Knows(const Service& service) const;
  void LetGoOf(const Service& named);
  void LetGo(Held& held);

  std::vector<Held> fHeld;
  std::size_t fCount = 0;  // how many are still held
  std::unordered_multimap<std::string, std::size_t> fByName;
  std::unordered_map<std::string, std::size_t> fByUID;  // the first of those that share one
  Duration fCounted{};            // the time that was counted when the clock last stopped
  std::optional<Time> fRunsFrom;  // empty: the clock stops
};

}  // namespace DeviceList

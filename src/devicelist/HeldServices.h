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
  using Time = vorn::Clock::time_point;

  /// How long the clock runs for a service that is not named.
  static constexpr std::chrono::seconds kHoldTime{5};

  /// Holds `services` in the place of what was held. What was held already, and
  /// not named since, keeps the time that it had. The clock stands until Run.
  void Hold(Services services, Time now);

  void Run(Time now);
  void Pause(Time now);

  /// Lets go of the services whose time is over; returns whether there was one.
  bool ReleaseDue(Time now);

  /// When the first service's time is over; empty while the clock stands or
  /// nothing is held.
  [[nodiscard]] std::optional<Time> NextDue() const;

  /// Lets go of what `fresh` names, and returns `fresh` with what is still held
  /// behind it.
  [[nodiscard]] Services Merge(Services fresh);

 private:
  using Duration = vorn::Clock::duration;

  struct Held {
    Service service;
    Duration until{};    // as CountedAt counts
    bool isHeld = true;  // false: let go for good, but known as one of before
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
  Duration fCounted{};            // what had been counted when the clock was last stopped
  std::optional<Time> fRunsFrom;  // empty: the clock stands
};

}  // namespace DeviceList

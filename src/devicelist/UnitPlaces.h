#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace DeviceList {

/// Decides which announced units are polled, so that no stranger's announcements take the places that others
/// need:
///
/// 1. At most kMaxUnits units have a place, and at most kMaxUnitsAtAddress of those at one address.
/// 2. If no place is left, in all or at an address, a newcomer gets the place of the oldest unit there that
///    gives way. Without such a unit, the newcomer is refused.
/// 3. A unit that has a place and moves to an address that has enough of them loses it.
///
/// Make one for each decision: first Hold all units that have a place, the oldest first, then Admit others.
/// Belongs to one thread.
class UnitPlaces {
 public:
  /// Each unit takes a thread, and anybody on the network can announce more.
  static constexpr std::size_t kMaxUnits = 2048;
  /// Real hosts stand for some fifteen units.
  static constexpr std::size_t kMaxUnitsAtAddress = 128;

  using Addresses = std::vector<std::string>;  // each once

  /// A unit that has a place.
  void Hold(Addresses addresses, bool givesWay);

  /// True if the unit gets a place. Without `displaces`, only a free one.
  [[nodiscard]] bool Admit(const Addresses& addresses, bool displaces);

  /// Whether the last unit to be admitted found no free place, so that one unit has none now.
  [[nodiscard]] bool WasFull() const { return fWasFull; }

  /// The address where it found none; empty: there was none at all.
  [[nodiscard]] const std::optional<std::string>& FullAddress() const { return fFullAddress; }

  /// Whether the unit that was held as this one, counted from 0, has lost its place.
  [[nodiscard]] bool HasLost(std::size_t held) const { return fHeld[held].hasLost; }

 private:
  struct Held {
    Addresses addresses;
    bool hasLost = false;
  };
  struct Group {  // all units, or those at one address
    std::size_t units = 0;
    std::deque<std::size_t> givingWay{};  // the held ones, the oldest first; some may have lost their place
  };

  [[nodiscard]] bool HasOneGivingWay(Group& group) const;
  void DisplaceOneOf(Group& group);
  void Count(const Addresses& addresses);

  std::vector<Held> fHeld;
  Group fAll;
  std::unordered_map<std::string, Group> fAt;
  bool fWasFull = false;
  std::optional<std::string> fFullAddress;
};

}  // namespace DeviceList

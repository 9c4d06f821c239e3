#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devicelist/Entry.h"
#include "devicelist/Poller.h"
#include "devicelist/UnitPlaces.h"

namespace DeviceList {

/// The pollers of the announced units: one for each entry of a known kind that has a place (UnitPlaces), in
/// the order of their making. The others wait, but no more at one address than may be polled there. Entries
/// beyond that are forgotten until the next list.
///
/// Belongs to one thread. The destructor cancels the requests of all pollers and joins their threads.
class PolledUnits {
 public:
  using Pollers = std::vector<std::unique_ptr<Poller>>;

  /// What it needs. None may call back.
  struct Means {
    std::function<std::unique_ptr<Poller>(const Entry&)> make;  ///< null for an unknown kind; may throw
    std::function<std::vector<std::string>(const std::string& url)> addressesOf;  ///< as in UnitPlaces
    std::function<void(const std::exception& error)> onFailed;                    ///< `make` has thrown
    /// Units found no free place, at the address or, if that is empty, at all. Once for each in a call.
    std::function<void(const std::optional<std::string>& address)> onFull;
  };

  explicit PolledUnits(Means means);

  /// Keeps the pollers whose entry is among these, and makes pollers for the others that get a place.
  void Take(std::vector<Entry> entries);

  /// Tries those that wait again. Some units that have not answered since the last time give way to them.
  /// True if the pollers have changed.
  bool Retry();

  /// Whether Retry may have something to do. Many units are looked at again too, because hosts may move to
  /// one address.
  [[nodiscard]] bool MayRetry() const;

  [[nodiscard]] const Pollers& All() const { return fPollers; }

 private:
  /// Which of some entries get places. The entries before them wait on.
  struct Candidates {
    std::vector<std::size_t> order{};  // in which they get places
    std::size_t displacing = 0;        // so many of the first ones may displace others
  };

  std::vector<std::size_t> Kept(std::vector<Entry>& entries) const;
  Candidates InOrderOfArrival(const std::vector<Entry>& entries) const;
  bool Seat(const std::vector<std::size_t>& kept, std::size_t settled, std::vector<Entry>& entries,
            const Candidates& candidates);
  UnitPlaces PlacesOf(const std::vector<std::size_t>& kept, std::size_t settled) const;
  Pollers Make(UnitPlaces& places, std::vector<Entry>& entries, const Candidates& candidates,
               std::vector<Entry*>& queue);
  std::vector<bool> Admit(UnitPlaces& places, const std::vector<Entry>& entries,
                          const Candidates& candidates) const;
  std::optional<std::unique_ptr<Poller>> Make(const Entry& entry);
  std::vector<Entry> Waiting(std::vector<Entry*> queue) const;

  const Means fMeans;
  Pollers fPollers;
  std::vector<Entry> fWaiting;  // those without a poller, the next to try is the first
  std::size_t fSettled = 0;     // how many pollers were there when the last try was made
};

}  // namespace DeviceList

#include "devicelist/PolledUnits.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace DeviceList {
namespace {

constexpr std::size_t kDisplacing = 64;     // units that may displace others at each retry
constexpr std::size_t kFailuresInARow = 8;  // then there is no thread or memory for the others either

}  // namespace

PolledUnits::PolledUnits(Means means) : fMeans(std::move(means)) {}

void PolledUnits::Take(std::vector<Entry> entries) {
  const std::vector<std::size_t> kept = Kept(entries);
  const Candidates candidates = InOrderOfArrival(entries);
  Seat(kept, fPollers.size(), entries, candidates);
}

bool PolledUnits::Retry() {
  std::vector<std::size_t> all(fPollers.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  const std::size_t tried = std::min(fWaiting.size(), UnitPlaces::kMaxUnits);
  Candidates candidates{std::vector<std::size_t>(tried), kDisplacing};
  std::iota(candidates.order.begin(), candidates.order.end(), fWaiting.size() - tried);
  std::rotate(fWaiting.begin(), fWaiting.begin() + static_cast<std::ptrdiff_t>(tried), fWaiting.end());
  const bool hasChanged = Seat(all, fSettled, fWaiting, candidates);
  fSettled = fPollers.size();
  return hasChanged;
}

bool PolledUnits::MayRetry() const {
  return !fWaiting.empty() || fPollers.size() > UnitPlaces::kMaxUnitsAtAddress;
}

// First those that nobody has tried yet, then those that wait already, in the order in which they wait.
PolledUnits::Candidates PolledUnits::InOrderOfArrival(const std::vector<Entry>& entries) const {
  std::unordered_map<std::string_view, std::size_t> waiting;
  for (std::size_t i = 0; i < fWaiting.size(); ++i) waiting.emplace(fWaiting[i].url, i);
  std::vector<std::optional<std::size_t>> tried(fWaiting.size());
  Candidates candidates;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto found = waiting.find(entries[i].url);
    if (found == waiting.end()) {
      candidates.order.push_back(i);
    } else {
      tried[found->second] = i;
    }
  }
  candidates.displacing = candidates.order.size();
  for (const auto& index : tried) {
    if (index) candidates.order.push_back(*index);
  }
  return candidates;
}

// Keeps these pollers and makes pollers for the candidates that get a place. The first `settled` of the old
// pollers may have to give way. Builds the new set beside the old one and swaps at the end, so a failure in
// between leaves the old set and `entries` complete. True if the set has changed.
bool PolledUnits::Seat(const std::vector<std::size_t>& kept, std::size_t settled, std::vector<Entry>& entries,
                       const Candidates& candidates) {
  UnitPlaces places = PlacesOf(kept, settled);
  std::vector<Entry*> queue;
  auto created = Make(places, entries, candidates, queue);
  std::vector<std::size_t> staying;
  std::vector<Entry> lost;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (places.HasLost(i)) {
      lost.push_back(fPollers[kept[i]]->GetEntry());
    } else {
      staying.push_back(kept[i]);
    }
  }
  for (Entry& entry : lost) queue.push_back(&entry);
  const bool hasChanged = !created.empty() || staying.size() < fPollers.size();
  Pollers pollers;
  pollers.reserve(staying.size() + created.size());
  auto waiting = Waiting(std::move(queue));
  fWaiting.swap(waiting);
  for (const std::size_t index : staying) pollers.push_back(std::move(fPollers[index]));
  std::move(created.begin(), created.end(), std::back_inserter(pollers));
  fPollers.swap(pollers);
  fSettled = static_cast<std::size_t>(
      std::count_if(staying.begin(), staying.end(), [this](std::size_t index) { return index < fSettled; }));
  return hasChanged;
}

UnitPlaces PolledUnits::PlacesOf(const std::vector<std::size_t>& kept, std::size_t settled) const {
  UnitPlaces places;
  for (const std::size_t index : kept) {
    const Poller& poller = *fPollers[index];
    places.Hold(fMeans.addressesOf(poller.GetEntry().url), index < settled && !poller.HasAnswered());
  }
  return places;
}

// Adds those that get none to the queue: first those that might displace nobody, so that each may at a later
// retry.
PolledUnits::Pollers PolledUnits::Make(UnitPlaces& places, std::vector<Entry>& entries,
                                       const Candidates& candidates, std::vector<Entry*>& queue) {
  const auto& [order, displacing] = candidates;
  auto hasPlace = Admit(places, entries, candidates);
  const std::size_t first = entries.size() - order.size();
  Pollers created;
  for (std::size_t i = first, failures = 0; i < entries.size(); ++i) {
    if (!hasPlace[i]) continue;
    auto poller = failures < kFailuresInARow ? Make(entries[i]) : std::nullopt;
    hasPlace[i] = poller.has_value();
    failures = poller ? 0 : failures + 1;
    if (poller && *poller) created.push_back(*std::move(poller));
  }
  for (std::size_t i = 0; i < first; ++i) queue.push_back(&entries[i]);
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::size_t next = order[(std::min(displacing, order.size()) + i) % order.size()];
    if (!hasPlace[next]) queue.push_back(&entries[next]);
  }
  return created;
}

std::vector<bool> PolledUnits::Admit(UnitPlaces& places, const std::vector<Entry>& entries,
                                     const Candidates& candidates) const {
  std::vector<bool> hasPlace(entries.size());
  std::set<std::optional<std::string>> full;
  for (std::size_t i = 0; i < candidates.order.size(); ++i) {
    const std::size_t next = candidates.order[i];
    hasPlace[next] = places.Admit(fMeans.addressesOf(entries[next].url), i < candidates.displacing);
    if (places.WasFull() && full.insert(places.FullAddress()).second) fMeans.onFull(places.FullAddress());
  }
  return hasPlace;
}

// Null for an unknown kind; nothing if it cannot be made.
std::optional<std::unique_ptr<Poller>> PolledUnits::Make(const Entry& entry) {
  try {
    return fMeans.make(entry);
  } catch (const std::exception& error) {
    fMeans.onFailed(error);
    return std::nullopt;
  }
}

// Those of the queue that wait from now on. They leave their old places only after everything that may fail.
std::vector<Entry> PolledUnits::Waiting(std::vector<Entry*> queue) const {
  std::unordered_map<std::string, std::size_t> at;
  std::erase_if(queue, [&](const Entry* entry) {
    const auto addresses = fMeans.addressesOf(entry->url);
    const bool isTooMany = std::any_of(addresses.begin(), addresses.end(), [&](const std::string& address) {
      return at[address] >= UnitPlaces::kMaxUnitsAtAddress;
    });
    if (isTooMany) return true;
    for (const std::string& address : addresses) ++at[address];
    return false;
  });
  std::vector<Entry> waiting;
  waiting.reserve(queue.size());
  for (Entry* entry : queue) waiting.push_back(std::move(*entry));
  return waiting;
}

// The pollers whose entry is still announced, in order. Removes those entries from `entries`.
std::vector<std::size_t> PolledUnits::Kept(std::vector<Entry>& entries) const {
  std::unordered_multimap<std::string_view, std::size_t> byUrl;
  for (std::size_t i = entries.size(); i-- > 0;) byUrl.emplace(entries[i].url, i);
  std::vector<bool> taken(entries.size(), false);
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < fPollers.size(); ++i) {
    const Entry& known = fPollers[i]->GetEntry();
    std::size_t first = entries.size();
    const auto [begin, end] = byUrl.equal_range(known.url);
    for (auto it = begin; it != end; ++it) {
      if (it->second < first && !taken[it->second] && entries[it->second] == known) first = it->second;
    }
    if (first == entries.size()) continue;
    taken[first] = true;
    kept.push_back(i);
  }
  std::vector<Entry> remaining;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!taken[i]) remaining.push_back(std::move(entries[i]));
  }
  byUrl.clear();
  entries.swap(remaining);
  return kept;
}

}  // namespace DeviceList

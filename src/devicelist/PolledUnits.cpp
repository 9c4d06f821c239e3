#include "devicelist/PolledUnits.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <numeric>
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
  std::vector<Entry> waiting;
  Seat(kept, fPollers.size(), InOrderOfArrival(std::move(entries)), waiting);
  fWaiting.swap(waiting);
}

bool PolledUnits::Retry() {
  std::vector<std::size_t> all(fPollers.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  const auto next =
      fWaiting.begin() + static_cast<std::ptrdiff_t>(std::min(fWaiting.size(), UnitPlaces::kMaxUnits));
  Candidates candidates{{fWaiting.begin(), next}, {}, kDisplacing};
  candidates.order.resize(candidates.entries.size());
  std::iota(candidates.order.begin(), candidates.order.end(), std::size_t{0});
  std::vector<Entry> waiting;
  const bool hasChanged = Seat(all, fSettled, candidates, waiting);
  waiting.insert(waiting.begin(), next, fWaiting.end());
  fWaiting.swap(waiting);
  fSettled = fPollers.size();
  return hasChanged;
}

bool PolledUnits::MayRetry() const {
  return !fWaiting.empty() || fPollers.size() > UnitPlaces::kMaxUnitsAtAddress;
}

// First those that nobody has tried yet, then those that wait already, in the order in which they wait.
PolledUnits::Candidates PolledUnits::InOrderOfArrival(std::vector<Entry> entries) const {
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
  candidates.entries = std::move(entries);
  return candidates;
}

// Keeps these pollers and makes pollers for the candidates that get a place. The first `settled` of the old
// pollers may have to give way. Builds the new set beside the old one and swaps at the end, so a failure in
// between leaves the old set complete. Adds the entries that wait now to `waiting`. True if the set has
// changed.
bool PolledUnits::Seat(const std::vector<std::size_t>& kept, std::size_t settled,
                       const Candidates& candidates, std::vector<Entry>& waiting) {
  UnitPlaces places = PlacesOf(kept, settled);
  auto created = Make(places, candidates, waiting);
  std::vector<std::size_t> staying;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (places.HasLost(i)) {
      waiting.push_back(fPollers[kept[i]]->GetEntry());
    } else {
      staying.push_back(kept[i]);
    }
  }
  const bool hasChanged = !created.empty() || staying.size() < fPollers.size();
  Pollers pollers;
  pollers.reserve(staying.size() + created.size());
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

// Adds those that get none to `waiting`: first those that might displace nobody, so that each may at a later
// retry.
PolledUnits::Pollers PolledUnits::Make(UnitPlaces& places, const Candidates& candidates,
                                       std::vector<Entry>& waiting) {
  const auto& [entries, order, displacing] = candidates;
  std::vector<bool> hasPlace(entries.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    hasPlace[order[i]] = places.Admit(fMeans.addressesOf(entries[order[i]].url), i < displacing);
    if (places.WasFull()) fMeans.onFull(places.FullAddress());
  }
  Pollers created;
  for (std::size_t i = 0, failures = 0; i < entries.size(); ++i) {
    if (!hasPlace[i]) continue;
    auto poller = failures < kFailuresInARow ? Make(entries[i]) : std::nullopt;
    hasPlace[i] = poller.has_value();
    failures = poller ? 0 : failures + 1;
    if (poller && *poller) created.push_back(*std::move(poller));
  }
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::size_t next = order[(std::min(displacing, order.size()) + i) % order.size()];
    if (!hasPlace[next]) waiting.push_back(entries[next]);
  }
  return created;
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

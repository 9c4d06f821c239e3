#include "devicelist/PollingDeviceList.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <numeric>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "foundation/Console.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

constexpr char kTooManyUnits[] = "more units are announced than can be polled; the others are not listed";
constexpr char kTooManyModels[] =
    "more models are announced than can be asked about; the others have no newest version";
constexpr std::size_t kMaxReported = 64;    // strangers choose what a message names
constexpr std::size_t kDisplacing = 64;     // units that may displace others at each retry
constexpr std::size_t kFailuresInARow = 8;  // then there is no thread or memory for the others either

std::string PlaceText(const std::string& address) {
  return address.empty() ? "hosts without a known address" : vorn::Excerpt(address);
}

vorn::optional<vorn::FirmwareVersion> VersionOf(const vorn::optional<std::string>& text) {
  if (!text) return {};
  return vorn::SlowConvertFromStringAllowRemainder<vorn::FirmwareVersion>(*text);
}

}  // namespace

PollingDeviceList::PollingDeviceList(Publish publish, UpdateServer server)
    : PollingDeviceList(std::move(publish), vorn::SystemDNSSD::Instance(),
                        Makers{.firmwarePoller = FirmwarePollersOf(std::move(server))}) {}

PollingDeviceList::PollingDeviceList(Publish publish, vorn::DNSSD& dnssd, Makers makers)
    : Watcher(dnssd, makers.now),
      fMakers(std::move(makers)),
      fUpdateItem(this, [this] { return UpdateAfterPause(); }),
      fPauseTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { fUpdateItem.Queue(); }),
      fPublish(std::move(publish)),
      fModels(
          [this](const std::string& model) {
            return fMakers.firmwarePoller(model, kReleaseChannel, [this] { fUpdateItem.Queue(); });
          },
          {.onReplaced =
               [this](const std::string& url) {
                 ReportOnce("a unit at " + PlaceText(AddressesOf(url).front()) +
                            " names one model after another; only its last ones are asked about");
               },
           .onRefused = [this] { ReportOnce(kTooManyModels); }}),
      fRetryItem(this, [this] { return Retry(); }),
      fRetryTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { fRetryItem.Queue(); }) {
  OnDeviceListChange([this](std::vector<Entry> entries) { TakeEntries(std::move(entries)); });
}

PollingDeviceList::~PollingDeviceList() = default;

std::unique_ptr<Poller> PollingDeviceList::MakePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts) {
  const UnitKind* kind = KindOf(entry.type);
  return kind != nullptr ? kind->makePoller(std::move(entry), std::move(hosts)) : nullptr;
}

PollingDeviceList::FirmwarePollerMaker PollingDeviceList::FirmwarePollersOf(UpdateServer server) {
  return
      [server = std::move(server)](std::string model, std::string channel, std::function<void()> onChanged) {
        return FirmwarePoller(std::move(model), std::move(channel), std::move(onChanged), server);
      };
}

void PollingDeviceList::TakeEntries(std::vector<Entry> entries) {
  const std::vector<std::size_t> kept = KeptPollers(entries);
  const Candidates candidates = InOrderOfArrival(std::move(entries));
  fWaiting = Seat(kept, fPollers.size(), candidates);
  RetryLater();
  fUpdateItem.Queue();
}

// First those that nobody has tried yet, then those that wait already, in the order in which they wait.
PollingDeviceList::Candidates PollingDeviceList::InOrderOfArrival(std::vector<Entry> entries) const {
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
// between leaves the old set complete. Returns the entries that wait now.
std::vector<Entry> PollingDeviceList::Seat(const std::vector<std::size_t>& kept, std::size_t settled,
                                           const Candidates& candidates) {
  UnitPlaces places = PlacesOf(kept, settled);
  std::vector<Entry> waiting;
  auto created = NewPollers(places, candidates, waiting);
  std::vector<std::size_t> staying;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (places.HasLost(i)) {
      waiting.push_back(fPollers[kept[i]]->GetEntry());
    } else {
      staying.push_back(kept[i]);
    }
  }
  if (!created.empty() || staying.size() < kept.size()) fUpdateItem.Queue();
  std::vector<std::unique_ptr<Poller>> pollers;
  pollers.reserve(staying.size() + created.size());
  for (const std::size_t index : staying) pollers.push_back(std::move(fPollers[index]));
  std::move(created.begin(), created.end(), std::back_inserter(pollers));
  fPollers.swap(pollers);
  fSettled = static_cast<std::size_t>(
      std::count_if(staying.begin(), staying.end(), [this](std::size_t index) { return index < fSettled; }));
  return waiting;
}

UnitPlaces PollingDeviceList::PlacesOf(const std::vector<std::size_t>& kept, std::size_t settled) const {
  UnitPlaces places;
  for (const std::size_t index : kept) {
    const Poller& poller = *fPollers[index];
    places.Hold(AddressesOf(poller.GetEntry().url), index < settled && !poller.HasAnswered());
  }
  return places;
}

// Adds those that get none to `waiting`: first those that might displace nobody, so that each may at a later
// retry.
std::vector<std::unique_ptr<Poller>> PollingDeviceList::NewPollers(UnitPlaces& places,
                                                                   const Candidates& candidates,
                                                                   std::vector<Entry>& waiting) {
  const auto& [entries, order, displacing] = candidates;
  std::vector<bool> hasPlace(entries.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    hasPlace[order[i]] = places.Admit(AddressesOf(entries[order[i]].url), i < displacing);
    if (places.WasFull()) ReportFull(places);
  }
  std::vector<std::unique_ptr<Poller>> created;
  for (std::size_t i = 0, failures = 0; i < entries.size(); ++i) {
    if (!hasPlace[i]) continue;
    auto poller = failures < kFailuresInARow ? NewPoller(entries[i]) : std::nullopt;
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

// The next retry is sure before this one begins, because memory may be what is missing.
bool PollingDeviceList::Retry() {
  fIsRetryDue = false;
  if (std::exchange(fMustAskAboutModels, false)) fUpdateItem.Queue();
  RetryLater();
  std::vector<std::size_t> all(fPollers.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  const auto next = fWaiting.begin() + static_cast<std::ptrdiff_t>(std::min(fWaiting.size(), kMaxUnits));
  Candidates candidates{{fWaiting.begin(), next}, {}, kDisplacing};
  candidates.order.resize(candidates.entries.size());
  std::iota(candidates.order.begin(), candidates.order.end(), std::size_t{0});
  auto waiting = Seat(all, fSettled, candidates);
  waiting.insert(waiting.begin(), next, fWaiting.end());
  fWaiting.swap(waiting);
  fSettled = fPollers.size();
  return true;
}

// Also looks again at the addresses of many units, because hosts may move to one address.
void PollingDeviceList::RetryLater() {
  const bool mustLook = fPollers.size() > UnitPlaces::kMaxUnitsAtAddress;
  if (fIsRetryDue || (fWaiting.empty() && !mustLook && !fMustAskAboutModels)) return;
  fIsRetryDue = true;
  fRetryTimer.FireAfter(fMakers.retryTime);
}

// The pollers whose entry is still announced, in order. Removes those entries from `entries`.
std::vector<std::size_t> PollingDeviceList::KeptPollers(std::vector<Entry>& entries) const {
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

// Null for an unknown kind; nothing if it cannot be made.
std::optional<std::unique_ptr<Poller>> PollingDeviceList::NewPoller(const Entry& entry) {
  try {
    auto poller = fMakers.poller(entry, Hosts());
    if (poller) poller->OnNameOrFirmwareChanged([this] { fUpdateItem.Queue(); });
    return poller;
  } catch (const std::exception& error) {
    ReportOnce(fReportedThreads, std::string("a unit cannot be polled, trying again: ") + error.what());
    return std::nullopt;
  }
}

void PollingDeviceList::CheckForUpdates(bool check) {
  fChecksForUpdates = check;
  if (!check) fModels.Forget();
  fUpdateItem.Queue();
}

bool PollingDeviceList::UpdateAfterPause() {
  const auto now = fMakers.now();
  if (now < fPauseEnds) {
    fPauseTimer.FireAfter(fPauseEnds - now);
    return true;
  }
  UpdateList();
  if (fPollers.size() > kUnitsWithoutPause) fPauseEnds = fMakers.now() + kPause;
  return true;
}

bool PollingDeviceList::UpdateList() {
  std::vector<ExtendedDeviceInfo> collected;
  collected.reserve(fPollers.size());
  for (const auto& poller : fPollers) {
    collected.push_back(Assemble(*poller));
    if (const auto& model = collected.back().modelID) fModels.Name(*model);
  }
  for (ExtendedDeviceInfo& info : collected) {
    if (info.modelID && fChecksForUpdates)
      info.latestVersion = VersionOf(LatestVersionText(info.url, *info.modelID));
  }
  fModels.EndRound();
  std::erase_if(collected, [](const ExtendedDeviceInfo& info) { return !info.name; });
  std::vector<ExtendedDeviceInfo> output = FilterAndSort(std::move(collected));
  if (fPublish) fPublish(std::move(output));
  return true;
}

ExtendedDeviceInfo PollingDeviceList::Assemble(const Poller& poller) const {
  const Entry& entry = poller.GetEntry();
  ExtendedDeviceInfo info;
  info.name = poller.GetName();
  info.type = entry.type;
  info.url = entry.url;
  info.uid = entry.uid;
  info.address = poller.GetAddress();
  info.firmwareVersion = VersionOf(poller.GetFirmwareVersion());
  info.modelID = poller.GetModelID();
  return info;
}

vorn::optional<std::string> PollingDeviceList::LatestVersionText(const std::string& url,
                                                                 const std::string& model) {
  try {
    return fModels.LatestVersionOf(url, model);
  } catch (const std::exception& error) {
    ReportOnce(fReportedThreads, std::string("a model cannot be asked about, trying again: ") + error.what());
    fMustAskAboutModels = true;
    RetryLater();
    return {};
  }
}

void PollingDeviceList::ReportFull(const UnitPlaces& places) {
  const auto& address = places.FullAddress();
  if (!address) return ReportOnce(kTooManyUnits);
  ReportOnce("more than " + std::to_string(UnitPlaces::kMaxUnitsAtAddress) + " units are announced at " +
             PlaceText(*address) + "; the others there are not listed");
}

void PollingDeviceList::ReportOnce(bool& reported, const std::string& message) {
  if (!std::exchange(reported, true)) vorn::WriteToConsole(message);
}

void PollingDeviceList::ReportOnce(const std::string& message) {
  if (fReported.size() < kMaxReported && fReported.insert(message).second) vorn::WriteToConsole(message);
}

}  // namespace DeviceList

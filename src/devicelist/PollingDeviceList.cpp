#include "devicelist/PollingDeviceList.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "foundation/Console.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

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
      fUpdateItem(this, [this] { return UpdateList(); }),
      fPublish(std::move(publish)) {
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

// Builds the new set of pollers beside the old one and swaps at the end. So a failure in between leaves the
// old set complete.
void PollingDeviceList::TakeEntries(std::vector<Entry> entries) {
  const std::vector<std::size_t> kept = KeptPollers(entries);
  std::vector<std::unique_ptr<Poller>> created;
  for (Entry& entry : entries) {
    if (kept.size() + created.size() >= kMaxUnits) {
      ReportOnce(fReportedUnits, "more units are announced than can be polled; the others are not listed");
      break;
    }
    if (auto poller = NewPoller(std::move(entry))) created.push_back(std::move(poller));
  }
  std::vector<std::unique_ptr<Poller>> pollers;
  pollers.reserve(kept.size() + created.size());
  for (const std::size_t index : kept) pollers.push_back(std::move(fPollers[index]));
  std::move(created.begin(), created.end(), std::back_inserter(pollers));
  fPollers.swap(pollers);
  fUpdateItem.Queue();
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

std::unique_ptr<Poller> PollingDeviceList::NewPoller(Entry entry) {
  try {
    auto poller = fMakers.poller(std::move(entry), Hosts());
    if (poller) poller->OnNameOrFirmwareChanged([this] { fUpdateItem.Queue(); });
    return poller;
  } catch (const std::exception& error) {
    ReportOnce(fReportedThreads, std::string("a unit cannot be polled: ") + error.what());
    return nullptr;
  }
}

bool PollingDeviceList::UpdateList() {
  std::vector<ExtendedDeviceInfo> collected;
  collected.reserve(fPollers.size());
  for (const auto& poller : fPollers) {
    ExtendedDeviceInfo info = Assemble(*poller);
    if (info.name) collected.push_back(std::move(info));
  }
  std::vector<ExtendedDeviceInfo> output = FilterAndSort(std::move(collected));
  if (fPublish) fPublish(std::move(output));
  return true;
}

ExtendedDeviceInfo PollingDeviceList::Assemble(const Poller& poller) {
  const Entry& entry = poller.GetEntry();
  ExtendedDeviceInfo info;
  info.name = poller.GetName();
  info.type = entry.type;
  info.url = entry.url;
  info.uid = entry.uid;
  info.firmwareVersion = VersionOf(poller.GetFirmwareVersion());
  info.modelID = poller.GetModelID();
  if (info.modelID) info.latestVersion = VersionOf(LatestVersionText(*info.modelID));
  return info;
}

vorn::optional<std::string> PollingDeviceList::LatestVersionText(const std::string& model) {
  auto found = fFirmwarePollers.find(model);
  if (found == fFirmwarePollers.end()) {
    if (fFirmwarePollers.size() >= kMaxModels) {
      ReportOnce(fReportedModels,
                 "more models are announced than can be asked about; the others have no newest version");
      return {};
    }
    try {
      found =
          fFirmwarePollers
              .emplace(model, fMakers.firmwarePoller(model, kReleaseChannel, [this] { fUpdateItem.Queue(); }))
              .first;
    } catch (const std::exception& error) {
      ReportOnce(fReportedThreads, std::string("a model cannot be asked about: ") + error.what());
      return {};
    }
  }
  return found->second.GetLatestVersion();
}

void PollingDeviceList::ReportOnce(bool& reported, const std::string& message) {
  if (!std::exchange(reported, true)) vorn::WriteToConsole(message);
}

}  // namespace DeviceList

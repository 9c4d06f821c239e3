#include "devicelist/Watcher.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <utility>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

using ServiceInfo = vorn::ZeroConfEngine::ServiceInfo;

constexpr std::uint16_t kDefaultPort = 80;

// Uses the host's name, not its address, because the user's browser and the unit's own links know the name.
std::string BaseUrl(const ServiceInfo& service) {
  std::string url = "http://" + service.host;
  if (service.port != kDefaultPort) url += ":" + std::to_string(service.port);
  return url + "/";
}

// As a client reads it.
std::string HostOf(const std::string& url) {
  const auto begin = url.find("://") + 3;
  return url.substr(begin, url.find_first_of(":/?#", begin) - begin);
}

std::vector<Entry> EntriesOfService(const ServiceInfo& service) {
  const std::string type = vorn::GetValue(service.txt, kKeyKind);
  const UnitKind* kind = KindOf(type);
  if (kind == nullptr) return {};
  if (kind->announced == UnitKind::Announced::kOne)
    return {{service.name, type, BaseUrl(service), vorn::GetValue(service.txt, kKeyUID)}};
  std::vector<Entry> entries;
  for (const std::string& uid : vorn::GetEmbeddedValues(vorn::GetValue(service.txt, kKeyUIDList)))
    entries.push_back({{}, type, BaseUrl(service) + uid + "/", uid});
  return entries;
}

}  // namespace

bool AnnouncesUnits(const ServiceInfo& service) {
  return KindOf(vorn::GetValue(service.txt, kKeyKind)) != nullptr;
}

std::vector<Entry> EntriesOfServices(const std::vector<ServiceInfo>& services) {
  std::vector<Entry> entries;
  std::unordered_set<std::string> urls;
  for (const ServiceInfo& service : services) {
    for (Entry& entry : EntriesOfService(service)) {
      if (urls.insert(entry.url).second) entries.push_back(std::move(entry));
    }
  }
  return entries;
}

Watcher::Watcher(vorn::DNSSD& dnssd, vorn::Now now)
    : fDnssd(dnssd),
      fNow(std::move(now)),
      fHoldTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { EndHold(); }),
      fUpdateItem(this, [this] { return UpdateDeviceList(); }) {
  Browse();
}

Watcher::~Watcher() = default;

void Watcher::OnDeviceListChange(std::function<void(std::vector<Entry>)> callback) {
  const std::lock_guard lock(fMutex);
  fForceUpdate = true;
  fCallback = nullptr;
  if (!callback) return;
  fCallback = [deliver = std::move(callback)](const std::vector<Entry>& entries) { deliver(entries); };
  fUpdateItem.Queue();
}

void Watcher::Browse() {
  auto engine = std::make_unique<vorn::ZeroConfEngine>(fUpdateItem, fDnssd);
  engine->BrowseForService("_http._tcp");
  fEngine = std::move(engine);
}

void Watcher::BrowseAnew() {
  fHeld.Hold(fHeld.Merge(Resolved()), fNow());
  KeepHosts();
  ForceUpdate();    // the old engine may know a change that was not delivered
  fEngine.reset();  // first, so that the new one finds its descriptors free
  fResponderAnswers = true;
  Browse();
  RunOrPauseHold();
}

void Watcher::PauseHold() {
  fResponderAnswers = false;
  RunOrPauseHold();
}

bool Watcher::IsBrowsing() const {
  return fEngine && fEngine->IsBrowsing();
}

bool Watcher::HasBrowsingEnded() const {
  return !fEngine || fEngine->HasBrowsingEnded();
}

HeldServices::Services Watcher::Resolved() const {
  HeldServices::Services services;
  if (fEngine) fEngine->GetResolvedServices(services);
  std::erase_if(services, [](const auto& service) { return !AnnouncesUnits(service); });
  return services;
}

bool Watcher::UpdateDeviceList() {
  RunOrPauseHold();
  UpdateHosts();
  const std::lock_guard lock(fMutex);
  const bool modified = fEngine && fEngine->TestAndClearModified();
  if (!modified && !fForceUpdate) return true;
  fForceUpdate = false;
  if (!fCallback) return true;
  HeldServices::Services resolved = Resolved();
  const HeldServices::Services listed = fHeld.Merge(resolved);
  TakeHosts(resolved, listed);
  fCallback(EntriesOfServices(listed));
  return true;
}

// A newly resolved address comes before the earlier ones. The earlier ones stay until the following knows
// better, because a new engine has not followed yet. Nobody follows hosts outside ".local", so those keep
// their earlier addresses only until a service there is resolved again.
void Watcher::TakeHosts(const HeldServices::Services& resolved, const HeldServices::Services& listed) {
  LocalHosts::Table hosts;
  for (const auto& service : resolved) hosts[LocalHosts::KeyOf(service.host)].push_back(service.address);
  for (const auto& service : listed) hosts.try_emplace(LocalHosts::KeyOf(service.host));
  std::vector<std::string> followed;
  for (auto& [host, addresses] : hosts) {
    if (LocalHosts::IsLocal(host)) {
      const auto before = fHosts->AddressesOf(host);
      addresses.insert(addresses.end(), before.begin(), before.end());
      followed.push_back(host);
    } else if (const auto before = fAnnounced.find(host); addresses.empty() && before != fAnnounced.end()) {
      addresses = before->second;
    }
  }
  fAnnounced.swap(hosts);
  if (fEngine) fEngine->Follow(std::move(followed));
  UpdateHosts();
}

std::vector<std::string> Watcher::AddressesOf(const std::string& url) const {
  const std::string host = HostOf(url);
  auto addresses = fHosts->AddressesOf(host);
  if (addresses.empty()) {
    const auto found = fAnnounced.find(LocalHosts::KeyOf(host));
    if (found != fAnnounced.end()) addresses = found->second;
  }
  std::sort(addresses.begin(), addresses.end());
  addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
  if (addresses.empty()) addresses.emplace_back();
  return addresses;
}

// Takes over what the old engine has followed.
void Watcher::KeepHosts() {
  UpdateHosts();
  for (auto& [host, addresses] : fAnnounced) {
    if (LocalHosts::IsLocal(host)) addresses = fHosts->AddressesOf(host);
  }
}

void Watcher::UpdateHosts() {
  LocalHosts::Table table = fAnnounced;
  if (fEngine) {
    for (auto& [host, followed] : fEngine->FollowedAddresses()) {
      const auto found = table.find(host);
      if (found == table.end()) continue;
      auto& addresses = found->second;
      if (followed.isComplete) addresses.clear();
      addresses.insert(addresses.begin(), followed.addresses.begin(), followed.addresses.end());
    }
  }
  fHosts->Replace(table);
}

void Watcher::ForceUpdate() {
  const std::lock_guard lock(fMutex);
  fForceUpdate = true;
  fUpdateItem.Queue();
}

// Time counts against held services only while somebody looks for them.
void Watcher::RunOrPauseHold() {
  if (fResponderAnswers && IsBrowsing()) {
    fHeld.Run(fNow());
  } else {
    fHeld.Pause(fNow());
  }
  ArmHoldTimer();
}

void Watcher::EndHold() {
  if (fHeld.ReleaseDue(fNow())) ForceUpdate();
  ArmHoldTimer();
}

void Watcher::ArmHoldTimer() {
  const auto due = fHeld.NextDue();
  if (!due) return fHoldTimer.SetNextFireDate(vorn::kNever);
  const std::chrono::duration<double> left = *due - fNow();
  fHoldTimer.SetNextFireDate(vorn::AbsoluteTimeGetCurrent() + left.count());
}

}  // namespace DeviceList

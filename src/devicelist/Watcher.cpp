#include "devicelist/Watcher.h"

#include <utility>

#include "devicelist/ServiceEntries.h"

namespace DeviceList {
namespace {

LocalHosts::Table AddressesOfServices(const HeldServices::Services& services) {
  LocalHosts::Table table;
  for (const auto& service : services) table[service.host].push_back(service.address);
  return table;
}

}  // namespace

Watcher::Watcher(vorn::DNSSD& dnssd, Clock now)
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
  fHeld.Hold(Services(), fNow());
  ForceUpdate();    // the old engine may know of a change that was not delivered
  fEngine.reset();  // first, so that the fresh one finds its descriptors free
  Browse();
  if (IsBrowsing()) fHeld.Run(fNow());
  ArmHoldTimer();
}

void Watcher::PauseHold() {
  fHeld.Pause(fNow());
  ArmHoldTimer();
}

bool Watcher::IsBrowsing() const {
  return fEngine && !fEngine->HasFailed();
}

HeldServices::Services Watcher::Services() {
  HeldServices::Services services;
  if (fEngine) fEngine->GetResolvedServices(services);
  std::erase_if(services, [](const auto& service) { return !AnnouncesUnits(service); });
  return fHeld.Merge(std::move(services));
}

bool Watcher::UpdateDeviceList() {
  if (!IsBrowsing()) PauseHold();  // nobody looks for what is held
  const std::lock_guard lock(fMutex);
  const bool modified = fEngine && fEngine->TestAndClearModified();
  if (!modified && !fForceUpdate) return true;
  fForceUpdate = false;
  if (!fCallback) return true;
  const HeldServices::Services services = Services();
  fHosts->Replace(AddressesOfServices(services));
  fCallback(EntriesOfServices(services));
  return true;
}

void Watcher::ForceUpdate() {
  const std::lock_guard lock(fMutex);
  fForceUpdate = true;
  fUpdateItem.Queue();
}

void Watcher::EndHold() {
  if (fHeld.ReleaseDue(fNow())) ForceUpdate();
  ArmHoldTimer();
}

void Watcher::ArmHoldTimer() {
  const auto due = fHeld.NextDue();
  fHoldTimer.SetNextFireDate(due ? vorn::AbsoluteTimeGetCurrent() + (*due - fNow()) : vorn::kNever);
}

}  // namespace DeviceList

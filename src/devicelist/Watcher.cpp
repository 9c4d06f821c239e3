#include "devicelist/Watcher.h"

#include <utility>

#include "devicelist/ServiceEntries.h"

namespace DeviceList {
namespace {

LocalHosts::Table AddressesOfServices(const std::vector<vorn::ZeroConfEngine::ServiceInfo>& services) {
  LocalHosts::Table table;
  for (const auto& service : services) table[service.host].push_back(service.address);
  return table;
}

}  // namespace

Watcher::Watcher(vorn::DNSSD& dnssd)
    : fUpdateItem(this, [this] { return UpdateDeviceList(); }), fEngine(fUpdateItem, dnssd) {
  fEngine.BrowseForService("_http._tcp");
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

bool Watcher::UpdateDeviceList() {
  const std::lock_guard lock(fMutex);
  const bool modified = fEngine.TestAndClearModified();
  if (!modified && !fForceUpdate) return true;
  fForceUpdate = false;
  if (!fCallback) return true;
  std::vector<vorn::ZeroConfEngine::ServiceInfo> services;
  fEngine.GetResolvedServices(services);
  fHosts->Replace(AddressesOfServices(services));
  fCallback(EntriesOfServices(services));
  return true;
}

}  // namespace DeviceList

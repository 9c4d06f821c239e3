#include "devicelist/ServiceEntries.h"

#include <string>
#include <unordered_set>
#include <utility>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

using ServiceInfo = vorn::ZeroConfEngine::ServiceInfo;

constexpr std::uint16_t kDefaultPort = 80;

// By the host's name, not its address: the name is what the user's browser and
// the unit's own links know.
std::string BaseURL(const ServiceInfo& service) {
  std::string url = "http://" + service.host;
  if (service.port != kDefaultPort) url += ":" + std::to_string(service.port);
  return url + "/";
}

std::vector<Entry> EntriesOfService(const ServiceInfo& service) {
  const std::string kind = vorn::GetValue(service.txt, kKeyKind);
  std::vector<Entry> entries;
  if (kind == kTypeDevice || kind == kTypeSwitch) {
    entries.push_back({service.name, kind, BaseURL(service), vorn::GetValue(service.txt, kKeyUID)});
  } else if (kind == kTypeHost) {
    for (const std::string& uid : vorn::GetEmbeddedValues(vorn::GetValue(service.txt, kKeyUIDList))) {
      entries.push_back({{}, kind, BaseURL(service) + uid + "/", uid});
    }
  }
  return entries;
}

}  // namespace

bool AnnouncesUnits(const ServiceInfo& service) {
  const std::string kind = vorn::GetValue(service.txt, kKeyKind);
  return kind == kTypeDevice || kind == kTypeHost || kind == kTypeSwitch;
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

}  // namespace DeviceList

#include "devicelist/HeldUnits.h"

#include <string>
#include <unordered_map>
#include <utility>

#include "devicelist/PublishedList.h"

namespace DeviceList {
namespace {

bool KnowsAsMuch(const ExtendedDeviceInfo& current, const ExtendedDeviceInfo& held) {
  return (current.firmwareVersion || !held.firmwareVersion) && (current.modelID || !held.modelID) &&
         (current.latestVersion || !held.latestVersion);
}

}  // namespace

void HeldUnits::Hold(std::vector<ExtendedDeviceInfo> shown) {
  fHeld = std::move(shown);
}

void HeldUnits::Release() {
  fHeld.clear();
}

std::vector<ExtendedDeviceInfo> HeldUnits::Merge(std::vector<ExtendedDeviceInfo> current) {
  if (fHeld.empty()) return current;
  std::unordered_map<std::string, std::size_t> byURL;
  for (std::size_t i = 0; i < current.size(); ++i) byURL.emplace(current[i].url, i);
  std::vector<ExtendedDeviceInfo> stillHeld;
  for (ExtendedDeviceInfo& held : fHeld) {
    const auto found = byURL.find(held.url);
    if (found == byURL.end()) {
      current.push_back(held);
    } else if (KnowsAsMuch(current[found->second], held)) {
      continue;
    } else {
      current[found->second] = held;
    }
    stillHeld.push_back(std::move(held));
  }
  fHeld = std::move(stillHeld);
  return FilterAndSort(std::move(current));
}

}  // namespace DeviceList

#include "devicelist/HeldUnits.h"

#include <algorithm>
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

void HeldUnits::Hold(std::vector<ExtendedDeviceInfo> shown, vorn::AbsoluteTime until) {
  std::unordered_map<std::string, vorn::AbsoluteTime> untilOfUnseen;
  for (const Held& held : fHeld) {
    if (!held.isNamed) untilOfUnseen.emplace(held.unit.url, held.until);
  }
  std::vector<Held> all;
  all.reserve(shown.size());
  for (ExtendedDeviceInfo& unit : shown) {
    const auto unseen = untilOfUnseen.find(unit.url);
    all.push_back({std::move(unit), unseen == untilOfUnseen.end() ? until : unseen->second});
  }
  fHeld = std::move(all);
}

bool HeldUnits::ReleaseDue(vorn::AbsoluteTime now) {
  return std::erase_if(fHeld, [now](const Held& held) { return held.until <= now; }) > 0;
}

vorn::optional<vorn::AbsoluteTime> HeldUnits::NextDue() const {
  const auto first = std::min_element(fHeld.begin(), fHeld.end(),
                                      [](const Held& a, const Held& b) { return a.until < b.until; });
  if (first == fHeld.end()) return {};
  return first->until;
}

std::vector<ExtendedDeviceInfo> HeldUnits::Merge(std::vector<ExtendedDeviceInfo> current) {
  if (fHeld.empty()) return current;
  std::unordered_map<std::string, std::size_t> byURL;
  for (std::size_t i = 0; i < current.size(); ++i) byURL.emplace(current[i].url, i);
  std::vector<Held> stillHeld;
  for (Held& held : fHeld) {
    const auto found = byURL.find(held.unit.url);
    if (found == byURL.end()) {
      current.push_back(held.unit);
    } else if (KnowsAsMuch(current[found->second], held.unit)) {
      continue;
    } else {
      current[found->second] = held.unit;
      held.isNamed = true;
    }
    stillHeld.push_back(std::move(held));
  }
  fHeld = std::move(stillHeld);
  return FilterAndSort(std::move(current));
}

}  // namespace DeviceList

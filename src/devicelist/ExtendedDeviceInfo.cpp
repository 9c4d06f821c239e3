#include "devicelist/ExtendedDeviceInfo.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "devicelist/Entry.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

// For each byte of a name the byte that sorts as it does: the lower-case letter as a signed number. Not the C
// library's tolower, which returns a positive number for a negative byte here.
constexpr std::array<char, 256> kOrder = [] {
  std::array<char, 256> order{};
  for (unsigned byte = 0; byte < order.size(); ++byte) {
    const char lower = vorn::ToLowerASCII(static_cast<char>(byte));
    order[byte] = static_cast<char>(static_cast<unsigned char>(lower) ^ 0x80U);
  }
  return order;
}();

// A text whose own order is that of the names.
std::string OrderKey(const std::string& name) {
  std::string key = name;
  for (char& c : key) c = kOrder[static_cast<unsigned char>(c)];
  return key;
}

bool IsListed(const ExtendedDeviceInfo& info, UnitKind::Listed when) {
  const UnitKind* kind = KindOf(info.type);
  return kind != nullptr && kind->listed == when;
}

}  // namespace

bool UpdateAvailable(const ExtendedDeviceInfo& info) {
  return info.firmwareVersion && info.latestVersion && *info.firmwareVersion < *info.latestVersion;
}

bool NamePrecedes(const std::string& a, const std::string& b) {
  return OrderKey(a) < OrderKey(b);
}

std::vector<ExtendedDeviceInfo> FilterAndSort(std::vector<ExtendedDeviceInfo> collected) {
  std::unordered_set<std::string_view> deviceUIDs;
  for (const ExtendedDeviceInfo& info : collected) {
    if (info.type == kTypeDevice) deviceUIDs.insert(info.uid);
  }
  // With their keys, so that each name is read once however often it is compared.
  std::vector<std::pair<std::string, ExtendedDeviceInfo*>> kept;
  kept.reserve(collected.size());
  for (ExtendedDeviceInfo& info : collected) {
    const bool canBeShadowed = IsListed(info, UnitKind::Listed::kUnlessAnnouncedItself);
    if (!canBeShadowed || !deviceUIDs.contains(info.uid)) kept.emplace_back(OrderKey(*info.name), &info);
  }
  std::sort(kept.begin(), kept.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<ExtendedDeviceInfo> output;
  output.reserve(kept.size());
  for (const auto& [key, info] : kept) output.push_back(std::move(*info));
  return output;
}

SharedUnits UnitsToShow(SharedUnits published, bool showSwitches) {
  const auto isShown = [](const ExtendedDeviceInfo& info) {
    return !IsListed(info, UnitKind::Listed::kWithSwitches);
  };
  if (showSwitches || std::all_of(published->begin(), published->end(), isShown)) return published;
  std::vector<ExtendedDeviceInfo> shown;
  shown.reserve(published->size());
  std::copy_if(published->begin(), published->end(), std::back_inserter(shown), isShown);
  return std::make_shared<const std::vector<ExtendedDeviceInfo>>(std::move(shown));
}

}  // namespace DeviceList

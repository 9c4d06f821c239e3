#include "devicelist/ExtendedDeviceInfo.h"

#include <algorithm>
#include <unordered_set>

#include "devicelist/Entry.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

// Not the C library's tolower: for a negative byte, that one returns a positive number here.
int Fold(char c) {
  return static_cast<signed char>(vorn::ToLowerASCII(c));
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
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char x, char y) { return Fold(x) < Fold(y); });
}

std::vector<ExtendedDeviceInfo> FilterAndSort(std::vector<ExtendedDeviceInfo> collected) {
  std::unordered_set<std::string> deviceUIDs;
  for (const ExtendedDeviceInfo& info : collected) {
    if (info.type == kTypeDevice) deviceUIDs.insert(info.uid);
  }
  std::erase_if(collected, [&](const ExtendedDeviceInfo& info) {
    return IsListed(info, UnitKind::Listed::kUnlessAnnouncedItself) && deviceUIDs.contains(info.uid);
  });
  std::sort(collected.begin(), collected.end(), [](const ExtendedDeviceInfo& a, const ExtendedDeviceInfo& b) {
    return NamePrecedes(*a.name, *b.name);
  });
  return collected;
}

std::vector<ExtendedDeviceInfo> UnitsToShow(std::vector<ExtendedDeviceInfo> published, bool showSwitches) {
  if (showSwitches) return published;
  std::erase_if(published, [](const ExtendedDeviceInfo& info) {
    return IsListed(info, UnitKind::Listed::kWithSwitches);
  });
  return published;
}

}  // namespace DeviceList

#pragma once

#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

namespace DeviceList {

/// What is published of the units that have been assembled: without the host
/// records whose uid a device record carries too, sorted by name. Every record
/// given has a name.
[[nodiscard]] std::vector<ExtendedDeviceInfo> FilterAndSort(std::vector<ExtendedDeviceInfo> collected);

/// The order of names: byte by byte as signed numbers, ASCII letters folded to
/// lower case whatever the locale. Bytes of non-ASCII characters are negative
/// and come before all of ASCII; a proper prefix comes first.
[[nodiscard]] bool NamePrecedes(const std::string& a, const std::string& b);

}  // namespace DeviceList

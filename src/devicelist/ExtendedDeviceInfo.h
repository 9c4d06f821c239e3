#pragma once

#include <string>
#include <vector>

#include "foundation/FirmwareVersion.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// One unit as published to the user: what discovery said of it, what the unit
/// says of itself and what the update server says of its model. A plain value.
/// All strings are bytes as the network gave them, not necessarily UTF-8.
struct ExtendedDeviceInfo {
  vorn::optional<std::string> name;  ///< as the unit itself reports it; always present in a published list
  std::string type;                  ///< the type text of a kind of unit (Entry.h)
  std::string url;                   ///< base URL of the unit's web interface, ends in "/"
  std::string uid;                   ///< unique identifier; may be empty or forged
  vorn::optional<vorn::FirmwareVersion> firmwareVersion;  ///< empty: unknown or not readable as a version
  vorn::optional<std::string> modelID;                    ///< empty: unknown
  vorn::optional<vorn::FirmwareVersion> latestVersion;    ///< newest release of the model; empty: unknown
};

/// What a list says where it has no unit to show.
inline constexpr char kNoUnitsText[] = "No Local Devices Found.";

/// True when the unit's firmware is known to be older than the newest release
/// of its model (FirmwareVersion's own "<").
[[nodiscard]] bool UpdateAvailable(const ExtendedDeviceInfo& info);

/// What is published of the units that have been assembled: without the host
/// records whose uid a device record carries too, sorted by name. Every record
/// given has a name.
[[nodiscard]] std::vector<ExtendedDeviceInfo> FilterAndSort(std::vector<ExtendedDeviceInfo> collected);

/// What the user wants to see of a published list, in its order: without the
/// switches unless they are asked for.
[[nodiscard]] std::vector<ExtendedDeviceInfo> UnitsToShow(std::vector<ExtendedDeviceInfo> published,
                                                          bool showSwitches);

/// The order of names: byte by byte as signed numbers, ASCII letters folded to
/// lower case whatever the locale. Bytes of non-ASCII characters are negative
/// and come before all of ASCII; a proper prefix comes first.
[[nodiscard]] bool NamePrecedes(const std::string& a, const std::string& b);

}  // namespace DeviceList

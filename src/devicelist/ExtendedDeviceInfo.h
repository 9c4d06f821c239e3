#pragma once

#include <memory>
#include <string>
#include <vector>

#include "foundation/FirmwareVersion.h"
#include "foundation/Optional.h"
#include "foundation/Translatable.h"

namespace DeviceList {

/// One unit as published to the user: what discovery knows about it, what the unit says about itself and what
/// the update server says about its model. A plain value. All strings are bytes from the network, not
/// necessarily UTF-8.
struct ExtendedDeviceInfo {
  vorn::optional<std::string> name;  ///< as the unit itself reports it; always present in a published list
  std::string type;                  ///< the type text of a kind of unit (Entry.h)
  std::string url;                   ///< base URL of the unit's web interface, ends in "/"
  std::string uid;                   ///< unique identifier; may be empty or forged
  vorn::optional<vorn::FirmwareVersion> firmwareVersion;  ///< empty: unknown or not readable as a version
  vorn::optional<std::string> modelID;                    ///< empty: unknown
  vorn::optional<vorn::FirmwareVersion> latestVersion;    ///< newest release of the model; empty: unknown
  std::string address;                                    ///< from which the unit answered last; never shown
};

/// A published list that its readers share instead of copying it. Nobody changes it, so it is like a copy of
/// one's own. Never null.
using SharedUnits = std::shared_ptr<const std::vector<ExtendedDeviceInfo>>;

/// The text of a list without units.
inline constexpr const char* kNoUnitsText = vorn::Translatable("Core", "No Local Devices Found.");

/// True if the unit's firmware is known to be older than the newest release of its model (FirmwareVersion's
/// own "<").
[[nodiscard]] bool UpdateAvailable(const ExtendedDeviceInfo& info);

/// The records to publish, sorted by name. It drops a host record if a device record has the same uid. Every
/// given record has a name.
[[nodiscard]] std::vector<ExtendedDeviceInfo> FilterAndSort(std::vector<ExtendedDeviceInfo> collected);

/// The units of a published list that the user wants to see, in its order: without the switches unless they
/// are requested. If that leaves nothing out, it is the same list.
[[nodiscard]] SharedUnits UnitsToShow(SharedUnits published, bool showSwitches);

/// The order of names: byte by byte as signed numbers, with ASCII letters in lower case whatever the locale
/// is. Bytes of non-ASCII characters are negative and come before all of ASCII. A proper prefix comes first.
[[nodiscard]] bool NamePrecedes(const std::string& a, const std::string& b);

}  // namespace DeviceList

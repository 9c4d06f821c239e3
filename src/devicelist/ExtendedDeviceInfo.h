#pragma once

#include <string>

#include "foundation/FirmwareVersion.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// One unit as published to the user: what discovery said of it, what the unit
/// says of itself and what the update server says of its model. A plain value.
/// All strings are bytes as the network gave them, not necessarily UTF-8.
struct ExtendedDeviceInfo {
  vorn::optional<std::string> name;  ///< as the unit itself reports it; always present in a published list
  std::string type;                  ///< kind of unit (Entry.h)
  std::string url;                   ///< base URL of the unit's web interface, ends in "/"
  std::string uid;                   ///< unique identifier; may be empty or forged
  vorn::optional<vorn::FirmwareVersion> firmwareVersion;  ///< empty: unknown or not readable as a version
  vorn::optional<std::string> modelID;                    ///< empty: unknown
  vorn::optional<vorn::FirmwareVersion> latestVersion;    ///< newest release of the model; empty: unknown
};

/// True when the unit's firmware is known to be older than the newest release
/// of its model (FirmwareVersion's own "<").
[[nodiscard]] bool UpdateAvailable(const ExtendedDeviceInfo& info);

}  // namespace DeviceList

#pragma once

#include <string>

#include "foundation/Optional.h"

namespace DeviceList {

/// The kinds of unit, as the TXT key "vorn.mdns.type" spells them.
inline constexpr char kTypeDevice[] = "plexadevice";  ///< an audio interface
inline constexpr char kTypeHost[] = "plexahost";      ///< a host that fronts several interfaces
inline constexpr char kTypeSwitch[] = "plexaswitch";  ///< an AVB switch

/// One discovered unit: the record that pollers and the shown list are keyed
/// on. A plain value, made by the Watcher from DNS-SD data and never changed.
/// All strings are bytes as the network gave them, not necessarily UTF-8.
struct Entry {
  vorn::optional<std::string> name;  ///< service instance name; empty for a unit named by a host's uid list
  std::string type;                  ///< one of the kinds above
  std::string url;                   ///< base URL of the unit's web interface, ends in "/"
  std::string uid;                   ///< the unit's unique identifier; may be empty
};

/// True when all four fields are equal, byte for byte.
[[nodiscard]] bool operator==(const Entry& a, const Entry& b);

}  // namespace DeviceList

#pragma once

#include <string>

namespace DeviceList {

/// The name under which the HTTP client is asked for a pinned host: its own,
/// but for two kinds. One beyond ASCII the client would take for an
/// internationalised one and look up another spelling of it, while multicast
/// DNS has such names as they stand. A "-" in front would turn the entry for
/// the client's table into one to be taken back. `host` is not empty.
[[nodiscard]] std::string HostAliasOf(const std::string& host);

}  // namespace DeviceList

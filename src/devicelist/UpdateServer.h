#pragma once

#include <string>

namespace DeviceList {

/// Sets the firmware update server's API root for the whole process: an http
/// URL with a host, whose path ends in "/api/", without query, fragment, user
/// name or password. False, with nothing changed, when the text is none. The
/// firmware pollers use it from their next query on. Any thread.
[[nodiscard]] bool SetUpdateServerRoot(const std::string& root);

/// The API root in force: the one set last, else the build's own
/// (VORN_UPDATE_SERVER_ROOT). Any thread.
[[nodiscard]] std::string UpdateServerRoot();

}  // namespace DeviceList

#pragma once

#include <filesystem>

namespace vorn {

/// Where the notifications of this user are kept: vorn-device-finder/notices.conf in the user's folder for
/// state. Empty if there is no home folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserNotificationsPath();

}  // namespace vorn

#pragma once

#include "platform/UserDefaults.h"

namespace vorn::app {

/// Has the firmware pollers ask the server that the user set under
/// "updateServerRoot", where one is set; one that cannot be an API root is
/// refused on the console, and the build's own stays in force. Main thread,
/// before the first poller.
void ApplyUpdateServerSetting(const UserDefaults& defaults);

}  // namespace vorn::app

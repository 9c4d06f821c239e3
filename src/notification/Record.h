#pragma once

#include <string>

#include "foundation/FirmwareVersion.h"

namespace Notification {

/// What was announced for one unit.
struct Record {
  std::string uid;                       ///< the unit's own identifier; a stranger's bytes
  vorn::FirmwareVersion currentVersion;  ///< what the unit ran when the announcement was made
  vorn::FirmwareVersion latestVersion;   ///< the release that was announced
};

}  // namespace Notification

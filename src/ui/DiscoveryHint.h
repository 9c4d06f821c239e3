#pragma once

namespace vorn::ui {

/// Why the list of devices may be empty, for the quiet line below it.
enum class DiscoveryHint {
  None,                ///< nothing to say: the line is not shown
  StillLooking,        ///< discovery has just begun; said only while nothing is listed
  NoDiscoveryService,  ///< the system's DNS-SD service does not run, so nothing can be found
  NoNetwork,           ///< no network interface is up
};

}  // namespace vorn::ui

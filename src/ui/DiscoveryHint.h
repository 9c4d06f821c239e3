#pragma once

namespace vorn::ui {

/// What the quiet line below the list says: why it may be empty, or what became
/// of the last click.
enum class DiscoveryHint {
  None,                ///< nothing to say: the line is not shown
  StillLooking,        ///< discovery has just begun; said only while nothing is listed
  NoDiscoveryService,  ///< the system's DNS-SD service does not run, so nothing can be found
  NoNetwork,           ///< no network interface is up
  PageNotOpened,       ///< a page was asked for, and could not be opened
};

}  // namespace vorn::ui

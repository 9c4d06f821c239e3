#pragma once

#include <string>

#include "platform/NotificationCenter.h"
#include "platform/UrlOpener.h"

namespace Notification {

/// Answers the click on a notice: removes it from the centre, in any case, and
/// opens the web address it carries. A notice without an address opens
/// nothing; one whose address is no web address (WebAddress.h) opens nothing
/// and says so on the console. Main thread; does not block.
void HandleNotificationActivation(const vorn::UserNotification& notification,
                                  vorn::NotificationCenter& center, vorn::UrlOpener& opener);

/// The same from a page address alone: for a click that reaches the program as
/// the "open-page" action of its D-Bus name, perhaps starting it. Whoever can
/// call that action chooses the address, so only web addresses are opened;
/// anything else is refused on the console. `activationToken` may be empty.
void HandleNotificationActivation(const std::string& address, const std::string& activationToken,
                                  vorn::UrlOpener& opener);

}  // namespace Notification

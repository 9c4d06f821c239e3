#include "platform/linux/notifications/NotificationState.h"

#include "platform/linux/files/UserFolders.h"

namespace vorn {

std::filesystem::path UserNotificationsPath() {
  const auto folder = UserStateFolder();
  return folder.empty() ? folder : folder / "vorn-device-finder" / "notices.conf";
}

}  // namespace vorn

#include "platform/linux/notifications/NotificationState.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "foundation/Console.h"
#include "foundation/RunLoop.h"
#include "platform/linux/files/UserFolders.h"
#include "platform/linux/files/WholeFile.h"

namespace vorn {
namespace {

FileDescriptor OpenLock(const std::filesystem::path& path) {
  if (path.empty() || !MakePrivateFolder(path.parent_path())) return FileDescriptor();
  const std::string name = path.string() + ".owner";
  return FileDescriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
}

}  // namespace

std::filesystem::path UserNotificationsPath() {
  const auto folder = OwnStateFolder();
  return folder.empty() ? folder : folder / "notices.conf";
}

NotificationState::NotificationState(const std::filesystem::path& path, std::chrono::milliseconds patience)
    : fLock(OpenLock(path)) {
  if (fLock && !LockFile(fLock, patience)) {
    WriteToConsole(path.string() +
                   " is in use by another program: notifications that wait are not kept there");
    return;
  }
  fStore = std::make_unique<IniUserDefaults>(path, RunLoop::Current());
}

}  // namespace vorn

#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

#include "foundation/FileDescriptor.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace vorn {

/// Where the notifications of this user are kept: notices.conf in OwnStateFolder. Empty if there is no home
/// folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserNotificationsPath();

/// The user's file of notifications. One program has it at a time, because two programs of one user, on two
/// session buses, would overwrite each other's notifications. The lock is on a file beside it,
/// "<name>.owner", and ends with its process.
///
/// @threadsafety The main thread only. Its run loop must be set before.
class NotificationState {
 public:
  /// Longer than a program needs to exit, so that the next one gets the file.
  static constexpr std::chrono::milliseconds kPatience{1500};

  /// Opens the file. If another program has it and keeps it for `patience`, this blocks for that time, the
  /// console says so, and there is no store. If the lock cannot be made, for example on a full disk, it
  /// counts as ours.
  explicit NotificationState(const std::filesystem::path& path,
                             std::chrono::milliseconds patience = kPatience);

  /// Null if another program has the file, until the end of this program.
  [[nodiscard]] IniUserDefaults* Store() { return fStore.get(); }

 private:
  FileDescriptor fLock;
  std::unique_ptr<IniUserDefaults> fStore;  ///< destroyed before the lock, because it saves at its end
};

}  // namespace vorn

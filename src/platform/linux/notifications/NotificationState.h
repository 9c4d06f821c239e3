#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

#include "foundation/FileDescriptor.h"
#include "platform/UserDefaults.h"

namespace vorn {

/// Where the notifications of this user are kept: vorn-device-finder/notices.conf in the user's folder for
/// state. Empty if there is no home folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserNotificationsPath();

/// The user's file of notifications, which one program has at a time: two of one
/// user, on two session buses, would overwrite each other's. The lock on a file
/// beside it, "<name>.owner", ends with its holder.
///
/// @threadsafety The main thread only, whose run loop must be set before.
class NotificationState {
 public:
  /// Longer than a program takes to end, so that its successor gets the file.
  static constexpr std::chrono::milliseconds kPatience{1500};

  /// Opens the file. Where another program has it and keeps it for `patience`,
  /// for which this blocks, the console says so, and there is no store. A lock
  /// that cannot be made, on a full disk for example, counts as ours.
  explicit NotificationState(const std::filesystem::path& path,
                             std::chrono::milliseconds patience = kPatience);

  /// Null where another program has the file, until the end of this program.
  [[nodiscard]] UserDefaults* Store() { return fStore.get(); }

 private:
  FileDescriptor fLock;
  std::unique_ptr<UserDefaults> fStore;  ///< goes before the lock: it saves at its end
};

}  // namespace vorn

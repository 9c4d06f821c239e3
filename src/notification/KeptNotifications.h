#pragma once

#include <string>
#include <vector>

#include "notification/Queue.h"
#include "platform/NotificationServer.h"
#include "platform/UserDefaults.h"

namespace Notification {

/// What the centre must not lose when the program ends, in a store of its own:
/// the notifications that wait, and those that stand with their ids, the server
/// that gave these and the bus that it is on.
///
/// What is read counts as a stranger's: a notification that is not whole, too
/// long or one too many is left out, and the console says so. What would be
/// left out is not written.
///
/// @threadsafety The main thread only.
class KeptNotifications {
 public:
  static constexpr std::size_t kMaxNotifications = 2048;
  static constexpr std::size_t kMaxLength = 8192;                 ///< of one text of a notification, in bytes
  static constexpr std::size_t kMaxSize = std::size_t{1} << 20U;  ///< of all texts together

  using ServerIdentity = vorn::NotificationServer::Identity;

  /// `state` must outlive this object; null: nothing is kept.
  explicit KeptNotifications(vorn::UserDefaults* state) : fState(state) {}

  /// What was kept, oldest first. Notifications that stood on another server, or
  /// on another bus, are left out: they were shown, and their ids mean nothing.
  [[nodiscard]] std::vector<KeptNotification> Read(const ServerIdentity& server);

  /// Replaces what is kept. The store saves it in its own time; it is left
  /// alone where nothing has changed.
  void Write(const std::vector<KeptNotification>& notifications, const ServerIdentity& server);

  /// Has the store save what was written. Blocks for the disk. False where it is
  /// not on disk.
  [[nodiscard]] bool Synchronize() { return fState && fState->Synchronize(); }

 private:
  vorn::UserDefaults* fState;
  std::vector<std::string> fTexts;  ///< as the state holds them
  ServerIdentity fServer;
};

}  // namespace Notification

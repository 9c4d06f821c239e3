#pragma once

#include <string>
#include <vector>

#include "notification/Queue.h"
#include "platform/NotificationServer.h"
#include "platform/UserDefaults.h"

namespace Notification {

/// What the centre must not lose when the program ends, in a separate store: the waiting notifications, and
/// the shown ones with their ids, the server of these ids and its bus. There is room for all that a Queue
/// holds.
///
/// The contents count as a stranger's. An incomplete or too long notification, and one beyond the limit, is
/// ignored, and the console says so. Such notifications are never written.
///
/// @threadsafety The main thread only.
class KeptNotifications {
 public:
  static constexpr std::size_t kMaxNotifications = Queue::kMaxNotifications;
  static constexpr std::size_t kMaxLength = 8192;           ///< of one text of a notification, in bytes
  static constexpr std::size_t kMaxSize = Queue::kMaxSize;  ///< of all texts together

  using ServerIdentity = vorn::NotificationServer::Identity;

  /// `state` must outlive this object; null: nothing is kept.
  explicit KeptNotifications(vorn::UserDefaults* state) : fState(state) {}

  /// The kept notifications, oldest first. Notifications on another server, or on another bus, are left out:
  /// they were shown, and their ids have no meaning.
  [[nodiscard]] std::vector<KeptNotification> Read(const ServerIdentity& server);

  /// Replaces what is kept. The store saves it later, and is left alone if nothing has changed.
  void Write(const std::vector<KeptNotification>& notifications, const ServerIdentity& server);

  /// Whether what was written is on disk. Does not block.
  [[nodiscard]] bool IsSaved() const { return fState && fState->IsSaved(); }

  /// Makes the store save what was written. Blocks for the disk. False if it is not on disk.
  [[nodiscard]] bool Synchronize() { return fState && fState->Synchronize(); }

 private:
  [[nodiscard]] std::string SourceAt(std::size_t index) const;

  vorn::UserDefaults* fState;
  std::vector<std::string> fTexts;    ///< as the state holds them
  std::vector<std::string> fSources;  ///< the same
  ServerIdentity fServer;
};

}  // namespace Notification

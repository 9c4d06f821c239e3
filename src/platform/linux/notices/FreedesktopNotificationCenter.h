#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/NotificationCenter.h"
#include "platform/UserDefaults.h"
#include "platform/linux/notices/NoticeQueue.h"

namespace vorn {

/// The notification centre on org.freedesktop.Notifications of the session bus.
///
/// Every call to the server is asynchronous. A server that starts late,
/// restarts or is replaced is used from then on; a notice whose server ended
/// before answering is delivered again. One that hangs is waited for as long as
/// it lives, since it shows what it was sent once it goes on: a notice without
/// an answer is not sent again, and holds back later ones of its subject alone;
/// a server that leaves several unanswered gets no more until it answers or
/// ends. What stood on a server that ended is forgotten, since it was shown and
/// the next one's ids may be the same. The rules of one notice a subject, one a
/// minute and many at once are NoticeQueue's. Signals about other programs'
/// notices, which some servers send to everybody, are ignored.
///
/// What waits or stands is kept in `state` (NoticeStore.h) and picked up at the
/// next start: waiting notices are sent, and standing ones keep their click if
/// their server is still the same. These come once more, silently and in their
/// old place: some servers report clicks only to the connection that a notice
/// came from, and none tells what became of a notice while no program ran, when
/// a click on it has opened nothing. Without a session bus every
/// notice waits for a start with one, and the console is told once.
///
/// @threadsafety The main thread only, which must run a Qt event loop
/// (QCoreApplication): replies and signals arrive through it.
class FreedesktopNotificationCenter final : public NotificationCenter {
 public:
  /// How the server presents us.
  struct Identity {
    std::string applicationName;  ///< as people read it
    std::string desktopEntry;     ///< the desktop file's name without ".desktop"
    std::string iconName;         ///< in the icon theme
  };

  struct Options {
    std::string busAddress{};       ///< empty: the session bus of the environment
    UserDefaults* state = nullptr;  ///< must outlive the centre; null: nothing outlives it
    NoticeQueue::Timing timing{};
    /// How long the notices of an earlier run wait for the list of units, which may recall them.
    std::chrono::milliseconds settleTime{5000};
    std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
  };

  /// Blocks for the bus, not for a server.
  explicit FreedesktopNotificationCenter(const Identity& identity);
  FreedesktopNotificationCenter(const Identity& identity, Options options);
  ~FreedesktopNotificationCenter() override;

  void SetDelegate(std::weak_ptr<Delegate> delegate) override;
  void DeliverNotification(const UserNotification& notification) override;
  void RemoveDeliveredNotification(const UserNotification& notification) override;
  void ForgetWaitingNotification(const std::string& subject) override;
  void ForgetWaitingNotifications() override;

  /// Saves what the next start is to pick up. Blocks for the disk. Need not be
  /// called for it to be saved soon, but before anything is saved that counts
  /// on it. False when a notice waits that is not on disk.
  [[nodiscard]] bool Synchronize();

 private:
  class Impl;
  std::unique_ptr<Impl> fImpl;
};

}  // namespace vorn

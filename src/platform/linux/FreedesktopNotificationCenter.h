#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/NotificationCenter.h"

namespace vorn {

/// The notification centre on org.freedesktop.Notifications of the session bus.
///
/// Every call to the server is asynchronous. A server that starts late,
/// restarts or is replaced is used from then on; a notice whose server ended
/// before answering is delivered again. One that hangs is waited for as long as
/// it lives, since it shows what it was sent once it goes on: a notice without
/// an answer is not sent again, and holds back later ones of its subject alone;
/// a server that leaves several unanswered gets no more until it answers or
/// ends. What stood on a server that ended is
/// forgotten, since the next one's ids may be the same. The rules of one notice
/// a subject and one a minute are NoticeQueue's. Signals about other programs'
/// notices, which some servers send to everybody, are ignored. Without a
/// session bus every notice is dropped, and the console told once.
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
    std::string busAddress;                      ///< empty: the session bus of the environment
    std::chrono::milliseconds quietTime{60000};  ///< between two deliveries for one subject
    std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
  };

  /// Blocks for the connection to the bus, not for a server.
  explicit FreedesktopNotificationCenter(const Identity& identity);
  FreedesktopNotificationCenter(const Identity& identity, Options options);
  ~FreedesktopNotificationCenter() override;

  void SetDelegate(std::weak_ptr<Delegate> delegate) override;
  void DeliverNotification(const UserNotification& notification) override;
  void RemoveDeliveredNotification(const UserNotification& notification) override;

 private:
  class Impl;
  std::unique_ptr<Impl> fImpl;
};

}  // namespace vorn

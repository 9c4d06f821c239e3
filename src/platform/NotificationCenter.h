#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace vorn {

/// The user-info entry with the web address of a notification.
inline constexpr char kUserInfoUrl[] = "URL";

/// One notification to the user. A plain value. All strings are bytes that may come from the network; the
/// centre makes them presentable.
struct UserNotification {
  std::string title;            ///< literal text, never markup
  std::string informativeText;  ///< literal text, never markup
  std::string subject;          ///< its subject (a unit's uid); each subject has at most one notification
  std::string source;           ///< who causes it: a unit's address; empty: nobody on the network
  std::map<std::string, std::string> userInfo;  ///< comes back with the activation; never shown
  bool playsDefaultSound = false;

  /// Set by the centre: the number of this delivery. 0 if no centre has delivered it.
  std::uint64_t identifier = 0;
  /// Set by the centre on activation: the desktop's permission to raise a window; often empty.
  std::string activationToken;
};

/// Shows notifications to the user and reports clicks on them.
///
/// 1. Nothing here blocks on the notification server, and the caller sees no failures of it. If there is no
///    server, or the server accepts no more, a notification waits, also after the end of the program.
/// 2. At most one notification is shown for each subject; a later one replaces it. A subject gets at most one
///    in a minute, and its newest one waits.
/// 3. Many at once are shown one after another, and the sources take turns.
/// 4. A bounded number is taken in a minute, in all and from one source, and a bounded number is held. If
///    more are to be held, the oldest one of the source with the most is forgotten.
///
/// @threadsafety The main thread only; the delegate is called on it.
class NotificationCenter {
 public:
  /// Gets the clicks.
  class Delegate {
   public:
    Delegate() = default;
    Delegate(const Delegate&) = delete;
    Delegate& operator=(const Delegate&) = delete;
    virtual ~Delegate() = default;

    /// The user activated a delivered notification. Called from the event loop, never inside a call to the
    /// centre. May call the centre.
    virtual void DidActivateNotification(const UserNotification& notification) = 0;
  };

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  virtual ~NotificationCenter() = default;

  /// The centre does not keep the delegate alive; clicks after its end are dropped.
  virtual void SetDelegate(std::weak_ptr<Delegate> delegate) = 0;

  /// Shows the notification, now or when a server is there. False if too many came within a minute: then it
  /// is not taken, and the function of SetOnRoom is called when there may be room for it.
  [[nodiscard]] virtual bool DeliverNotification(const UserNotification& notification) = 0;

  /// Sets what is called after a refusal, once, from the event loop. It may call the centre.
  virtual void SetOnRoom(std::function<void()> onRoom) = 0;

  /// Removes a delivered notification, which its identifier names, from the screen and from the server's
  /// list. One that still waits is forgotten. An unknown identifier, or 0, does nothing.
  virtual void RemoveDeliveredNotification(const UserNotification& notification) = 0;

  /// Forgets the subject's notification if it was not shown yet, because it is no longer true. One that is
  /// shown stays.
  virtual void ForgetWaitingNotification(const std::string& subject) = 0;

  /// Forgets every notification that was not shown yet.
  virtual void ForgetWaitingNotifications() = 0;
};

}  // namespace vorn

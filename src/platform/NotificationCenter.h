#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vorn {

/// The user-info entry with the web address that a notification leads to.
inline constexpr char kUserInfoUrl[] = "URL";

/// One notification to the user. A plain value; all strings are bytes that may
/// come from the network, the centre makes them presentable.
struct UserNotification {
  std::string title;            ///< literal text, never markup
  std::string informativeText;  ///< literal text, never markup
  std::string subject;          ///< what it is about (a unit's uid); one notification stands per subject
  std::map<std::string, std::string> userInfo;  ///< comes back with the activation; never shown
  bool playsDefaultSound = false;

  /// Set by the centre: which delivery this is. 0 where no centre delivered it.
  std::uint64_t identifier = 0;
  /// Set by the centre on activation: the desktop's leave to raise a window; often empty.
  std::string activationToken;
};

/// Shows notifications to the user and reports clicks on them.
///
/// 1. Nothing here blocks on the notification server, and nothing fails towards
///    the caller: a notification that finds no server, or one that takes no
///    more, waits, beyond the end of the program too.
/// 2. At most one notification stands per subject; a later one replaces it. At
///    most one a minute is brought up for a subject: the newest one waits.
/// 3. Many at once are brought up one after another.
///
/// @threadsafety The main thread only; the delegate is called on it.
class NotificationCenter {
 public:
  /// Told of clicks.
  class Delegate {
   public:
    Delegate() = default;
    Delegate(const Delegate&) = delete;
    Delegate& operator=(const Delegate&) = delete;
    virtual ~Delegate() = default;

    /// The user activated a delivered notification. Called from the event loop,
    /// never from inside a call to the centre; may call the centre.
    virtual void DidActivateNotification(const UserNotification& notification) = 0;
  };

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  virtual ~NotificationCenter() = default;

  /// The centre does not keep the delegate alive; clicks after its end are dropped.
  virtual void SetDelegate(std::weak_ptr<Delegate> delegate) = 0;

  /// Shows the notification, now or as soon as a server is there.
  virtual void DeliverNotification(const UserNotification& notification) = 0;

  /// Takes a delivered notification (known by its identifier) off the screen
  /// and out of the server's list; one that still waits is forgotten. An
  /// identifier that is unknown, or 0, does nothing.
  virtual void RemoveDeliveredNotification(const UserNotification& notification) = 0;

  /// Forgets the subject's notification if it has not been shown yet, because
  /// it no longer holds. One that stands is left to the user.
  virtual void ForgetWaitingNotification(const std::string& subject) = 0;

  /// Forgets every notification that has not been shown yet.
  virtual void ForgetWaitingNotifications() = 0;
};

}  // namespace vorn

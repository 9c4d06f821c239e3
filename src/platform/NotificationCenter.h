#pragma once

#include <memory>

#include "platform/UserNotification.h"

namespace vorn {

/// Shows notices to the user and reports clicks on them.
///
/// 1. Nothing here blocks on the notification server, and nothing fails towards
///    the caller: a notice that finds no server, or one that takes no more,
///    waits, beyond the end of the program too.
/// 2. At most one notice stands per subject; a later one replaces it. At most
///    one a minute is brought up for a subject: the newest one waits.
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

    /// The user activated a delivered notice. Called from the event loop, never
    /// from inside a call to the centre; may call the centre.
    virtual void DidActivateNotification(const UserNotification& notification) = 0;
  };

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  virtual ~NotificationCenter() = default;

  /// The centre does not keep the delegate alive; clicks after its end are dropped.
  virtual void SetDelegate(std::weak_ptr<Delegate> delegate) = 0;

  /// Shows the notice, now or as soon as a server is there.
  virtual void DeliverNotification(const UserNotification& notification) = 0;

  /// Takes a delivered notice (told by its identifier) off the screen and out
  /// of the server's list; one that still waits is forgotten. An identifier
  /// that is unknown, or 0, does nothing.
  virtual void RemoveDeliveredNotification(const UserNotification& notification) = 0;

  /// Forgets the subject's notice if it has not been shown yet, since it no
  /// longer holds. One that stands is left to the user.
  virtual void ForgetWaitingNotification(const std::string& subject) = 0;

  /// Forgets every notice that has not been shown yet.
  virtual void ForgetWaitingNotifications() = 0;
};

}  // namespace vorn

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/NotificationCenter.h"

namespace vorn {

/// The desktop's notification server: calls that do not wait for it, its reports, and which server it is now.
/// Servers come, hang and go. This object stays, and it only passes on what the present server reports.
///
/// 1. The answer to a call comes from the event loop, never inside the call, and at most once. A call waits
///    for its answer as long as the server lives: a server that stops for a while performs every call later.
///    When the server ends or is replaced, an open call may stay without an answer, except Start. But
///    onChanged always comes.
/// 2. Every id, in an answer or a signal, comes from the present server.
/// 3. No function object is called after the end of this object.
///
/// @threadsafety The main thread only; every function object is called on it.
class NotificationServer {
 public:
  /// How a call ended.
  enum class Answer {
    kOk,
    kNoServer,  ///< the call reached no server: there is none, or the connection has ended
    kLost,      ///< the server ended before it answered: onChanged follows
    kRefused,   ///< the server answered with an error
  };

  /// One server in one life of one bus: what an id that it gave belongs to.
  struct Identity {
    std::string bus;     ///< the bus's own id; empty: not known
    std::string server;  ///< its own name on the bus; empty: none is there
    bool operator==(const Identity&) const = default;
  };

  struct Handlers {
    std::function<void()> onChanged;  ///< ended, started or replaced
    /// The user activated the notification with this id, with the action of this key.
    std::function<void(std::uint32_t id, const std::string& key)> onAction;
    /// Comes before onAction, if the desktop gives the permission to raise a window.
    std::function<void(std::uint32_t id, const std::string& token)> onActivationToken;
    std::function<void(std::uint32_t id)> onClosed;  ///< for the notifications of every program
  };

  /// The key of the action that a click on the notification itself invokes.
  static constexpr char kDefaultAction[] = "default";

  NotificationServer() = default;
  NotificationServer(const NotificationServer&) = delete;
  NotificationServer& operator=(const NotificationServer&) = delete;
  virtual ~NotificationServer() = default;

  /// Call it once, before any other call.
  virtual void SetHandlers(Handlers handlers) = 0;

  /// Whether there is a bus for reaching a server.
  [[nodiscard]] virtual bool IsConnected() const = 0;

  [[nodiscard]] virtual const Identity& PresentServer() const = 0;
  [[nodiscard]] bool IsThere() const { return !PresentServer().server.empty(); }

  /// Starts a server if the bus knows how. If one comes, onChanged comes first, then `onAnswer` with kOk;
  /// otherwise kNoServer.
  virtual void Start(std::function<void(Answer)> onAnswer) = 0;

  /// Asks the present server what it can show, and Notify then uses only that. kRefused: the server does not
  /// know the question, and gets plain text. Only while IsThere. Each server must answer it once before the
  /// first Notify.
  virtual void AskCapabilities(std::function<void(Answer)> onAnswer) = 0;

  /// Whether a notification of the present server belongs to the connection that sent it: when this
  /// connection ends, the server closes the notification, or reports clicks on it to nobody. True only after
  /// AskCapabilities.
  [[nodiscard]] virtual bool BindsToSender() const = 0;

  /// Makes the present server show the notification, instead of the one with the id `replacesId` if that is
  /// not 0. Returns the server's id of it. Only while IsThere.
  virtual void Notify(const UserNotification& notification, std::uint32_t replacesId,
                      std::function<void(Answer, std::uint32_t id)> onAnswer) = 0;

  /// Never starts a server; the answer is of no interest.
  virtual void CloseNotification(std::uint32_t id) = 0;
};

}  // namespace vorn

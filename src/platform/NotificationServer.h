#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/NotificationCenter.h"

namespace vorn {

/// The desktop's notification server: calls that do not wait for it, what it
/// reports, and which one it is just now. Servers come, hang and go; this object
/// stays, and only the present server is heard through it.
///
/// 1. A call is answered from the event loop, never from inside the call, and
///    at most once. It waits for its answer as long as the server lives: one
///    that is stopped for a while carries out every call it was sent, however
///    late. What was open when the server ended or was replaced may stay without
///    an answer, Start excepted; onChanged comes in any case.
/// 2. Every id, in an answer or a signal, is the present server's.
/// 3. No function object is called after the end of this object.
///
/// @threadsafety The main thread only; every function object is called on it.
class NotificationServer {
 public:
  /// How a call ended.
  enum class Answer {
    kOk,
    kNoServer,  ///< it reached no server: there is none, or the connection has ended
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
    /// The user activated the notification with this id by the action of this key.
    std::function<void(std::uint32_t id, const std::string& key)> onAction;
    /// Comes before onAction, where the desktop gives leave to raise a window.
    std::function<void(std::uint32_t id, const std::string& token)> onActivationToken;
    std::function<void(std::uint32_t id)> onClosed;  ///< whosever notification it was
  };

  /// The key of the action that a click on the notification itself invokes.
  static constexpr char kDefaultAction[] = "default";

  NotificationServer() = default;
  NotificationServer(const NotificationServer&) = delete;
  NotificationServer& operator=(const NotificationServer&) = delete;
  virtual ~NotificationServer() = default;

  /// To be called once, before any other call.
  virtual void SetHandlers(Handlers handlers) = 0;

  /// Whether there is a bus to reach a server by.
  [[nodiscard]] virtual bool IsConnected() const = 0;

  [[nodiscard]] virtual const Identity& PresentServer() const = 0;
  [[nodiscard]] bool IsThere() const { return !PresentServer().server.empty(); }

  /// Has a server started where somebody knows how to. One that comes calls
  /// onChanged first, then `onAnswer` with kOk; else kNoServer.
  virtual void Start(std::function<void(Answer)> onAnswer) = 0;

  /// Asks the present server what it can show, which Notify then keeps to.
  /// kRefused: it does not know the question, and gets plain text. Only while
  /// IsThere; to be answered once for each server before it is notified.
  virtual void AskCapabilities(std::function<void(Answer)> onAnswer) = 0;

  /// Has the present server show the notification, in the place of the one with
  /// the id `replacesId` where that is not 0. Gives the id that the server gave
  /// it. Only while IsThere.
  virtual void Notify(const UserNotification& notification, std::uint32_t replacesId,
                      std::function<void(Answer, std::uint32_t id)> onAnswer) = 0;

  /// Never starts a server; the answer is of no interest.
  virtual void CloseNotification(std::uint32_t id) = 0;
};

}  // namespace vorn

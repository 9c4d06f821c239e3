#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusError>
#include <QtDBus/QDBusServiceWatcher>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/linux/notices/NoticeQueue.h"

class OrgFreedesktopNotificationsInterface;

namespace vorn {

/// The notification server as the bus shows it: asynchronous calls, its
/// signals, and who it is just now.
///
/// Calls go to the program that owns the server's name, by that program's own
/// name on the bus, and signals are taken from it alone. So whatever comes here
/// is the present server's (or the bus's in its place), and so is every id; an
/// answer of a server that has been replaced is dropped. Answers are not asked
/// for their sender, which some versions of the toolkit leave empty.
///
/// A call waits for its answer as long as the server lives: one that is stopped
/// for a while carries out every call it was sent, however late. Where it ends,
/// the bus answers in its place, or onChanged is called without an answer.
///
/// @threadsafety The thread that made it, which runs a Qt event loop. Every
/// function object is called from that loop and must not run it anew.
class NotificationServer {
 public:
  /// How a call ended.
  enum class Answer {
    kOk,
    kNoServer,  ///< there is none, or the bus has ended
    kLost,      ///< the server ended before it answered: onChanged follows
    kError,     ///< the server refused
  };

  /// What Notify sends.
  struct Notice {
    std::uint32_t replacesId = 0;
    QString summary;
    QString body;
    bool hasSound = false;
  };

  struct Presentation {
    QString applicationName;
    QString desktopEntry;
    QString iconName;
  };

  struct Handlers {
    std::function<void()> onChanged;  ///< ended, started or replaced
    std::function<void(std::uint32_t, const QString&)> onAction;
    std::function<void(std::uint32_t, const QString&)> onActivationToken;
    std::function<void(std::uint32_t)> onClosed;
  };

  /// Connects to the bus at `address`, or the session bus where it is empty.
  /// Blocks for the bus, not for a server.
  NotificationServer(const std::string& address, Presentation presentation, Handlers handlers);
  NotificationServer(const NotificationServer&) = delete;
  NotificationServer& operator=(const NotificationServer&) = delete;
  ~NotificationServer();

  [[nodiscard]] bool IsConnected() const { return fConnection.isConnected(); }
  [[nodiscard]] bool IsThere() const { return fProxy != nullptr; }
  [[nodiscard]] const ServerIdentity& Identity() const { return fIdentity; }

  /// Has the bus start a server where it knows how to. One that comes calls
  /// onChanged first, then `onAnswer` with kOk.
  void Start(std::function<void(Answer)> onAnswer);

  /// Only while IsThere.
  void GetCapabilities(std::function<void(Answer, const QStringList&)> onAnswer);

  /// Only while IsThere. Gives the notice's id.
  void Notify(const Notice& notice, std::function<void(Answer, std::uint32_t)> onAnswer);

  /// Never starts a server; the answer is of no interest.
  void CloseNotification(std::uint32_t id);

 private:
  using Proxy = OrgFreedesktopNotificationsInterface;

  void Connect();
  void OnOwnerChanged(const QString& owner);
  [[nodiscard]] std::unique_ptr<Proxy> MakeProxy(const QString& owner);

  const QString fConnectionName;
  const Presentation fPresentation;
  const Handlers fHandlers;
  QDBusConnection fConnection;
  QObject fContext;  ///< the receiver of every signal: none arrives after our end
  std::unique_ptr<QDBusServiceWatcher> fWatcher;
  ServerIdentity fIdentity;
  std::unique_ptr<Proxy> fProxy;  ///< of the present server; goes with it, and its open calls too
};

}  // namespace vorn

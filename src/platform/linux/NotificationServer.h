#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusError>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusServiceWatcher>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class OrgFreedesktopNotificationsInterface;

namespace vorn {

/// The notification server as the bus shows it: asynchronous calls, its
/// signals, and who it is just now.
///
/// A call waits for its answer as long as the server lives: one that is stopped
/// for a while carries out every call it was sent, however late. Where it ends,
/// the bus answers in its place.
///
/// @threadsafety The thread that made it, which runs a Qt event loop. Every
/// function object is called from that loop.
class NotificationServer {
 public:
  /// How a call ended.
  enum class Answer {
    kOk,
    kNoServer,  ///< the call reached nobody
    kLost,      ///< the server ended before it answered
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
  NotificationServer(const std::string& address, Presentation presentation, Handlers handlers);
  NotificationServer(const NotificationServer&) = delete;
  NotificationServer& operator=(const NotificationServer&) = delete;
  ~NotificationServer();

  [[nodiscard]] bool IsConnected() const { return fConnection.isConnected(); }

  /// Calls may start the server where the bus knows how to.
  void GetCapabilities(std::function<void(Answer, const QStringList&)> onAnswer);

  /// The id is 0 where the server that gave it is no longer the one on the bus.
  void Notify(const Notice& notice, std::function<void(Answer, std::uint32_t)> onAnswer);

  /// Never starts a server; the answer is of no interest.
  void CloseNotification(std::uint32_t id);

 private:
  void Connect();
  void OnOwnerChanged(const QString& owner);
  void Await(const QDBusPendingCall& call, std::function<void(const QDBusMessage&, Answer)> onAnswer);

  const QString fConnectionName;
  const Presentation fPresentation;
  const Handlers fHandlers;
  QDBusConnection fConnection;
  QObject fContext;  ///< the receiver of every signal and answer: none arrives after our end
  std::unique_ptr<OrgFreedesktopNotificationsInterface> fProxy;
  std::unique_ptr<QDBusServiceWatcher> fWatcher;
  QString fOwner;  ///< the server's unique name as far as known; empty: none, or never heard of
};

}  // namespace vorn

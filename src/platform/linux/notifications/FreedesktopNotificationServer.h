#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusServiceWatcher>

#include <functional>
#include <memory>
#include <string>

#include "platform/NotificationServer.h"

class OrgFreedesktopNotificationsInterface;

namespace vorn {

/// The owner of org.freedesktop.Notifications on the session bus.
///
/// Calls go to the program that owns the server's name, by that program's own
/// name on the bus, and signals are taken from it alone. So whatever comes here
/// is the present server's (or the bus's in its place), and so is every id; an
/// answer of a server that has been replaced is dropped. Answers are not asked
/// for their sender, which some versions of the toolkit leave empty.
///
/// @threadsafety The thread that made it, which runs a Qt event loop.
class FreedesktopNotificationServer final : public NotificationServer {
 public:
  /// How the server presents us.
  struct Presentation {
    std::string applicationName;  ///< as people read it
    std::string desktopEntry;     ///< the desktop file's name without ".desktop"
    std::string iconName;         ///< in the icon theme
  };

  /// Connects to the bus at `address`, or, if that is empty, to the session bus of the environment. Blocks
  /// for the bus, not for a server.
  explicit FreedesktopNotificationServer(const Presentation& presentation, const std::string& address = {});
  ~FreedesktopNotificationServer() override;

  void SetHandlers(Handlers handlers) override { fHandlers = std::move(handlers); }
  [[nodiscard]] bool IsConnected() const override { return fConnection.isConnected(); }
  [[nodiscard]] const Identity& PresentServer() const override { return fIdentity; }
  void Start(std::function<void(Answer)> onAnswer) override;
  void AskCapabilities(std::function<void(Answer)> onAnswer) override;
  [[nodiscard]] bool BindsToSender() const override { return fBindsToSender; }
  void Notify(const UserNotification& notification, std::uint32_t replacesId,
              std::function<void(Answer, std::uint32_t)> onAnswer) override;
  void CloseNotification(std::uint32_t id) override;

 private:
  using Proxy = OrgFreedesktopNotificationsInterface;

  void Connect();
  void OnOwnerChanged(const QString& owner);
  void AskName(std::function<void()> onAnswer);
  [[nodiscard]] std::unique_ptr<Proxy> MakeProxy(const QString& owner);

  const QString fConnectionName;
  const Presentation fPresentation;
  Handlers fHandlers;
  QDBusConnection fConnection;
  QObject fContext;  ///< the receiver of every signal: none arrives after our end
  std::unique_ptr<QDBusServiceWatcher> fWatcher;
  Identity fIdentity;
  bool fShowsMarkup = false;  ///< so literal text must be escaped
  bool fBindsToSender = false;
  std::unique_ptr<Proxy> fProxy;  ///< of the present server; goes with it, and its open calls too
};

}  // namespace vorn

#include "platform/linux/notifications/FreedesktopNotificationServer.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QVariantMap>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusReply>

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "NotificationsProxy.h"
#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn {
namespace {

constexpr char kServerName[] = "org.freedesktop.Notifications";
constexpr char kServerPath[] = "/org/freedesktop/Notifications";
constexpr int kServerDecides = -1;  // expire_timeout
// dunst reports a click only to the sender. GNOME's shell closes the notifications of a sender that ends.
constexpr QLatin1String kBindToSender[] = {QLatin1String("dunst"), QLatin1String("gnome-shell")};
constexpr int kNoTimeout = std::numeric_limits<int>::max();

QString UniqueConnectionName() {
  static int count = 0;
  return QStringLiteral("vorn-notifications-%1").arg(++count);
}

QDBusConnection ConnectTo(const std::string& address, const QString& name) {
  return address.empty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)
                         : QDBusConnection::connectToBus(QString::fromStdString(address), name);
}

NotificationServer::Answer AnswerOf(const QDBusMessage& reply) {
  using Answer = NotificationServer::Answer;
  if (reply.type() != QDBusMessage::ErrorMessage) return Answer::kOk;
  switch (QDBusError(reply).type()) {
    case QDBusError::Disconnected:
      return Answer::kNoServer;
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
      return Answer::kLost;
    default:
      // The server's own, whatever it says of others: before the bus says that
      // it has gone, we have heard of the change, and the call with it.
      return Answer::kRefused;
  }
}

QDBusMessage CallToBus(const char* method) {
  const auto bus = QStringLiteral("org.freedesktop.DBus");
  return QDBusMessage::createMethodCall(bus, QStringLiteral("/org/freedesktop/DBus"), bus,
                                        QLatin1String(method));
}

// The answer comes from the event loop, unless `owner` goes before it.
void Await(const QDBusPendingCall& call, QObject* owner, std::function<void(const QDBusMessage&)> onAnswer) {
  auto* watcher = new QDBusPendingCallWatcher(call, owner);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, owner,
                   [watcher, onAnswer = std::move(onAnswer)] {
                     const QDBusMessage reply = watcher->reply();
                     watcher->deleteLater();
                     RunGuarded([&] { onAnswer(reply); });
                   });
}

}  // namespace

FreedesktopNotificationServer::FreedesktopNotificationServer(const Presentation& presentation,
                                                             const std::string& address)
    : fConnectionName(UniqueConnectionName()),
      fPresentation(presentation),
      fConnection(ConnectTo(address, fConnectionName)) {
  if (fConnection.isConnected()) Connect();
}

FreedesktopNotificationServer::~FreedesktopNotificationServer() {
  fProxy.reset();
  fWatcher.reset();
  QDBusConnection::disconnectFromBus(fConnectionName);
}

void FreedesktopNotificationServer::Connect() {
  const QString name = QLatin1String(kServerName);
  // The watch stands before the question, so that no change is missed between the two.
  fWatcher =
      std::make_unique<QDBusServiceWatcher>(name, fConnection, QDBusServiceWatcher::WatchForOwnerChange);
  QObject::connect(fWatcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, &fContext,
                   [this](const QString&, const QString&, const QString& owner) {
                     RunGuarded([&] { OnOwnerChanged(owner); });
                   });
  fIdentity.bus = fConnection.call(CallToBus("GetId")).arguments().value(0).toString().toStdString();
  const QString owner = fConnection.interface()->serviceOwner(name).value();
  fIdentity.server = owner.toStdString();
  fProxy = MakeProxy(owner);
}

void FreedesktopNotificationServer::OnOwnerChanged(const QString& owner) {
  const auto name = owner.toStdString();
  if (name == fIdentity.server) return;  // the change of before our question
  fIdentity.server = name;
  fShowsMarkup = fBindsToSender = false;
  fProxy = MakeProxy(owner);
  fHandlers.onChanged();
}

std::unique_ptr<FreedesktopNotificationServer::Proxy> FreedesktopNotificationServer::MakeProxy(
    const QString& owner) {
  if (owner.isEmpty()) return nullptr;
  auto proxy = std::make_unique<Proxy>(owner, QLatin1String(kServerPath), fConnection);
  proxy->setTimeout(kNoTimeout);
  QObject::connect(proxy.get(), &Proxy::ActionInvoked, &fContext, [this](uint id, const QString& key) {
    RunGuarded([&] { fHandlers.onAction(id, key.toStdString()); });
  });
  QObject::connect(proxy.get(), &Proxy::ActivationToken, &fContext, [this](uint id, const QString& token) {
    RunGuarded([&] { fHandlers.onActivationToken(id, token.toStdString()); });
  });
  QObject::connect(proxy.get(), &Proxy::NotificationClosed, &fContext,
                   [this](uint id, uint) { RunGuarded([&] { fHandlers.onClosed(id); }); });
  return proxy;
}

void FreedesktopNotificationServer::Start(std::function<void(Answer)> onAnswer) {
  auto call = CallToBus("StartServiceByName");
  call.setArguments({QLatin1String(kServerName), QVariant::fromValue<uint>(0)});
  Await(fConnection.asyncCall(call, kNoTimeout), &fContext,
        [onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
          onAnswer(AnswerOf(reply) == Answer::kOk ? Answer::kOk : Answer::kNoServer);
        });
}

void FreedesktopNotificationServer::AskCapabilities(std::function<void(Answer)> onAnswer) {
  Await(fProxy->GetCapabilities(), fProxy.get(),
        [this, onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
          const Answer answer = AnswerOf(reply);
          const auto all = answer == Answer::kOk ? reply.arguments().value(0).toStringList() : QStringList();
          fShowsMarkup = all.contains(QLatin1String("body-markup"));
          AskName([onAnswer, answer] { onAnswer(answer); });
        });
}

void FreedesktopNotificationServer::AskName(std::function<void()> onAnswer) {
  Await(fProxy->GetServerInformation(), fProxy.get(),
        [this, onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
          const auto name = reply.arguments().value(0).toString();
          const bool isKnown =
              std::find(std::begin(kBindToSender), std::end(kBindToSender), name) != std::end(kBindToSender);
          fBindsToSender = AnswerOf(reply) == Answer::kOk && isKnown;
          onAnswer();
        });
}

void FreedesktopNotificationServer::Notify(const UserNotification& notification, std::uint32_t replacesId,
                                           std::function<void(Answer, std::uint32_t)> onAnswer) {
  const auto body = QString::fromStdString(notification.informativeText);
  QVariantMap hints{{QStringLiteral("desktop-entry"), QString::fromStdString(fPresentation.desktopEntry)},
                    {QStringLiteral("category"), QStringLiteral("device")},
                    {QStringLiteral("urgency"), QVariant::fromValue<uchar>(1)}};
  if (notification.playsDefaultSound) {
    hints[QStringLiteral("sound-name")] = QStringLiteral("message-new-instant");
  }
  // Some servers draw the default action as a button, so it has a real label.
  const QString open = QCoreApplication::translate("Notification", "Open", "opens the unit's page");
  const QStringList actions{QLatin1String(kDefaultAction), open};
  const auto call = fProxy->Notify(
      QString::fromStdString(fPresentation.applicationName), replacesId,
      QString::fromStdString(fPresentation.iconName), QString::fromStdString(notification.title),
      fShowsMarkup ? body.toHtmlEscaped() : body, actions, hints, kServerDecides);
  Await(call, fProxy.get(), [onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
    const Answer answer = AnswerOf(reply);
    onAnswer(answer, answer == Answer::kOk ? reply.arguments().value(0).toUInt() : 0);
  });
}

void FreedesktopNotificationServer::CloseNotification(std::uint32_t id) {
  if (!IsThere()) return;
  auto call =
      QDBusMessage::createMethodCall(QString::fromStdString(fIdentity.server), QLatin1String(kServerPath),
                                     QLatin1String(kServerName), QStringLiteral("CloseNotification"));
  call.setArguments({QVariant::fromValue<uint>(id)});
  fConnection.send(call);
}

}  // namespace vorn

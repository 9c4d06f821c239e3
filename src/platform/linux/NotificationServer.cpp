#include "platform/linux/NotificationServer.h"

#include <QtCore/QVariantMap>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCall>

#include <limits>
#include <utility>

#include "NotificationsProxy.h"
#include "platform/linux/GuardedJob.h"

namespace vorn {
namespace {

constexpr char kServerName[] = "org.freedesktop.Notifications";
constexpr char kServerPath[] = "/org/freedesktop/Notifications";
constexpr int kServerDecides = -1;  // expire_timeout
constexpr int kNoTimeout = std::numeric_limits<int>::max();

QString UniqueConnectionName() {
  static int count = 0;
  return QStringLiteral("vorn-notices-%1").arg(++count);
}

QDBusConnection ConnectTo(const std::string& address, const QString& name) {
  return address.empty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)
                         : QDBusConnection::connectToBus(QString::fromStdString(address), name);
}

// Whether the reply comes from a program, and not from the bus or our own end of it.
bool IsFromServer(const QDBusMessage& reply) {
  return reply.service().startsWith(QLatin1Char(':'));
}

NotificationServer::Answer AnswerOf(const QDBusMessage& reply) {
  using Answer = NotificationServer::Answer;
  if (reply.type() != QDBusMessage::ErrorMessage) return Answer::kOk;
  if (IsFromServer(reply)) return Answer::kError;  // whatever it says of others
  const QString name = reply.errorName();
  if (name.startsWith(QLatin1String("org.freedesktop.DBus.Error.Spawn."))) return Answer::kNoServer;
  switch (QDBusError(reply).type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::Disconnected:
      return Answer::kNoServer;
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
      return Answer::kLost;
    default:
      return name == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner") ? Answer::kNoServer
                                                                                : Answer::kError;
  }
}

}  // namespace

NotificationServer::NotificationServer(const std::string& address, Presentation presentation,
                                       Handlers handlers)
    : fConnectionName(UniqueConnectionName()),
      fPresentation(std::move(presentation)),
      fHandlers(std::move(handlers)),
      fConnection(ConnectTo(address, fConnectionName)) {
  if (fConnection.isConnected()) Connect();
}

NotificationServer::~NotificationServer() {
  fProxy.reset();
  fWatcher.reset();
  QDBusConnection::disconnectFromBus(fConnectionName);
}

void NotificationServer::Connect() {
  const QString name = QLatin1String(kServerName);
  // The watch stands before the first call, so that no change is missed between the two.
  fWatcher =
      std::make_unique<QDBusServiceWatcher>(name, fConnection, QDBusServiceWatcher::WatchForOwnerChange);
  QObject::connect(fWatcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, &fContext,
                   [this](const QString&, const QString&, const QString& owner) {
                     RunGuarded([&] { OnOwnerChanged(owner); });
                   });
  fProxy =
      std::make_unique<OrgFreedesktopNotificationsInterface>(name, QLatin1String(kServerPath), fConnection);
  fProxy->setTimeout(kNoTimeout);
  using Proxy = OrgFreedesktopNotificationsInterface;
  QObject::connect(fProxy.get(), &Proxy::ActionInvoked, &fContext,
                   [this](uint id, const QString& key) { RunGuarded([&] { fHandlers.onAction(id, key); }); });
  QObject::connect(fProxy.get(), &Proxy::ActivationToken, &fContext, [this](uint id, const QString& token) {
    RunGuarded([&] { fHandlers.onActivationToken(id, token); });
  });
  QObject::connect(fProxy.get(), &Proxy::NotificationClosed, &fContext,
                   [this](uint id, uint) { RunGuarded([&] { fHandlers.onClosed(id); }); });
}

void NotificationServer::GetCapabilities(std::function<void(Answer, const QStringList&)> onAnswer) {
  Await(fProxy->GetCapabilities(),
        [this, onAnswer = std::move(onAnswer)](const QDBusMessage& reply, Answer answer) {
          // From its answer on we know whom we talk to, even if it was there before us.
          if (IsFromServer(reply)) fOwner = reply.service();
          onAnswer(answer, answer == Answer::kOk ? reply.arguments().value(0).toStringList() : QStringList());
        });
}

void NotificationServer::Notify(const Notice& notice, std::function<void(Answer, std::uint32_t)> onAnswer) {
  QVariantMap hints{{QStringLiteral("desktop-entry"), fPresentation.desktopEntry},
                    {QStringLiteral("category"), QStringLiteral("device")},
                    {QStringLiteral("urgency"), QVariant::fromValue<uchar>(1)}};
  if (notice.hasSound) hints[QStringLiteral("sound-name")] = QStringLiteral("message-new-instant");
  // Some servers draw the default action as a button, so it has a real label.
  const QStringList actions{QStringLiteral("default"), QStringLiteral("Open")};
  const auto call = fProxy->Notify(fPresentation.applicationName, notice.replacesId, fPresentation.iconName,
                                   notice.summary, notice.body, actions, hints, kServerDecides);
  Await(call, [this, onAnswer = std::move(onAnswer)](const QDBusMessage& reply, Answer answer) {
    const bool isCurrent = answer == Answer::kOk && reply.service() == fOwner;
    onAnswer(answer, isCurrent ? reply.arguments().value(0).toUInt() : 0);
  });
}

void NotificationServer::CloseNotification(std::uint32_t id) {
  auto call = QDBusMessage::createMethodCall(QLatin1String(kServerName), QLatin1String(kServerPath),
                                             QLatin1String(kServerName), QStringLiteral("CloseNotification"));
  call.setArguments({QVariant::fromValue<uint>(id)});
  call.setAutoStartService(false);
  fConnection.send(call);
}

void NotificationServer::OnOwnerChanged(const QString& owner) {
  if (owner == fOwner && !owner.isEmpty()) return;  // known from its answer already
  fOwner = owner;
  fHandlers.onChanged();
}

void NotificationServer::Await(const QDBusPendingCall& call,
                               std::function<void(const QDBusMessage&, Answer)> onAnswer) {
  auto* watcher = new QDBusPendingCallWatcher(call, &fContext);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &fContext,
                   [watcher, onAnswer = std::move(onAnswer)] {
                     const QDBusMessage reply = watcher->reply();
                     watcher->deleteLater();
                     RunGuarded([&] { onAnswer(reply, AnswerOf(reply)); });
                   });
}

}  // namespace vorn

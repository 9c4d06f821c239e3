#include "platform/linux/notices/NotificationServer.h"

#include <QtCore/QVariantMap>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusReply>

#include <limits>
#include <utility>

#include "NotificationsProxy.h"
#include "platform/linux/dispatch/GuardedJob.h"

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
      return Answer::kError;
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

void NotificationServer::OnOwnerChanged(const QString& owner) {
  const auto name = owner.toStdString();
  if (name == fIdentity.server) return;  // the change of before our question
  fIdentity.server = name;
  fProxy = MakeProxy(owner);
  fHandlers.onChanged();
}

std::unique_ptr<NotificationServer::Proxy> NotificationServer::MakeProxy(const QString& owner) {
  if (owner.isEmpty()) return nullptr;
  auto proxy = std::make_unique<Proxy>(owner, QLatin1String(kServerPath), fConnection);
  proxy->setTimeout(kNoTimeout);
  QObject::connect(proxy.get(), &Proxy::ActionInvoked, &fContext,
                   [this](uint id, const QString& key) { RunGuarded([&] { fHandlers.onAction(id, key); }); });
  QObject::connect(proxy.get(), &Proxy::ActivationToken, &fContext, [this](uint id, const QString& token) {
    RunGuarded([&] { fHandlers.onActivationToken(id, token); });
  });
  QObject::connect(proxy.get(), &Proxy::NotificationClosed, &fContext,
                   [this](uint id, uint) { RunGuarded([&] { fHandlers.onClosed(id); }); });
  return proxy;
}

void NotificationServer::Start(std::function<void(Answer)> onAnswer) {
  auto call = CallToBus("StartServiceByName");
  call.setArguments({QLatin1String(kServerName), QVariant::fromValue<uint>(0)});
  Await(fConnection.asyncCall(call, kNoTimeout), &fContext,
        [onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
          onAnswer(AnswerOf(reply) == Answer::kOk ? Answer::kOk : Answer::kNoServer);
        });
}

void NotificationServer::GetCapabilities(std::function<void(Answer, const QStringList&)> onAnswer) {
  Await(fProxy->GetCapabilities(), fProxy.get(), [onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
    const Answer answer = AnswerOf(reply);
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
  Await(call, fProxy.get(), [onAnswer = std::move(onAnswer)](const QDBusMessage& reply) {
    const Answer answer = AnswerOf(reply);
    onAnswer(answer, answer == Answer::kOk ? reply.arguments().value(0).toUInt() : 0);
  });
}

void NotificationServer::CloseNotification(std::uint32_t id) {
  if (!IsThere()) return;
  auto call =
      QDBusMessage::createMethodCall(QString::fromStdString(fIdentity.server), QLatin1String(kServerPath),
                                     QLatin1String(kServerName), QStringLiteral("CloseNotification"));
  call.setArguments({QVariant::fromValue<uint>(id)});
  fConnection.send(call);
}

}  // namespace vorn

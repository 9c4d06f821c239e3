#include "app/ApplicationService.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QTimer>
#include <utility>

namespace vorn::app {
namespace {

constexpr char kInterface[] = "org.freedesktop.Application";
constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kNoOwner[] = "org.freedesktop.DBus.Error.NameHasNoOwner";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr int kBusTimeoutMilliseconds = 3000;
// A start beside a silent owner ends within a second, and the toolkit needs the rest of it.
constexpr int kOwnerTimeoutMilliseconds = 600;
constexpr int kMostAttempts = 16;  // while the owner is starting
constexpr std::size_t kMostWaiting = 64;

}  // namespace

ApplicationService::ApplicationService(QString name, QString objectPath, Offer offer)
    : fName(std::move(name)), fObjectPath(std::move(objectPath)), fOffer(offer) {}

ApplicationService::~ApplicationService() {
  release();
}

void ApplicationService::release() {
  giveNameBack();
  for (const Waiting& waiting : std::exchange(fWaiting, {})) {
    QDBusConnection::sessionBus().send(
        waiting.call.createErrorReply(QDBusError::ServiceUnknown, QStringLiteral("The program is ending")));
  }
}

std::vector<ActivationRequest> ApplicationService::releaseAndTakeWaiting() {
  giveNameBack();
  std::vector<ActivationRequest> requests;
  while (!fWaiting.empty()) requests.push_back(takeOldest());
  return requests;
}

void ApplicationService::giveNameBack() {
  if (!std::exchange(fOwnsName, false)) return;
  fHandler = {};
  endStart();
  auto bus = QDBusConnection::sessionBus();
  bus.unregisterService(fName);
  takeInWhatWasSent();
  bus.unregisterObject(fObjectPath);
}

// Everything that the bus has sent before it answers a call has reached the toolkit's thread by then. The
// toolkit may keep it back for a moment, or first show it to a listener on this thread (TrayPress.h). A later
// answer shows that each step is over.
void ApplicationService::takeInWhatWasSent() {
  auto bus = QDBusConnection::sessionBus();
  for (int i = 0; i < 4; ++i) {
    const auto call = QDBusMessage::createMethodCall(QLatin1String(kBus), QLatin1String(kBusPath),
                                                     QLatin1String(kBus), QStringLiteral("GetId"));
    if (bus.call(call, QDBus::Block, kBusTimeoutMilliseconds).type() != QDBusMessage::ReplyMessage) break;
    QCoreApplication::sendPostedEvents(QCoreApplication::instance(), QEvent::MetaCall);
  }
  QCoreApplication::sendPostedEvents(this);
}

ApplicationService::Claim ApplicationService::claimName() {
  if (fOwnsName) return Claim::Owner;
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected() || !bus.interface()) return Claim::NoBus;
  fHasMetBus = true;
  if (!bus.registerVirtualObject(fObjectPath, this, QDBusConnection::SingleNode)) return Claim::NoBus;
  const auto reply = bus.interface()->registerService(fName, QDBusConnectionInterface::DontQueueService,
                                                      QDBusConnectionInterface::DontAllowReplacement);
  fOwnsName = reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered;
  if (fOwnsName) {
    bus.interface()->registerService(startingName());
    return Claim::Owner;
  }
  bus.unregisterObject(fObjectPath);
  return reply.isValid() ? Claim::AnotherRuns : Claim::NoBus;
}

ApplicationService::Reply ApplicationService::askOwnerToShow(const std::string& activationToken) {
  auto call = QDBusMessage::createMethodCall(fName, fObjectPath, QLatin1String(kInterface),
                                             QStringLiteral("Activate"));
  call << ActivationRequest::PlatformData(activationToken);
  return askOwner(call);
}

bool ApplicationService::ownerReplies() {
  auto call = QDBusMessage::createMethodCall(fName, fObjectPath, QLatin1String(kInterface),
                                             QStringLiteral("ActivateAction"));
  call << QString() << QVariantList() << QVariantMap();  // there is no such action, and the owner says so
  return askOwner(call) != Reply::None;
}

bool ApplicationService::isStarting() const {
  return QDBusConnection::sessionBus().interface()->isServiceRegistered(startingName());
}

ApplicationService::Reply ApplicationService::askOwner(const QDBusMessage& call) {
  auto bus = QDBusConnection::sessionBus();
  auto question = call;
  question.setAutoStartService(false);  // if it has gone, we take its place
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    // Before the call, so that an owner which has just started has the whole time for its reply. After it
    // too, because the owner takes this name a moment after the other.
    const bool wasStarting = isStarting();
    const auto reply = bus.call(question, QDBus::Block, kOwnerTimeoutMilliseconds);
    if (reply.type() == QDBusMessage::ReplyMessage) return Reply::Accepted;
    const auto error = QDBusError(reply).type();
    const bool isSilent = error == QDBusError::NoReply || error == QDBusError::Timeout ||
                          error == QDBusError::TimedOut || error == QDBusError::Disconnected;
    const bool hasGone = error == QDBusError::ServiceUnknown || reply.errorName() == QLatin1String(kNoOwner);
    if (!isSilent && !hasGone) return Reply::Refused;
    if (!wasStarting && !isStarting()) return Reply::None;
  }
  return Reply::None;
}

std::optional<ActivationRequest> ApplicationService::takeFirstRequest() {
  if (!fOwnsName) return {};
  // The toolkit keeps incoming calls back until the event loop has turned once.
  QCoreApplication::processEvents();
  takeInWhatWasSent();
  if (fWaiting.empty()) return {};
  return takeOldest();
}

void ApplicationService::endStart() {
  auto call = QDBusMessage::createMethodCall(QLatin1String(kBus), QLatin1String(kBusPath),
                                             QLatin1String(kBus), QStringLiteral("ReleaseName"));
  call << startingName();
  QDBusConnection::sessionBus().send(call);
}

void ApplicationService::setHandler(Handler handler) {
  fHandler = std::move(handler);
  if (fOwnsName) endStart();
  QTimer::singleShot(0, this, [this] { deliver(); });
}

void ApplicationService::watchBus(std::function<void()> onEnd) {
  if (!fHasMetBus) return;
  fOnBusEnd = std::move(onEnd);
  auto bus = QDBusConnection::sessionBus();
  bus.connect({}, QStringLiteral("/org/freedesktop/DBus/Local"), QStringLiteral("org.freedesktop.DBus.Local"),
              QStringLiteral("Disconnected"), this, SLOT(busEnded()));
  if (!bus.isConnected()) QTimer::singleShot(0, this, [this] { busEnded(); });
}

void ApplicationService::busEnded() {
  if (const auto onEnd = std::exchange(fOnBusEnd, nullptr)) onEnd();
}

QString ApplicationService::introspect(const QString&) const {
  return QStringLiteral(
      "<interface name=\"org.freedesktop.Application\">"
      "<method name=\"Activate\"><arg type=\"a{sv}\" name=\"platform_data\" direction=\"in\"/></method>"
      "<method name=\"Open\"><arg type=\"as\" name=\"uris\" direction=\"in\"/>"
      "<arg type=\"a{sv}\" name=\"platform_data\" direction=\"in\"/></method>"
      "<method name=\"ActivateAction\"><arg type=\"s\" name=\"action_name\" direction=\"in\"/>"
      "<arg type=\"av\" name=\"parameter\" direction=\"in\"/>"
      "<arg type=\"a{sv}\" name=\"platform_data\" direction=\"in\"/></method>"
      "</interface>");
}

bool ApplicationService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
  if (message.type() != QDBusMessage::MethodCallMessage) return false;
  if (!message.interface().isEmpty() && message.interface() != QLatin1String(kInterface)) return false;
  auto request = ActivationRequest::Read(message);
  if (!request) {
    connection.send(message.createErrorReply(QDBusError::InvalidArgs,
                                             QStringLiteral("There is no such method or action")));
    return true;
  }
  if (fOffer == Offer::Pages && request->kind != ActivationRequest::Kind::OpenPage) {
    connection.send(message.createErrorReply(QDBusError::Failed, QStringLiteral("There is no display")));
    return true;
  }
  if (fWaiting.size() >= kMostWaiting) {
    connection.send(message.createErrorReply(QDBusError::LimitsExceeded,
                                             QStringLiteral("Too many requests wait already")));
    return true;
  }
  fWaiting.push_back({std::move(*request), message});
  QTimer::singleShot(0, this, [this] { deliver(); });
  return true;
}

void ApplicationService::deliver() {
  while (fHandler && !fWaiting.empty()) {
    const auto request = takeOldest();
    const auto handler = fHandler;  // it may be replaced inside the call
    handler(request);
  }
}

ActivationRequest ApplicationService::takeOldest() {
  const Waiting oldest = std::move(fWaiting.front());
  fWaiting.pop_front();
  if (oldest.call.isReplyRequired()) QDBusConnection::sessionBus().send(oldest.call.createReply());
  return oldest.request;
}

}  // namespace vorn::app

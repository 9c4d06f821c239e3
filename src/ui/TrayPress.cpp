#include "ui/TrayPress.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QMetaObject>
#include <QObject>
#include <utility>

QT_BEGIN_NAMESPACE
// The toolkit exports this for programs, but no header of it declares it. The function gets each incoming
// call, on the main thread, before the call's object.
extern Q_DBUS_EXPORT void qDBusAddSpyHook(void (*function)(const QDBusMessage&));
QT_END_NAMESPACE

namespace vorn::ui {
namespace {

// The toolkit passes a call to the main thread, back to the thread that reads the bus, and to the main thread
// again. An answer of the bus is read after the calls before it. The second answer comes after their way
// back.
constexpr int kRounds = 2;

std::optional<QPoint> gLatest;
bool gIsListening = false;

void noteActivation(const QDBusMessage& call) {
  const QString interface = call.interface();
  const bool isOfItem = interface.isEmpty() || interface == QLatin1String("org.kde.StatusNotifierItem");
  if (!isOfItem || call.member() != QLatin1String("Activate") || call.signature() != QLatin1String("ii")) {
    return;
  }
  gLatest = QPoint(call.arguments().at(0).toInt(), call.arguments().at(1).toInt());
}

void askTheBus(QObject* context, const std::function<void()>& then, int rounds) {
  if (rounds == 0) {
    then();
    return;
  }
  const auto question = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
  auto* answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), context);
  QObject::connect(answer, &QDBusPendingCallWatcher::finished, context, [=] {
    answer->deleteLater();
    askTheBus(context, then, rounds - 1);
  });
}

}  // namespace

void HandedOverPlace::listen() {
  if (std::exchange(gIsListening, true)) return;
  qDBusAddSpyHook(&noteActivation);
}

void HandedOverPlace::onceDelivered(QObject* context, std::function<void()> then) {
  if (gIsListening && QDBusConnection::sessionBus().isConnected()) {
    askTheBus(context, then, kRounds);
  } else {
    QMetaObject::invokeMethod(context, std::move(then), Qt::QueuedConnection);
  }
}

std::optional<QPoint> HandedOverPlace::take() {
  return std::exchange(gLatest, std::nullopt);
}

TriggerFilter::TriggerFilter(std::chrono::milliseconds doubleClickInterval, Now now)
    : fDoubleClickInterval(doubleClickInterval), fNow(std::move(now)) {}

bool TriggerFilter::accept() {
  if (fHandling) return false;
  const Clock::time_point now = fNow();
  // The interval starts at the first activation and is not extended, so steady clicks are never swallowed for
  // good.
  if (fClick && now - *fClick < fDoubleClickInterval) return false;
  fClick = now;
  const bool closedThePanel = fHidden && now - *fHidden < kDeactivationWindow;
  fHidden.reset();
  fHandling = !closedThePanel;
  return fHandling;
}

void TriggerFilter::noteHandled() {
  fHandling = false;
}

void TriggerFilter::noteHiddenByDeactivation() {
  fHidden = fNow();
}

}  // namespace vorn::ui

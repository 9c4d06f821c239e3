#include "ui/TrayHostWatcher.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <utility>

#include "ui/X11Desktop.h"

namespace vorn::ui {
namespace {

const QString kWatcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kWatcherPath = QStringLiteral("/StatusNotifierWatcher");

TrayHostWatcher::OlderTrayProbe ownProbe() {
  return X11Desktop::isPresent() ? TrayHostWatcher::OlderTrayProbe(&X11Desktop::olderTrayIsPresent) : nullptr;
}

}  // namespace

TrayHostWatcher::TrayHostWatcher(QDBusConnection sessionBus, OlderTrayProbe olderTray, Timing timing,
                                 QObject* parent)
    : QObject(parent), fBus(std::move(sessionBus)), fOlderTray(std::move(olderTray)), fTiming(timing) {
  fTimer.setSingleShot(true);
  connect(&fTimer, &QTimer::timeout, this, &TrayHostWatcher::lookForOlderTray);
}

TrayHostWatcher::TrayHostWatcher(QObject* parent)
    : TrayHostWatcher(QDBusConnection::sessionBus(), ownProbe(), Timing(), parent) {}

void TrayHostWatcher::start() {
  if (fStarted) return;
  fStarted = true;
  const bool haveBus = fBus.isConnected();
  if (haveBus) watchBus();
  if (fOlderTray) fTimer.start(haveBus ? fTiming.grace : std::chrono::milliseconds(0));
}

void TrayHostWatcher::watchBus() {
  fServiceWatcher =
      new QDBusServiceWatcher(kWatcherService, fBus, QDBusServiceWatcher::WatchForRegistration, this);
  connect(fServiceWatcher, &QDBusServiceWatcher::serviceRegistered, this,
          &TrayHostWatcher::askWhetherHostIsRegistered);
  fBus.connect(kWatcherService, kWatcherPath, kWatcherService, QStringLiteral("StatusNotifierHostRegistered"),
               this, SLOT(askWatcher()));
  askWatcher();
}

// The question itself would start an activatable watcher, so its name comes first.
void TrayHostWatcher::askWatcher() {
  if (fFound) return;
  QDBusMessage ask = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameHasOwner"));
  ask << kWatcherService;
  auto* pending = new QDBusPendingCallWatcher(fBus.asyncCall(ask), this);
  connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
    pending->deleteLater();
    const QDBusPendingReply<bool> answer = *pending;
    if (!answer.isError() && answer.value()) askWhetherHostIsRegistered();
  });
}

void TrayHostWatcher::askWhetherHostIsRegistered() {
  if (fFound) return;
  QDBusMessage ask = QDBusMessage::createMethodCall(kWatcherService, kWatcherPath,
                                                    QStringLiteral("org.freedesktop.DBus.Properties"),
                                                    QStringLiteral("Get"));
  ask << kWatcherService << QStringLiteral("IsStatusNotifierHostRegistered");
  ask.setAutoStartService(false);
  auto* pending = new QDBusPendingCallWatcher(fBus.asyncCall(ask), this);
  connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
    pending->deleteLater();
    const QDBusPendingReply<QDBusVariant> answer = *pending;
    if (!answer.isError() && answer.value().variant().toBool()) found(TrayForm::Button);
  });
}

void TrayHostWatcher::lookForOlderTray() {
  if (fFound) return;
  if (fOlderTray()) {
    found(TrayForm::View);
  } else {
    fTimer.start(fTiming.retry);
  }
}

void TrayHostWatcher::found(TrayForm form) {
  if (fFound) return;
  fFound = true;
  fTimer.stop();
  if (fServiceWatcher) {
    fBus.disconnect(kWatcherService, kWatcherPath, kWatcherService,
                    QStringLiteral("StatusNotifierHostRegistered"), this, SLOT(askWatcher()));
    std::exchange(fServiceWatcher, nullptr)->deleteLater();
  }
  emit hostFound(form);
}

}  // namespace vorn::ui

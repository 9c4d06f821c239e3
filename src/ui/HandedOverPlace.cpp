#include "ui/HandedOverPlace.h"

#include <QDBusMessage>
#include <utility>

QT_BEGIN_NAMESPACE
// Exported by the toolkit for programs, but declared in none of its headers. The
// function gets each call that comes in, on the main thread, before its object.
extern Q_DBUS_EXPORT void qDBusAddSpyHook(void (*function)(const QDBusMessage&));
QT_END_NAMESPACE

namespace vorn::ui {
namespace {

std::optional<QPoint> gLatest;

void noteActivation(const QDBusMessage& call) {
  const QString interface = call.interface();
  const bool isOfItem = interface.isEmpty() || interface == QLatin1String("org.kde.StatusNotifierItem");
  if (!isOfItem || call.member() != QLatin1String("Activate") || call.signature() != QLatin1String("ii")) {
    return;
  }
  gLatest = QPoint(call.arguments().at(0).toInt(), call.arguments().at(1).toInt());
}

}  // namespace

void HandedOverPlace::listen() {
  [[maybe_unused]] static const bool isListening = (qDBusAddSpyHook(&noteActivation), true);
}

std::optional<QPoint> HandedOverPlace::take() {
  return std::exchange(gLatest, std::nullopt);
}

}  // namespace vorn::ui

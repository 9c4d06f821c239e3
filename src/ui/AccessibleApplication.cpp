#include "ui/AccessibleApplication.h"

#include <QGuiApplication>

namespace vorn::ui {
namespace {

QAccessibleInterface* make(const QString&, QObject* object) {
  return object == qApp ? new AccessibleApplication : nullptr;  // the toolkit's cache owns it
}

}  // namespace

void AccessibleApplication::install() {
  QAccessible::installFactory(&make);
}

QString AccessibleApplication::text(QAccessible::Text kind) const {
  return kind == QAccessible::Name ? QGuiApplication::applicationDisplayName()
                                   : QAccessibleApplication::text(kind);
}

}  // namespace vorn::ui

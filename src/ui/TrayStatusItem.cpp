#include "ui/TrayStatusItem.h"

#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QPainter>
#include <QScopeGuard>
#include <QStandardPaths>
#include <algorithm>
#include <utility>

#include "ui/StatusView.h"
#include "ui/TemplateImage.h"
#include "ui/TrayPress.h"

namespace vorn::ui {
namespace {

constexpr int kThickness = 22;

// The host looks the name up in the theme, so an uninstalled name must not travel.
QString installedName(const QString& name) {
  const QString file = QStringLiteral("icons/hicolor/symbolic/apps/%1.svg").arg(name);
  return QStandardPaths::locate(QStandardPaths::GenericDataLocation, file).isEmpty() ? QString() : name;
}

}  // namespace

TrayStatusItem::TrayStatusItem(Look look, int length, Now now, Place place, Delivered delivered)
    : fLook(std::move(look)),
      fLength(length),
      fFilter(std::chrono::milliseconds(QApplication::doubleClickInterval()), std::move(now)),
      fPlace(std::move(place)),
      fDelivered(std::move(delivered)) {}

TrayStatusItem::~TrayStatusItem() = default;

void TrayStatusItem::attach(TrayForm form) {
  if (fTray) return;
  fTray = std::make_unique<QSystemTrayIcon>();
  connect(fTray.get(), &QSystemTrayIcon::activated, this, &TrayStatusItem::activated);
  fForm = form;
  if (form == TrayForm::Button) {
    HandedOverPlace::listen();
  } else {
    emit formChanged();
  }
  fTray->setToolTip(fToolTip);
  fTray->setContextMenu(fContextMenu);
  updateIcon();
  fTray->show();
}

void TrayStatusItem::noteHiddenByDeactivation() {
  fFilter.noteHiddenByDeactivation();
}

bool TrayStatusItem::hasButton() const {
  return fForm == TrayForm::Button;
}

int TrayStatusItem::length() const {
  return fLength;
}

int TrayStatusItem::thickness() const {
  return kThickness;
}

void TrayStatusItem::setButtonImage(const QString& imageName) {
  fImageName = imageName;
  updateIcon();
}

void TrayStatusItem::setButtonTarget(QObject* target) {
  fTarget = target;
}

void TrayStatusItem::setButtonAction(Action action) {
  fAction = std::move(action);
}

void TrayStatusItem::setButtonAppearsDisabled(bool disabled) {
  if (fDisabled == disabled) return;  // lists come often, and each new icon travels to the host
  fDisabled = disabled;
  updateIcon();
}

QWindow* TrayStatusItem::buttonWindow() const {
  return nullptr;  // it belongs to the host's process
}

void TrayStatusItem::setView(StatusView* view) {
  if (fView) disconnect(fView, nullptr, this, nullptr);
  fView = view;
  if (fView) connect(fView, &StatusView::needsDisplay, this, &TrayStatusItem::updateIcon);
  updateIcon();
}

void TrayStatusItem::drawStatusBarBackgroundInRect(QPainter& painter, const QRectF& rect, bool highlight) {
  if (!highlight) return;  // the bar itself shows through
  painter.fillRect(rect, QApplication::palette().brush(QPalette::Active, QPalette::Highlight));
}

QRect TrayStatusItem::geometry() const {
  return fTray ? fTray->geometry() : QRect();
}

PressPlace TrayStatusItem::press() const {
  return fPress;
}

void TrayStatusItem::setContextMenu(QMenu* menu) {
  fContextMenu = menu;
  if (fTray) fTray->setContextMenu(menu);
}

void TrayStatusItem::setToolTip(const QString& text) {
  if (fToolTip == text) return;  // it travels to the host
  fToolTip = text;
  if (fTray) fTray->setToolTip(text);
}

QIcon TrayStatusItem::icon() const {
  return hasButton() ? buttonIcon() : viewIcon();
}

QIcon TrayStatusItem::buttonIcon() const {
  const QString name = installedName(fDisabled ? fLook.inactiveIconName : fLook.activeIconName);
  const qreal opacity = fDisabled ? 0.5 : 1.0;
  const auto draw = [image = fImageName, opacity](QPainter& painter, QSize size) {
    TemplateImage(image, size).draw(painter, QRectF(QPointF(), QSizeF(size)), opacity, Tint::forUnknownBar());
  };
  return QIcon(new TrayIconEngine(name, draw));
}

// What the view draws, scaled to the tray's place for it. If that is smaller than the view, the image stays
// as it is as long as it fits, and only the space around it goes.
QIcon TrayStatusItem::viewIcon() const {
  const auto draw = [view = fView](QPainter& painter, QSize size) {
    if (!view) return;
    const QSizeF own(view->size());
    const auto fitting = [size](const QSizeF& content) {
      return std::min(size.width() / content.width(), size.height() / content.height());
    };
    const qreal scale = std::max(fitting(own), std::min(1.0, fitting(view->image().size())));
    painter.translate((size.width() - own.width() * scale) / 2, (size.height() - own.height() * scale) / 2);
    painter.scale(scale, scale);
    view->drawRect(painter, QRectF(view->rect()));
  };
  return QIcon(new TrayIconEngine({}, draw));
}

void TrayStatusItem::updateIcon() {
  if (fTray) fTray->setIcon(icon());
}

void TrayStatusItem::activated(QSystemTrayIcon::ActivationReason reason) {
  const bool isPress = reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick;
  if (!isPress || !fFilter.accept()) return;
  // Calls that wait already belong to this click, even if a busy program takes long for it.
  const auto handled = qScopeGuard([this] { fDelivered(this, [this] { fFilter.noteHandled(); }); });
  fPress = fPlace();
  sendPress();
  fPress = {};  // later requests have nothing to do with it
}

// On other platforms nobody knows the place of a point on the desktop.
PressPlace TrayStatusItem::placeOfPlatform() {
  if (QGuiApplication::platformName() != QStringLiteral("xcb")) return {};
  return {HandedOverPlace::take(), QCursor::pos()};
}

void TrayStatusItem::sendPress() {
  if (!hasButton()) {
    if (fView) fView->mouseDown();
    return;
  }
  const Action action = fAction;  // the action may replace itself
  if (fTarget && action) action();
}

}  // namespace vorn::ui

#include "ui/ClickablePanel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLayout>
#include <QPainter>
#include <QTimer>
#include <QWindow>
#include <algorithm>
#include <utility>

#include "ui/X11Desktop.h"

namespace vorn::ui {
namespace {

constexpr int kWidth = 320;   // in points
constexpr int kLetters = 44;  // of a large font, the width has room for so many

}  // namespace

ClickablePanel::ClickablePanel(QWidget* parent)
    : QDialog(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {}

QSize ClickablePanel::sizeIn(const QSize& room) const {
  ensurePolished();
  const int wished = std::max(kWidth, kLetters * fontMetrics().averageCharWidth());
  const int width = std::min(room.width(), wished);
  const bool wraps = layout()->hasHeightForWidth();
  const int height = wraps ? layout()->totalHeightForWidth(width) : layout()->totalSizeHint().height();
  return {width, std::min(room.height(), height)};
}

// While the place changes, both sizes are allowed, so that the window system gets one request only.
void ClickablePanel::takePlace(const QRect& place) {
  setMinimumSize(place.size().boundedTo(size()));
  setMaximumSize(place.size().expandedTo(size()));
  fWished = place.topLeft();
  setGeometry(place);
  setFixedSize(place.size());
}

void ClickablePanel::makeKeyAndOrderFront(QPoint origin) {
  fWished = origin;
  move(origin);
  show();
  raise();
  activateWindow();
  move(origin);  // some window managers place a new window themselves
  if (windowHandle()) X11Desktop::askToSkipTaskbar(windowHandle());
}

void ClickablePanel::reject() {
  emit cancelOperation();
}

bool ClickablePanel::event(QEvent* event) {
  const bool handled = QDialog::event(event);
  if (event->type() == QEvent::WindowDeactivate) focusMayBeLost();
  if (event->type() == QEvent::LayoutRequest) emit contentChanged();
  return handled;
}

void ClickablePanel::focusMayBeLost() {
  if (fClosing || !isVisible() || QApplication::activePopupWidget()) return;
  emit resignedKey();
}

void ClickablePanel::menuDidClose() {
  QTimer::singleShot(0, this, [this] {
    if (!isActiveWindow()) focusMayBeLost();
  });
}

void ClickablePanel::closeEvent(QCloseEvent* event) {
  event->accept();
  if (fClosing) return;
  fClosing = true;
  emit willClose();
}

void ClickablePanel::keyPressEvent(QKeyEvent* event) {
  const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  if (auto* button = qobject_cast<QAbstractButton*>(focusWidget()); isReturn && button) {
    button->click();
    return;
  }
  QDialog::keyPressEvent(event);
}

// i3 shifts a new window by a frame that it does not draw, and obeys when it is asked again.
void ClickablePanel::moveEvent(QMoveEvent* event) {
  QDialog::moveEvent(event);
  QWindow* const window = windowHandle();
  if (!fWished || !window || !X11Desktop::isPresent() || window->position() == *fWished) return;
  window->setPosition(*std::exchange(fWished, std::nullopt));
}

void ClickablePanel::paintEvent(QPaintEvent* event) {
  QDialog::paintEvent(event);
  QPainter painter(this);
  QColor line = palette().color(QPalette::WindowText);
  line.setAlphaF(0.3F);
  // One point wide on any device pixel ratio. A pen would be wrong by one device pixel.
  painter.fillRect(0, 0, width(), 1, line);
  painter.fillRect(0, height() - 1, width(), 1, line);
  painter.fillRect(0, 1, 1, height() - 2, line);
  painter.fillRect(width() - 1, 1, 1, height() - 2, line);
}

}  // namespace vorn::ui

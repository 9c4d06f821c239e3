#include "ui/StatusView.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWindow>
#include <utility>

namespace vorn::ui {

StatusView::StatusView(StatusItem* item) : fImage(QStringLiteral("MenuIcon"), QSize(16, 16)) {
  setItem(item);
}

void StatusView::setItem(StatusItem* item) {
  if (fItem) disconnect(fItem, nullptr, this, nullptr);
  fItem = item;
  if (!fItem) return;
  resize(fItem->length(), fItem->thickness());
  connect(fItem, &StatusItem::formChanged, this, &StatusView::install);
  install();
}

void StatusView::install() {
  if (!fItem) return;
  if (!fItem->hasButton()) {
    fItem->setView(this);
    update();
    emit needsDisplay();
    return;
  }
  fItem->setButtonImage(fImage.name());
  fItem->setButtonTarget(fTarget);
  fItem->setButtonAction(fAction);
  fItem->setButtonAppearsDisabled(!fActive);
}

void StatusView::setTarget(QObject* target) {
  fTarget = target;
  if (fItem && fItem->hasButton()) fItem->setButtonTarget(target);
}

void StatusView::setAction(StatusItem::Action action) {
  fAction = std::move(action);
  if (fItem && fItem->hasButton()) fItem->setButtonAction(fAction);
}

void StatusView::setHighlight(bool highlight) {
  const bool changes = std::exchange(fHighlight, highlight) != highlight;
  update();
  if (changes) emit needsDisplay();
}

void StatusView::setActive(bool active) {
  const bool changes = std::exchange(fActive, active) != active;
  update();
  if (changes) emit needsDisplay();
  if (fItem && fItem->hasButton()) fItem->setButtonAppearsDisabled(!active);
}

void StatusView::setImage(const TemplateImage& image) {
  fImage = image;
  update();
  emit needsDisplay();
  if (fItem && fItem->hasButton()) fItem->setButtonImage(image.name());
}

QWindow* StatusView::statusWindow() const {
  if (fItem && fItem->hasButton()) return fItem->buttonWindow();
  return window()->windowHandle();
}

void StatusView::mouseDown() {
  if (!fTarget || !fAction) return;
  const StatusItem::Action action = fAction;  // the action may replace itself
  action();
}

void StatusView::drawRect(QPainter& painter, const QRectF& dirtyRect) {
  if (fItem) fItem->drawStatusBarBackgroundInRect(painter, dirtyRect, fHighlight);
  const QSizeF size = fImage.size();
  const QPointF origin(width() * 0.5 - size.width() * 0.5, height() * 0.5 - size.height() * 0.5);
  fImage.draw(painter, QRectF(origin, size), fActive ? 1.0 : 0.5, Tint::forUnknownBar());
}

void StatusView::paintEvent(QPaintEvent* event) {
  QPainter painter(this);
  drawRect(painter, event->rect());
}

void StatusView::mousePressEvent(QMouseEvent* event) {
  event->accept();
  if (event->button() == Qt::LeftButton) mouseDown();
}

}  // namespace vorn::ui

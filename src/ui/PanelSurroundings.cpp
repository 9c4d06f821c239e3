#include "ui/PanelSurroundings.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtMath>
#include <algorithm>

#include "ui/StatusItem.h"
#include "ui/X11Desktop.h"

namespace vorn::ui {

namespace {

QRect withoutReservedArea(const QRect& screen, const QRect& usable, const ReservedArea& reserved) {
  const QRect taken = reserved.area.intersected(screen);
  const bool fromTheSide = reserved.edge == Qt::LeftEdge || reserved.edge == Qt::RightEdge;
  // One that crosses the whole screen on its way from the desktop's edge belongs to a screen behind it.
  const bool crosses = fromTheSide ? taken.width() == screen.width() : taken.height() == screen.height();
  if (taken.isEmpty() || crosses) return usable;
  QRect rest = usable;
  switch (reserved.edge) {
    case Qt::LeftEdge:
      rest.setLeft(std::max(rest.left(), taken.right() + 1));
      break;
    case Qt::RightEdge:
      rest.setRight(std::min(rest.right(), taken.left() - 1));
      break;
    case Qt::TopEdge:
      rest.setTop(std::max(rest.top(), taken.bottom() + 1));
      break;
    case Qt::BottomEdge:
      rest.setBottom(std::min(rest.bottom(), taken.top() - 1));
      break;
  }
  return rest.isEmpty() ? usable : rest;
}

// The toolkit keeps each screen's origin and scales distances from there.
QRect inDisplayPixels(const QRect& screen, qreal ratio) {
  return {screen.topLeft(), (QSizeF(screen.size()) * ratio).toSize()};
}

}  // namespace

QRect withoutReservedAreas(const PlacementScreen& screen, qreal ratio,
                           const std::vector<ReservedArea>& areas) {
  const QPoint origin = screen.geometry.topLeft();
  const QRect physical = inDisplayPixels(screen.geometry, ratio);
  QRect free = physical;
  for (const ReservedArea& area : areas) free = withoutReservedArea(physical, free, area);
  const QPointF first = QPointF(free.topLeft() - origin) / ratio;
  const QPointF end = QPointF(free.bottomRight() + QPoint(1, 1) - origin) / ratio;
  const QRect whole(origin + QPoint(qCeil(first.x()), qCeil(first.y())),
                    origin + QPoint(qFloor(end.x()) - 1, qFloor(end.y()) - 1));
  const QRect usable = whole.intersected(screen.usable);
  return usable.isEmpty() ? screen.usable : usable;
}

QPoint fromDisplayPixels(const QPoint& point) {
  for (const QScreen* screen : QGuiApplication::screens()) {
    const qreal ratio = screen->devicePixelRatio();
    const QPoint origin = screen->geometry().topLeft();
    if (!inDisplayPixels(screen->geometry(), ratio).contains(point)) continue;
    return origin + (QPointF(point - origin) / ratio).toPoint();
  }
  return point;
}

std::vector<PlacementScreen> currentScreens() {
  const std::vector<ReservedArea> reserved = X11Desktop::reservedAreas();
  std::vector<PlacementScreen> screens;
  for (const QScreen* screen : QGuiApplication::screens()) {
    PlacementScreen place{screen->geometry(), screen->availableGeometry()};
    // With several X11 screens the toolkit says that all of each is usable.
    place.usable = withoutReservedAreas(place, screen->devicePixelRatio(), reserved);
    const bool primary = screen == QGuiApplication::primaryScreen();
    screens.insert(primary ? screens.begin() : screens.end(), place);
  }
  return screens;
}

QPoint currentPanelOrigin(const QSize& panel, const StatusItem* item) {
  PlacementRequest request;
  request.panel = panel;
  request.screens = currentScreens();
  if (item) {
    request.item = item->geometry();
    const PressPlace press = item->press();
    request.pointer = press.pointer;
    if (press.handedOver) request.handedOver = fromDisplayPixels(*press.handedOver);
  }
  return panelOrigin(request);
}

}  // namespace vorn::ui

#include "ui/PanelPlacement.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtMath>
#include <algorithm>

#include "ui/StatusItem.h"
#include "ui/X11Desktop.h"

namespace vorn::ui {
namespace {

enum class Edge { Top, Bottom };

constexpr int kDepthOfBars = 64;  // more than most have

// The edges are half open here: right() is the first column that is outside.
int right(const QRect& r) {
  return r.x() + r.width();
}
int bottom(const QRect& r) {
  return r.y() + r.height();
}

int squaredDistance(const QRect& area, const QPoint& point) {
  const int x = std::clamp(point.x(), area.x(), right(area) - 1) - point.x();
  const int y = std::clamp(point.y(), area.y(), bottom(area) - 1) - point.y();
  return x * x + y * y;
}

// The screen that contains the point, otherwise the nearest one.
const PlacementScreen& screenOf(const std::vector<PlacementScreen>& screens, const QPoint& point) {
  return *std::min_element(screens.begin(), screens.end(), [&](const auto& a, const auto& b) {
    return squaredDistance(a.geometry, point) < squaredDistance(b.geometry, point);
  });
}

// Where the bar is, seen from the usable area. For an anchor inside the area, the nearer edge decides.
Edge edgeOf(const PlacementScreen& screen, const QPoint& anchor) {
  if (anchor.y() < screen.usable.y()) return Edge::Top;
  if (anchor.y() >= bottom(screen.usable)) return Edge::Bottom;
  return anchor.y() < screen.geometry.y() + screen.geometry.height() / 2 ? Edge::Top : Edge::Bottom;
}

// The bar is where more of the screen is taken; at the top if nothing is taken.
Edge edgeOfBar(const PlacementScreen& screen) {
  const int above = screen.usable.y() - screen.geometry.y();
  const int below = bottom(screen.geometry) - bottom(screen.usable);
  return below > above ? Edge::Bottom : Edge::Top;
}

// Ends the usable area at the item if the platform has not excluded the bar from it.
QRect withoutItem(const QRect& usable, const QRect& item, Edge edge) {
  if (!usable.intersects(item)) return usable;
  QRect rest = usable;
  if (edge == Edge::Top) rest.setTop(bottom(item));
  if (edge == Edge::Bottom) rest.setHeight(item.y() - usable.y());
  return rest;
}

// Whether the point is on a bar. Bars that hide are assumed at all edges, as deep as `hidden`.
bool liesOnABar(const std::vector<PlacementScreen>& screens, const QPoint& point, int hidden) {
  return std::any_of(screens.begin(), screens.end(), [&](const PlacementScreen& screen) {
    const QRect inside = screen.geometry.adjusted(hidden, hidden, -hidden, -hidden);
    const QRect whole = screen.geometry.adjusted(0, 0, 1, 1);  // currentScreens may have made it smaller
    return whole.contains(point) && !inside.intersected(screen.usable).contains(point);
  });
}

// The best known place of the press on the item.
std::optional<QPoint> placeOfPress(const PlacementRequest& request) {
  if (!request.handedOver) return request.pointer;
  const auto handedOver = request.handedOver->isNull() ? std::nullopt : request.handedOver;
  for (const int hidden : {0, kDepthOfBars}) {
    for (const auto& place : {handedOver, request.pointer}) {
      if (place && liesOnABar(request.screens, *place, hidden)) return place;
    }
  }
  return {};
}

}  // namespace

QPoint PanelPlace::originOf(const QSize& panel) const {
  const int x = std::max(usable.x(), std::min(right(usable) - panel.width(), left));
  const int y = onBottomEdge ? std::max(usable.y(), bottom(usable) - panel.height()) : usable.y();
  return {x, y};
}

PanelPlace panelPlace(const PlacementRequest& request) {
  if (request.screens.empty()) return {};
  const bool itemKnown = !request.item.isEmpty();
  const std::optional<QPoint> press = placeOfPress(request);
  if (!itemKnown && !press) {
    const PlacementScreen& primary = request.screens.front();
    return {primary.usable, edgeOfBar(primary) == Edge::Bottom, right(primary.usable)};
  }
  const QPoint anchor = itemKnown ? request.item.center() : *press;
  const PlacementScreen& screen = screenOf(request.screens, anchor);
  const Edge edge = edgeOf(screen, anchor);
  const QRect usable = itemKnown ? withoutItem(screen.usable, request.item, edge) : screen.usable;
  return {usable, edge == Edge::Bottom, itemKnown ? request.item.x() : anchor.x()};
}

namespace {

QRect withoutReservedArea(const QRect& screen, const QRect& usable, const ReservedArea& reserved) {
  const QRect taken = reserved.area.intersected(screen);
  const bool fromTheSide = reserved.edge == Qt::LeftEdge || reserved.edge == Qt::RightEdge;
  // A bar that crosses the whole screen from the desktop's edge belongs to a screen behind it.
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

namespace {

// The toolkit rounds a screen's size in points, also up. The sizes of real screens are even, so at some
// scales there is nothing to round.
bool mayBeRoundedUp(qreal ratio) {
  return ratio != 1 && ratio != 2;
}

}  // namespace

std::vector<PlacementScreen> currentScreens() {
  const std::vector<ReservedArea> reserved = X11Desktop::reservedAreas();
  std::vector<PlacementScreen> screens;
  for (const QScreen* screen : QGuiApplication::screens()) {
    PlacementScreen place{screen->geometry(), screen->availableGeometry()};
    // With several X11 screens, the toolkit reports that all of each is usable.
    const qreal ratio = screen->devicePixelRatio();
    place.usable = withoutReservedAreas(place, ratio, reserved);
    if (mayBeRoundedUp(ratio)) place.geometry.adjust(0, 0, -1, -1);
    place.usable &= place.geometry;
    const bool primary = screen == QGuiApplication::primaryScreen();
    screens.insert(primary ? screens.begin() : screens.end(), place);
  }
  return screens;
}

PanelPlace currentPanelPlace(const StatusItem* item) {
  PlacementRequest request;
  request.screens = currentScreens();
  if (item) {
    request.item = item->geometry();
    const PressPlace press = item->press();
    request.pointer = press.pointer;
    if (press.handedOver) request.handedOver = fromDisplayPixels(*press.handedOver);
  }
  return panelPlace(request);
}

}  // namespace vorn::ui

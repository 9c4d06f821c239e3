#include "ui/PanelPlacement.h"

#include <algorithm>

namespace vorn::ui {
namespace {

enum class Edge { Top, Bottom };

constexpr int kDepthOfBars = 64;  // more than most have

// The edges are half open here: right() is the first column that is no longer inside.
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

// The screen that holds the point, else the nearest one.
const PlacementScreen& screenOf(const std::vector<PlacementScreen>& screens, const QPoint& point) {
  return *std::min_element(screens.begin(), screens.end(), [&](const auto& a, const auto& b) {
    return squaredDistance(a.geometry, point) < squaredDistance(b.geometry, point);
  });
}

// Where the bar is, seen from the usable area; an anchor inside of it tells by the nearer edge.
Edge edgeOf(const PlacementScreen& screen, const QPoint& anchor) {
  if (anchor.y() < screen.usable.y()) return Edge::Top;
  if (anchor.y() >= bottom(screen.usable)) return Edge::Bottom;
  return anchor.y() < screen.geometry.y() + screen.geometry.height() / 2 ? Edge::Top : Edge::Bottom;
}

// The bar is where more of the screen is taken; the top where nothing is.
Edge edgeOfBar(const PlacementScreen& screen) {
  const int above = screen.usable.y() - screen.geometry.y();
  const int below = bottom(screen.geometry) - bottom(screen.usable);
  return below > above ? Edge::Bottom : Edge::Top;
}

// Ends the usable area at the item where the platform has not taken the bar off it.
QRect withoutItem(const QRect& usable, const QRect& item, Edge edge) {
  if (!usable.intersects(item)) return usable;
  QRect rest = usable;
  if (edge == Edge::Top) rest.setTop(bottom(item));
  if (edge == Edge::Bottom) rest.setHeight(item.y() - usable.y());
  return rest;
}

bool liesOnABar(const std::vector<PlacementScreen>& screens, const QPoint& point) {
  return std::any_of(screens.begin(), screens.end(), [&point](const PlacementScreen& screen) {
    const QRect inside = screen.geometry.adjusted(kDepthOfBars, kDepthOfBars, -kDepthOfBars, -kDepthOfBars);
    return screen.geometry.contains(point) && !inside.intersected(screen.usable).contains(point);
  });
}

// Where the item was pressed, for all that is known.
std::optional<QPoint> placeOfPress(const PlacementRequest& request) {
  if (!request.handedOver) return request.pointer;
  if (!request.handedOver->isNull() && liesOnABar(request.screens, *request.handedOver)) {
    return request.handedOver;
  }
  if (request.pointer && liesOnABar(request.screens, *request.pointer)) return request.pointer;
  return {};
}

QPoint originAt(const QRect& usable, const QSize& panel, Edge edge, int left) {
  const int x = std::max(usable.x(), std::min(right(usable) - panel.width(), left));
  const int y = edge == Edge::Top ? usable.y() : std::max(usable.y(), bottom(usable) - panel.height());
  return {x, y};
}

}  // namespace

QPoint panelOrigin(const PlacementRequest& request) {
  if (request.screens.empty()) return {};
  const bool itemKnown = !request.item.isEmpty();
  const std::optional<QPoint> press = placeOfPress(request);
  if (!itemKnown && !press) {
    const PlacementScreen& primary = request.screens.front();
    return originAt(primary.usable, request.panel, edgeOfBar(primary), right(primary.usable));
  }
  const QPoint anchor = itemKnown ? request.item.center() : *press;
  const PlacementScreen& screen = screenOf(request.screens, anchor);
  const Edge edge = edgeOf(screen, anchor);
  const QRect usable = itemKnown ? withoutItem(screen.usable, request.item, edge) : screen.usable;
  return originAt(usable, request.panel, edge, itemKnown ? request.item.x() : anchor.x());
}

}  // namespace vorn::ui

#include "ui/PanelSurroundings.h"

#include <QGuiApplication>
#include <QScreen>
#include <algorithm>

#include "ui/StatusItem.h"
#include "ui/X11Desktop.h"

namespace vorn::ui {

QRect withoutReservedArea(const QRect& screen, const QRect& usable, const QRect& area) {
  const QRect taken = area.intersected(screen);
  if (taken.isEmpty() || taken == screen) return usable;
  QRect rest = usable;
  const bool lies = taken.width() >= taken.height();
  if (lies && taken.top() == screen.top()) rest.setTop(std::max(rest.top(), taken.bottom() + 1));
  if (lies && taken.bottom() == screen.bottom()) rest.setBottom(std::min(rest.bottom(), taken.top() - 1));
  if (!lies && taken.left() == screen.left()) rest.setLeft(std::max(rest.left(), taken.right() + 1));
  if (!lies && taken.right() == screen.right()) rest.setRight(std::min(rest.right(), taken.left() - 1));
  return rest.isEmpty() ? usable : rest;
}

std::vector<PlacementScreen> currentScreens() {
  const std::vector<QRect> reserved = X11Desktop::reservedAreas();
  std::vector<PlacementScreen> screens;
  for (const QScreen* screen : QGuiApplication::screens()) {
    // With several X11 screens the toolkit says that all of each is usable.
    PlacementScreen place{screen->geometry(), screen->availableGeometry()};
    for (const QRect& area : reserved) place.usable = withoutReservedArea(place.geometry, place.usable, area);
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
    request.press = item->press();
  }
  return panelOrigin(request);
}

}  // namespace vorn::ui

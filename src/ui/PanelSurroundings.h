#pragma once

#include <vector>

#include "ui/PanelPlacement.h"
#include "ui/StrutAreas.h"

namespace vorn::ui {

class StatusItem;

/// The part of a screen's usable area that bars and docks leave free, in the
/// toolkit's coordinates. `areas` are in the display's own pixels, `ratio` of
/// which are one of the toolkit's. An area is taken off the side of the screen
/// that faces its edge; one that crosses the whole screen from there belongs to
/// a screen behind it. Where nothing would be left, nothing is taken. Pure.
[[nodiscard]] QRect withoutReservedAreas(const PlacementScreen& screen, qreal ratio,
                                         const std::vector<ReservedArea>& areas);

/// A point of the display's own pixels in the toolkit's coordinates; as it is
/// where it lies on no screen.
[[nodiscard]] QPoint fromDisplayPixels(const QPoint& point);

/// All screens as they are now, the primary one first, without the bars.
[[nodiscard]] std::vector<PlacementScreen> currentScreens();

/// Where the panel belongs now. `item` null: its place is unknown.
[[nodiscard]] QPoint currentPanelOrigin(const QSize& panel, const StatusItem* item);

}  // namespace vorn::ui

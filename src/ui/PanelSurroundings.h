#pragma once

#include <vector>

#include "ui/PanelPlacement.h"

namespace vorn::ui {

class StatusItem;

/// The part of `usable` that a reserved area leaves free: an area is taken off
/// the edge of `screen` that it lies along. One that covers the whole screen or
/// none of it belongs to another screen. Pure.
[[nodiscard]] QRect withoutReservedArea(const QRect& screen, const QRect& usable, const QRect& area);

/// All screens as they are now, the primary one first, without the bars.
[[nodiscard]] std::vector<PlacementScreen> currentScreens();

/// Where the panel belongs now. `item` null: its place is unknown.
[[nodiscard]] QPoint currentPanelOrigin(const QSize& panel, const StatusItem* item);

}  // namespace vorn::ui

#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <optional>
#include <vector>

#include "ui/X11Desktop.h"

namespace vorn::ui {

/// One screen in global coordinates, y growing downwards.
struct PlacementScreen {
  QRect geometry;
  QRect usable;  ///< without the bars, as far as the platform knows them; else equal to geometry
};

/// Everything that decides where the panel goes.
struct PlacementRequest {
  QSize panel;
  QRect item;                            ///< the status item; null where its place is unknown
  std::optional<QPoint> pointer;         ///< of the mouse while the item is pressed; empty where unknown
  std::vector<PlacementScreen> screens;  ///< the first one is the primary screen
  std::optional<QPoint> handedOver{};    ///< the place that the item's host names; empty where it names none
};

/// The panel's top left corner: it hangs from the top edge of the usable area
/// of the screen that holds the item, its left edge under the item's left edge,
/// pushed left only as far as needed to keep its right edge on the screen.
/// Where the status bar lies below the usable area, the panel stands on the
/// bottom edge instead.
///
/// Where the item's place is unknown, the place that its host hands over serves
/// for it, as far as it lies on a bar: in no usable area, or near the edge of a
/// screen, where a bar may hide. Some hosts hand over (0, 0), which counts for
/// nothing. Next comes the pointer: a key may have pressed the item, so it has
/// to lie on a bar too, unless the host hands nothing over at all. Last comes
/// the right end of the bar's edge on the primary screen.
///
/// A screen whose usable area is not known to be smaller than itself ends at
/// the item. Pure.
[[nodiscard]] QPoint panelOrigin(const PlacementRequest& request);

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

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
  QRect usable;  ///< without the bars, as far as the platform knows them; otherwise equal to geometry
};

/// Everything that decides where the panel goes.
struct PlacementRequest {
  QRect item;                            ///< the status item; null if its place is unknown
  std::optional<QPoint> pointer;         ///< of the mouse while the item is pressed; empty if unknown
  std::vector<PlacementScreen> screens;  ///< the first one is the primary screen
  std::optional<QPoint> handedOver{};    ///< the place that the item's host names; empty if it names none
};

/// The place of a panel, whatever its size is or becomes.
struct PanelPlace {
  QRect usable;               ///< the free area of its screen; null without any screen
  bool onBottomEdge = false;  ///< it stands on that area's lower edge; otherwise it hangs from the upper one
  int left = 0;               ///< its left edge, if there is room

  /// The top left corner of a panel of this size.
  [[nodiscard]] QPoint originOf(const QSize& panel) const;
};

/// The panel hangs from the top edge of the usable area of the item's screen, with its left edge under the
/// item's left edge. It moves to the left only as far as needed to keep its right edge on the screen. If the
/// status bar is below the usable area, the panel stands on the bottom edge instead.
///
/// If the item's place is unknown, the place from its host is used if it is on a bar, that is in no usable
/// area. Some hosts send (0, 0), which counts for nothing, or a place inside their own window (MATE). Next
/// comes the pointer. A key may have pressed the item, so the pointer must be on a bar too, unless the host
/// sends no place at all. If neither is on a bar, both are tried again near the edges of a screen, where a
/// bar may hide. Last comes the right end of the bar's edge on the primary screen.
///
/// If a screen's usable area is not known to be smaller than the screen, it ends at the item. Pure.
[[nodiscard]] PanelPlace panelPlace(const PlacementRequest& request);

class StatusItem;

/// The part of a screen's usable area without bars and docks, in the toolkit's coordinates. `areas` are in
/// the display's own pixels; `ratio` of them are one of the toolkit's. An area is removed from the side of
/// the screen that faces its edge. An area that crosses the whole screen from there belongs to a screen
/// behind it. If nothing would be left, nothing is removed. Pure.
[[nodiscard]] QRect withoutReservedAreas(const PlacementScreen& screen, qreal ratio,
                                         const std::vector<ReservedArea>& areas);

/// A point of the display's own pixels in the toolkit's coordinates; unchanged if it is on no screen.
[[nodiscard]] QPoint fromDisplayPixels(const QPoint& point);

/// All screens as they are now, the primary one first, without the bars.
[[nodiscard]] std::vector<PlacementScreen> currentScreens();

/// Where the panel belongs now. `item` null: its place is unknown.
[[nodiscard]] PanelPlace currentPanelPlace(const StatusItem* item);

}  // namespace vorn::ui

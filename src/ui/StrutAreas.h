#pragma once

#include <QRect>
#include <QSize>
#include <cstdint>
#include <vector>

namespace vorn::ui {

/// What a bar or a dock keeps for itself, and the edge of the desktop that it hangs on.
struct ReservedArea {
  Qt::Edge edge = Qt::TopEdge;
  QRect area;

  friend bool operator==(const ReservedArea& one, const ReservedArea& other) {
    return one.edge == other.edge && one.area == other.area;
  }
};

/// The areas that a window reserves at the edges of a desktop, by the words of
/// its property _NET_WM_STRUT_PARTIAL, in the desktop's own pixels. Any program
/// can write that property: too few words reserve nothing, words beyond the
/// twelfth are ignored, and every area lies inside the desktop and is not
/// empty. Pure.
[[nodiscard]] std::vector<ReservedArea> strutAreas(const std::vector<std::uint32_t>& words,
                                                   const QSize& desktop);

}  // namespace vorn::ui

#pragma once

#include <QRect>
#include <QSize>
#include <cstdint>
#include <vector>

class QWindow;

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

/// What the toolkit does not ask of an X11 desktop. Everywhere else, and where
/// the desktop does not answer, nothing is done and nothing is found. Each call
/// waits for the display server's answer. Main thread only.
class X11Desktop {
 public:
  /// True when this program shows its windows on an X11 display.
  [[nodiscard]] static bool isPresent();

  /// Asks the window manager to leave a window that is shown out of task bars
  /// and pagers; to be repeated after each show.
  static void askToSkipTaskbar(QWindow* window);

  /// The areas that bars and docks have reserved at the edges of the desktop,
  /// in its own pixels.
  [[nodiscard]] static std::vector<ReservedArea> reservedAreas();

  /// True when an older tray (the selection _NET_SYSTEM_TRAY_S0) has an owner.
  [[nodiscard]] static bool olderTrayIsPresent();
};

}  // namespace vorn::ui

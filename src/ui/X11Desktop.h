#pragma once

#include <QRect>
#include <QSize>
#include <cstdint>
#include <vector>

class QWindow;

namespace vorn::ui {

/// The area that a bar or a dock reserves, and its edge of the desktop.
struct ReservedArea {
  Qt::Edge edge = Qt::TopEdge;
  QRect area;

  friend bool operator==(const ReservedArea& one, const ReservedArea& other) {
    return one.edge == other.edge && one.area == other.area;
  }
};

/// The areas that a window reserves at the edges of a desktop, from the words of its property
/// _NET_WM_STRUT_PARTIAL, in the desktop's own pixels. Any program can write that property. So too few words
/// reserve nothing, words after the twelfth are ignored, and every area is inside the desktop and not empty.
/// Pure.
[[nodiscard]] std::vector<ReservedArea> strutAreas(const std::vector<std::uint32_t>& words,
                                                   const QSize& desktop);

/// What the toolkit does not offer on an X11 desktop. On other desktops, or if the desktop does not answer,
/// these functions do nothing and find nothing. Each call waits for the display server's answer. Main thread
/// only.
class X11Desktop {
 public:
  /// True when this program shows its windows on an X11 display.
  [[nodiscard]] static bool isPresent();

  /// Asks the window manager to keep a visible window out of task bars and pagers. Repeat it after each show.
  static void askToSkipTaskbar(QWindow* window);

  /// The areas that bars and docks have reserved at the edges of the desktop, in its own pixels, with or
  /// without a window manager.
  [[nodiscard]] static std::vector<ReservedArea> reservedAreas();

  /// True if an older tray (the selection _NET_SYSTEM_TRAY_S0) has an owner.
  [[nodiscard]] static bool olderTrayIsPresent();
};

}  // namespace vorn::ui

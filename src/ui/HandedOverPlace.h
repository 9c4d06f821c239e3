#pragma once

#include <QPoint>
#include <functional>
#include <optional>

class QObject;

namespace vorn::ui {

/// The place that the host of a StatusNotifierItem hands over when it activates
/// the item. The toolkit's tray icon drops it, so it is read from the call
/// before the toolkit gets it.
///
/// One in a process, since the toolkit shows the calls of all its connections
/// to one function, for good. Main thread only.
class HandedOverPlace {
 public:
  /// Takes note of activations from now on; later calls do nothing.
  static void listen();

  /// The place of the latest activation; empty where none came since the last
  /// call. As the host names it: it need not lie on any screen.
  [[nodiscard]] static std::optional<QPoint> take();

  /// Calls `then` from the event loop once every call that the bus had for us
  /// before this one has been delivered, unless `context` has gone by then. A
  /// call takes several turns between the toolkit's threads while places are
  /// read. Without a session bus: in the next turn of the event loop.
  static void onceDelivered(QObject* context, std::function<void()> then);
};

}  // namespace vorn::ui

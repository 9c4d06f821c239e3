#pragma once

#include <QPoint>
#include <chrono>
#include <functional>
#include <optional>

#include "foundation/Clock.h"

class QObject;

namespace vorn::ui {

/// The place that the host of a StatusNotifierItem sends when it activates the item. The toolkit's tray icon
/// drops it, so this reads it from the call before the toolkit gets the call.
///
/// One for each process, because the toolkit shows the calls of all its connections to one function, for
/// good. Main thread only.
class HandedOverPlace {
 public:
  /// Records activations from now on; later calls do nothing.
  static void listen();

  /// The place of the latest activation; empty if there was none since the last call. The host chooses it, so
  /// it may be outside every screen.
  [[nodiscard]] static std::optional<QPoint> take();

  /// Calls `then` from the event loop after every call has been delivered that the bus had for us before this
  /// one, unless `context` has gone by then. While places are read, a call takes several turns between the
  /// toolkit's threads. Without a session bus: in the next turn of the event loop.
  static void onceDelivered(QObject* context, std::function<void()> then);
};

/// Decides which of a host's activations are presses of the user. It drops
/// - the second one of a double click (hosts send two activations for it), also if it waited during the
///   action of the first one;
/// - the one whose click has already closed the panel by taking the focus from it: the click that would have
///   toggled it must not open it again.
/// The clock is injected. Main thread only.
class TriggerFilter {
 public:
  /// How long after a hide by deactivation an activation belongs to the same click.
  static constexpr std::chrono::milliseconds kDeactivationWindow{300};

  explicit TriggerFilter(std::chrono::milliseconds doubleClickInterval, Now now = Clock::now);

  /// Called for each activation; true if the program must act on it.
  [[nodiscard]] bool accept();
  /// The action of an accepted activation is complete, and every call that came in the meantime was
  /// delivered. Call it once for each accepted activation.
  void noteHandled();
  /// The panel was hidden a moment ago because it lost the focus.
  void noteHiddenByDeactivation();

 private:
  std::chrono::milliseconds fDoubleClickInterval;
  Now fNow;
  bool fHandling = false;                    // from an accepted activation to noteHandled
  std::optional<Clock::time_point> fClick;   // first activation of the current click or double click
  std::optional<Clock::time_point> fHidden;  // last hide by deactivation without an activation yet
};

}  // namespace vorn::ui

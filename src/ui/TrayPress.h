#pragma once

#include <QPoint>
#include <chrono>
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

/// Decides which of a host's activations are presses of the user. Dropped are
///  - the second one of a double click (hosts send two activations for it), also
///    where it had to wait while the first one was acted upon;
///  - the one whose click has already closed the panel by taking the focus from
///    it: the click that would have toggled it must not open it again.
/// The clock is injected. Main thread only.
class TriggerFilter {
 public:
  using Clock = std::chrono::steady_clock;
  using Now = std::function<Clock::time_point()>;

  /// How long after a hide by deactivation an activation belongs to the same click.
  static constexpr std::chrono::milliseconds kDeactivationWindow{300};

  explicit TriggerFilter(std::chrono::milliseconds doubleClickInterval, Now now = &Clock::now);

  /// Called for each activation; true when it is to be acted upon.
  [[nodiscard]] bool accept();
  /// What was accepted has been acted upon, and what came meanwhile been asked
  /// about. To be called for each that was accepted.
  void noteHandled();
  /// The panel has just been hidden because it lost the focus.
  void noteHiddenByDeactivation();

 private:
  std::chrono::milliseconds fDoubleClickInterval;
  Now fNow;
  bool fHandling = false;                    // from an accepted activation to noteHandled
  std::optional<Clock::time_point> fClick;   // first activation of the current click or double click
  std::optional<Clock::time_point> fHidden;  // last hide by deactivation that no activation has used up
};

}  // namespace vorn::ui

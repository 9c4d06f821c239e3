#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

class QDBusServiceWatcher;

namespace vorn::ui {

/// The kind of host that shows our status item.
enum class TrayForm {
  Button,  ///< a StatusNotifierItem host: it draws a button from the icon that we name
  View,    ///< the older tray of X11: it hosts what StatusView draws
};

/// Reports when there is a host for a status item, and its form. The toolkit chooses the form once, at the
/// first icon, and never again. So no icon may exist before this has reported.
///
/// A StatusNotifierItem host is preferred: a registered host at org.kde.StatusNotifierWatcher, at any time.
/// On X11, the older tray is used too, after a grace period (at once without a session bus). All D-Bus calls
/// are asynchronous and never start the watcher's service. Main thread only.
class TrayHostWatcher : public QObject {
  Q_OBJECT

 public:
  struct Timing {
    std::chrono::milliseconds grace{5000};  ///< how long the newer host has precedence
    std::chrono::milliseconds retry{2000};  ///< between two checks for the older tray
  };
  /// True if the older tray has an owner; empty function: there is no X11.
  using OlderTrayProbe = std::function<bool()>;

  TrayHostWatcher(QDBusConnection sessionBus, OlderTrayProbe olderTray, Timing timing,
                  QObject* parent = nullptr);
  /// On the session bus and the X11 display of this program, if it has one.
  explicit TrayHostWatcher(QObject* parent = nullptr);
  ~TrayHostWatcher() override = default;
  Q_DISABLE_COPY_MOVE(TrayHostWatcher)

  /// Starts to look; a second call does nothing. Never emits inside the call.
  void start();

 signals:
  /// Emitted once; nothing is watched afterwards.
  void hostFound(vorn::ui::TrayForm form);

 private slots:
  void askWatcher();

 private:
  void watchBus();
  void askWhetherHostIsRegistered();
  void lookForOlderTray();
  void found(TrayForm form);

  QDBusConnection fBus;
  OlderTrayProbe fOlderTray;
  Timing fTiming;
  QTimer fTimer;
  QDBusServiceWatcher* fServiceWatcher = nullptr;  // child; exists while the bus is watched
  bool fStarted = false;
  bool fFound = false;
};

}  // namespace vorn::ui

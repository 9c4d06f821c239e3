#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>

class QDBusServiceWatcher;

namespace vorn::ui {

/// What kind of host shows our status item.
enum class TrayForm {
  Button,  ///< a StatusNotifierItem host: it draws a button from the icon we name
  View,    ///< the older tray of X11: it hosts what StatusView draws
};

/// Tells when there is a host for a status item, and of which form. The toolkit
/// decides between the forms once, at the first icon, and never again, so no
/// icon may exist before this has spoken.
///
/// A StatusNotifierItem host is preferred: a registered host at
/// org.kde.StatusNotifierWatcher, whenever it comes. The older tray is looked
/// for where there is X11, from the end of a grace period on (at once where
/// there is no session bus). All D-Bus calls are asynchronous and never start
/// the watcher's service. Main thread only.
class TrayHostWatcher : public QObject {
  Q_OBJECT

 public:
  struct Timing {
    std::chrono::milliseconds grace{5000};  ///< how long the newer host has precedence
    std::chrono::milliseconds retry{2000};  ///< between two looks for the older tray
  };
  /// True when the older tray has an owner; empty function: there is no X11.
  using OlderTrayProbe = std::function<bool()>;

  TrayHostWatcher(QDBusConnection sessionBus, OlderTrayProbe olderTray, Timing timing,
                  QObject* parent = nullptr);
  /// On the session bus and the X11 display of this program, if it has one.
  explicit TrayHostWatcher(QObject* parent = nullptr);
  ~TrayHostWatcher() override = default;
  Q_DISABLE_COPY_MOVE(TrayHostWatcher)

  /// Begins to look; a second call does nothing. Never emits from inside.
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

#pragma once

#include <QDialog>
#include <QPoint>
#include <optional>

namespace vorn::ui {

/// The panel's window: frameless, in front of all others, and as large as what it shows. The user cannot
/// change its size, so that tiling desktops let it float. It takes keys and the focus, does not appear in
/// task bars, and the user cannot move it. It is a dialog, because assistive tools read a bare window as
/// filler. Main thread only.
class ClickablePanel : public QDialog {
  Q_OBJECT

 public:
  explicit ClickablePanel(QWidget* parent = nullptr);
  ~ClickablePanel() override = default;
  Q_DISABLE_COPY_MOVE(ClickablePanel)

  /// The size for everything that the panel shows, as far as `room` allows.
  [[nodiscard]] QSize sizeIn(const QSize& room) const;

  /// Moves to this place and takes this size, also while the panel is open.
  void takePlace(const QRect& place);

  /// Shows the panel at `origin` with the focus. If an X11 window manager puts it elsewhere, now or later,
  /// the panel asks for its place once more.
  void makeKeyAndOrderFront(QPoint origin);

  /// Escape, wherever the focus is in the panel.
  void reject() override;

  /// Call it when a menu of the panel has closed, because the focus may have gone elsewhere in the meantime.
  void menuDidClose();

 signals:
  /// The focus has gone to another window while the panel is open. The panel's own menus do not count.
  void resignedKey();
  void cancelOperation();
  /// What the panel shows needs another size, or may need it.
  void contentChanged();
  /// The panel is about to close, for any reason; emitted once.
  void willClose();

 protected:
  bool event(QEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void moveEvent(QMoveEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  void focusMayBeLost();

  bool fClosing = false;
  std::optional<QPoint> fWished;  // the place, until a window manager has chosen another one
};

}  // namespace vorn::ui

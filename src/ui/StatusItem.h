#pragma once

#include <QObject>
#include <QRect>
#include <QString>
#include <functional>
#include <optional>

class QMenu;
class QPainter;
class QWindow;

namespace vorn::ui {

class StatusView;

/// Where a press is, in global coordinates, as far as known.
struct PressPlace {
  std::optional<QPoint> handedOver;  ///< from the host, in the display's own pixels; may be nonsense
  std::optional<QPoint> pointer;     ///< of the mouse, which need not be the source of the press

  friend bool operator==(const PressPlace&, const PressPlace&) = default;
};

/// The program's place in the desktop's status bar, in one of two forms: the host draws a button from an icon
/// that we name, or the item shows what our own StatusView draws. Main thread only.
class StatusItem : public QObject {
  Q_OBJECT

 public:
  /// What a press does; called on the main thread.
  using Action = std::function<void()>;

  using QObject::QObject;

  /// True in the form whose host draws a button. May change once, when the host becomes known (formChanged).
  [[nodiscard]] virtual bool hasButton() const = 0;

  /// Width of the item in points.
  [[nodiscard]] virtual int length() const = 0;
  /// Height of the status bar in points.
  [[nodiscard]] virtual int thickness() const = 0;

  /// Button form only: the name of the image, and what a press sends. A press does nothing while the target
  /// or the action is missing, or after the target was destroyed.
  virtual void setButtonImage(const QString& imageName) = 0;
  virtual void setButtonTarget(QObject* target) = 0;
  virtual void setButtonAction(Action action) = 0;
  virtual void setButtonAppearsDisabled(bool disabled) = 0;
  /// The host's window for the button if the platform gives one, otherwise null.
  [[nodiscard]] virtual QWindow* buttonWindow() const = 0;

  /// View form only: shows what `view` draws and passes the presses to it. Not owned; it reports changes
  /// through StatusView::needsDisplay.
  virtual void setView(StatusView* view) = 0;
  /// View form only: the bar's own background, called from the view's drawing.
  virtual void drawStatusBarBackgroundInRect(QPainter& painter, const QRectF& rect, bool highlight) = 0;

  /// Where the item is on the desktop, in global coordinates; a null rectangle if the host does not say.
  [[nodiscard]] virtual QRect geometry() const = 0;
  /// The place of the press whose action runs now. At any other time, and if the platform does not say,
  /// nothing is known.
  [[nodiscard]] virtual PressPlace press() const = 0;

  /// The menu that the host offers beside the press; not owned.
  virtual void setContextMenu(QMenu* menu) = 0;

 signals:
  /// hasButton() has changed its answer.
  void formChanged();
};

}  // namespace vorn::ui

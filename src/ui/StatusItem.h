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

/// Where a press is, in global coordinates, as far as anybody says.
struct PressPlace {
  std::optional<QPoint> handedOver;  ///< by the host, in the display's own pixels; may be nonsense
  std::optional<QPoint> pointer;     ///< of the mouse, which need not be what pressed

  friend bool operator==(const PressPlace&, const PressPlace&) = default;
};

/// The program's place in the desktop's status bar, in one of two forms: one
/// whose host draws a button from an icon that we name, and one that shows what
/// our own StatusView draws. Main thread only.
class StatusItem : public QObject {
  Q_OBJECT

 public:
  /// What a press does; called on the main thread.
  using Action = std::function<void()>;

  using QObject::QObject;

  /// True in the form whose host draws a button. May change once, when the host
  /// becomes known (formChanged).
  [[nodiscard]] virtual bool hasButton() const = 0;

  /// Width of the item in points.
  [[nodiscard]] virtual int length() const = 0;
  /// Height of the status bar in points.
  [[nodiscard]] virtual int thickness() const = 0;

  /// Button form only: the name of the image, and what a press sends. A press
  /// does nothing while either the target or the action is missing or the
  /// target has been destroyed.
  virtual void setButtonImage(const QString& imageName) = 0;
  virtual void setButtonTarget(QObject* target) = 0;
  virtual void setButtonAction(Action action) = 0;
  virtual void setButtonAppearsDisabled(bool disabled) = 0;
  /// The host's window for the button where there is one to be had, else null.
  [[nodiscard]] virtual QWindow* buttonWindow() const = 0;

  /// View form only: shows what `view` draws (not owned; it tells of changes
  /// through StatusView::needsDisplay) and hands it the presses.
  virtual void setView(StatusView* view) = 0;
  /// View form only: the bar's own background, called from the view's drawing.
  virtual void drawStatusBarBackgroundInRect(QPainter& painter, const QRectF& rect, bool highlight) = 0;

  /// Where the item is on the desktop, in global coordinates; a null rectangle
  /// where the host does not say.
  [[nodiscard]] virtual QRect geometry() const = 0;
  /// Where the press is whose action is being called; nothing is known at any
  /// other time and where the platform does not say.
  [[nodiscard]] virtual PressPlace press() const = 0;

  /// The menu that the host offers beside the press; not owned.
  virtual void setContextMenu(QMenu* menu) = 0;

 signals:
  /// hasButton() has changed its answer.
  void formChanged();
};

}  // namespace vorn::ui

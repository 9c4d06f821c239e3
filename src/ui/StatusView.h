#pragma once

#include <QPointer>
#include <QWidget>

#include "ui/StatusItem.h"
#include "ui/TemplateImage.h"

namespace vorn::ui {

/// Represents the program in the status bar. Shows the image "MenuIcon", the bar's highlighted background
/// while the panel is open, and half the opacity while no device is listed. A press sends the action.
///
/// In the item's button form the host draws. So image, target, action and the disabled look go to the button,
/// and the view is never installed. In the view form the item shows what drawRect draws. Every method asks
/// the item for its form. Main thread only. Refers to the item weakly.
///
/// A status bar could host this view, so it paints itself and takes presses. None of our bars does: the older
/// tray takes its pixels from drawRect.
class StatusView : public QWidget {
  Q_OBJECT

 public:
  /// As wide as the item and as high as its bar; not highlighted, not active.
  explicit StatusView(StatusItem* item);
  ~StatusView() override = default;
  Q_DISABLE_COPY_MOVE(StatusView)

  /// Held weakly: a press does nothing after the target was destroyed.
  void setTarget(QObject* target);
  /// Called for each press while a target is set.
  void setAction(StatusItem::Action action);

  /// True: the panel is open.
  void setHighlight(bool highlight);
  /// True: at least one device is listed.
  void setActive(bool active);
  void setItem(StatusItem* item);
  void setImage(const TemplateImage& image);

  [[nodiscard]] StatusItem* item() const { return fItem; }
  [[nodiscard]] const TemplateImage& image() const { return fImage; }
  [[nodiscard]] bool highlight() const { return fHighlight; }
  [[nodiscard]] bool active() const { return fActive; }
  [[nodiscard]] QObject* target() const { return fTarget; }
  [[nodiscard]] const StatusItem::Action& action() const { return fAction; }

  /// The window of the item: the button's in the button form, otherwise the view's own; null if there is
  /// none.
  [[nodiscard]] QWindow* statusWindow() const;

  /// A press of the left button: sends the action if both action and target are set. Every press counts; the
  /// item filters what a host sends twice.
  void mouseDown();

  /// View form: the bar's background, then the image centred without rounding.
  void drawRect(QPainter& painter, const QRectF& dirtyRect);

 signals:
  /// The result of drawRect has changed. Not sent if the value stays the same, because lists come often and a
  /// tray gets a new icon each time.
  void needsDisplay();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  void install();

  QPointer<StatusItem> fItem;
  QPointer<QObject> fTarget;
  StatusItem::Action fAction;
  TemplateImage fImage;
  bool fHighlight = false;
  bool fActive = false;
};

}  // namespace vorn::ui

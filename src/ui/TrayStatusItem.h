#pragma once

#include <QPointer>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

#include "ui/StatusItem.h"
#include "ui/TrayHostWatcher.h"
#include "ui/TrayPress.h"

namespace vorn::ui {

/// The status item in the desktop's tray. It exists from the start, shows nothing until attach() reports a
/// host, and keeps all settings from before. It drops the second activation that a host sends for one double
/// click. It also drops the activation of a click that has already closed the panel. Main thread only.
class TrayStatusItem : public StatusItem {
  Q_OBJECT

 public:
  struct Look {
    QString activeIconName;    ///< symbolic icon in the theme while devices are listed
    QString inactiveIconName;  ///< the same icon, dim
  };

  /// What is known about the place of a press.
  using Place = std::function<PressPlace()>;

  /// Calls back after all activations that hosts have sent until now have been delivered.
  using Delivered = std::function<void(QObject* context, std::function<void()> then)>;

  /// `length`: the item's width in points. `now` and `place` are asked at each press.
  TrayStatusItem(Look look, int length, Now now = Clock::now, Place place = &placeOfPlatform,
                 Delivered delivered = &HandedOverPlace::onceDelivered);
  ~TrayStatusItem() override;
  Q_DISABLE_COPY_MOVE(TrayStatusItem)

  /// There is a host of this form: the icon is created. Later calls do nothing.
  void attach(TrayForm form);

  /// Call when the panel was hidden because it lost the focus.
  void noteHiddenByDeactivation();

  [[nodiscard]] bool hasButton() const override;
  [[nodiscard]] int length() const override;
  [[nodiscard]] int thickness() const override;
  void setButtonImage(const QString& imageName) override;
  void setButtonTarget(QObject* target) override;
  void setButtonAction(Action action) override;
  void setButtonAppearsDisabled(bool disabled) override;
  [[nodiscard]] QWindow* buttonWindow() const override;
  void setView(StatusView* view) override;
  void drawStatusBarBackgroundInRect(QPainter& painter, const QRectF& rect, bool highlight) override;
  [[nodiscard]] QRect geometry() const override;
  [[nodiscard]] PressPlace press() const override;
  void setContextMenu(QMenu* menu) override;
  /// What the host shows when the pointer rests on the item.
  void setToolTip(const QString& text);

  /// The icon for the host: by theme name if the theme has it, with pixels that are readable on any bar.
  [[nodiscard]] QIcon icon() const;
  /// One activation by the host, as the tray icon reports it.
  void activated(QSystemTrayIcon::ActivationReason reason);

 private:
  [[nodiscard]] static PressPlace placeOfPlatform();
  [[nodiscard]] QIcon buttonIcon() const;
  [[nodiscard]] QIcon viewIcon() const;
  void updateIcon();
  void sendPress();

  const Look fLook;
  const int fLength;
  TriggerFilter fFilter;
  const Place fPlace;
  const Delivered fDelivered;
  TrayForm fForm = TrayForm::Button;
  QString fImageName;
  QString fToolTip;
  QPointer<QObject> fTarget;
  Action fAction;
  bool fDisabled = false;
  QPointer<StatusView> fView;
  QPointer<QMenu> fContextMenu;
  PressPlace fPress;                       // of the press that is being handled
  std::unique_ptr<QSystemTrayIcon> fTray;  // null until there is a host
};

}  // namespace vorn::ui

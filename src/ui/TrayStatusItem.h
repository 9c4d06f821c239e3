#pragma once

#include <QPointer>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

#include "ui/StatusItem.h"
#include "ui/TrayHostWatcher.h"
#include "ui/TrayPress.h"

namespace vorn::ui {

/// The status item in the desktop's tray. Exists from the start, shows nothing
/// until attach() says that a host is there, and keeps what was set meanwhile.
/// What a host sends twice for one double click, and the activation that
/// belongs to a click which has already closed the panel, are dropped here.
/// Main thread only.
class TrayStatusItem : public StatusItem {
  Q_OBJECT

 public:
  struct Look {
    QString activeIconName;    ///< symbolic icon in the theme while devices are listed
    QString inactiveIconName;  ///< the same, dimmed
    QString toolTip;
  };

  /// What is known of where a press is.
  using Place = std::function<PressPlace()>;

  /// Calls back once all activations that hosts have sent by now have been delivered.
  using Delivered = std::function<void(QObject* context, std::function<void()> then)>;

  /// `length`: the item's width in points. `now` and `place` are asked at each press.
  TrayStatusItem(Look look, int length, TriggerFilter::Now now = &TriggerFilter::Clock::now,
                 Place place = &placeOfPlatform, Delivered delivered = &HandedOverPlace::onceDelivered);
  ~TrayStatusItem() override;
  Q_DISABLE_COPY_MOVE(TrayStatusItem)

  /// A host of this form is there: the icon is created. Later calls do nothing.
  void attach(TrayForm form);

  /// To be told when the panel was hidden because it lost the focus.
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

  /// The icon as the host gets it: by theme name where the theme has it, with
  /// pixels beside it that can be read on any bar.
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
  QPointer<QObject> fTarget;
  Action fAction;
  bool fDisabled = false;
  QPointer<StatusView> fView;
  QPointer<QMenu> fContextMenu;
  PressPlace fPress;                       // of the press that is being handled
  std::unique_ptr<QSystemTrayIcon> fTray;  // null until a host is there
};

}  // namespace vorn::ui

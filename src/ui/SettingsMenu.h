#pragma once

#include <QMenu>
#include <cstdint>

#include "ui/DisplayText.h"

namespace vorn::ui {

class PanelOwner;

/// The settings as a menu: four check marks, below them two entries about the program, and on request quit.
/// The check marks show the owner's answers, read again each time the menu opens and after each change
/// through it. If the owner cannot launch at login, that entry is disabled and says why. An entry that
/// somebody else inserts may have a submenu. Main thread only.
class SettingsMenu : public QMenu {
  Q_OBJECT

 public:
  enum class Quit : std::uint8_t { Offered, NotOffered };

  SettingsMenu(PanelOwner& owner, Quit quit, QWidget* parent = nullptr);
  ~SettingsMenu() override = default;
  Q_DISABLE_COPY_MOVE(SettingsMenu)

  /// The entry that ends the program, by its name.
  [[nodiscard]] static QString quitTitle();

  /// Drawn, unless this is called. Inserted submenus are shown in this form.
  void setForm(MenuForm form);

  /// Sets the check marks.
  void menuNeedsUpdate();

  void toggleLaunch();
  void toggleShowSwitches();
  void toggleNotify();
  void toggleCheckForUpdates();
  void showAbout();
  void quit();

  [[nodiscard]] QAction* launchOnStart() const { return fLaunchOnStart; }
  [[nodiscard]] QAction* showSwitches() const { return fShowSwitches; }
  [[nodiscard]] QAction* shouldNotify() const { return fShouldNotify; }
  [[nodiscard]] QAction* checkForUpdates() const { return fCheckForUpdates; }

 protected:
  void actionEvent(QActionEvent* event) override;

 private:
  QAction* addCheckMark(const QString& title, void (SettingsMenu::*toggle)());

  PanelOwner& fOwner;
  MenuForm fForm = MenuForm::Drawn;
  QAction* fLaunchOnStart;
  QAction* fShowSwitches;
  QAction* fShouldNotify;
  QAction* fCheckForUpdates;
};

}  // namespace vorn::ui

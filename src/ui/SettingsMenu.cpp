#include "ui/SettingsMenu.h"

#include <QActionEvent>
#include <QGuiApplication>

#include "ui/InformationWindow.h"
#include "ui/PanelOwner.h"

namespace vorn::ui {

SettingsMenu::SettingsMenu(PanelOwner& owner, Quit quit, QWidget* parent)
    : QMenu(parent),
      fOwner(owner),
      fLaunchOnStart(addCheckMark(tr("Launch at Login"), &SettingsMenu::toggleLaunch)),
      fShowSwitches(addCheckMark(tr("Show Switches"), &SettingsMenu::toggleShowSwitches)),
      fShouldNotify(addCheckMark(tr("Notify About Updates"), &SettingsMenu::toggleNotify)),
      fCheckForUpdates(addCheckMark(tr("Check for New Firmware"), &SettingsMenu::toggleCheckForUpdates)) {
  if (!owner.canLaunchOnLogin()) {
    fLaunchOnStart->setText(tr("Launch at Login (not installed)"));
    fLaunchOnStart->setEnabled(false);
  }
  setTitle(tr("Settings"));
  setAccessibleName(title());
  addSeparator();
  connect(addAction(InformationWindow::keyboardShortcutsTitle()), &QAction::triggered, this,
          &InformationWindow::showKeyboardShortcuts);
  connect(addAction(InformationWindow::aboutTitle()), &QAction::triggered, this, &SettingsMenu::showAbout);
  if (quit == Quit::Offered) {
    addSeparator();
    connect(addAction(quitTitle()), &QAction::triggered, this, &SettingsMenu::quit);
  }
  connect(this, &QMenu::aboutToShow, this, &SettingsMenu::menuNeedsUpdate);
  menuNeedsUpdate();
}

QString SettingsMenu::quitTitle() {
  return tr("Quit %1").arg(QGuiApplication::applicationDisplayName());
}

QAction* SettingsMenu::addCheckMark(const QString& title, void (SettingsMenu::*toggle)()) {
  QAction* action = addAction(title);
  action->setCheckable(true);
  connect(action, &QAction::triggered, this, toggle);
  return action;
}

void SettingsMenu::setForm(MenuForm form) {
  fForm = form;
  showIn(form, *this);
}

void SettingsMenu::menuNeedsUpdate() {
  fLaunchOnStart->setChecked(fOwner.launchOnLogin());
  fShowSwitches->setChecked(fOwner.showSwitches());
  fShouldNotify->setChecked(fOwner.notify());
  fCheckForUpdates->setChecked(fOwner.checkForUpdates());
}

void SettingsMenu::toggleLaunch() {
  fOwner.setLaunchOnLogin(!fOwner.launchOnLogin());
  menuNeedsUpdate();
}

void SettingsMenu::toggleShowSwitches() {
  fOwner.setShowSwitches(!fOwner.showSwitches());
  menuNeedsUpdate();
}

void SettingsMenu::toggleNotify() {
  fOwner.setNotify(!fOwner.notify());
  menuNeedsUpdate();
}

void SettingsMenu::toggleCheckForUpdates() {
  fOwner.setCheckForUpdates(!fOwner.checkForUpdates());
  menuNeedsUpdate();
}

void SettingsMenu::showAbout() {
  InformationWindow::showAbout(QString::fromStdString(fOwner.updateServer()));
}

void SettingsMenu::quit() {
  fOwner.quit();
}

// Submenus come with entries that others insert, and may be replaced later.
void SettingsMenu::actionEvent(QActionEvent* event) {
  QMenu::actionEvent(event);
  if (event->type() == QEvent::ActionRemoved) return;
  if (const QMenu* submenu = event->action()->menu()) showIn(fForm, *submenu);
}

}  // namespace vorn::ui

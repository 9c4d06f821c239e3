// Draws the panel, its menu and the status item in every look into PNG files, to look at them: Screenshots
// FOLDER [dark]. QT_SCALE_FACTOR=2 doubles. The language is that of the environment.

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QPalette>
#include <QStyleFactory>
#include <QTest>
#include <cstdio>

#include "tests/ui/ScriptedOwner.h"
#include "ui/ReturnIsDoubleClickTableView.h"
#include "ui/SettingsMenu.h"
#include "ui/StatusMenu.h"
#include "ui/TemplateImage.h"
#include "ui/Translations.h"

namespace {

using namespace vorn::ui;

QPalette DarkPalette() {
  QPalette palette(QColor(53, 53, 53), QColor(45, 45, 45));
  palette.setColor(QPalette::Base, QColor(35, 35, 35));
  return palette;
}

List Studio() {
  List list{Device("Control Room A", {1, 4, 2, 0}, {1, 4, 2, 0}),
            Device("Drum Booth", {1, 3, 0, 0}, {1, 4, 2, 0}),
            Device("Front of House Rack with a Name That Does Not Fit", {1, 3, 0, 0}, {1, 4, 2, 0}),
            Device("Machine Room Switch", "plexaswitch"),
            Device("Mix Host", "plexahost"),
            Device("\xD7\x90\xD7\x95\xD7\x9C\xD7\xA4\xD7\x9F 2", {1, 3, 0, 0}, {1, 4, 2, 0}),
            Device("Vocal <b>Booth</b> & \xE2\x80\xAE"
                   "Co.",
                   {1, 4, 2, 0}, {1, 4, 2, 0}),
            Device("Something New", "toaster")};
  return list;
}

// Whether the window is there and has handled everything that was posted to it.
bool isShown(QWidget* window) {
  if (!QTest::qWaitForWindowExposed(window)) return false;
  QCoreApplication::processEvents();
  return true;
}

class Photographer {
 public:
  explicit Photographer(QDir folder, QString look) : fFolder(std::move(folder)), fLook(std::move(look)) {}

  bool panel(const QString& name, const List& list, DeviceList::DiscoveryHint hint, bool pressed = false) {
    ScriptedOwner owner;
    owner.fList = list;
    owner.setPanelVisible(true);
    owner.fController->setHint({hint});
    if (!isShown(owner.fController->panel())) return false;
    ReturnIsDoubleClickTableView* table = owner.table();
    if (pressed) {
      const QPoint place = table->visualRect(table->model()->index(1, 0)).center();
      QTest::mouseMove(table->viewport(), place);
      QTest::mousePress(table->viewport(), Qt::LeftButton, {}, place);
    }
    QCoreApplication::processEvents();
    return save(name, owner.fController->panel()->grab());
  }

  bool menus() {
    ScriptedOwner owner;
    owner.fSwitches = true;
    SettingsMenu settings(owner, SettingsMenu::Quit::Offered);
    QAction entity("Launch Mac Virtual Entity");
    QMenu interfaces;
    interfaces.addAction("Ethernet:en0")->setCheckable(true);
    entity.setMenu(&interfaces);
    settings.insertAction(settings.actions().at(3), &entity);
    settings.popup({50, 50});
    if (!isShown(&settings)) return false;
    StatusMenu status(owner);
    status.updateDeviceList(Shared(Studio()));
    status.contextMenu()->popup({80, 80});
    if (!isShown(status.contextMenu())) return false;
    return save("menu-settings", settings.grab()) && save("menu-status", status.contextMenu()->grab());
  }

  // Every drawing of ours, on dark and light bars, sharp and dimmed.
  bool drawings() {
    QPixmap sheet(480, 200);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    painter.fillRect(0, 0, 480, 40, QColor(30, 30, 30));
    painter.fillRect(0, 40, 480, 40, QColor(235, 235, 235));
    for (const int top : {0, 40}) {
      int x = 10;
      for (const int size : {16, 19, 22, 24, 32}) {
        const TemplateImage icon("MenuIcon", {size, size});
        icon.draw(painter, QRectF(x, top + 4, size, size), 1, Tint::forUnknownBar());
        icon.draw(painter, QRectF(x + 45, top + 4, size, size), 0.5, Tint::forUnknownBar());
        x += 90;
      }
    }
    int x = 10;
    for (const char* name : {"MenuIcon", "plexadevice", "plexahost", "plexaswitch", "badge", "settings"}) {
      TemplateImage(name, {64, 64}).draw(painter, QRectF(x, 100, 64, 64), 1, {QColor(40, 40, 40), {}});
      x += 76;
    }
    painter.end();
    return save("drawings", sheet);
  }

 private:
  bool save(const QString& name, const QPixmap& picture) const {
    return picture.save(fFolder.filePath(name + "-" + fLook + ".png"));
  }

  QDir fFolder;
  QString fLook;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setApplicationDisplayName(QStringLiteral("Vorn Device Finder"));
  QApplication::setQuitOnLastWindowClosed(false);
  useLanguageOfUser();
  const QStringList arguments = QApplication::arguments();
  if (arguments.size() < 2 || !QDir().mkpath(arguments.at(1))) {
    std::fputs("usage: ui_screenshots FOLDER [dark]\n", stderr);
    return 2;
  }
  const bool dark = arguments.value(2) == "dark";
  if (dark) QApplication::setPalette(DarkPalette());
  const bool twice = application.devicePixelRatio() > 1;
  Photographer photographer(arguments.at(1), QString(dark ? "dark" : "light") + (twice ? "-200" : "-100"));
  const bool saved =
      photographer.panel("panel-full", Studio(), DeviceList::DiscoveryHint::kNone) &&
      photographer.panel("panel-pressed", Studio(), DeviceList::DiscoveryHint::kNone, true) &&
      photographer.panel("panel-empty", {}, DeviceList::DiscoveryHint::kStillLooking) &&
      photographer.panel("panel-no-service", {}, DeviceList::DiscoveryHint::kResponderAbsent) &&
      photographer.panel("panel-long", Devices(1000), DeviceList::DiscoveryHint::kNone) &&
      photographer.menus() && photographer.drawings();
  return saved ? 0 : 1;
}

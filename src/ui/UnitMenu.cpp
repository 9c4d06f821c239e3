#include "ui/UnitMenu.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QStringList>
#include <string>

#include "devicelist/http/Url.h"
#include "ui/DeviceWords.h"
#include "ui/DisplayText.h"

namespace vorn::ui {
namespace {

// Empty if it is no address that is safe to hand on.
QString addressOf(const DeviceList::ExtendedDeviceInfo& unit) {
  return DeviceList::IsWebAddress(unit.url) ? QString::fromStdString(unit.url) : QString();
}

}  // namespace

UnitMenu::UnitMenu(const DeviceList::ExtendedDeviceInfo& unit, QWidget* parent) : QMenu(parent) {
  const QString name = nameWords(unit);
  setTitle(name);
  setAccessibleName(name);
  QAction* heading = addAction(QString());
  setLiteralText(*heading, shortText(name), MenuForm::Drawn);
  heading->setEnabled(false);
  addSeparator();
  connect(addAction(tr("Open Page")), &QAction::triggered, this, &UnitMenu::pageRequested);
  addSeparator();
  offerToCopy(tr("Copy Address"), addressOf(unit));
  offerToCopy(tr("Copy Name"), name);
  offerToCopy(tr("Copy Details for Support"), supportText(unit));
}

void UnitMenu::offerToCopy(const QString& title, const QString& text) {
  QAction* action = addAction(title);
  action->setEnabled(!text.isEmpty());
  connect(action, &QAction::triggered, this, [text] { QGuiApplication::clipboard()->setText(text); });
}

QString supportText(const DeviceList::ExtendedDeviceInfo& unit) {
  QStringList lines;
  const auto add = [&lines](const QString& title, const QString& value) {
    if (!value.isEmpty()) lines += QStringLiteral("%1: %2").arg(title, value);
  };
  add(UnitMenu::tr("Name"), nameWords(unit));
  add(UnitMenu::tr("Kind"), kindWords(unit.type));
  add(UnitMenu::tr("Model"), modelWords(unit));
  if (unit.firmwareVersion) add(UnitMenu::tr("Firmware"), versionWords(*unit.firmwareVersion));
  if (unit.latestVersion) add(UnitMenu::tr("Newest firmware"), versionWords(*unit.latestVersion));
  add(UnitMenu::tr("Address"), addressOf(unit));
  add(QGuiApplication::applicationDisplayName(), QCoreApplication::applicationVersion());
  return lines.join(u'\n');
}

}  // namespace vorn::ui

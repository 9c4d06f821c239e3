#pragma once

#include <QMenu>
#include <QString>

#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::ui {

/// The menu of one unit: opens its page, and copies its address, its name, or all that is known of it as text
/// for a mail. It belongs to the unit as it was when the menu was made, whatever happens to the list. What it
/// copies stays in the clipboard as long as the program runs. Main thread only.
class UnitMenu : public QMenu {
  Q_OBJECT

 public:
  explicit UnitMenu(const DeviceList::ExtendedDeviceInfo& unit, QWidget* parent = nullptr);
  ~UnitMenu() override = default;
  Q_DISABLE_COPY_MOVE(UnitMenu)

 signals:
  void pageRequested();

 private:
  void offerToCopy(const QString& title, const QString& text);
};

/// Name, kind, model, firmware and address of the unit, as far as known, and this program's version: one line
/// each.
[[nodiscard]] QString supportText(const DeviceList::ExtendedDeviceInfo& unit);

}  // namespace vorn::ui

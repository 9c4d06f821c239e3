#pragma once

#include <QObject>

#include "foundation/Clock.h"
#include "ui/DeviceListModel.h"
#include "ui/DeviceWords.h"
#include "ui/PanelOwner.h"
#include "ui/RecentMoves.h"
#include "ui/ReturnIsDoubleClickTableView.h"

class QLabel;
class QToolButton;
class QWidget;

namespace vorn::ui {

class ClickablePanel;
class DeviceRowDelegate;
class SettingsMenu;
class UnitMenu;

/// The panel's controller: fills the table from the lists that it gets, handles clicks, keys and the settings
/// menu, and asks the owner to open pages and to hide the panel. A child of the panel. It uses the owner
/// until the panel has closed, and never afterwards. Main thread only.
class DeviceListController : public QObject, public DeviceListListener, public ExtendedTableViewDelegate {
  Q_OBJECT

 public:
  /// The panel's parts, with the names of its interface file; not owned.
  struct Outlets {
    ClickablePanel* panel;
    ReturnIsDoubleClickTableView* table;
    QLabel* hint;
    QToolButton* settings;
  };

  DeviceListController(PanelOwner& owner, Outlets outlets, Now now = Clock::now);
  ~DeviceListController() override = default;
  Q_DISABLE_COPY_MOVE(DeviceListController)

  /// Registers as a listener, which delivers the current list at once.
  void awakeFromNib();

  /// The selection follows its device by url. After an empty list, a list selects its first row. If the
  /// selected device has gone, its row number stays selected as long as there is such a row.
  void updateDeviceList(DeviceList::SharedUnits list) override;
  QMenu* menu() override;

  void tableViewMouseDownOnRow(ReturnIsDoubleClickTableView* table, int row) override;
  /// Opens the device only if its row was already selected when the button went down, and had not just come
  /// under the pointer by itself (RecentMoves.h).
  void tableViewDidClickRow(ReturnIsDoubleClickTableView* table, int row) override;
  void tableViewDidCancelClick(ReturnIsDoubleClickTableView* table) override;
  /// Opens the device's menu, unless the row has just come there by itself.
  void tableViewMenuForRow(ReturnIsDoubleClickTableView* table, int row, MenuBy by, QPoint place) override;

  /// Opens the row's page and hides the panel; an invalid row does nothing.
  void openIndex(int row);
  /// The same for the selected row, unless it has just become the selected one by itself (RecentMoves.h).
  void openSelectedRow();

  /// Opens the settings menu below the middle of `sender`; null: at (0, 0).
  void launchMenuFor(QWidget* sender);

  /// Until the first click, the words about the first run are below it.
  void setHint(const PanelHint& hint);

  /// Call it when the open panel has moved on the screen, or may have.
  void panelMoved();

  [[nodiscard]] const DeviceListModel& model() const { return fModel; }
  [[nodiscard]] ReturnIsDoubleClickTableView* table() const { return fOutlets.table; }
  [[nodiscard]] SettingsMenu* settingsMenu() const { return fMenu; }

 signals:
  /// What the panel shows needs another height. With a list, it comes before the rows are at their places.
  void contentChanged();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void follow(const std::string& url, int formerRow);
  void open(const std::string& url);
  void windowWillClose();
  void showHint();
  void endFirstRunWords();

  PanelOwner* fOwner;  // null after the panel has closed
  Outlets fOutlets;
  DeviceListModel fModel;
  DeviceRowDelegate* fRows;       // child of the table
  SettingsMenu* fMenu;            // child of the panel
  UnitMenu* fUnitMenu = nullptr;  // of the last unit whose menu was opened; child of the panel
  PanelHint fHint;
  bool fFirstRunWords = false;
  RecentMoves fMoves;
  bool fClickOpens = false;  // on the row with the button down
};

}  // namespace vorn::ui

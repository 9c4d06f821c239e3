#pragma once

namespace vorn::ui {

class ReturnIsDoubleClickTableView;

/// Hears what a ReturnIsDoubleClickTableView tells beyond the toolkit's own
/// signals. The table may be hidden, not destroyed, from inside.
class ExtendedTableViewDelegate {
 public:
  virtual ~ExtendedTableViewDelegate() = default;

  /// The button went down on `row`, which becomes selected after this call.
  virtual void tableViewMouseDownOnRow(ReturnIsDoubleClickTableView* table, int row) = 0;
  /// The button went up again on the same device, which is at `row` now.
  virtual void tableViewDidClickRow(ReturnIsDoubleClickTableView* table, int row) = 0;
  /// The button went up elsewhere, or the device under it has changed or gone.
  virtual void tableViewDidCancelClick(ReturnIsDoubleClickTableView* table) = 0;
};

}  // namespace vorn::ui

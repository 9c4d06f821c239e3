#pragma once

#include <QListView>
#include <QPersistentModelIndex>
#include <cstdint>

namespace vorn::ui {

class ReturnIsDoubleClickTableView;

/// How the user asks for a row's menu.
enum class MenuBy : std::uint8_t { Pointer, Key };

/// Gets the events of a ReturnIsDoubleClickTableView beyond the toolkit's own signals. Inside a call, the
/// table may be hidden, but not destroyed.
class ExtendedTableViewDelegate {
 public:
  virtual ~ExtendedTableViewDelegate() = default;

  /// The button went down on `row`, which becomes selected after this call.
  virtual void tableViewMouseDownOnRow(ReturnIsDoubleClickTableView* table, int row) = 0;
  /// The button went up again on the same device, which is now at `row`.
  virtual void tableViewDidClickRow(ReturnIsDoubleClickTableView* table, int row) = 0;
  /// The button went up elsewhere, or the device under it has changed or gone.
  virtual void tableViewDidCancelClick(ReturnIsDoubleClickTableView* table) = 0;
  /// The user asks for the menu of `row`, by the pointer on it or by a key for the selected row. `place`, in
  /// global coordinates: where the menu belongs.
  virtual void tableViewMenuForRow(ReturnIsDoubleClickTableView* table, int row, MenuBy by, QPoint place) = 0;
};

/// The panel's one-column table. Return and Enter act like a double click, Escape cancels, hovering selects,
/// and the delegate gets presses, clicks and requests for menus (right click, Menu, Shift+F10). Its rows
/// change by themselves at any time. So a click counts for the device that was under the pointer at the
/// press, and a change neither scrolls the table nor repaints unchanged rows. Main thread only.
class ReturnIsDoubleClickTableView : public QListView {
  Q_OBJECT

 public:
  explicit ReturnIsDoubleClickTableView(QWidget* parent = nullptr);
  ~ReturnIsDoubleClickTableView() override = default;
  Q_DISABLE_COPY_MOVE(ReturnIsDoubleClickTableView)

  /// Not owned; null: nobody gets the events.
  void setExtendedDelegate(ExtendedTableViewDelegate* delegate) { fExtendedDelegate = delegate; }

  /// The selected row; -1: none.
  [[nodiscard]] int selectedRow() const;
  /// Selects one row without scrolling to it. A row that does not exist or cannot be selected is ignored.
  void selectRow(int row);
  void deselectAll();

  /// What is at the top of the viewport, to restore it after a change.
  class ScrollPosition {
   public:
    explicit ScrollPosition(ReturnIsDoubleClickTableView& table);
    /// A table that was at its very top stays there. Otherwise the device at the top of the viewport keeps
    /// its place, as long as it is listed.
    void restore();

   private:
    ReturnIsDoubleClickTableView& fTable;
    QPersistentModelIndex fTop;
    int fOffset = 0;
  };

  void keyboardSearch(const QString& search) override;

  /// As high as its rows, within these bounds.
  static constexpr int kLeastRows = 3;
  static constexpr int kMostRows = 12;
  [[nodiscard]] QSize sizeHint() const override;
  /// One row.
  [[nodiscard]] QSize minimumSizeHint() const override;

 signals:
  /// The double-click binding: Return or Enter was pressed.
  void doubleAction();
  /// Escape was pressed.
  void cancelOperation();

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                   const QList<int>& roles) override;

 private:
  void pointerAt(const QPoint& position);
  void askForMenuOfSelectedRow();

  ExtendedTableViewDelegate* fExtendedDelegate = nullptr;
  QPersistentModelIndex fPressed;  // the device under the button while it is down
  bool fButtonDown = false;
  QPersistentModelIndex fHovered;  // the device that the pointer reached last
};

}  // namespace vorn::ui

#pragma once

#include <QModelIndex>
#include <QPersistentModelIndex>
#include <chrono>
#include <vector>

#include "foundation/Clock.h"

namespace vorn::ui {

class ReturnIsDoubleClickTableView;

/// Which rows have come to their places a short time ago without the user. A click or key that follows at
/// once was aimed before the move, at another device. It must not act on the device that stands there now.
/// It does not act on the device that stood there either, because the user may have seen the move in time.
///
/// `model` is the table's. Main thread only.
class RecentMoves {
 public:
  /// As long as this, a user has not yet reacted to a move.
  static constexpr std::chrono::milliseconds kReaction{300};

  RecentMoves(const ReturnIsDoubleClickTableView& table, const QAbstractItemModel& model,
              Now now = Clock::now);
  RecentMoves(const RecentMoves&) = delete;
  RecentMoves& operator=(const RecentMoves&) = delete;

  /// Surround every change of the rows that is not the user's, with all that follows from it for the scroll
  /// position and the selection.
  void beginChange();
  void endChange();
  /// The whole table has moved on the screen.
  void tableMoved();

  /// A click on this row was aimed at another place.
  [[nodiscard]] bool cameUnderPointer(const QModelIndex& row) const;
  /// A key for this selected row was aimed at another one. A device that was selected and took the selection
  /// with it does not count.
  [[nodiscard]] bool cameUnderSelection(const QModelIndex& row) const;

 private:
  struct Place {
    QPersistentModelIndex row;
    int top;  ///< in the viewport
  };
  struct Move {
    QPersistentModelIndex row;
    bool wasSelected;  ///< before and after the move
    Clock::time_point time;
  };

  void rememberPlaces();
  [[nodiscard]] std::vector<Place> visiblePlaces() const;
  [[nodiscard]] bool stoodAt(const Place& place) const;
  void note(const QPersistentModelIndex& row);
  [[nodiscard]] bool isRecent(const Move& move) const;

  const ReturnIsDoubleClickTableView& fTable;
  const Now fNow;
  bool fInChange = false;
  bool fRowsChange = false;            // in this change, rows come, go or change places
  std::vector<Place> fBefore;          // the visible rows before that
  QPersistentModelIndex fSelectedRow;  // before the change
  std::vector<Move> fMoves;            // few: of visible rows, and of the selected one
};

}  // namespace vorn::ui

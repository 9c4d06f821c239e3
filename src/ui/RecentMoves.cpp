#include "ui/RecentMoves.h"

#include <algorithm>
#include <utility>

#include "ui/ReturnIsDoubleClickTableView.h"

namespace vorn::ui {

RecentMoves::RecentMoves(const ReturnIsDoubleClickTableView& table, const QAbstractItemModel& model, Now now)
    : fTable(table), fNow(std::move(now)) {
  const auto remember = [this] { rememberPlaces(); };
  QObject::connect(&model, &QAbstractItemModel::rowsAboutToBeInserted, &table, remember);
  QObject::connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, &table, remember);
  QObject::connect(&model, &QAbstractItemModel::layoutAboutToBeChanged, &table, remember);
}

void RecentMoves::beginChange() {
  fInChange = fTable.isVisible();
}

// Most lists only change what rows show. They cost nothing here.
void RecentMoves::rememberPlaces() {
  if (!fInChange || fRowsChange) return;
  fRowsChange = true;
  fBefore = visiblePlaces();
  fSelectedRow = fTable.model()->index(fTable.selectedRow(), 0);
}

void RecentMoves::endChange() {
  fInChange = false;
  if (!std::exchange(fRowsChange, false)) return;
  std::erase_if(fMoves, [this](const Move& move) { return !move.row.isValid() || !isRecent(move); });
  for (const Place& place : visiblePlaces()) {
    if (!stoodAt(place)) note(place.row);
  }
  const QModelIndex selected = fTable.model()->index(fTable.selectedRow(), 0);
  if (selected.isValid() && selected != fSelectedRow) note(selected);
  fBefore.clear();
  fSelectedRow = QPersistentModelIndex();
}

void RecentMoves::tableMoved() {
  if (!fTable.isVisible()) return;
  if (!fRowsChange) fSelectedRow = fTable.model()->index(fTable.selectedRow(), 0);
  for (const Place& place : visiblePlaces()) note(place.row);
}

std::vector<RecentMoves::Place> RecentMoves::visiblePlaces() const {
  std::vector<Place> places;
  const int bottom = fTable.viewport()->height();
  QModelIndex row = fTable.indexAt(QPoint(0, 0));
  for (; row.isValid(); row = row.siblingAtRow(row.row() + 1)) {
    const int top = fTable.visualRect(row).top();
    if (top >= bottom) break;
    places.push_back({row, top});
  }
  return places;
}

bool RecentMoves::stoodAt(const Place& place) const {
  return std::any_of(fBefore.begin(), fBefore.end(),
                     [&](const Place& before) { return before.row == place.row && before.top == place.top; });
}

void RecentMoves::note(const QPersistentModelIndex& row) {
  const bool wasSelected = fSelectedRow.isValid() && row == fSelectedRow;
  const auto known = std::find_if(fMoves.begin(), fMoves.end(), [&](const Move& move) {
    return move.row == row && move.wasSelected == wasSelected;
  });
  if (known != fMoves.end()) {
    known->time = fNow();
  } else {
    fMoves.push_back({row, wasSelected, fNow()});
  }
}

bool RecentMoves::cameUnderPointer(const QModelIndex& row) const {
  return std::any_of(fMoves.begin(), fMoves.end(),
                     [&](const Move& move) { return move.row == row && isRecent(move); });
}

bool RecentMoves::cameUnderSelection(const QModelIndex& row) const {
  return std::any_of(fMoves.begin(), fMoves.end(), [&](const Move& move) {
    return move.row == row && !move.wasSelected && isRecent(move);
  });
}

bool RecentMoves::isRecent(const Move& move) const {
  return fNow() - move.time < kReaction;
}

}  // namespace vorn::ui

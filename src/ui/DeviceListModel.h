#pragma once

#include <QAbstractListModel>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::ui {

/// The rows of the panel: one for each listed device, or one unselectable placeholder row while nothing is
/// listed. Main thread only.
///
/// A new list is announced as its changes, never as a reset:
/// 1. A row belongs to one `url` for its whole life. So a persistent index stays with its device or becomes
///    invalid, and never means another one. Of several entries with one url, the n-th stays the n-th.
/// 2. Removed rows and new rows are announced as spans. Remaining rows in a new order are announced as one
///    change of layout.
/// 3. dataChanged is announced only for rows whose shown content has changed, once for each span.
class DeviceListModel : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role : std::uint16_t {
    ImageNameRole = Qt::UserRole + 1,  ///< QString: name of the kind's image, empty for an unknown kind
    UpdateRole,                        ///< bool: the update badge is shown
    ModelRole,                         ///< QString: the beginning of the second line, may be empty
    DetailsRole,                       ///< QString: the rest of the second line, may be empty
  };

  using QAbstractListModel::QAbstractListModel;

  /// Shows this list from now on.
  void setList(DeviceList::SharedUnits list);

  /// True while the placeholder row is shown.
  [[nodiscard]] bool isEmpty() const { return fRows.empty(); }
  /// Number of devices; the placeholder does not count.
  [[nodiscard]] int deviceCount() const { return static_cast<int>(fRows.size()); }
  /// The device at `row`, until the next list; null if there is none.
  [[nodiscard]] const DeviceList::ExtendedDeviceInfo* deviceAt(int row) const;
  /// The first row with this url; -1 if there is none.
  [[nodiscard]] int rowOfUrl(const std::string& url) const;

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
  [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  /// The identity of a row: its url and how many rows before it have the same one.
  struct Key {
    std::string_view url;  ///< of the list that the row shows
    int occurrence = 0;
    bool operator==(const Key& other) const = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };
  struct Row {
    const DeviceList::ExtendedDeviceInfo* info;  ///< in the list that the row shows; never null
    Key key;
    // Empty until asked for, and kept, because every repaint asks for them.
    mutable QString name;
    struct SecondLine {
      QString model;
      QString details;
    };
    mutable std::optional<SecondLine> second;

    [[nodiscard]] const QString& shownName() const;
    [[nodiscard]] const SecondLine& secondLine() const;
  };

  static std::vector<Row> rowsOf(const std::vector<DeviceList::ExtendedDeviceInfo>& list);
  [[nodiscard]] bool sameKeys(const std::vector<Row>& rows) const;
  void changeRows(std::vector<Row>& rows);
  void removeGoneRows(const std::vector<Row>& rows);
  void orderRemainingRows(const std::vector<Row>& rows);
  void insertNewRows(std::vector<Row>& rows);
  void takeOverContent(std::vector<Row>& rows);
  [[nodiscard]] QVariant placeholderData(int role) const;

  DeviceList::SharedUnits fList;
  std::vector<Row> fRows;    // point into fList; during a change, some still into the list before
  bool fPlaceholder = true;  // the placeholder row exists; differs from fRows.empty() only during a change
};

}  // namespace vorn::ui

#include "ui/DeviceListModel.h"

#include <QHash>
#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "devicelist/Entry.h"
#include "ui/DeviceWords.h"
#include "ui/DisplayText.h"

namespace vorn::ui {
namespace {

using DeviceList::ExtendedDeviceInfo;

// Compares what a row shows or speaks.
bool sameContent(const ExtendedDeviceInfo& a, const ExtendedDeviceInfo& b) {
  return a.name == b.name && a.type == b.type && a.modelID == b.modelID &&
         a.firmwareVersion == b.firmwareVersion && a.latestVersion == b.latestVersion;
}

QString imageName(const std::string& type) {
  const DeviceList::UnitKind* kind = DeviceList::KindOf(type);
  return kind ? QString::fromUtf8(kind->image) : QString();
}

QString toolTip(const ExtendedDeviceInfo& info, const QString& name) {
  QString text = name;
  if (const QString line = detailLine({modelWords(info), hostWords(info)}); !line.isEmpty()) {
    text += u'\n' + line;
  }
  if (info.firmwareVersion) {
    text += u'\n' + DeviceListModel::tr("Firmware %1").arg(versionWords(*info.firmwareVersion));
  }
  if (const QString update = updateWords(info); !update.isEmpty()) {
    text += DeviceListModel::tr(", ", "between firmware and update in a tool tip") + update;
  }
  return toolTipText(text);
}

}  // namespace

std::size_t DeviceListModel::KeyHash::operator()(const Key& key) const {
  return std::hash<std::string_view>()(key.url) + static_cast<std::size_t>(key.occurrence);
}

const QString& DeviceListModel::Row::shownName() const {
  if (name.isEmpty()) name = nameWords(*info);
  return name;
}

const DeviceListModel::Row::SecondLine& DeviceListModel::Row::secondLine() const {
  if (!second) {
    second =
        SecondLine{isolatedText(modelWords(*info)), detailLine({firmwareWords(*info), hostWords(*info)})};
  }
  return *second;
}

void DeviceListModel::setList(DeviceList::SharedUnits list) {
  const auto before = std::exchange(fList, std::move(list));  // until every row shows the new one
  std::vector<Row> rows = rowsOf(*fList);
  if (!sameKeys(rows)) changeRows(rows);
  takeOverContent(rows);
}

std::vector<DeviceListModel::Row> DeviceListModel::rowsOf(const std::vector<ExtendedDeviceInfo>& list) {
  std::vector<Row> rows;
  rows.reserve(list.size());
  std::unordered_map<std::string_view, int> seen;
  seen.reserve(list.size());
  for (const ExtendedDeviceInfo& info : list) rows.push_back({&info, {info.url, seen[info.url]++}, {}, {}});
  return rows;
}

bool DeviceListModel::sameKeys(const std::vector<Row>& rows) const {
  return std::equal(fRows.begin(), fRows.end(), rows.begin(), rows.end(),
                    [](const Row& a, const Row& b) { return a.key == b.key; });
}

void DeviceListModel::changeRows(std::vector<Row>& rows) {
  if (fPlaceholder && !rows.empty()) {
    beginRemoveRows({}, 0, 0);
    fPlaceholder = false;
    endRemoveRows();
  }
  removeGoneRows(rows);
  orderRemainingRows(rows);
  insertNewRows(rows);
  if (!fPlaceholder && fRows.empty()) {
    beginInsertRows({}, 0, 0);
    fPlaceholder = true;
    endInsertRows();
  }
}

void DeviceListModel::removeGoneRows(const std::vector<Row>& rows) {
  std::unordered_set<Key, KeyHash> remaining;
  remaining.reserve(rows.size());
  for (const Row& row : rows) remaining.insert(row.key);
  const auto isGone = [&](int row) { return !remaining.contains(fRows[static_cast<std::size_t>(row)].key); };
  for (int last = deviceCount() - 1; last >= 0; --last) {
    if (!isGone(last)) continue;
    int first = last;
    while (first > 0 && isGone(first - 1)) --first;
    beginRemoveRows({}, first, last);
    fRows.erase(fRows.begin() + first, fRows.begin() + last + 1);
    endRemoveRows();
    last = first;
  }
}

void DeviceListModel::orderRemainingRows(const std::vector<Row>& rows) {
  std::unordered_map<Key, int, KeyHash> oldRow;
  oldRow.reserve(fRows.size());
  for (int row = 0; row < deviceCount(); ++row) oldRow.emplace(fRows[static_cast<std::size_t>(row)].key, row);
  std::vector<int> order;  // old rows in their new order
  order.reserve(fRows.size());
  for (const Row& row : rows) {
    if (const auto found = oldRow.find(row.key); found != oldRow.end()) order.push_back(found->second);
  }
  if (std::is_sorted(order.begin(), order.end())) return;

  emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
  std::vector<Row> ordered;
  ordered.reserve(fRows.size());
  std::vector<int> newRow(fRows.size());
  for (const int old : order) {
    newRow[static_cast<std::size_t>(old)] = static_cast<int>(ordered.size());
    ordered.push_back(std::move(fRows[static_cast<std::size_t>(old)]));
  }
  fRows = std::move(ordered);
  for (const QModelIndex& from : persistentIndexList()) {
    changePersistentIndex(from, index(newRow[static_cast<std::size_t>(from.row())]));
  }
  emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void DeviceListModel::insertNewRows(std::vector<Row>& rows) {
  // Here the remaining rows are in the order of `rows`. Where the keys differ, a span of new rows begins, and
  // it ends at the next remaining one.
  for (std::size_t at = 0; at < rows.size(); ++at) {
    if (at < fRows.size() && fRows[at].key == rows[at].key) continue;
    std::size_t end = rows.size();
    if (at < fRows.size()) {
      const auto next = std::find_if(rows.begin() + static_cast<std::ptrdiff_t>(at), rows.end(),
                                     [&](const Row& row) { return row.key == fRows[at].key; });
      end = static_cast<std::size_t>(std::distance(rows.begin(), next));
    }
    beginInsertRows({}, static_cast<int>(at), static_cast<int>(end) - 1);
    fRows.insert(fRows.begin() + static_cast<std::ptrdiff_t>(at),
                 rows.begin() + static_cast<std::ptrdiff_t>(at),
                 rows.begin() + static_cast<std::ptrdiff_t>(end));
    endInsertRows();
    at = end - 1;
  }
}

void DeviceListModel::takeOverContent(std::vector<Row>& rows) {
  int firstChanged = -1;
  const auto announce = [&](int end) {
    if (firstChanged >= 0) emit dataChanged(index(firstChanged), index(end - 1));
    firstChanged = -1;
  };
  for (std::size_t at = 0; at < rows.size(); ++at) {
    Row& row = fRows[at];
    const ExtendedDeviceInfo& before = *row.info;
    row.info = rows[at].info;
    row.key = rows[at].key;
    if (sameContent(before, *row.info)) {
      announce(static_cast<int>(at));
      continue;
    }
    if (!(before.name == row.info->name)) row.name.clear();
    row.second.reset();
    if (firstChanged < 0) firstChanged = static_cast<int>(at);
  }
  announce(static_cast<int>(rows.size()));
}

const ExtendedDeviceInfo* DeviceListModel::deviceAt(int row) const {
  return row >= 0 && row < deviceCount() ? fRows[static_cast<std::size_t>(row)].info : nullptr;
}

int DeviceListModel::rowOfUrl(const std::string& url) const {
  const auto found =
      std::find_if(fRows.begin(), fRows.end(), [&](const Row& row) { return row.info->url == url; });
  return found == fRows.end() ? -1 : static_cast<int>(std::distance(fRows.begin(), found));
}

int DeviceListModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid()) return 0;
  return fPlaceholder ? 1 : deviceCount();
}

QVariant DeviceListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  if (fPlaceholder) return placeholderData(role);
  const Row& row = fRows[static_cast<std::size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole:
      return row.shownName();
    case Qt::ToolTipRole:
      return toolTip(*row.info, row.shownName());
    case Qt::AccessibleTextRole:
      return rowSentence(*row.info, row.shownName());
    case ImageNameRole:
      return imageName(row.info->type);
    case UpdateRole:
      return DeviceList::UpdateAvailable(*row.info);
    case ModelRole:
      return row.secondLine().model;
    case DetailsRole:
      return row.secondLine().details;
    case Qt::AccessibleDescriptionRole:
      return detailLine({modelWords(*row.info), hostWords(*row.info)});
    default:
      return {};
  }
}

QVariant DeviceListModel::placeholderData(int role) const {
  switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
      return nothingListedWords();
    case ImageNameRole:
      return QString();
    case UpdateRole:
      return false;
    default:
      return {};
  }
}

Qt::ItemFlags DeviceListModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::NoItemFlags;
  const Qt::ItemFlags readable = Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
  return fPlaceholder ? readable : readable | Qt::ItemIsSelectable;
}

}  // namespace vorn::ui

#include "vorn-device-list/UnitTable.h"

#include <algorithm>
#include <array>

#include "devicelist/Entry.h"
#include "foundation/SafeText.h"
#include "foundation/Strings.h"
#include "foundation/UTF8Text.h"

namespace vorn::devicelisttool {
namespace {

constexpr std::size_t kColumns = 7;
constexpr std::size_t kNameColumn = 0;
constexpr std::size_t kURLColumn = 5;
constexpr std::size_t kShortestName = 12;
constexpr std::size_t kShortestURL = 12;
constexpr std::array<std::size_t, kColumns> kWidest{40, 8, 24, 24, 24, 80, 6};

using Row = std::array<std::u32string, kColumns>;
using Widths = std::array<std::size_t, kColumns>;

const Row kHeading{U"NAME", U"KIND", U"MODEL", U"FIRMWARE", U"NEWEST", U"URL", U"UPDATE"};

std::string KindWord(const std::string& type) {
  if (type == DeviceList::kTypeDevice) return "device";
  if (type == DeviceList::kTypeHost) return "host";
  if (type == DeviceList::kTypeSwitch) return "switch";
  return type;
}

template <typename T>
std::string TextOr(const optional<T>& value, const std::string& absent) {
  return value ? SlowConvertToString(*value) : absent;
}

Row RowOf(const DeviceList::ExtendedDeviceInfo& unit) {
  const std::array<std::string, kColumns> texts{TextOr(unit.name, "-"),
                                                KindWord(unit.type),
                                                TextOr(unit.modelID, "-"),
                                                TextOr(unit.firmwareVersion, "-"),
                                                TextOr(unit.latestVersion, "-"),
                                                unit.url,
                                                DeviceList::UpdateAvailable(unit) ? "update" : ""};
  Row row;
  for (std::size_t i = 0; i < kColumns; ++i) row[i] = Elided(SafeText(texts[i]), kWidest[i]);
  return row;
}

// Two blanks between columns.
std::size_t TotalWidth(const Widths& widths) {
  std::size_t total = 2 * (kColumns - 1);
  for (const std::size_t width : widths) total += width;
  return total;
}

// Takes from one column, down to its shortest, what the line is too wide by.
void Shrink(Widths& widths, std::size_t column, std::size_t shortest, std::size_t limit) {
  const std::size_t total = TotalWidth(widths);
  if (total <= limit || widths[column] <= shortest) return;
  widths[column] -= std::min(widths[column] - shortest, total - limit);
}

Widths FittingWidths(const std::vector<Row>& rows, std::size_t limit) {
  Widths widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], CellWidth(row[i]));
  }
  // The address gives way first, then the name; the rest of a line is cut.
  if (limit != 0) {
    Shrink(widths, kURLColumn, kShortestURL, limit);
    Shrink(widths, kNameColumn, kShortestName, limit);
  }
  return widths;
}

std::string LineOf(const Row& row, const Widths& widths, std::size_t limit) {
  std::u32string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    const std::u32string cell = Elided(row[i], widths[i]);
    line += cell + std::u32string(widths[i] - CellWidth(cell) + 2, U' ');
  }
  line.erase(line.find_last_not_of(U' ') + 1);
  return ToUTF8(limit == 0 ? line : Elided(line, limit));
}

}  // namespace

std::string UnitTable(const Units& units, const TableStyle& style) {
  if (units.empty()) return "No Local Devices Found.\n";
  std::vector<Row> rows{kHeading};
  for (const auto& unit : units) rows.push_back(RowOf(unit));
  const Widths widths = FittingWidths(rows, style.width);
  const bool cut = style.height != 0 && rows.size() > style.height;
  const std::size_t shown = cut ? std::max<std::size_t>(style.height, 2) - 1 : rows.size();

  std::string table;
  for (std::size_t i = 0; i < shown; ++i) {
    const bool outdated = i > 0 && DeviceList::UpdateAvailable(units[i - 1]);
    const char* emphasis = !style.color ? "" : i == 0 ? "\033[1m" : outdated ? "\033[33m" : "";
    table += emphasis + LineOf(rows[i], widths, style.width) + (*emphasis != '\0' ? "\033[0m\n" : "\n");
  }
  if (cut) table += "... and " + std::to_string(rows.size() - shown) + " more\n";
  return table;
}

}  // namespace vorn::devicelisttool

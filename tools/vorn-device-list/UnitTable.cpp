#include "vorn-device-list/UnitTable.h"

#include <algorithm>
#include <array>

#include "devicelist/Entry.h"
#include "foundation/SafeText.h"
#include "foundation/Strings.h"
#include "foundation/UTF8Text.h"

namespace vorn::devicelisttool {
namespace {

enum Column : std::size_t { kName, kKind, kModel, kFirmware, kNewest, kURL, kUpdate, kColumns };

struct Concession {
  Column column;
  std::size_t shortest;  // cells that it keeps; 0: it is left out
};

// What gives way on a narrow terminal, in this order. The address is the longest and tells least, the newest
// version is what the mark stands for; the mark itself stays, alone if need be.
constexpr Concession kConcessions[] = {{kURL, 12},  {kName, 12},    {kURL, 0},  {kNewest, 0}, {kKind, 0},
                                       {kModel, 0}, {kFirmware, 0}, {kName, 1}, {kName, 0}};

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

// Two blanks between columns; those without width are left out.
std::size_t TotalWidth(const Widths& widths) {
  std::size_t total = 0;
  for (const std::size_t width : widths) {
    if (width != 0) total += width + (total == 0 ? 0 : 2);
  }
  return total;
}

// Takes from one column, down to its shortest, what the line is too wide by.
void Shrink(Widths& widths, const Concession& concession, std::size_t limit) {
  const std::size_t total = TotalWidth(widths);
  std::size_t& width = widths[concession.column];
  if (total <= limit || width <= concession.shortest) return;
  width -= std::min(width - concession.shortest, total - limit);
  if (concession.shortest == 0) width = 0;  // a few cells of a column say nothing
}

Widths FittingWidths(const std::vector<Row>& rows, std::size_t limit) {
  Widths widest{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < kColumns; ++i) widest[i] = std::max(widest[i], CellWidth(row[i]));
  }
  if (limit == 0) return widest;
  Widths widths = widest;
  for (const Concession& concession : kConcessions) Shrink(widths, concession, limit);
  // Width that is left over goes to the name.
  const std::size_t room = limit - std::min(limit, TotalWidth(widths));
  if (widths[kName] != 0) widths[kName] += std::min(widest[kName] - widths[kName], room);
  return widths;
}

std::string LineOf(const Row& row, const Widths& widths, std::size_t limit) {
  std::u32string line;
  for (std::size_t i = 0; i < kColumns; ++i) {
    if (widths[i] == 0) continue;
    const std::u32string cell = Elided(row[i], widths[i]);
    line += cell + std::u32string(widths[i] - CellWidth(cell) + 2, U' ');
  }
  line.erase(line.find_last_not_of(U' ') + 1);
  return ToUTF8(limit == 0 ? line : Elided(line, limit));
}

}  // namespace

std::string FittingLine(const std::string& text, std::size_t width) {
  const std::u32string safe = SafeText(text);
  return ToUTF8(width == 0 ? safe : Elided(safe, width)) + "\n";
}

std::string UnitTable(const Units& units, const TableStyle& style) {
  if (units.empty()) return FittingLine("No Local Devices Found.", style.width);
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
  if (cut) table += FittingLine("... and " + std::to_string(rows.size() - shown) + " more", style.width);
  return table;
}

}  // namespace vorn::devicelisttool

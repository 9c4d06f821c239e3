#include "vorn-device-list/TextTable.h"

#include <algorithm>
#include <utility>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"
#include "vorn-device-list/Translated.h"

namespace vorn::devicelisttool {
namespace {

constexpr std::size_t kGap = 2;  // blanks between two columns

// Columns without width are left out.
std::size_t TotalWidth(const std::vector<std::size_t>& widths) {
  std::size_t total = 0;
  for (const std::size_t width : widths) {
    if (width != 0) total += width + (total == 0 ? 0 : kGap);
  }
  return total;
}

// Removes the line's surplus from one column, down to its shortest width.
void Shrink(std::vector<std::size_t>& widths, const TextTable::Concession& concession, std::size_t limit) {
  const std::size_t total = TotalWidth(widths);
  std::size_t& width = widths[concession.column];
  if (total <= limit || width <= concession.shortest) return;
  width -= std::min(width - concession.shortest, total - limit);
  if (concession.shortest == 0) width = 0;  // a few cells of a column are not useful
}

std::string LineOf(const std::vector<std::u32string>& cells, const std::vector<std::size_t>& widths,
                   std::size_t limit) {
  std::u32string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (widths[i] == 0) continue;
    const std::u32string cell = Elided(cells[i], widths[i]);
    line += cell + std::u32string(widths[i] - CellWidth(cell) + kGap, U' ');
  }
  line.erase(line.find_last_not_of(U' ') + 1);
  return ToUTF8(limit == 0 ? line : Elided(line, limit));
}

}  // namespace

std::string FittingLine(const std::string& text, std::size_t width) {
  const std::u32string safe = SafeText(text);
  return ToUTF8(width == 0 ? safe : Elided(safe, width)) + "\n";
}

TextTable::TextTable(std::vector<Column> columns, std::vector<Concession> concessions)
    : fColumns(std::move(columns)), fConcessions(std::move(concessions)) {
  std::vector<std::string> headings;
  for (const Column& column : fColumns) headings.push_back(column.heading);
  AddRow(headings);
}

void TextTable::AddRow(const std::vector<std::string>& texts, bool marked) {
  Row row{{}, marked};
  for (std::size_t i = 0; i < fColumns.size(); ++i) {
    std::u32string cell = SafeText(texts[i]);
    row.cells.push_back(fColumns[i].widest == 0 ? std::move(cell)
                                                : Elided(std::move(cell), fColumns[i].widest));
  }
  fRows.push_back(std::move(row));
}

TextTable::Widths TextTable::FittingWidths(std::size_t limit) const {
  Widths widest(fColumns.size());
  for (const Row& row : fRows) {
    for (std::size_t i = 0; i < widest.size(); ++i) widest[i] = std::max(widest[i], CellWidth(row.cells[i]));
  }
  if (limit == 0) return widest;
  Widths widths = widest;
  for (const Concession& concession : fConcessions) Shrink(widths, concession, limit);
  const std::size_t room = limit - std::min(limit, TotalWidth(widths));
  if (widths[0] != 0) widths[0] += std::min(widest[0] - widths[0], room);
  return widths;
}

std::string TextTable::Text(const TableStyle& style) const {
  const Widths widths = FittingWidths(style.width);
  const bool cut = style.height != 0 && fRows.size() > style.height;
  const std::size_t shown = cut ? std::max<std::size_t>(style.height, 2) - 1 : fRows.size();

  std::string text;
  for (std::size_t i = 0; i < shown; ++i) {
    const char* emphasis = !style.color ? "" : i == 0 ? "\033[1m" : fRows[i].marked ? "\033[33m" : "";
    text += emphasis + LineOf(fRows[i].cells, widths, style.width) + (*emphasis != '\0' ? "\033[0m\n" : "\n");
  }
  if (cut)
    text +=
        FittingLine(TranslatedCount("... and %1 more", "... and %1 more", fRows.size() - shown), style.width);
  return text;
}

}  // namespace vorn::devicelisttool

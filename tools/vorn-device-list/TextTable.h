#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::devicelisttool {

/// How a table is drawn.
struct TableStyle {
  bool color = false;      ///< emphasise the heading and the marked rows
  std::size_t width = 0;   ///< the most cells; 0: no limit
  std::size_t height = 0;  ///< the most lines; 0: no limit
};

/// The text as one line of at most this many cells; 0: no limit.
[[nodiscard]] std::string FittingLine(const std::string& text, std::size_t width);

/// A heading and rows of text in columns. They are aligned by terminal cells, which needs a UTF-8 locale for
/// LC_CTYPE. Safe to write to a terminal, whatever the texts contain: each row is one line, without control
/// characters. Belongs to one thread.
class TextTable {
 public:
  struct Column {
    std::string heading;
    std::size_t widest = 0;  ///< longer texts are elided to this many cells; 0: no limit
  };

  /// What becomes shorter when the lines are too wide.
  struct Concession {
    std::size_t column;
    std::size_t shortest;  ///< cells that it keeps; 0: it is left out
  };

  /// The concessions are made in their order, until the lines fit. The first column gets the remaining width.
  explicit TextTable(std::vector<Column> columns, std::vector<Concession> concessions = {});

  /// Takes one text for each column.
  void AddRow(const std::vector<std::string>& texts, bool marked = false);

  /// The table, with an end of line after each line. If it is too high, its last line says how many more rows
  /// there are.
  [[nodiscard]] std::string Text(const TableStyle& style) const;

 private:
  struct Row {
    std::vector<std::u32string> cells;
    bool marked;
  };
  using Widths = std::vector<std::size_t>;

  [[nodiscard]] Widths FittingWidths(std::size_t limit) const;

  const std::vector<Column> fColumns;
  const std::vector<Concession> fConcessions;
  std::vector<Row> fRows;  ///< the heading is the first
};

}  // namespace vorn::devicelisttool

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vorn::devicelisttool {

/// A stranger's bytes as text that is safe on a terminal: what is not UTF-8,
/// control characters of either range and characters that reorder their
/// neighbours become U+FFFD.
[[nodiscard]] std::u32string SafeText(std::string_view bytes);

/// The text in UTF-8.
[[nodiscard]] std::string ToUtf8(std::u32string_view text);

/// How many terminal cells the text takes; needs a UTF-8 locale for LC_CTYPE.
[[nodiscard]] std::size_t CellWidth(std::u32string_view text);

/// Marks take no cell, so a bound on cells alone would let any number through.
inline constexpr std::size_t kMostCharactersPerCell = 8;

/// The text cut to `cells`, and to so many characters a cell, with an ellipsis
/// in the last cell where it was cut.
[[nodiscard]] std::u32string Elided(std::u32string text, std::size_t cells);

}  // namespace vorn::devicelisttool

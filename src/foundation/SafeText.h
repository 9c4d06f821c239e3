#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vorn {

/// What a character of a stranger's text does to the place where it is shown.
enum class Showing {
  kDrawn,   ///< is to be seen, or is white space: show it
  kShapes,  ///< nothing to be seen by itself, but its neighbours' form hangs on it
            ///< (joiners, variation selectors) or it is drawn empty: show it, but
            ///< a text of these alone is blank
  kBreaks,  ///< a control character of either range, or a separator of lines or
            ///< paragraphs: unsafe
  kHides,   ///< reorders its neighbours, or is markup or filling that nobody sees
            ///< (directional controls, tags, byte-order mark, soft hyphen, blanks
            ///< without width): unsafe
};

/// The one list of such characters, for terminal and panel. Any thread.
[[nodiscard]] Showing ShowingOf(char32_t c);

/// Whether a text with the character in it could mislead whoever reads it, or
/// the terminal that shows it.
[[nodiscard]] inline bool IsUnsafe(char32_t c) {
  const Showing showing = ShowingOf(c);
  return showing == Showing::kBreaks || showing == Showing::kHides;
}

/// A stranger's bytes as text that is safe on a terminal: what is not UTF-8 and
/// every unsafe character (control characters, separators of lines, what
/// reorders its neighbours, tags and other markup that nobody sees) becomes
/// U+FFFD.
[[nodiscard]] std::u32string SafeText(std::string_view bytes);

/// How many terminal cells the text takes; needs a UTF-8 locale for LC_CTYPE.
[[nodiscard]] std::size_t CellWidth(std::u32string_view text);

/// Marks take no cell, so a bound on cells alone would let any number through.
inline constexpr std::size_t kMostCharactersPerCell = 8;

/// The text cut to `cells`, and to so many characters a cell, with an ellipsis
/// in the last cell where it was cut.
[[nodiscard]] std::u32string Elided(std::u32string text, std::size_t cells);

}  // namespace vorn

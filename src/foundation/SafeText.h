#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vorn {

/// The effect of a character of a stranger's text on the place that shows it.
enum class Showing {
  kDrawn,   ///< visible, or white space: show it
  kShapes,  ///< invisible by itself, but its neighbours' form depends on it (joiners, variation selectors),
            ///< or drawn empty: show it, but a text of only these is blank
  kBreaks,  ///< a control character of either range, or a separator of lines or
            ///< paragraphs: unsafe
  kHides,   ///< reorders its neighbours, or is invisible markup or filling (directional controls, tags,
            ///< byte-order mark, soft hyphen, blanks without width): unsafe
};

/// The one list of such characters, for the terminal and the panel. Any thread.
[[nodiscard]] Showing ShowingOf(char32_t c);

/// Whether a text with this character could mislead its reader, or the terminal that shows it.
[[nodiscard]] inline bool IsUnsafe(char32_t c) {
  const Showing showing = ShowingOf(c);
  return showing == Showing::kBreaks || showing == Showing::kHides;
}

/// A stranger's bytes as text that is safe on a terminal. Everything that is not UTF-8 and every unsafe
/// character becomes U+FFFD: control characters, separators of lines, characters that reorder their
/// neighbours, tags and other invisible markup. Characters of `kept` stay, for a form that can quote them.
[[nodiscard]] std::u32string SafeText(std::string_view bytes, std::u32string_view kept = {});

/// The number of terminal cells of the text. Needs a UTF-8 locale for LC_CTYPE.
[[nodiscard]] std::size_t CellWidth(std::u32string_view text);

/// Marks take no cell, so a bound on cells alone would allow any number of them.
inline constexpr std::size_t kMostCharactersPerCell = 8;

/// The text cut to `cells`, and to a number of characters for each cell. A cut text has an ellipsis in the
/// last cell.
[[nodiscard]] std::u32string Elided(std::u32string text, std::size_t cells);

}  // namespace vorn

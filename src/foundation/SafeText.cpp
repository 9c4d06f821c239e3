#include "foundation/SafeText.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "foundation/Strings.h"

namespace vorn {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEllipsis = 0x2026;

struct Range {
  char32_t first;
  char32_t last;
  Showing showing;
};

// In ascending order. Characters outside all ranges are drawn.
constexpr Range kRanges[] = {
    {0x0000, 0x001F, Showing::kBreaks},    // controls
    {0x007F, 0x009F, Showing::kBreaks},    // controls of the upper range
    {0x00AD, 0x00AD, Showing::kHides},     // soft hyphen
    {0x034F, 0x034F, Showing::kShapes},    // grapheme joiner
    {0x061C, 0x061C, Showing::kHides},     // Arabic letter mark
    {0x115F, 0x1160, Showing::kShapes},    // Hangul fillers of incomplete syllables
    {0x17B4, 0x17B5, Showing::kShapes},    // Khmer inherent vowels
    {0x180B, 0x180F, Showing::kShapes},    // Mongolian variation selectors
    {0x200B, 0x200B, Showing::kHides},     // space without width
    {0x200C, 0x200D, Showing::kShapes},    // joiners
    {0x200E, 0x200F, Showing::kHides},     // direction marks
    {0x2028, 0x2029, Showing::kBreaks},    // separators of lines and paragraphs
    {0x202A, 0x202E, Showing::kHides},     // embeddings and overrides of the direction
    {0x2060, 0x206F, Showing::kHides},     // word joiner, invisible operators, isolates
    {0x2800, 0x2800, Showing::kShapes},    // Braille pattern without dots
    {0x3164, 0x3164, Showing::kHides},     // Hangul filler
    {0xFE00, 0xFE0F, Showing::kShapes},    // variation selectors
    {0xFEFF, 0xFEFF, Showing::kHides},     // byte-order mark
    {0xFFA0, 0xFFA0, Showing::kHides},     // Hangul filler of half width
    {0xFFF0, 0xFFFB, Showing::kHides},     // interlinear annotation
    {0x1BCA0, 0x1BCA3, Showing::kHides},   // shorthand format controls
    {0x1D173, 0x1D17A, Showing::kHides},   // musical format controls
    {0xE0000, 0xE00FF, Showing::kHides},   // tags
    {0xE0100, 0xE01EF, Showing::kShapes},  // more variation selectors
    {0xE01F0, 0xE0FFF, Showing::kHides},   // reserved for more of the same kind
};

std::size_t CellWidth(char32_t c) {
  const int width = ::wcwidth(static_cast<wchar_t>(c));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

Showing ShowingOf(char32_t c) {
  const auto* const range = std::lower_bound(std::begin(kRanges), std::end(kRanges), c,
                                             [](const Range& r, char32_t value) { return r.last < value; });
  return range != std::end(kRanges) && c >= range->first ? range->showing : Showing::kDrawn;
}

std::u32string SafeText(std::string_view bytes, std::u32string_view kept) {
  std::u32string text;
  while (!bytes.empty()) {
    const auto c = TakeCharacter(bytes);
    const bool stays = c && (!IsUnsafe(*c) || kept.find(*c) != std::u32string_view::npos);
    text.push_back(stays ? *c : kReplacement);
  }
  return text;
}

std::size_t CellWidth(std::u32string_view text) {
  std::size_t width = 0;
  for (const char32_t c : text) width += CellWidth(c);
  return width;
}

std::u32string Elided(std::u32string text, std::size_t cells) {
  const std::size_t most = kMostCharactersPerCell * cells;
  std::size_t width = 0;
  std::size_t fitting = 0;  // characters that leave a cell for the ellipsis
  for (std::size_t i = 0; i < text.size(); ++i) {
    width += CellWidth(text[i]);
    if (width + 1 <= cells && i < most) fitting = i + 1;
    if (width > cells || i >= most) {
      text.resize(fitting);
      if (cells > 0) text.push_back(kEllipsis);
      return text;
    }
  }
  return text;
}

}  // namespace vorn

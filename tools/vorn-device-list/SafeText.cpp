#include "vorn-device-list/SafeText.h"

#include <cwchar>

namespace vorn::devicelisttool {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEllipsis = 0x2026;

bool IsUnsafe(char32_t c) {
  const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool reorders = c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
                        (c >= 0x2066 && c <= 0x2069);
  const bool breaksLine = c == 0x2028 || c == 0x2029;
  const bool invisibleTag = c == 0xFEFF || (c >= 0xE0000 && c <= 0xE007F);
  return control || reorders || breaksLine || invisibleTag;
}

struct Sequence {
  std::size_t length;  // bytes that the first one promises; 0: it cannot be first
  char32_t bits;       // of the first byte
  char32_t least;      // smallest character that needs so many bytes
};

Sequence SequenceOf(unsigned char first) {
  if (first < 0x80) return {1, first, 0};
  if (first >= 0xC2 && first < 0xE0) return {2, first & 0x1FU, 0x80};
  if (first >= 0xE0 && first < 0xF0) return {3, first & 0x0FU, 0x800};
  if (first >= 0xF0 && first < 0xF5) return {4, first & 0x07U, 0x10000};
  return {0, 0, 0};
}

// Takes one character off the front of `bytes`.
char32_t TakeCharacter(std::string_view& bytes) {
  const Sequence sequence = SequenceOf(static_cast<unsigned char>(bytes.front()));
  char32_t c = sequence.bits;
  std::size_t used = 1;
  while (used < sequence.length && used < bytes.size() &&
         (static_cast<unsigned char>(bytes[used]) & 0xC0U) == 0x80) {
    c = (c << 6U) | (static_cast<unsigned char>(bytes[used]) & 0x3FU);
    ++used;
  }
  bytes.remove_prefix(used);
  const bool complete = sequence.length != 0 && used == sequence.length;
  const bool surrogate = c >= 0xD800 && c < 0xE000;
  return complete && c >= sequence.least && c <= 0x10FFFF && !surrogate ? c : kReplacement;
}

std::size_t CellWidth(char32_t c) {
  const int width = ::wcwidth(static_cast<wchar_t>(c));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::u32string SafeText(std::string_view bytes) {
  std::u32string text;
  while (!bytes.empty()) {
    const char32_t c = TakeCharacter(bytes);
    text.push_back(IsUnsafe(c) ? kReplacement : c);
  }
  return text;
}

std::string ToUtf8(std::u32string_view text) {
  std::string bytes;
  const auto tail = [&](char32_t c, unsigned shift) {
    bytes.push_back(static_cast<char>(0x80U | ((c >> shift) & 0x3FU)));
  };
  for (const char32_t c : text) {
    if (c < 0x80) {
      bytes.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      bytes.push_back(static_cast<char>(0xC0U | (c >> 6U)));
      tail(c, 0);
    } else if (c < 0x10000) {
      bytes.push_back(static_cast<char>(0xE0U | (c >> 12U)));
      tail(c, 6);
      tail(c, 0);
    } else {
      bytes.push_back(static_cast<char>(0xF0U | (c >> 18U)));
      tail(c, 12);
      tail(c, 6);
      tail(c, 0);
    }
  }
  return bytes;
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

}  // namespace vorn::devicelisttool

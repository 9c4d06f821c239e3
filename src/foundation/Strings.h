#pragma once

#include <cstddef>
#include <cstdint>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Optional.h"

// Conversions of text. None depends on the program's locale. Any thread.

namespace vorn {

/// The value's text as its own << writes it with default formatting.
template <typename T>
[[nodiscard]] std::string SlowConvertToString(const T& value) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << value;
  return stream.str();
}

/// The value at the beginning of the text, as its own >> reads it. The rest of the text is ignored. Empty if
/// the reading failed.
template <typename T>
optional<T> SlowConvertFromStringAllowRemainder(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  T value{};
  stream >> value;
  if (stream.fail()) return {};  // failbit or badbit; the end of the text is no failure
  return value;
}

/// The pieces between ":" separators, in order and untrimmed. An empty piece is kept, except after a trailing
/// separator. An empty text has no pieces.
[[nodiscard]] std::vector<std::string> GetEmbeddedValues(const std::string& text);

/// The byte in lower case if it is an ASCII capital letter, otherwise unchanged.
[[nodiscard]] constexpr char ToLowerASCII(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Host names, schemes and header field names compare this way: ASCII letters without regard to case, all
/// other bytes exactly.
[[nodiscard]] constexpr bool EqualIgnoringASCIICase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (ToLowerASCII(a[i]) != ToLowerASCII(b[i])) return false;
  }
  return true;
}

/// The text without the blanks at its ends.
[[nodiscard]] constexpr std::string_view Trimmed(std::string_view text,
                                                 std::string_view blanks = " \t") noexcept {
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

[[nodiscard]] inline std::string LowerASCII(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = ToLowerASCII(c);
  return lower;
}

inline constexpr char kCapitalHexDigits[] = "0123456789ABCDEF";
inline constexpr char kSmallHexDigits[] = "0123456789abcdef";

/// Appends the two hexadecimal digits of the byte, in the case of one of the sets above.
inline void AppendHex(std::string& text, char c, const char* digits = kCapitalHexDigits) {
  const auto byte = static_cast<std::uint8_t>(c);
  text += digits[byte >> 4U];
  text += digits[byte & 0xFU];
}

/// The value of a hexadecimal digit of either case; -1 if it is none.
[[nodiscard]] constexpr int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

/// Whether the byte can only stand inside a character of UTF-8, and not begin one.
[[nodiscard]] constexpr bool IsContinuation(char byte) noexcept {
  return (static_cast<std::uint8_t>(byte) & 0xC0U) == 0x80;
}

/// Removes one character from the front of `bytes`, which must not be empty. If the bytes there are not
/// well-formed UTF-8 (overlong, a surrogate, beyond the last character, cut short), the result is empty. Then
/// the lead byte and its continuations are removed.
[[nodiscard]] std::optional<char32_t> TakeCharacter(std::string_view& bytes);

/// Whether the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
[[nodiscard]] bool IsUTF8(std::string_view bytes);

/// The text in UTF-8.
[[nodiscard]] std::string ToUTF8(std::u32string_view text);

/// Well-formed text without its last character.
[[nodiscard]] std::string WithoutLastCharacter(const std::string& text);

}  // namespace vorn

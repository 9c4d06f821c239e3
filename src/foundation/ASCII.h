#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// The byte in lower case when it is an ASCII capital letter, else unchanged;
/// unlike the C library's, independent of the locale and safe for any byte.
[[nodiscard]] constexpr char ToLowerASCII(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Host names, schemes and header field names compare this way: ASCII letters
/// without regard to case, all other bytes exactly.
[[nodiscard]] constexpr bool EqualIgnoringASCIICase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (ToLowerASCII(a[i]) != ToLowerASCII(b[i])) return false;
  }
  return true;
}

/// The part of the text between the blanks at its ends.
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

}  // namespace vorn

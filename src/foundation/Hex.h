#pragma once

#include <cstdint>
#include <string>

namespace vorn {

inline constexpr char kCapitalHexDigits[] = "0123456789ABCDEF";
inline constexpr char kSmallHexDigits[] = "0123456789abcdef";

/// Appends the byte's two hexadecimal digits, written with one of the above.
inline void AppendHex(std::string& text, char c, const char* digits = kCapitalHexDigits) {
  const auto byte = static_cast<std::uint8_t>(c);
  text += digits[byte >> 4U];
  text += digits[byte & 0xFU];
}

/// The value of a hexadecimal digit of either case; -1 when it is none.
[[nodiscard]] constexpr int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace vorn

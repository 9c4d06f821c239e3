#pragma once

#include <cstdint>
#include <string>

namespace vorn {

/// Appends the byte's two hexadecimal digits, in capitals.
inline void AppendHex(std::string& text, char c) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const auto byte = static_cast<std::uint8_t>(c);
  text += kDigits[byte >> 4U];
  text += kDigits[byte & 0xFU];
}

/// The value of a hexadecimal digit of either case; -1 when it is none.
[[nodiscard]] constexpr int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace vorn

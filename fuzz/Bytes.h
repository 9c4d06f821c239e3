#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::fuzzing {

/// The fuzzer's input as text.
[[nodiscard]] inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Takes pieces from the front of an input. At its end they are empty.
class ByteReader {
 public:
  explicit ByteReader(std::string_view rest) : fRest(rest) {}

  [[nodiscard]] bool AtEnd() const { return fRest.empty(); }

  std::uint8_t Byte() {
    const std::string byte = Bytes(1);
    return byte.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(byte.front());
  }

  std::uint16_t Number() {
    const unsigned high = Byte();
    return static_cast<std::uint16_t>(high << 8U | Byte());
  }

  /// A separate copy, so that reading beyond its end is detected.
  std::string Bytes(std::size_t count) {
    const std::string_view piece = fRest.substr(0, std::min(count, fRest.size()));
    fRest.remove_prefix(piece.size());
    return std::string(piece);
  }

  /// A length byte and that many bytes.
  std::string Text() { return Bytes(Byte()); }

 private:
  std::string_view fRest;
};

}  // namespace vorn::fuzzing

#pragma once

#include <string_view>

namespace vorn::fuzzing {

/// Whether the text is UTF-8: shortest forms, no surrogates, nothing beyond U+10FFFF. Written from the table
/// of well-formed byte sequences, as a second opinion to the code under test.
[[nodiscard]] inline bool IsUtf8(std::string_view text) {
  const auto within = [&](std::size_t at, unsigned low, unsigned high) {
    return at < text.size() && static_cast<unsigned char>(text[at]) >= low &&
           static_cast<unsigned char>(text[at]) <= high;
  };
  for (std::size_t i = 0; i < text.size();) {
    if (within(i, 0x00, 0x7F)) {
      i += 1;
    } else if (within(i, 0xC2, 0xDF) && within(i + 1, 0x80, 0xBF)) {
      i += 2;
    } else if ((within(i, 0xE0, 0xE0) && within(i + 1, 0xA0, 0xBF) && within(i + 2, 0x80, 0xBF)) ||
               (within(i, 0xED, 0xED) && within(i + 1, 0x80, 0x9F) && within(i + 2, 0x80, 0xBF)) ||
               (within(i, 0xE1, 0xEF) && !within(i, 0xED, 0xED) && within(i + 1, 0x80, 0xBF) &&
                within(i + 2, 0x80, 0xBF))) {
      i += 3;
    } else if (((within(i, 0xF0, 0xF0) && within(i + 1, 0x90, 0xBF)) ||
                (within(i, 0xF4, 0xF4) && within(i + 1, 0x80, 0x8F)) ||
                (within(i, 0xF1, 0xF3) && within(i + 1, 0x80, 0xBF))) &&
               within(i + 2, 0x80, 0xBF) && within(i + 3, 0x80, 0xBF)) {
      i += 4;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace vorn::fuzzing

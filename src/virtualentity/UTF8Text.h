#pragma once

#include <string>

namespace vorn {

/// Whether the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
[[nodiscard]] bool IsUTF8(const std::string& bytes);

/// Well-formed text without its last character.
[[nodiscard]] std::string WithoutLastCharacter(const std::string& text);

/// Text that is safe on a terminal and in a table: what is no character, or
/// would move the cursor, break the line or turn the writing direction, is
/// replaced by "?".
[[nodiscard]] std::string Printable(const std::string& bytes);

/// How many characters well-formed text has.
[[nodiscard]] std::size_t CountCharacters(const std::string& text);

}  // namespace vorn

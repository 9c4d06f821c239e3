#pragma once

#include <string>
#include <string_view>

#include "foundation/Optional.h"

namespace vorn {

/// Takes one character off the front of `bytes`, which must not be empty. What
/// is no well-formed UTF-8 there (overlong, a surrogate, beyond the last
/// character, cut short) gives an empty optional, and its lead byte goes with
/// the continuations that belong to it. Any thread.
[[nodiscard]] optional<char32_t> TakeCharacter(std::string_view& bytes);

/// Whether the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
[[nodiscard]] bool IsUTF8(std::string_view bytes);

/// The text in UTF-8.
[[nodiscard]] std::string ToUTF8(std::u32string_view text);

/// Well-formed text without its last character.
[[nodiscard]] std::string WithoutLastCharacter(const std::string& text);

}  // namespace vorn

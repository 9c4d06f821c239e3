#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How keys and values are written in the settings file. People can read and edit the ordinary ones, and any
// bytes are read back as they were written. Any thread.

namespace vorn {

/// Blanks that are ignored at the ends of a line, a key and a text.
inline constexpr std::string_view kSettingsBlanks = " \t\r";

/// The spelling of a settings key in the file: letters, digits, "-" and "_" stay as they are. Any other byte
/// is "." and two upper-case hexadecimal digits. The empty key is ".". The result has no special meaning to
/// an INI reader, and different keys have different results.
[[nodiscard]] std::string EncodeSettingsKey(const std::string& key);

/// Whether there is a key that EncodeSettingsKey spells like this.
[[nodiscard]] bool IsSettingsKey(std::string_view text);

/// The texts of a value, separated by commas. A text stands as it is where that
/// is unmistakable, else in double quotes with \\ \" \n \r \t and \xHH. An
/// array without elements is an empty value; an empty text is "".
[[nodiscard]] std::string EncodeSettingsValue(const std::vector<std::string>& value);

/// The texts in a value, without the blanks around each. Empty if its quotes or escapes are wrong.
[[nodiscard]] std::optional<std::vector<std::string>> DecodeSettingsValue(std::string_view text);

/// Whether the texts can be read. Faster than reading them, because only quotes and escapes can be wrong.
[[nodiscard]] bool IsSettingsValue(std::string_view text);

}  // namespace vorn

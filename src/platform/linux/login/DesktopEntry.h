#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vorn {

/// The value of `key` in the group [Desktop Entry] of a desktop file, without the blanks around "=" and with
/// escapes unchanged. The last of several counts. Empty if there is none. Any thread.
std::optional<std::string> DesktopEntryValue(std::string_view file, std::string_view key);

/// The desktop file with `value` for `key`, on every line of the group [Desktop Entry] that has the key.
/// Unchanged if no line has it.
[[nodiscard]] std::string WithDesktopEntryValue(std::string_view file, std::string_view key,
                                                std::string_view value);

/// Whether a boolean of that group has the given value: "true" or "1", "false" or "0". Any other text is
/// neither.
[[nodiscard]] bool DesktopEntryIsTrue(std::string_view file, std::string_view key);
[[nodiscard]] bool DesktopEntryIsFalse(std::string_view file, std::string_view key);

/// `text` as a value of type string: backslash, newline, tab and carriage return are escaped, other control
/// characters are left out.
[[nodiscard]] std::string DesktopEntryString(std::string_view text);

/// The text that a value of type string means.
[[nodiscard]] std::string TextOfDesktopEntryString(std::string_view value);

/// A command line for the key Exec that starts the program at `path` without arguments: quoted, with "%"
/// doubled. Empty if the path contains a control character, because no command line can contain one.
std::optional<std::string> DesktopEntryExec(std::string_view path);

/// The program of a value of the key Exec: its first argument, without quotes and escapes.
[[nodiscard]] std::string ProgramOfDesktopEntryExec(std::string_view value);

}  // namespace vorn

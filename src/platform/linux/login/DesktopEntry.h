#pragma once

#include <string>
#include <string_view>

#include "foundation/Optional.h"

namespace vorn {

/// The value of `key` in the group [Desktop Entry] of a desktop file, with the
/// blanks around "=" dropped and escapes left as they stand; the last of
/// several counts. Empty when there is none. Any thread.
optional<std::string> DesktopEntryValue(std::string_view file, std::string_view key);

/// The desktop file with `value` in place of that of `key`, on every line of the
/// group [Desktop Entry] that has the key; as it is where none has.
[[nodiscard]] std::string WithDesktopEntryValue(std::string_view file, std::string_view key,
                                                std::string_view value);

/// Whether a boolean of that group is set to what is asked: "true" or "1",
/// "false" or "0". Anything else is neither.
[[nodiscard]] bool DesktopEntryIsTrue(std::string_view file, std::string_view key);
[[nodiscard]] bool DesktopEntryIsFalse(std::string_view file, std::string_view key);

/// `text` as a value of type string: backslash, newline, tab and carriage
/// return escaped, other control characters left out.
[[nodiscard]] std::string DesktopEntryString(std::string_view text);

/// The text that a value of type string stands for.
[[nodiscard]] std::string TextOfDesktopEntryString(std::string_view value);

/// A command line that starts the program at `path` without arguments, as a
/// value of the key Exec: quoted, with "%" doubled. Empty when the path holds
/// a control character, which no command line can carry.
optional<std::string> DesktopEntryExec(std::string_view path);

/// The program that a value of the key Exec starts: its first argument, without
/// quotes and escapes.
[[nodiscard]] std::string ProgramOfDesktopEntryExec(std::string_view value);

}  // namespace vorn

#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// Tells the person at the console: one line on standard error, led by the
/// program's name. For failures of the system around us that somebody may want
/// to mend (a setting refused, a login item not written). Control characters
/// in the message are replaced, since it may quote a stranger's text. A line
/// is at most 4,096 bytes long; the rest is cut off. Needs no memory of its own.
/// Any thread; output errors are ignored.
void WriteToConsole(std::string_view message) noexcept;

/// What a message quotes of a stranger's text: its first 200 bytes.
[[nodiscard]] std::string Excerpt(const std::string& text);

}  // namespace vorn

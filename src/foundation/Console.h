#pragma once

#include <string>

namespace vorn {

/// Tells the person at the console: one line on standard error, led by the
/// program's name. For failures of the system around us that somebody may want
/// to mend (a setting refused, a login item not written). Control characters
/// in the message are replaced, since it may quote a stranger's text. Any
/// thread; output errors are ignored.
void WriteToConsole(const std::string& message);

/// What a message quotes of a stranger's text: its first 200 bytes.
[[nodiscard]] std::string Excerpt(const std::string& text);

}  // namespace vorn

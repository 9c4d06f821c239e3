#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// Writes one line, led by the program's name, to standard error. For failures
/// of the system around us that somebody may want to mend (a setting refused, a
/// login item not written). Control characters in the message are replaced,
/// since it may quote a stranger's text. A line is at most 4,096 bytes long; the
/// rest is cut off. Takes no memory. Any thread; output errors are ignored.
void WriteToConsole(std::string_view message) noexcept;

/// What a message quotes of a stranger's text: its first 200 bytes.
[[nodiscard]] std::string Excerpt(const std::string& text);

/// What became of a text for standard output.
enum class OutputResult {
  kWritten,      ///< all of it was written
  kNobodyReads,  ///< the reader has gone: exit without a message
  kFailed,       ///< it cannot be written, and the console says so: exit with a failure
};

/// Writes the whole text to standard output, also where that does not block of
/// itself. Blocks for as long as the reader does not read. It bypasses the C
/// library's stream: a write that is stuck there would hold the stream's lock,
/// and whoever flushes streams at the process's end would wait for it.
/// kNobodyReads needs SIGPIPE ignored. Any thread.
[[nodiscard]] OutputResult WriteToStandardOutput(std::string_view text);

}  // namespace vorn

#pragma once

#include <string>
#include <string_view>

namespace vorn {

/// Writes one line, with the program's name in front, to standard error. Use it for failures of the system
/// that somebody may want to repair, such as a refused setting or an unwritten login item. Unsafe characters
/// (SafeText.h), and bytes that are not UTF-8, are replaced, because the message may quote a stranger's text.
/// A line has at most 4,096 bytes; the rest is cut off. If standard error is the journal, the line begins
/// with its priority there, which is that of a warning. Allocates no memory. Any thread. Output errors are
/// ignored.
void WriteToConsole(std::string_view message) noexcept;

/// The part of a stranger's text that a message quotes: its first 200 bytes.
[[nodiscard]] std::string Excerpt(const std::string& text);

/// The result of writing a text to standard output.
enum class OutputResult {
  kWritten,      ///< all of it was written
  kNobodyReads,  ///< nobody reads any more: exit without a message
  kFailed,       ///< it cannot be written, and the console says so: exit with a failure
};

/// Writes the whole text to standard output, also if that is non-blocking. Blocks while the reader does not
/// read. Bypasses the C library's stream: a stuck write would hold the stream's lock, and the process could
/// not flush streams at its end. kNobodyReads needs SIGPIPE ignored. Any thread.
[[nodiscard]] OutputResult WriteToStandardOutput(std::string_view text);

}  // namespace vorn

#pragma once

#include <string_view>

namespace vorn {

/// What became of a text for standard output.
enum class OutputResult {
  kWritten,      ///< all of it
  kNobodyReads,  ///< the reader has gone: leave quietly
  kFailed,       ///< it cannot be written, which the console has been told: leave with a failure
};

/// Has standard descriptors that were closed when the program started taken up,
/// so that what is opened later never stands in their place and gets what is
/// meant for them. Writing to them keeps failing. Before anything is opened.
void OccupyClosedStandardDescriptors();

/// Writes the whole text to standard output, also where that does not block of
/// itself. Blocks for as long as the reader does not read. Past the C library's
/// stream: a write that is stuck there would hold its lock, and with it whoever
/// flushes streams while the process ends. kNobodyReads needs SIGPIPE ignored.
/// Any thread.
[[nodiscard]] OutputResult WriteToStandardOutput(std::string_view text);

}  // namespace vorn

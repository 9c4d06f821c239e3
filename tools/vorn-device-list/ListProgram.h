#pragma once

#include <string_view>

#include "devicelist/FirmwarePoller.h"
#include "vorn-device-list/Options.h"

namespace vorn::devicelisttool {

/// Exit codes of the program.
enum ExitCode : int {
  kListed = 0,         ///< units were listed, a watch was ended, or the reader has gone
  kNoneFound = 1,      ///< no unit was found in the time given
  kFailed = 1,         ///< the output could not be written, or not be made; the console knows
  kBadUsage = 2,       ///< the command line is not understood
  kCouldNotLook = 3,   ///< no unit was found since the responder or the network is missing; the console knows
  kInterrupted = 128,  ///< plus the signal's number: ended before the time was up
};

/// Writes the text to standard output; returns the exit code.
[[nodiscard]] int Print(std::string_view text);

/// Looks for units, asks the server for their newest firmware, and prints them
/// as asked; returns the exit code. Needs the signals blocked. Runs the calling
/// thread's PollRunLoop. By the time it returns, the process is bound to end
/// within a second, whatever its threads are stuck in.
int RunList(const Options& options, DeviceList::UpdateServer server);

}  // namespace vorn::devicelisttool

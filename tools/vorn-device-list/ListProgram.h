#pragma once

#include <string>
#include <string_view>

#include "devicelist/FirmwarePoller.h"
#include "vorn-device-list/Options.h"

namespace vorn::devicelisttool {

/// Exit statuses of the program.
enum ExitCode : int {
  kListed = 0,     ///< units were listed, a watch was ended, or nobody reads any more
  kNoneFound = 1,  ///< no unit was found in the given time
  kFailed = 1,     ///< the output could not be written, or not be made; the console knows
  kBadUsage = 2,   ///< the program does not understand the command line
  kCouldNotLook =
      3,  ///< no unit was found because the responder or the network is missing; the console knows
  kInterrupted = 128,  ///< plus the signal's number: it came before the time was over
};

/// Writes the text to the file, or to standard output without one; returns the exit status.
[[nodiscard]] int Print(std::string_view text, const std::string& file = {});

/// Looks for units, asks the update server for their newest firmware if it may, and prints them as requested.
/// Returns the exit status. Needs the signals blocked. Runs the calling thread's PollRunLoop. When it
/// returns, the process is sure to end within a second, even if its threads are stuck.
int RunList(const Options& options, DeviceList::UpdateServer server);

}  // namespace vorn::devicelisttool

#pragma once

#include <chrono>

namespace vorn {

/// Opens the standard descriptors that were closed when the program started, so
/// that no file opened later gets their numbers and what is meant for them.
/// Writing to them keeps failing. Before anything is opened.
void OccupyClosedStandardDescriptors();

/// Raises the limit of open descriptors to what the system allows this user:
/// each polled unit takes three. Failure leaves it as it was. Before threads
/// start.
void RaiseDescriptorLimit();

/// Ends the process with `exitCode` if its teardown takes longer than `limit`,
/// whatever threads are stuck in. Output must have been flushed. Meant to be
/// called once, when the program has decided to exit; it cannot be undone.
/// Never throws: where no thread can be started, the teardown takes the time
/// that it takes.
void EndProcessAfter(std::chrono::milliseconds limit, int exitCode) noexcept;

}  // namespace vorn

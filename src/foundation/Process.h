#pragma once

#include <chrono>

namespace vorn {

/// Opens the standard descriptors that were closed when the program started. Otherwise a later file could
/// take such a number and get the text meant for it. Writing to them still fails. Call before anything is
/// opened.
void OccupyClosedStandardDescriptors();

/// Raises the limit of open descriptors to the maximum for this user, because each polled unit takes three. A
/// failure leaves the limit as it was. Call before threads start.
void RaiseDescriptorLimit();

/// One heap for all threads, which returns freed memory to the system. Otherwise each polling thread has a
/// heap of its own, and keeps as much of it as its unit's largest answer ever took. Threads sleep nearly
/// always, so they rarely wait for one another. Call before threads start.
void KeepHeapSmall();

/// Ends the process with `exitCode` if its teardown takes longer than `limit`, even if threads are stuck.
/// Flush all output before. Call it once, after the program has decided to exit; it cannot be undone. Never
/// throws: if no thread can be started, the teardown takes its own time.
void EndProcessAfter(std::chrono::milliseconds limit, int exitCode) noexcept;

}  // namespace vorn

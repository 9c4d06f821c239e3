#pragma once

#include <chrono>

namespace vorn {

/// Ends the process with `exitCode` if its teardown takes longer than `limit`,
/// whatever threads are stuck in. Output must have been flushed. Meant to be
/// called once, when the program has decided to leave; it cannot be called
/// off. Never throws: without a thread to spare, the teardown takes the time
/// that it takes.
void EndProcessAfter(std::chrono::milliseconds limit, int exitCode) noexcept;

}  // namespace vorn

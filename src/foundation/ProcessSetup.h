#pragma once

#include <chrono>
#include <thread>

namespace vorn {

/// Raises the limit of open descriptors to what the system allows this user:
/// each polled unit takes three. Failure leaves it as it was. Before threads
/// start.
void RaiseDescriptorLimit();

/// Ends the process with `exitCode` if its teardown takes longer than `limit`,
/// whatever threads are stuck in. Output must have been flushed. Meant to be
/// made once, when the program has decided to leave; it cannot be called off.
void EndProcessAfter(std::chrono::milliseconds limit, int exitCode);

}  // namespace vorn

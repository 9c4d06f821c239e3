#pragma once

namespace vorn::app {

/// Prepares the process for its work: as many descriptors as the system allows
/// (units need three each), a logger to standard error, coloured only on a
/// terminal, a quiet DNS-SD library, no death by a closed pipe, HTTP ready.
/// Main thread, first thing, before any other thread.
void PrepareProcess();

}  // namespace vorn::app

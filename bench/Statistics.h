#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <vector>

namespace vorn::bench {

/// The middle value; 0 of none.
[[nodiscard]] double Median(std::vector<double> values);

/// {"median","p95","max","count"} of the values, each multiplied by `scale`.
[[nodiscard]] nlohmann::json Summary(const std::vector<double>& values, double scale = 1);

/// Seconds on the monotonic clock, which all processes share.
[[nodiscard]] double Now();

/// Turns the calling thread's PollRunLoop for this many seconds.
void RunFor(double seconds);

/// Seconds of processor time of the calling thread.
[[nodiscard]] double ThreadCpu();

/// Seconds of processor time of the whole process.
[[nodiscard]] double ProcessCpu();

}  // namespace vorn::bench

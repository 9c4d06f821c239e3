#pragma once

#include <atomic>
#include <cstdint>

/// Replaces the C library's clock_gettime in the test program that links it. Both clocks show what the test
/// sets, from before the program's static initialisation, and do not run in between.
namespace vorn::testing {

inline constexpr std::int64_t kSecond = 1'000'000'000;

/// What CLOCK_MONOTONIC shows at program load.
inline constexpr std::int64_t kMonotonicAtLoad = 5'000 * kSecond;
/// What CLOCK_REALTIME shows at program load: 1 January 2025, 00:00 UTC.
inline constexpr std::int64_t kRealtimeAtLoad = 1'735'689'600 * kSecond;

extern std::atomic<std::int64_t> gMonotonicNanoseconds;
extern std::atomic<std::int64_t> gRealtimeNanoseconds;

}  // namespace vorn::testing

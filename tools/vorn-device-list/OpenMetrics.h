#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "vorn-device-list/ListForms.h"

namespace vorn::devicelisttool {

/// When the program last could look for units; empty: not yet.
using LookedAt = std::optional<std::chrono::system_clock::time_point>;

/// The units as gauges, in the OpenMetrics text format and, as its comments allow, in the older one of
/// Prometheus. For each unit `vorn_unit_info`, whose labels say what is known about it, and
/// `vorn_update_available`; for the list `vorn_updates_available` and, unless `lookedAt` is empty,
/// `vorn_list_timestamp_seconds`. "# EOF" is the last line.
///
/// The label `url` identifies a unit. If two URLs would become the same label, only the first unit is in the
/// text, because a series that comes twice makes the reader refuse all of them. A label has at most 256
/// characters. What SafeText replaces becomes U+FFFD, except the line feed, which is escaped.
[[nodiscard]] std::string UnitMetrics(const Units& units, LookedAt lookedAt);

}  // namespace vorn::devicelisttool

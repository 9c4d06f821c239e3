#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"

namespace vorn::devicelisttool {

using Units = std::vector<DeviceList::ExtendedDeviceInfo>;

/// How the table is drawn.
struct TableStyle {
  bool color = false;      ///< emphasise the heading and units with an update
  std::size_t width = 0;   ///< cells to stay within; 0: no limit
  std::size_t height = 0;  ///< lines to stay within; 0: no limit
};

/// The text as one line of at most so many cells; 0: no limit.
[[nodiscard]] std::string FittingLine(const std::string& text, std::size_t width);

/// The units as an aligned table, a line each, or the line that says that there
/// are none. Safe to write to a terminal whatever the units call themselves. What is too
/// wide is cut at the address first; the mark of an update stays.
[[nodiscard]] std::string UnitTable(const Units& units, const TableStyle& style);

}  // namespace vorn::devicelisttool

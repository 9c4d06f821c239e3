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

/// The units as an aligned table, a line each, or the line that says that there
/// are none. Safe to write to a terminal whatever the units call themselves.
[[nodiscard]] std::string UnitTable(const Units& units, const TableStyle& style);

}  // namespace vorn::devicelisttool

#pragma once

#include <string>

#include "vorn-device-list/UnitTable.h"

namespace vorn::devicelisttool {

/// The units as one JSON object on one line, without the line's end:
/// {"units":[{"name","type","url","uid","modelID","firmwareVersion",
/// "latestVersion","updateAvailable"}]}. What is unknown is null; versions are
/// in their text form. Pure ASCII: everything else is escaped, and bytes that
/// are not UTF-8 become U+FFFD.
[[nodiscard]] std::string UnitJson(const Units& units);

}  // namespace vorn::devicelisttool

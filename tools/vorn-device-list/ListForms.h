#pragma once

#include <string>
#include <vector>

#include "devicelist/ExtendedDeviceInfo.h"
#include "vorn-device-list/InterfaceReport.h"
#include "vorn-device-list/TextTable.h"

// The forms of the lists. The tables are safe for a terminal, whatever names contain. JSON is one object on
// one line, without the line's end, in pure ASCII: everything else is escaped, and bytes that are not UTF-8
// become U+FFFD. CSV is a header line and one record for each element, as RFC 4180 says, in UTF-8. What
// SafeText replaces becomes U+FFFD there too, except the line feed, which stays inside quotes.
namespace vorn::devicelisttool {

using Units = std::vector<DeviceList::ExtendedDeviceInfo>;

/// The units as a table, one line each, or the line that says that there are none. A line that is too wide
/// loses the address first. The mark of an update stays.
[[nodiscard]] std::string UnitTable(const Units& units, const TableStyle& style);

/// {"units":[{"name","type","url","uid","modelID","firmwareVersion",
/// "latestVersion","updateAvailable"}]}. What is unknown is null; versions are
/// in their text form.
[[nodiscard]] std::string UnitJson(const Units& units);

/// "name,kind,model,firmware,newest,url,uid,update". The kind is the table's word, what is unknown is empty,
/// and the last field is "true" or "false".
[[nodiscard]] std::string UnitCSV(const Units& units);

/// The unit's kind in one word.
[[nodiscard]] std::string KindWord(const std::string& type);

/// One line for each interface.
[[nodiscard]] std::string InterfaceTable(const Interfaces& interfaces);

/// {"interfaces":[{"name","interface","capable","reason","virtualEntity"}]}: the reason is null if the
/// interface is capable.
[[nodiscard]] std::string InterfaceJson(const Interfaces& interfaces);

/// "name,interface,capable,reason,virtual_entity": the reason is empty if the interface is capable.
[[nodiscard]] std::string InterfaceCSV(const Interfaces& interfaces);

}  // namespace vorn::devicelisttool

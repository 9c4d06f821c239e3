#pragma once

#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "devicelist/Entry.h"

namespace DeviceList {

/// The TXT keys that tell units from other services.
inline constexpr char kKeyKind[] = "vorn.mdns.type";
inline constexpr char kKeyUID[] = "uid";
inline constexpr char kKeyUIDList[] = "uid_list";

/// Whether the service announces units: its kind is one of the three.
[[nodiscard]] bool AnnouncesUnits(const vorn::ZeroConfEngine::ServiceInfo& service);

/// The units that the services announce, in service order: one for a device or
/// a switch, one for each element of a host's "uid_list". Services that are
/// none of the three kinds are skipped. Of several entries with one URL the
/// first stays, so a unit announced on two interfaces is listed once.
[[nodiscard]] std::vector<Entry> EntriesOfServices(
    const std::vector<vorn::ZeroConfEngine::ServiceInfo>& services);

}  // namespace DeviceList

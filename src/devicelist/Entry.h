#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "foundation/Optional.h"

namespace DeviceList {

class LocalHosts;
class Poller;

/// One discovered unit: pollers and the shown list use this record as their key. A plain value, made by the
/// Watcher from DNS-SD data and never changed. All strings are bytes from the network, not necessarily UTF-8.
struct Entry {
  vorn::optional<std::string> name;  ///< service instance name; empty for a unit from a host's uid list
  std::string type;                  ///< the type text of a kind of unit
  std::string url;                   ///< base URL of the unit's web interface, ends in "/"
  std::string uid;                   ///< the unit's unique identifier; may be empty
};

/// True when all four fields are equal, byte for byte.
[[nodiscard]] bool operator==(const Entry& a, const Entry& b);

/// The TXT keys that distinguish units from other services.
inline constexpr char kKeyKind[] = "vorn.mdns.type";
inline constexpr char kKeyUID[] = "uid";
inline constexpr char kKeyUIDList[] = "uid_list";

/// The kinds of unit, as kKeyKind spells them.
inline constexpr char kTypeDevice[] = "plexadevice";  ///< an audio interface
inline constexpr char kTypeHost[] = "plexahost";      ///< a host that stands for several interfaces
inline constexpr char kTypeSwitch[] = "plexaswitch";  ///< an AVB switch

/// Everything that belongs to one kind of unit. A new kind is a row in the table of Entry.cpp and a poller. A
/// row without one of these parts does not compile. No enumerator is zero, so that a forgotten one is
/// detected.
struct UnitKind {
  /// Which units a service of this kind announces.
  enum class Announced {
    kOne = 1,  ///< itself, with the instance name and kKeyUID
    kUIDList,  ///< one without a name for each element of kKeyUIDList, each with a separate page
  };

  /// When a unit is listed.
  enum class Listed {
    kAlways = 1,
    kUnlessAnnouncedItself,  ///< not if a unit of kTypeDevice has the same uid
    kWithSwitches,           ///< only if the user wants switches too
  };

  /// Where a notification opens the unit's web page.
  enum class Page {
    kTop = 1,
    kDeviceSection,  ///< at the section about the device itself
  };

  std::string_view type;    ///< as kKeyKind spells it
  std::string_view words;   ///< what people call it: "audio interface"; a marked text
  std::string_view column;  ///< the same in one word, for a table; a marked text
  std::string_view image;   ///< the name of its drawing
  Announced announced;
  Listed listed;
  Page page;
  std::unique_ptr<Poller> (*makePoller)(Entry entry, std::shared_ptr<const LocalHosts> hosts);
};

/// The kind with this type text; null for none. Any thread.
[[nodiscard]] const UnitKind* KindOf(std::string_view type) noexcept;

}  // namespace DeviceList

#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// The kernel's network interfaces as its device tree shows them, and what udev
/// knows of their hardware. Reads anew at each call; any thread.
class KernelLinks {
 public:
  explicit KernelLinks(std::filesystem::path root = "/sys/class/net",
                       std::filesystem::path descriptions = "/run/udev/data");

  /// Whether the text can be an interface's name at all: names from elsewhere
  /// end up in paths and fixed-size records.
  [[nodiscard]] static bool IsName(const std::string& name);

  /// The names in the order of the interfaces' indexes; empty optional when
  /// the tree is not there.
  [[nodiscard]] optional<std::vector<std::string>> NamesByIndex() const;

  [[nodiscard]] bool Exists(const std::string& name) const;

  /// Whether there is a device behind the interface; the loopback, bridges,
  /// tunnels and pairs have none.
  [[nodiscard]] bool HasHardware(const std::string& name) const;

  /// What udev calls the hardware, from the file that it keeps about it: the
  /// board's own label, else the model, else the maker. Empty where it knows
  /// none of them.
  ///
  /// Label and names are the hardware's own or come from a list, so they are
  /// strangers' text: what is returned is UTF-8 on one line, of at most 64
  /// characters, with single spaces between words. A ":" becomes a space, because
  /// it parts a service's name from its interface's in the virtual entity's items,
  /// where a name with a ":" has none.
  [[nodiscard]] std::string HardwareDescription(const std::string& name) const;

  [[nodiscard]] bool IsWireless(const std::string& name) const;

  [[nodiscard]] std::size_t CountTransmitQueues(const std::string& name) const;

 private:
  [[nodiscard]] bool Has(const std::string& name, const char* entry) const;

  std::filesystem::path fRoot;
  std::filesystem::path fDescriptions;
};

}  // namespace vorn

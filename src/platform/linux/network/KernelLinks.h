#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// The kernel's network interfaces from its device tree, and what udev knows about their hardware. Reads
/// again at each call; any thread.
class KernelLinks {
 public:
  explicit KernelLinks(std::filesystem::path root = "/sys/class/net",
                       std::filesystem::path descriptions = "/run/udev/data");

  /// Whether the text can be an interface's name. Names from elsewhere become parts of paths and of
  /// fixed-size records.
  [[nodiscard]] static bool IsName(const std::string& name);

  /// The names in the order of the interfaces' indexes; empty optional if there is no such tree.
  [[nodiscard]] std::optional<std::vector<std::string>> NamesByIndex() const;

  /// Whether there is a device behind the interface. The loopback, bridges, tunnels and pairs have none.
  [[nodiscard]] bool HasHardware(const std::string& name) const;

  /// The name of the hardware from udev's file about it: the board's own label, otherwise the model,
  /// otherwise the maker. Empty if it knows none of them.
  ///
  /// Label and names come from the hardware or from a list, so they are strangers' text. The result is UTF-8
  /// on one line, of at most 64 characters, with single spaces between words. A ":" becomes a space, because
  /// the virtual entity's items use ":" between a service's name and its interface's, and a name with a ":"
  /// has no item.
  [[nodiscard]] std::string HardwareDescription(const std::string& name) const;

  [[nodiscard]] bool IsWireless(const std::string& name) const;

  [[nodiscard]] std::size_t CountTransmitQueues(const std::string& name) const;

 private:
  [[nodiscard]] bool Has(const std::string& name, const char* entry) const;

  std::filesystem::path fRoot;
  std::filesystem::path fDescriptions;
};

}  // namespace vorn

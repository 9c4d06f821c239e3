#pragma once

#include <linux/ethtool.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "platform/AVBCapability.h"
#include "platform/linux/network/KernelLinks.h"

namespace vorn {

/// What an interface reports about its time stamping; empty optional if there is no such interface. An
/// interface that does not answer stamps nothing. Needs no privilege; any thread; does not block.
[[nodiscard]] std::optional<ethtool_ts_info> ReadTimeStamping(const std::string& interfaceName);

/// Whether that is enough for the time synchronisation of AVB: the hardware stamps sent and received frames
/// with its own PTP clock, and can stamp PTP version 2 messages straight over Ethernet. Adapters that stamp
/// every frame offer no narrower filter, and need none.
[[nodiscard]] bool IsEnoughForAVB(const ethtool_ts_info& stamping);

/// Asks the kernel: a cable, time stamping in hardware, and one transmit queue for each of the two shaped
/// classes and one for ordinary traffic.
class AVBCapabilityLinux final : public AVBCapability {
 public:
  using TimeStampingReader = std::function<std::optional<ethtool_ts_info>(const std::string& interfaceName)>;

  static constexpr std::size_t kTransmitQueuesNeeded = 3;

  explicit AVBCapabilityLinux(KernelLinks links = KernelLinks(),
                              TimeStampingReader readTimeStamping = ReadTimeStamping);

  [[nodiscard]] Answer Query(const std::string& interfaceName) override;

 private:
  const KernelLinks fLinks;
  const TimeStampingReader fReadTimeStamping;
};

}  // namespace vorn

#pragma once

#include <linux/ethtool.h>

#include <cstddef>
#include <functional>
#include <string>

#include "platform/AVBCapability.h"
#include "platform/linux/network/KernelLinks.h"
#include "platform/linux/network/TimeStamping.h"

namespace vorn {

/// Asks the kernel: wired, time stamping in hardware, and a transmit queue for
/// each of the two shaped classes beside one for ordinary traffic.
class AVBCapabilityLinux final : public AVBCapability {
 public:
  using TimeStampingReader = std::function<optional<ethtool_ts_info>(const std::string& interfaceName)>;

  static constexpr std::size_t kTransmitQueuesNeeded = 3;

  explicit AVBCapabilityLinux(KernelLinks links = KernelLinks(),
                              TimeStampingReader readTimeStamping = ReadTimeStamping);

  [[nodiscard]] Answer Query(const std::string& interfaceName) override;

 private:
  const KernelLinks fLinks;
  const TimeStampingReader fReadTimeStamping;
};

}  // namespace vorn

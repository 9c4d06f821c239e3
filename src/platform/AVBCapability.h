#pragma once

#include <string>

namespace vorn {

/// Whether network interfaces can carry AVB.
class AVBCapability {
 public:
  enum class Answer {
    kCapable,
    kNoHardwareTimeStamping,  ///< the hardware does not stamp sent and received frames with its own clock
    kTooFewTransmitQueues,    ///< no room for two shaped classes beside ordinary traffic
    kWireless,                ///< shaped classes need a cable
    kNoSuchInterface,         ///< it has gone, or the name cannot be an interface's
  };

  AVBCapability() = default;
  AVBCapability(const AVBCapability&) = delete;
  AVBCapability& operator=(const AVBCapability&) = delete;
  virtual ~AVBCapability() = default;

  /// Asks the system now; needs no privilege. Any thread; does not block.
  [[nodiscard]] virtual Answer Query(const std::string& interfaceName) = 0;
};

}  // namespace vorn

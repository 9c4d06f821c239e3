#include "platform/linux/network/AVBCapabilityLinux.h"

#include <utility>

namespace vorn {

AVBCapabilityLinux::AVBCapabilityLinux(KernelLinks links, TimeStampingReader readTimeStamping)
    : fLinks(std::move(links)), fReadTimeStamping(std::move(readTimeStamping)) {}

AVBCapability::Answer AVBCapabilityLinux::Query(const std::string& interfaceName) {
  if (!KernelLinks::IsName(interfaceName)) return Answer::kNoSuchInterface;
  const auto stamping = fReadTimeStamping(interfaceName);
  if (!stamping) return Answer::kNoSuchInterface;
  if (fLinks.IsWireless(interfaceName)) return Answer::kWireless;
  if (!IsEnoughForAVB(*stamping)) return Answer::kNoHardwareTimeStamping;
  if (fLinks.CountTransmitQueues(interfaceName) < kTransmitQueuesNeeded) return Answer::kTooFewTransmitQueues;
  return Answer::kCapable;
}

}  // namespace vorn

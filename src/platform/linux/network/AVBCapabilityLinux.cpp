#include "platform/linux/network/AVBCapabilityLinux.h"

#include <linux/net_tstamp.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "foundation/FileDescriptor.h"

namespace vorn {
namespace {

constexpr unsigned Bit(unsigned number) {
  return 1U << number;
}

}  // namespace

std::optional<ethtool_ts_info> ReadTimeStamping(const std::string& interfaceName) {
  ethtool_ts_info stamping{};
  stamping.cmd = ETHTOOL_GET_TS_INFO;
  ifreq request{};
  if (interfaceName.size() >= sizeof request.ifr_name) return {};
  interfaceName.copy(request.ifr_name, sizeof request.ifr_name - 1);
  request.ifr_data = reinterpret_cast<char*>(&stamping);

  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (::ioctl(socket.Get(), SIOCETHTOOL, &request) == 0) return stamping;
  if (errno == ENODEV) return {};
  return ethtool_ts_info{};
}

bool IsEnoughForAVB(const ethtool_ts_info& stamping) {
  constexpr unsigned kStamps =
      SOF_TIMESTAMPING_TX_HARDWARE | SOF_TIMESTAMPING_RX_HARDWARE | SOF_TIMESTAMPING_RAW_HARDWARE;
  constexpr unsigned kFilters =
      Bit(HWTSTAMP_FILTER_ALL) | Bit(HWTSTAMP_FILTER_PTP_V2_EVENT) | Bit(HWTSTAMP_FILTER_PTP_V2_L2_EVENT);
  return (stamping.so_timestamping & kStamps) == kStamps && stamping.phc_index >= 0 &&
         (stamping.tx_types & Bit(HWTSTAMP_TX_ON)) != 0 && (stamping.rx_filters & kFilters) != 0;
}

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

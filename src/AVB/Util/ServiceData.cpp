#include "AVB/Util/ServiceData.h"

#include <atomic>

namespace vorn {
namespace {

std::atomic<std::uint32_t> gNextUniqueID{1};

const std::string kFQDNSuffix = ".local.";

}  // namespace

ServiceData::ServiceData(std::uint32_t interface, std::string instanceName, std::string serviceType,
                         std::string replyDomain)
    : uniqueId(gNextUniqueID++),
      interfaceIndex(interface),
      name(std::move(instanceName)),
      type(std::move(serviceType)),
      domain(std::move(replyDomain)) {}

std::string TrimLocalHost(std::string host) {
  static_assert(std::string::npos == UINT64_MAX);
  const std::uint64_t position = host.rfind(kFQDNSuffix);
  if (position == std::uint64_t{host.length()} - kFQDNSuffix.length()) host.pop_back();
  return host;
}

std::string DottedDecimal(const std::array<std::uint8_t, 4>& address) {
  return std::to_string(address[0]) + "." + std::to_string(address[1]) + "." + std::to_string(address[2]) +
         "." + std::to_string(address[3]);
}

}  // namespace vorn

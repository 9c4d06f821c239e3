#include "devicelist/LocalHosts.h"

#include <arpa/inet.h>

#include <algorithm>

#include "foundation/ASCII.h"

namespace DeviceList {
namespace {

constexpr std::string_view kLocalSuffix = ".local";

std::string_view WithoutFinalDot(std::string_view host) {
  if (!host.empty() && host.back() == '.') host.remove_suffix(1);
  return host;
}

bool IsAddress(const std::string& text) {
  in_addr address{};
  return text.find('\0') == std::string::npos && inet_pton(AF_INET, text.c_str(), &address) == 1;
}

}  // namespace

bool LocalHosts::IsLocal(std::string_view host) {
  host = WithoutFinalDot(host);
  return host.size() > kLocalSuffix.size() &&
         vorn::EqualIgnoringASCIICase(host.substr(host.size() - kLocalSuffix.size()), kLocalSuffix);
}

void LocalHosts::Replace(const Table& table) {
  Table fresh;
  for (const auto& [host, addresses] : table) {
    if (!IsLocal(host)) continue;
    auto& known = fresh[vorn::LowerASCII(WithoutFinalDot(host))];
    for (const auto& address : addresses) {
      if (known.size() >= kMaxAddresses) break;
      if (IsAddress(address) && std::find(known.begin(), known.end(), address) == known.end())
        known.push_back(address);
    }
  }
  const std::lock_guard lock(fMutex);
  fTable.swap(fresh);
}

std::vector<std::string> LocalHosts::AddressesOf(std::string_view host) const {
  if (!IsLocal(host)) return {};
  const auto key = vorn::LowerASCII(WithoutFinalDot(host));
  const std::lock_guard lock(fMutex);
  const auto found = fTable.find(key);
  return found == fTable.end() ? std::vector<std::string>() : found->second;
}

}  // namespace DeviceList

#include "devicelist/http/LocalHosts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>

#include "foundation/Strings.h"

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

/// Calls with each host whose addresses differ. Both tables are sorted, so one walk along both finds them.
template <typename Call>
void ForEachDifference(const LocalHosts::Table& before, const LocalHosts::Table& after, const Call& call) {
  auto old = before.begin();
  for (const auto& [host, addresses] : after) {
    for (; old != before.end() && old->first < host; ++old) call(old->first);
    const bool known = old != before.end() && old->first == host;
    if (!known || old->second != addresses) call(host);
    if (known) ++old;
  }
  for (; old != before.end(); ++old) call(old->first);
}

}  // namespace

bool LocalHosts::IsLocal(std::string_view host) {
  host = WithoutFinalDot(host);
  return host.size() > kLocalSuffix.size() &&
         vorn::EqualIgnoringASCIICase(host.substr(host.size() - kLocalSuffix.size()), kLocalSuffix);
}

std::string LocalHosts::KeyOf(std::string_view host) {
  return vorn::LowerASCII(WithoutFinalDot(host));
}

bool LocalHosts::IsSameName(std::string_view one, std::string_view other) {
  return vorn::EqualIgnoringASCIICase(WithoutFinalDot(one), WithoutFinalDot(other));
}

LocalHosts::Subscription::Subscription(std::shared_ptr<const LocalHosts> hosts, std::string_view host,
                                       Changed changed)
    : fHosts(std::move(hosts)) {
  const std::lock_guard lock(fHosts->fMutex);
  fListener = fHosts->fListeners.emplace(KeyOf(host), std::move(changed));
}

LocalHosts::Subscription::~Subscription() {
  const std::lock_guard lock(fHosts->fMutex);
  fHosts->fListeners.erase(fListener);
}

void LocalHosts::CallListenersOf(const std::string& key) const {
  const auto [first, last] = fListeners.equal_range(key);
  for (auto one = first; one != last; ++one) one->second();
}

void LocalHosts::Replace(const Table& table) {
  Table fresh;
  for (const auto& [host, addresses] : table) {
    if (!IsLocal(host)) continue;
    auto& known = fresh[KeyOf(host)];
    for (const auto& address : addresses) {
      if (known.size() >= kMaxAddresses) break;
      if (IsAddress(address) && std::find(known.begin(), known.end(), address) == known.end())
        known.push_back(address);
    }
  }
  const std::lock_guard lock(fMutex);
  fTable.swap(fresh);
  ForEachDifference(fresh, fTable, [this](const std::string& key) { CallListenersOf(key); });
}

std::vector<std::string> LocalHosts::AddressesOf(std::string_view host) const {
  if (!IsLocal(host)) return {};
  const auto key = KeyOf(host);
  const std::lock_guard lock(fMutex);
  const auto found = fTable.find(key);
  return found == fTable.end() ? std::vector<std::string>() : found->second;
}

}  // namespace DeviceList

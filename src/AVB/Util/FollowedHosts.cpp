#include "AVB/Util/FollowedHosts.h"

#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace vorn {

FollowedHosts::FollowedHosts(DNSSD& dnssd, Now now, std::function<void()> onChanged)
    : fDnssd(dnssd), fNow(std::move(now)), fOnChanged(std::move(onChanged)) {}

void FollowedHosts::Follow(std::vector<std::string> hosts) {
  const std::lock_guard lock(fMutex);
  if (hosts.size() > kMaxHosts) {
    std::stable_partition(hosts.begin(), hosts.end(), [this](const std::string& host) {
      return std::binary_search(fWanted.begin(), fWanted.end(), host);
    });
    hosts.resize(kMaxHosts);
  }
  std::sort(hosts.begin(), hosts.end());
  if (hosts == fWanted) return;
  fWanted = std::move(hosts);
  fWantedChanged = true;
}

FollowedHosts::ByHost FollowedHosts::Addresses() const {
  const std::lock_guard lock(fMutex);
  return fAddresses;
}

void FollowedHosts::Serve(std::size_t mayBegin) {
  TakeWanted();
  if (fHosts.empty()) return;
  const Moment now = fNow();
  for (auto& [name, host] : fHosts) {
    if (!host.lookup && mayBegin > 0 && host.nextTry <= now) {
      --mayBegin;
      Begin(name, host);
    }
    if (host.isComplete || host.known.empty() || now < host.completeAt) continue;
    Publish(name, host, true);
    host.isComplete = true;  // only now, so that the next cycle publishes it if memory was missing
  }
}

void FollowedHosts::TakeWanted() {
  std::vector<std::string> wanted;
  {
    const std::lock_guard lock(fMutex);
    if (!fWantedChanged) return;
    wanted = fWanted;
  }
  ForgetUnwanted(wanted);
  for (const std::string& name : wanted) fHosts.try_emplace(name);
  const std::lock_guard lock(fMutex);  // last, so that it is repeated if memory was missing
  if (wanted == fWanted) fWantedChanged = false;
}

void FollowedHosts::ForgetUnwanted(const std::vector<std::string>& wanted) {
  const auto isUnwanted = [&](const auto& entry) {
    return !std::binary_search(wanted.begin(), wanted.end(), entry.first);
  };
  std::erase_if(fHosts, isUnwanted);
  const std::lock_guard lock(fMutex);
  std::erase_if(fAddresses, isUnwanted);
}

void FollowedHosts::Begin(const std::string& name, Host& host) {
  host.nextTry = fNow() + kRetryTime;
  if (!Connect()) return;
  DNSServiceRef ref = fConnection.Get();
  const DNSServiceErrorType error = fDnssd.GetAddrInfo(
      &ref, kDNSServiceFlagsShareConnection, 0, kDNSServiceProtocol_IPv4, (name + ".").c_str(), ReplyS, this);
  if (error == kDNSServiceErr_NoError) host.lookup = OperationHandle(fDnssd, ref);
}

bool FollowedHosts::Connect() {
  if (fConnection) return true;
  DNSServiceRef ref = nullptr;
  if (fDnssd.CreateConnection(&ref) != kDNSServiceErr_NoError) return false;
  fConnection = OperationHandle(fDnssd, ref);
  fSocket = fDnssd.RefSockFD(ref);
  return true;
}

void FollowedHosts::Release() {
  fHosts.clear();
  fConnection.Reset();
}

void FollowedHosts::ReplyS(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                           DNSServiceErrorType error, const char* /*host*/, const sockaddr* address,
                           std::uint32_t /*timeToLive*/, void* context) {
  if (context != nullptr)
    static_cast<FollowedHosts*>(context)->Reply(ref, flags, interfaceIndex, error, address);
}

void FollowedHosts::Reply(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                          DNSServiceErrorType error, const sockaddr* address) noexcept {
  const auto found = std::find_if(fHosts.begin(), fHosts.end(),
                                  [&](const auto& entry) { return entry.second.lookup.Get() == ref; });
  if (ref == nullptr || found == fHosts.end()) return;
  Host& host = found->second;
  if (error == kDNSServiceErr_NoError) {
    try {
      TakeAddress(found->first, host, flags, interfaceIndex, address);
      return;
    } catch (...) {  // no memory: a new look-up reports all addresses again
    }
  }
  host.lookup.Reset();
  host.isGone = true;  // removals in the meantime are not reported: everything stays until the next address,
                       // and no longer
  host.nextTry = fNow() + kRetryTime;
}

void FollowedHosts::TakeAddress(const std::string& name, Host& host, DNSServiceFlags flags,
                                std::uint32_t interfaceIndex, const sockaddr* address) {
  if (address == nullptr || address->sa_family != AF_INET) return;
  sockaddr_in ipv4{};
  std::memcpy(&ipv4, address, sizeof ipv4);
  Known known{{}, interfaceIndex};
  std::memcpy(known.address.data(), &ipv4.sin_addr, known.address.size());
  if ((flags & kDNSServiceFlagsAdd) != 0) {
    Add(host, known);
  } else {
    Remove(host, known);
  }
  Publish(name, host, host.isComplete);
}

void FollowedHosts::Add(Host& host, const Known& known) const {
  if (host.known.empty()) host.completeAt = fNow() + kCompleteTime;
  if (std::exchange(host.isGone, false)) host.known.clear();
  if (std::find(host.known.begin(), host.known.end(), known) != host.known.end()) return;
  // An address is no newer because another interface reports it too.
  const auto same = std::find_if(host.known.begin(), host.known.end(),
                                 [&](const Known& other) { return other.address == known.address; });
  host.known.insert(same == host.known.end() ? host.known.begin() : same + 1, known);
  if (host.known.size() > kMaxAddresses) host.known.pop_back();
}

void FollowedHosts::Remove(Host& host, const Known& known) {
  if (host.known.size() > 1) {
    std::erase(host.known, known);
  } else if (!host.known.empty() && host.known.front() == known) {
    host.isGone = true;
  }
}

void FollowedHosts::Publish(const std::string& name, Host& host, bool isComplete) {
  if (host.known.empty()) return;
  HostAddresses fresh;
  fresh.isComplete = isComplete;
  for (const Known& known : host.known) {
    std::string text = DottedDecimal(known.address);
    if (std::find(fresh.addresses.begin(), fresh.addresses.end(), text) == fresh.addresses.end()) {
      fresh.addresses.push_back(std::move(text));
    }
  }
  {
    const std::lock_guard lock(fMutex);
    HostAddresses& published = fAddresses[name];
    if (published == fresh && !host.isUntold) return;
    std::swap(published, fresh);
  }
  host.isUntold = true;
  fOnChanged();
  host.isUntold = false;
}

}  // namespace vorn

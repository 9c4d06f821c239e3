#include "AVB/Util/SystemDNSSD.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "AVB/Util/AvahiOperations.h"
#include "AVB/Util/AvahiSession.h"

namespace vorn {

/// The operations that share a descriptor.
struct SystemDNSSD::Connection {
  const std::shared_ptr<ReplySignal> signal = std::make_shared<ReplySignal>();
  std::vector<Held*> operations;
};

SystemDNSSD& SystemDNSSD::Instance() {
  static auto* instance = new SystemDNSSD;
  return *instance;
}

// The compatibility library warns on the console against its own use, even if it only reads TXT records.
SystemDNSSD::SystemDNSSD() {
  ::setenv("AVAHI_COMPAT_NOWARN", "1", 1);
}

SystemDNSSD::~SystemDNSSD() = default;

std::shared_ptr<AvahiSession> SystemDNSSD::Session() {
  const std::lock_guard lock(fMutex);
  auto session = fSession.lock();
  if (!session) fSession = session = std::make_shared<AvahiSession>(fAbandonedThreads);
  return session;
}

DNSServiceErrorType SystemDNSSD::CreateConnection(DNSServiceRef* ref) {
  *ref = nullptr;
  try {
    auto held = std::make_unique<Held>(Held{std::make_shared<Connection>(), nullptr, nullptr});
    *ref = reinterpret_cast<DNSServiceRef>(held.release());
  } catch (const std::system_error&) {  // no descriptor left
    return kDNSServiceErr_NoMemory;
  }
  return kDNSServiceErr_NoError;
}

template <typename Kind, typename... Arguments>
DNSServiceErrorType SystemDNSSD::Start(DNSServiceRef* ref, DNSServiceFlags flags, Arguments... arguments) {
  DNSServiceRef shared = std::exchange(*ref, nullptr);
  const bool isShared = (flags & kDNSServiceFlagsShareConnection) != 0;
  try {
    const auto connection = isShared ? Of(shared).connection : std::make_shared<Connection>();
    auto held = std::make_unique<Held>(
        Held{connection, std::make_shared<Kind>(connection->signal, arguments...), Session()});
    connection->operations.reserve(connection->operations.size() + 1);
    held->session->Begin(held->operation);
    connection->operations.push_back(held.get());
    *ref = reinterpret_cast<DNSServiceRef>(held.release());
  } catch (const std::system_error&) {  // no descriptor or no thread left
    return kDNSServiceErr_NoMemory;
  }
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType SystemDNSSD::Browse(DNSServiceRef* ref, DNSServiceFlags flags,
                                        std::uint32_t interfaceIndex, const char* type, const char* domain,
                                        DNSServiceBrowseReply callback, void* context) {
  DNSServiceErrorType error =
      Start<BrowseOperation>(ref, flags, interfaceIndex, type, domain, callback, context);
  if (error != kDNSServiceErr_NoError) return error;
  error = Of(*ref).operation->WaitUntilBegun(kBrowseTime);
  if (error != kDNSServiceErr_NoError) RefDeallocate(std::exchange(*ref, nullptr));
  return error;
}

DNSServiceErrorType SystemDNSSD::Resolve(DNSServiceRef* ref, DNSServiceFlags flags,
                                         std::uint32_t interfaceIndex, const char* name, const char* type,
                                         const char* domain, DNSServiceResolveReply callback, void* context) {
  return Start<ResolveOperation>(ref, flags, interfaceIndex, name, type, domain, callback, context);
}

DNSServiceErrorType SystemDNSSD::GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags,
                                             std::uint32_t interfaceIndex, std::uint32_t protocol,
                                             const char* hostName, DNSServiceGetAddrInfoReply callback,
                                             void* context) {
  if (protocol != kDNSServiceProtocol_IPv4) {
    *ref = nullptr;
    return kDNSServiceErr_Unsupported;
  }
  return Start<AddressOperation>(ref, flags, interfaceIndex, hostName, callback, context);
}

bool SystemDNSSD::HasBegun(DNSServiceRef ref) {
  return Of(ref).operation->HasBegun();
}

int SystemDNSSD::RefSockFD(DNSServiceRef ref) {
  return Of(ref).connection->signal->Descriptor();
}

// A callback may deallocate any operation, so the list is a copy.
DNSServiceErrorType SystemDNSSD::ProcessResult(DNSServiceRef ref) {
  const std::shared_ptr<Connection> connection = Of(ref).connection;
  DNSServiceErrorType result = kDNSServiceErr_NoError;
  for (Held* const held : std::vector<Held*>(connection->operations)) {
    if (std::ranges::find(connection->operations, held) == connection->operations.end()) continue;
    const std::shared_ptr<Operation> operation = held->operation;
    const DNSServiceErrorType error = operation->Deliver(reinterpret_cast<DNSServiceRef>(held));
    if (error != kDNSServiceErr_NoError) result = error;
  }
  return result;
}

void SystemDNSSD::RefDeallocate(DNSServiceRef ref) {
  const std::unique_ptr<Held> held(&Of(ref));
  if (!held->operation) return;
  std::erase(held->connection->operations, held.get());
  held->session->End(*held->operation);
}

}  // namespace vorn

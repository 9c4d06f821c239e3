#include "AVB/Util/SystemDNSSD.h"

#include <cstdlib>
#include <system_error>
#include <utility>

#include "AVB/Util/AvahiOperations.h"
#include "AVB/Util/AvahiSession.h"

namespace vorn {

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

template <typename Kind, typename... Arguments>
DNSServiceErrorType SystemDNSSD::Start(DNSServiceRef* ref, Arguments... arguments) {
  *ref = nullptr;
  try {
    auto held = std::make_unique<Held>(Held{std::make_shared<Kind>(arguments...), Session()});
    held->session->Begin(held->operation);
    *ref = reinterpret_cast<DNSServiceRef>(held.release());
  } catch (const std::system_error&) {  // no descriptor or no thread left
    return kDNSServiceErr_NoMemory;
  }
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType SystemDNSSD::Browse(DNSServiceRef* ref, DNSServiceFlags /*flags*/,
                                        std::uint32_t interfaceIndex, const char* type, const char* domain,
                                        DNSServiceBrowseReply callback, void* context) {
  DNSServiceErrorType error = Start<BrowseOperation>(ref, interfaceIndex, type, domain, callback, context);
  if (error != kDNSServiceErr_NoError) return error;
  error = Of(*ref).operation->WaitUntilBegun(kBrowseTime);
  if (error != kDNSServiceErr_NoError) RefDeallocate(std::exchange(*ref, nullptr));
  return error;
}

DNSServiceErrorType SystemDNSSD::Resolve(DNSServiceRef* ref, DNSServiceFlags /*flags*/,
                                         std::uint32_t interfaceIndex, const char* name, const char* type,
                                         const char* domain, DNSServiceResolveReply callback, void* context) {
  return Start<ResolveOperation>(ref, interfaceIndex, name, type, domain, callback, context);
}

DNSServiceErrorType SystemDNSSD::GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags /*flags*/,
                                             std::uint32_t interfaceIndex, std::uint32_t protocol,
                                             const char* hostName, DNSServiceGetAddrInfoReply callback,
                                             void* context) {
  *ref = nullptr;
  if (protocol != kDNSServiceProtocol_IPv4) return kDNSServiceErr_Unsupported;
  return Start<AddressOperation>(ref, interfaceIndex, hostName, callback, context);
}

bool SystemDNSSD::HasBegun(DNSServiceRef ref) {
  return Of(ref).operation->HasBegun();
}

int SystemDNSSD::RefSockFD(DNSServiceRef ref) {
  return Of(ref).operation->Socket();
}

DNSServiceErrorType SystemDNSSD::ProcessResult(DNSServiceRef ref) {
  const std::shared_ptr<Operation> operation = Of(ref).operation;  // the callback may deallocate it
  return operation->Deliver(ref);
}

void SystemDNSSD::RefDeallocate(DNSServiceRef ref) {
  const std::unique_ptr<Held> held(&Of(ref));
  held->session->End(*held->operation);
}

}  // namespace vorn

#include "AVB/Util/SystemDNSSD.h"

#include <avahi-common/malloc.h>
#include <netinet/in.h>

#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "AVB/Util/AddressSession.h"

namespace vorn {
namespace {

void* AllocateZeroed(std::size_t size) {
  return std::calloc(1, size);
}

const AvahiAllocator kZeroingAllocator{AllocateZeroed, std::free, std::realloc, std::calloc};

enum class Kind { kBrowse, kResolve, kAddress };

}  // namespace

// What the library gets as context. Trampolines copy what they need before
// they call out, because the callback may deallocate the operation.
struct SystemDNSSD::Operation {
  Kind kind;
  void* context;
  DNSServiceBrowseReply browse = nullptr;
  DNSServiceResolveReply resolve = nullptr;
  DNSServiceGetAddrInfoReply address = nullptr;
  std::shared_ptr<AddressLookup> lookup = nullptr;

  static const Operation* Checked(void* tagged, Kind expected) {
    const auto* operation = static_cast<const Operation*>(tagged);
    return operation != nullptr && operation->kind == expected ? operation : nullptr;
  }

  static void OnBrowse(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                       DNSServiceErrorType error, const char* name, const char* type, const char* domain,
                       void* tagged) {
    const Operation* operation = Checked(tagged, Kind::kBrowse);
    if (operation == nullptr) return;
    operation->browse(ref, flags, interfaceIndex, error, name, type, domain, operation->context);
  }

  static void OnResolve(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                        DNSServiceErrorType error, const char* fullName, const char* host, std::uint16_t port,
                        std::uint16_t txtLength, const unsigned char* txt, void* tagged) {
    const Operation* operation = Checked(tagged, Kind::kResolve);
    if (operation == nullptr) return;
    operation->resolve(ref, flags, interfaceIndex, error, fullName, host, port, txtLength, txt,
                       operation->context);
  }
};

SystemDNSSD& SystemDNSSD::Instance() {
  static auto* instance = new SystemDNSSD;
  return *instance;
}

SystemDNSSD::SystemDNSSD() {
  ::setenv("AVAHI_COMPAT_NOWARN", "1", 1);
  ::avahi_set_allocator(&kZeroingAllocator);
}

SystemDNSSD::~SystemDNSSD() = default;

template <typename Start>
DNSServiceErrorType SystemDNSSD::StartOperation(DNSServiceRef* ref, std::unique_ptr<Operation> operation,
                                                Start start) {
  *ref = nullptr;
  // The place in the table is made first: once the library has the context,
  // nothing may fail any more.
  Operations place;
  place.emplace(nullptr, std::move(operation));
  auto node = place.extract(place.begin());
  const DNSServiceErrorType error = start(ref, node.mapped().get());
  if (error == kDNSServiceErr_NoError && *ref != nullptr) {
    node.key() = *ref;
    const std::lock_guard lock(fMutex);
    Insert(std::move(node));
  }
  return error;
}

void SystemDNSSD::Insert(Operations::node_type operation) {
  if (operation.mapped()->kind != Kind::kBrowse) ++fLookups;
  fOperations.insert(std::move(operation));
}

DNSServiceErrorType SystemDNSSD::Browse(DNSServiceRef* ref, DNSServiceFlags flags,
                                        std::uint32_t interfaceIndex, const char* type, const char* domain,
                                        DNSServiceBrowseReply callback, void* context) {
  auto operation = std::make_unique<Operation>(Operation{Kind::kBrowse, context});
  operation->browse = callback;
  return StartOperation(ref, std::move(operation), [&](DNSServiceRef* out, void* tagged) {
    return ::DNSServiceBrowse(out, flags, interfaceIndex, type, domain, Operation::OnBrowse, tagged);
  });
}

DNSServiceErrorType SystemDNSSD::Resolve(DNSServiceRef* ref, DNSServiceFlags flags,
                                         std::uint32_t interfaceIndex, const char* name, const char* type,
                                         const char* domain, DNSServiceResolveReply callback, void* context) {
  auto operation = std::make_unique<Operation>(Operation{Kind::kResolve, context});
  operation->resolve = callback;
  return StartOperation(ref, std::move(operation), [&](DNSServiceRef* out, void* tagged) {
    return ::DNSServiceResolve(out, flags, interfaceIndex, name, type, domain, Operation::OnResolve, tagged);
  });
}

DNSServiceErrorType SystemDNSSD::GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags /*flags*/,
                                             std::uint32_t interfaceIndex, std::uint32_t protocol,
                                             const char* hostName, DNSServiceGetAddrInfoReply callback,
                                             void* context) {
  *ref = nullptr;
  if (protocol != kDNSServiceProtocol_IPv4) return kDNSServiceErr_Unsupported;
  auto operation = std::make_unique<Operation>(Operation{Kind::kAddress, context});
  operation->address = callback;
  const auto lookup = std::make_shared<AddressLookup>(interfaceIndex, hostName);
  if (lookup->Socket() < 0) return kDNSServiceErr_NoMemory;
  operation->lookup = lookup;
  try {
    // The library has no part in it, so its own place in memory is its reference.
    const auto own = reinterpret_cast<DNSServiceRef>(operation.get());
    Operations place;
    place.emplace(own, std::move(operation));
    const std::lock_guard lock(fMutex);
    if (!fSession) fSession = std::make_unique<AddressSession>();
    fSession->Begin(lookup);
    Insert(place.extract(place.begin()));
    *ref = own;
  } catch (const std::system_error&) {  // no descriptor or no thread to be had
    return kDNSServiceErr_NoMemory;
  }
  return kDNSServiceErr_NoError;
}

std::optional<SystemDNSSD::Operation> SystemDNSSD::FindAddressOperation(DNSServiceRef ref) {
  const std::lock_guard lock(fMutex);
  const auto found = fOperations.find(ref);
  if (found == fOperations.end() || found->second->kind != Kind::kAddress) return std::nullopt;
  return *found->second;
}

int SystemDNSSD::RefSockFD(DNSServiceRef ref) {
  const auto operation = FindAddressOperation(ref);
  return operation ? operation->lookup->Socket() : ::DNSServiceRefSockFD(ref);
}

DNSServiceErrorType SystemDNSSD::ProcessResult(DNSServiceRef ref) {
  const auto operation = FindAddressOperation(ref);  // a copy: the callback may deallocate it
  if (!operation) return ::DNSServiceProcessResult(ref);
  const auto answer = operation->lookup->Take();
  if (!answer) return kDNSServiceErr_NoError;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (answer->address) address.sin_addr = *answer->address;
  operation->address(
      ref, answer->flags, answer->interfaceIndex, answer->error, operation->lookup->HostName().c_str(),
      answer->address ? reinterpret_cast<const sockaddr*>(&address) : nullptr, 0, operation->context);
  return kDNSServiceErr_NoError;
}

void SystemDNSSD::RefDeallocate(DNSServiceRef ref) {
  // Taken out before the library frees the reference, whose address another
  // thread's operation may get at once; destroyed after. So is a session that
  // nobody needs any more, because its end may wait for the responder.
  Operations::node_type operation;
  std::unique_ptr<AddressSession> unneeded;
  bool isAddress = false;
  {
    const std::lock_guard lock(fMutex);
    operation = fOperations.extract(ref);
    isAddress = !operation.empty() && operation.mapped()->kind == Kind::kAddress;
    if (isAddress && !operation.mapped()->lookup->Settled()) {
      operation.mapped()->lookup->GiveUp();
      fSession->Wake();
    }
    const bool isBrowse = operation.empty() || operation.mapped()->kind == Kind::kBrowse;
    if (!isBrowse && --fLookups == 0) unneeded = std::move(fSession);
  }
  if (!isAddress) ::DNSServiceRefDeallocate(ref);
}

}  // namespace vorn

#include "AVB/Util/SystemDNSSD.h"

#include <avahi-common/malloc.h>
#include <netinet/in.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace vorn {
namespace {

constexpr std::uint16_t kRecordTypeA = 1;
constexpr std::uint16_t kRecordClassIN = 1;

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

  static void OnRecord(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                       DNSServiceErrorType error, const char* fullName, std::uint16_t type,
                       std::uint16_t /*class*/, std::uint16_t length, const void* data,
                       std::uint32_t timeToLive, void* tagged) {
    const Operation* operation = Checked(tagged, Kind::kAddress);
    if (operation == nullptr) return;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    const bool usable = type == kRecordTypeA && data != nullptr && length == sizeof address.sin_addr;
    if (usable) std::memcpy(&address.sin_addr, data, sizeof address.sin_addr);
    operation->address(ref, flags, interfaceIndex, error, fullName,
                       usable ? reinterpret_cast<const sockaddr*>(&address) : nullptr, timeToLive,
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
    fOperations.insert(std::move(node));
  }
  return error;
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
  return StartOperation(ref, std::move(operation), [&](DNSServiceRef* out, void* tagged) {
    return ::DNSServiceQueryRecord(out, 0, interfaceIndex, hostName, kRecordTypeA, kRecordClassIN,
                                   Operation::OnRecord, tagged);
  });
}

int SystemDNSSD::RefSockFD(DNSServiceRef ref) {
  return ::DNSServiceRefSockFD(ref);
}

DNSServiceErrorType SystemDNSSD::ProcessResult(DNSServiceRef ref) {
  return ::DNSServiceProcessResult(ref);
}

void SystemDNSSD::RefDeallocate(DNSServiceRef ref) {
  // Taken out before the library frees the reference, whose address another
  // thread's operation may get at once; destroyed after.
  Operations::node_type operation;
  {
    const std::lock_guard lock(fMutex);
    operation = fOperations.extract(ref);
  }
  ::DNSServiceRefDeallocate(ref);
}

}  // namespace vorn

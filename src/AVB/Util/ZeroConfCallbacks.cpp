// The engine's replies from the DNS-SD library, all on the service thread.

#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "AVB/Util/ZeroConfImpl.h"
#include "foundation/Log.h"

namespace vorn {
namespace {

// Messages keep the place names that support staff know.
constexpr char kLogFile[] = "AVB/Util/ZeroConf.cpp";

void LogException(int line, const char* message) {
  if (Log::details::g_runtime_level > Log::kError) return;
  Log::details::Log(Log::kError, kLogFile, line, "", "%s", message);
}

}  // namespace

void ZeroConfEngine::Impl::BrowseCallbackS(DNSServiceRef /*ref*/, DNSServiceFlags flags,
                                           std::uint32_t interfaceIndex, DNSServiceErrorType error,
                                           const char* name, const char* type, const char* domain,
                                           void* context) {
  if (context == nullptr) return;
  try {
    static_cast<Impl*>(context)->BrowseCallback(flags, interfaceIndex, error, name, type, domain);
  } catch (...) {
    LogException(332, "exception in BrowseCallback");
  }
}

void ZeroConfEngine::Impl::ResolveCallbackS(DNSServiceRef ref, DNSServiceFlags /*flags*/,
                                            std::uint32_t interfaceIndex, DNSServiceErrorType error,
                                            const char* fullName, const char* host, std::uint16_t port,
                                            std::uint16_t txtLength, const unsigned char* txt,
                                            void* context) {
  if (context == nullptr) return;
  try {
    static_cast<Impl*>(context)->ResolveCallback(ref, interfaceIndex, error, fullName, host, port, txtLength,
                                                 txt);
  } catch (...) {
    LogException(413, "exception in ResolveCallback");
  }
}

void ZeroConfEngine::Impl::GetAddrInfoCallbackS(DNSServiceRef ref, DNSServiceFlags flags,
                                                std::uint32_t /*interfaceIndex*/, DNSServiceErrorType error,
                                                const char* /*host*/, const sockaddr* address,
                                                std::uint32_t /*timeToLive*/, void* context) {
  if (context == nullptr) return;
  try {
    static_cast<Impl*>(context)->GetAddrInfoCallback(ref, flags, error, address);
  } catch (...) {
    LogException(516, "exception in GetAddrInfoCallback");
  }
}

void ZeroConfEngine::Impl::BrowseCallback(DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                          DNSServiceErrorType error, const char* name, const char* type,
                                          const char* domain) {
  if (error != kDNSServiceErr_NoError) return;
  if ((flags & kDNSServiceFlagsAdd) != 0) {
    AddService(std::make_unique<ServiceData>(interfaceIndex, Text(name), Text(type), Text(domain)));
  } else {
    RemoveService(Text(name));
  }
}

void ZeroConfEngine::Impl::RemoveService(const std::string& name) {
  std::unique_ptr<ServiceData> removed;  // its operations are deallocated after the mutex
  const std::lock_guard lock(fMutex);
  removed = Remove(name);
}

std::unique_ptr<ServiceData> ZeroConfEngine::Impl::Remove(const std::string& name) {
  const auto found = std::find_if(fRecords.begin(), fRecords.end(),
                                  [&](const auto& record) { return record->name == name; });
  if (found == fRecords.end()) return nullptr;
  auto removed = Take(found->get());
  MarkModified();
  return removed;
}

std::unique_ptr<ServiceData> ZeroConfEngine::Impl::Take(const ServiceData* record) {
  std::erase(fWaiting, record);
  std::erase(fGaveWay, record);
  const auto found =
      std::find_if(fRecords.begin(), fRecords.end(), [&](const auto& held) { return held.get() == record; });
  auto taken = std::move(*found);
  fRecords.erase(found);
  return taken;
}

ServiceData* ZeroConfEngine::Impl::FindByRef(DNSServiceRef ref) {
  if (ref == nullptr) return nullptr;
  const auto found = std::find_if(fRecords.begin(), fRecords.end(), [&](const auto& record) {
    return record->resolveRef.Get() == ref || record->addressRef.Get() == ref;
  });
  return found == fRecords.end() ? nullptr : found->get();
}

// The record stays, unresolved. Its look-up would only take room at the responder.
void ZeroConfEngine::Impl::ReleaseFailed(DNSServiceRef ref) {
  OperationHandle resolve;  // both are deallocated after the mutex
  OperationHandle lookup;
  const std::lock_guard lock(fMutex);
  ServiceData* record = FindByRef(ref);
  if (record == nullptr) return;
  resolve = std::move(record->resolveRef);
  lookup = std::move(record->addressRef);
}

void ZeroConfEngine::Impl::MarkModified() {
  fModified = true;
  if (fItem != nullptr) fItem->Queue();
}

void ZeroConfEngine::Impl::ResolveCallback(DNSServiceRef ref, std::uint32_t interfaceIndex,
                                           DNSServiceErrorType error, const char* fullName, const char* host,
                                           std::uint16_t port, std::uint16_t txtLength,
                                           const unsigned char* txt) {
  if (error != kDNSServiceErr_NoError) return ReleaseFailed(ref);
  auto items = ReadTxtRecord(txtLength, txt);  // before the mutex, because a hostile record takes long
  ServiceData* record = nullptr;
  {
    const std::lock_guard lock(fMutex);
    record = FindByRef(ref);
    if (record == nullptr) return;
    record->resolved = false;
    record->fullName = Text(fullName);
    record->hostTarget = Text(host);
    record->host = TrimLocalHost(record->hostTarget);
    record->port = ntohs(port);
    record->txt.insert(record->txt.end(), std::make_move_iterator(items.begin()),
                       std::make_move_iterator(items.end()));
    record->lookup = ServiceData::Lookup::kAddress;
    record->addressInterface = interfaceIndex;
  }
  // Only this thread removes records, so the pointer stays valid without the mutex, and no client waits for a
  // slow responder.
  StartAddressLookup(*record);
  OperationHandle resolve;  // deallocated after the mutex; one resolve, one answer
  const std::lock_guard lock(fMutex);
  resolve = std::move(record->resolveRef);
}

void ZeroConfEngine::Impl::GetAddrInfoCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                               DNSServiceErrorType error, const sockaddr* address) {
  if (error != kDNSServiceErr_NoError) return ReleaseFailed(ref);
  OperationHandle lookup;  // deallocated after the mutex; only the first address counts
  const std::lock_guard lock(fMutex);
  ServiceData* record = FindByRef(ref);
  if (record == nullptr) return;
  record->resolved =
      (flags & kDNSServiceFlagsAdd) != 0 && address != nullptr && address->sa_family == AF_INET;
  if (record->resolved) {
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, address, sizeof ipv4);
    std::memcpy(record->ipv4.data(), &ipv4.sin_addr, record->ipv4.size());
  }
  lookup = std::move(record->addressRef);
  MarkModified();
}

}  // namespace vorn

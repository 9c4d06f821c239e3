#include "AVB/Util/AvahiOperations.h"

#include <arpa/inet.h>
#include <avahi-common/domain.h>
#include <avahi-common/error.h>
#include <netinet/in.h>

#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

namespace vorn {
namespace {

constexpr std::uint16_t kRecordClassIN = 1;
constexpr std::uint16_t kRecordTypeA = 1;
constexpr std::size_t kMaxTxtItem = 255;

AvahiIfIndex Interface(std::uint32_t index) {
  return index == 0 ? AVAHI_IF_UNSPEC : static_cast<AvahiIfIndex>(index);
}

// Names of the published interface are absolute. Avahi leaves the last dot out.
std::string WithLastDot(const char* name) {
  std::string text = Text(name);
  if (text.empty() || text.back() != '.') text += '.';
  return text;
}

std::string FullName(const char* name, const char* type, const char* domain) {
  char joined[AVAHI_DOMAIN_NAME_MAX];
  if (::avahi_service_name_join(joined, sizeof joined, name, type, domain) < 0) {
    throw std::invalid_argument("service name");
  }
  return WithLastDot(joined);
}

// The items in wire form, in the order of the list, which is the order of the record. Avahi's own serializer
// would reverse them. A record without items has an empty one.
std::string WireForm(AvahiStringList* items) {
  std::string bytes;
  for (; items != nullptr; items = ::avahi_string_list_get_next(items)) {
    const std::size_t size = ::avahi_string_list_get_size(items);
    if (size > kMaxTxtItem || bytes.size() + 1 + size > UINT16_MAX) break;
    bytes += static_cast<char>(size);
    bytes.append(reinterpret_cast<const char*>(::avahi_string_list_get_text(items)), size);
  }
  return bytes.empty() ? std::string(1, '\0') : bytes;
}

template <typename Object>
int Free(Object*& object, int (*free)(Object*)) {
  return object == nullptr ? 0 : free(std::exchange(object, nullptr));
}

}  // namespace

BrowseOperation::BrowseOperation(std::shared_ptr<ReplySignal> signal, std::uint32_t interfaceIndex,
                                 const char* type, const char* domain, DNSServiceBrowseReply callback,
                                 void* context)
    : Operation(std::move(signal)),
      fInterface(Interface(interfaceIndex)),
      fType(Text(type)),
      fDomain(Text(domain)),
      fCallback(callback),
      fContext(context) {}

bool BrowseOperation::Begin(AvahiClient& client) {
  fBrowser = ::avahi_service_browser_new(&client, fInterface, AVAHI_PROTO_UNSPEC, fType.c_str(),
                                         fDomain.empty() ? nullptr : fDomain.c_str(), {}, OnEvent, this);
  return fBrowser != nullptr;
}

int BrowseOperation::End() {
  return Free(fBrowser, ::avahi_service_browser_free);
}

void BrowseOperation::OnEvent(AvahiServiceBrowser* /*browser*/, AvahiIfIndex interface,
                              AvahiProtocol /*protocol*/, AvahiBrowserEvent event, const char* name,
                              const char* type, const char* domain, AvahiLookupResultFlags /*flags*/,
                              void* operation) {
  auto& self = *static_cast<BrowseOperation*>(operation);
  self.Guarded([&] {
    if (event == AVAHI_BROWSER_NEW) self.TellService(kDNSServiceFlagsAdd, interface, name, type, domain);
    if (event == AVAHI_BROWSER_REMOVE) self.TellService(0, interface, name, type, domain);
    if (event == AVAHI_BROWSER_FAILURE) self.Fail();
  });
}

void BrowseOperation::TellService(DNSServiceFlags flags, AvahiIfIndex interface, const char* name,
                                  const char* type, const char* domain) {
  Tell([this, flags, interface, name = Text(name), type = WithLastDot(type),
        domain = WithLastDot(domain)](DNSServiceRef ref) {
    fCallback(ref, flags, static_cast<std::uint32_t>(interface), kDNSServiceErr_NoError, name.c_str(),
              type.c_str(), domain.c_str(), fContext);
  });
}

DNSServiceErrorType BrowseOperation::DeliverFailure(DNSServiceRef /*ref*/) {
  return kDNSServiceErr_Unknown;
}

ResolveOperation::ResolveOperation(std::shared_ptr<ReplySignal> signal, std::uint32_t interfaceIndex,
                                   const char* name, const char* type, const char* domain,
                                   DNSServiceResolveReply callback, void* context)
    : Operation(std::move(signal)),
      fInterface(Interface(interfaceIndex)),
      fName(Text(name)),
      fType(Text(type)),
      fDomain(Text(domain)),
      fCallback(callback),
      fContext(context) {}

// Another operation asks for the addresses. If this one asked too, a host without an address would make the
// service's own records an error.
bool ResolveOperation::Begin(AvahiClient& client) {
  fHasTimedOut = false;
  fResolver = ::avahi_service_resolver_new(&client, fInterface, AVAHI_PROTO_UNSPEC, fName.c_str(),
                                           fType.c_str(), fDomain.c_str(), AVAHI_PROTO_UNSPEC,
                                           AVAHI_LOOKUP_NO_ADDRESS, OnResolver, this);
  return fResolver != nullptr;
}

int ResolveOperation::End() {
  return Free(fResolver, ::avahi_service_resolver_free);
}

void ResolveOperation::OnResolver(AvahiServiceResolver* resolver, AvahiIfIndex interface,
                                  AvahiProtocol /*protocol*/, AvahiResolverEvent event, const char* name,
                                  const char* type, const char* domain, const char* host,
                                  const AvahiAddress* /*address*/, std::uint16_t port, AvahiStringList* txt,
                                  AvahiLookupResultFlags /*flags*/, void* operation) {
  auto& self = *static_cast<ResolveOperation*>(operation);
  self.Guarded([&] {
    if (event == AVAHI_RESOLVER_FOUND) {
      self.TellService(interface, FullName(name, type, domain), host, port, txt);
    } else if (::avahi_client_errno(::avahi_service_resolver_get_client(resolver)) == AVAHI_ERR_TIMEOUT) {
      self.fHasTimedOut = true;
    } else {
      self.Fail();
    }
  });
}

void ResolveOperation::TellService(AvahiIfIndex interface, const std::string& fullName, const char* host,
                                   std::uint16_t port, AvahiStringList* txt) {
  Tell([this, interface, fullName, host = WithLastDot(host), port = htons(port),
        txt = WireForm(txt)](DNSServiceRef ref) {
    fCallback(ref, 0, static_cast<std::uint32_t>(interface), kDNSServiceErr_NoError, fullName.c_str(),
              host.c_str(), port, static_cast<std::uint16_t>(txt.size()),
              reinterpret_cast<const unsigned char*>(txt.data()), fContext);
  });
}

DNSServiceErrorType ResolveOperation::DeliverFailure(DNSServiceRef ref) {
  fCallback(ref, 0, 0, kDNSServiceErr_Unknown, nullptr, nullptr, 0, 0, nullptr, fContext);
  return kDNSServiceErr_NoError;
}

AddressOperation::AddressOperation(std::shared_ptr<ReplySignal> signal, std::uint32_t interfaceIndex,
                                   const char* hostName, DNSServiceGetAddrInfoReply callback, void* context)
    : Operation(std::move(signal)),
      fInterface(Interface(interfaceIndex)),
      fHostName(Text(hostName)),
      fCallback(callback),
      fContext(context) {}

bool AddressOperation::Begin(AvahiClient& client) {
  fRecords = ::avahi_record_browser_new(&client, fInterface, AVAHI_PROTO_UNSPEC, fHostName.c_str(),
                                        kRecordClassIN, kRecordTypeA, {}, OnRecord, this);
  return fRecords != nullptr;
}

int AddressOperation::End() {
  return Free(fRecords, ::avahi_record_browser_free);
}

void AddressOperation::OnRecord(AvahiRecordBrowser* /*browser*/, AvahiIfIndex interface,
                                AvahiProtocol /*protocol*/, AvahiBrowserEvent event, const char* /*name*/,
                                std::uint16_t /*recordClass*/, std::uint16_t type, const void* data,
                                std::size_t size, AvahiLookupResultFlags /*flags*/, void* operation) {
  auto& self = *static_cast<AddressOperation*>(operation);
  self.Guarded([&] {
    if (event == AVAHI_BROWSER_NEW) self.TellAddress(kDNSServiceFlagsAdd, interface, type, data, size);
    if (event == AVAHI_BROWSER_REMOVE) self.TellAddress(0, interface, type, data, size);
    if (event == AVAHI_BROWSER_FAILURE) self.Fail();
  });
}

void AddressOperation::TellAddress(DNSServiceFlags flags, AvahiIfIndex interface, std::uint16_t type,
                                   const void* data, std::size_t size) {
  std::optional<sockaddr_in> address;
  if (type == kRecordTypeA && data != nullptr && size == sizeof(in_addr)) {
    address.emplace().sin_family = AF_INET;
    std::memcpy(&address->sin_addr, data, size);
  }
  Tell([this, flags, interface, address](DNSServiceRef ref) {
    fCallback(ref, flags, static_cast<std::uint32_t>(interface), kDNSServiceErr_NoError, fHostName.c_str(),
              address ? reinterpret_cast<const sockaddr*>(&*address) : nullptr, 0, fContext);
  });
}

DNSServiceErrorType AddressOperation::DeliverFailure(DNSServiceRef ref) {
  fCallback(ref, 0, 0, kDNSServiceErr_Unknown, fHostName.c_str(), nullptr, 0, fContext);
  return kDNSServiceErr_NoError;
}

}  // namespace vorn

#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "AVB/Util/Operation.h"

namespace vorn {

class BrowseOperation final : public Operation {
 public:
  BrowseOperation(std::shared_ptr<ReplySignal> signal, std::uint32_t interfaceIndex, const char* type,
                  const char* domain, DNSServiceBrowseReply callback, void* context);

  bool Begin(AvahiClient& client) override;
  int End() override;
  void Forget() override { fBrowser = nullptr; }

 private:
  static void OnEvent(AvahiServiceBrowser* browser, AvahiIfIndex interface, AvahiProtocol protocol,
                      AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
                      AvahiLookupResultFlags flags, void* operation);
  void TellService(DNSServiceFlags flags, AvahiIfIndex interface, const char* name, const char* type,
                   const char* domain);
  DNSServiceErrorType DeliverFailure(DNSServiceRef ref) override;

  const AvahiIfIndex fInterface;
  const std::string fType;
  const std::string fDomain;
  const DNSServiceBrowseReply fCallback;
  void* const fContext;
  AvahiServiceBrowser* fBrowser = nullptr;
};

/// A resolve has no time limit. The responder reports a timeout after five seconds, but it continues. So a
/// unit that was off is resolved when it is on.
class ResolveOperation final : public Operation {
 public:
  ResolveOperation(std::shared_ptr<ReplySignal> signal, std::uint32_t interfaceIndex, const char* name,
                   const char* type, const char* domain, DNSServiceResolveReply callback, void* context);

  bool Begin(AvahiClient& client) override;
  int End() override;
  void Forget() override { fResolver = nullptr; }
  [[nodiscard]] bool MayPause() const override { return fHasTimedOut; }

 private:
  static void OnResolver(AvahiServiceResolver* resolver, AvahiIfIndex interface, AvahiProtocol protocol,
                         AvahiResolverEvent event, const char* name, const char* type, const char* domain,
                         const char* host, const AvahiAddress* address, std::uint16_t port,
                         AvahiStringList* txt, AvahiLookupResultFlags flags, void* operation);
  void TellService(AvahiIfIndex interface, const std::string& fullName, const char* host, std::uint16_t port,
                   AvahiStringList* txt);
  DNSServiceErrorType DeliverFailure(DNSServiceRef ref) override;

  const AvahiIfIndex fInterface;
  const std::string fName;
  const std::string fType;
  const std::string fDomain;
  const DNSServiceResolveReply fCallback;
  void* const fContext;
  AvahiServiceResolver* fResolver = nullptr;
  bool fHasTimedOut = false;
};

/// Looks up IPv4 addresses.
class AddressOperation final : public Operation {
 public:
  AddressOperation(std::shared_ptr<ReplySignal> signal, std::uint32_t interfaceIndex, const char* hostName,
                   DNSServiceGetAddrInfoReply callback, void* context);

  bool Begin(AvahiClient& client) override;
  int End() override;
  void Forget() override { fRecords = nullptr; }

 private:
  static void OnRecord(AvahiRecordBrowser* browser, AvahiIfIndex interface, AvahiProtocol protocol,
                       AvahiBrowserEvent event, const char* name, std::uint16_t recordClass,
                       std::uint16_t type, const void* data, std::size_t size, AvahiLookupResultFlags flags,
                       void* operation);
  void TellAddress(DNSServiceFlags flags, AvahiIfIndex interface, std::uint16_t type, const void* data,
                   std::size_t size);
  DNSServiceErrorType DeliverFailure(DNSServiceRef ref) override;

  const AvahiIfIndex fInterface;
  const std::string fHostName;
  const DNSServiceGetAddrInfoReply fCallback;
  void* const fContext;
  AvahiRecordBrowser* fRecords = nullptr;
};

}  // namespace vorn

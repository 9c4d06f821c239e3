// Prints what a DNS-SD library reports about the services on the network, one line each: the reports of the
// browse and of the resolve, with every byte that is no plain letter as a number. TXT items are sorted,
// because the libraries' orders differ.
//
// seam_forms session|compatibility COUNT: ends after so many instances.

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "AVB/Util/SystemDNSSD.h"
#include "AVB/Util/TxtRecord.h"

namespace {

using vorn::DNSSD;

/// The compatibility library itself; it has no address look-ups.
class CompatibilityLibrary final : public DNSSD {
 public:
  DNSServiceErrorType CreateConnection(DNSServiceRef* ref) override {
    return ::DNSServiceCreateConnection(ref);
  }
  DNSServiceErrorType Browse(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interface,
                             const char* type, const char* domain, DNSServiceBrowseReply callback,
                             void* context) override {
    return ::DNSServiceBrowse(ref, flags, interface, type, domain, callback, context);
  }
  DNSServiceErrorType Resolve(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t interface,
                              const char* name, const char* type, const char* domain,
                              DNSServiceResolveReply callback, void* context) override {
    return ::DNSServiceResolve(ref, flags, interface, name, type, domain, callback, context);
  }
  DNSServiceErrorType GetAddrInfo(DNSServiceRef*, DNSServiceFlags, std::uint32_t, std::uint32_t, const char*,
                                  vorn::DNSServiceGetAddrInfoReply, void*) override {
    return kDNSServiceErr_Unsupported;
  }
  bool HasBegun(DNSServiceRef) override { return true; }
  int RefSockFD(DNSServiceRef ref) override { return ::DNSServiceRefSockFD(ref); }
  DNSServiceErrorType ProcessResult(DNSServiceRef ref) override { return ::DNSServiceProcessResult(ref); }
  void RefDeallocate(DNSServiceRef ref) override { ::DNSServiceRefDeallocate(ref); }
};

struct Instance {
  std::uint32_t interface;
  std::string name;
  std::string type;
  std::string domain;
};

std::string Plain(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    text += number > ' ' && number < 0x7f ? std::string(1, byte) : "<" + std::to_string(number) + ">";
  }
  return text;
}

void OnBrowse(DNSServiceRef, DNSServiceFlags flags, std::uint32_t interface, DNSServiceErrorType error,
              const char* name, const char* type, const char* domain, void* instances) {
  if (error != 0 || (flags & kDNSServiceFlagsAdd) == 0) return;
  static_cast<std::vector<Instance>*>(instances)->push_back({interface, name, type, domain});
}

void OnResolve(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType error, const char* fullName,
               const char* host, std::uint16_t port, std::uint16_t txtLength, const unsigned char* txt,
               void* line) {
  auto& text = *static_cast<std::string*>(line);
  if (error != 0) {
    text = "error";
    return;
  }
  std::vector<std::string> items;
  for (const auto& item : vorn::ReadTxtRecord(txtLength, txt))
    items.push_back(item.key + " is " + item.value);
  std::ranges::sort(items);
  text = Plain(fullName) + " " + Plain(host) + " " + std::to_string(ntohs(port));
  for (const auto& item : items) text += " " + Plain(item);
}

// Serves the operation until the condition is true.
template <typename Condition>
void Serve(DNSSD& library, DNSServiceRef ref, Condition holds) {
  while (!holds()) {
    pollfd readable{library.RefSockFD(ref), POLLIN, 0};
    if (::poll(&readable, 1, 30'000) != 1 || library.ProcessResult(ref) != 0) std::exit(1);
  }
}

std::string Resolved(DNSSD& library, const Instance& instance) {
  std::string line;
  DNSServiceRef ref = nullptr;
  library.Resolve(&ref, 0, instance.interface, instance.name.c_str(), instance.type.c_str(),
                  instance.domain.c_str(), OnResolve, &line);
  if (ref == nullptr) return "refused";
  Serve(library, ref, [&] { return !line.empty(); });
  library.RefDeallocate(ref);
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  CompatibilityLibrary compatibility;
  DNSSD& session = vorn::SystemDNSSD::Instance();
  DNSSD& library = std::string(argv[1]) == "session" ? session : compatibility;
  const auto count = static_cast<std::size_t>(std::atoi(argv[2]));
  std::vector<Instance> instances;
  DNSServiceRef browse = nullptr;
  if (library.Browse(&browse, 0, 0, "_http._tcp", nullptr, OnBrowse, &instances) != 0) return 1;
  Serve(library, browse, [&] { return instances.size() >= count; });
  for (const Instance& instance : instances) {
    std::cout << Plain(instance.name) << " " << instance.type << " " << instance.domain << " "
              << Resolved(library, instance) << "\n";
  }
  library.RefDeallocate(browse);
  return 0;
}

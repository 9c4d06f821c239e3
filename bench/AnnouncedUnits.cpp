#include "bench/AnnouncedUnits.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <utility>

#include "AVB/Util/SystemDNSSD.h"
#include "foundation/FileDescriptor.h"

namespace vorn::bench {
namespace {

/// A pending operation: it is readable as long as it has a reply. Or a connection: it is readable as long as
/// one of its operations has its only reply.
struct Operation {
  FileDescriptor descriptor;
  std::shared_ptr<std::function<void(DNSServiceRef)>> reply;
  Operation* connection = nullptr;
  std::deque<DNSServiceRef> unanswered;  // of a connection

  static std::unique_ptr<Operation> Make(std::size_t replies) {
    auto operation = std::make_unique<Operation>();
    operation->descriptor =
        FileDescriptor(::eventfd(static_cast<unsigned>(replies), EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE));
    return operation;
  }

  static DNSServiceRef Make(std::size_t replies, std::function<void(DNSServiceRef)> reply) {
    auto operation = Make(replies);
    operation->reply = std::make_shared<std::function<void(DNSServiceRef)>>(std::move(reply));
    return reinterpret_cast<DNSServiceRef>(operation.release());
  }

  static DNSServiceRef MakeOn(Operation& connection, std::function<void(DNSServiceRef)> reply) {
    auto operation = std::make_unique<Operation>();
    operation->reply = std::make_shared<std::function<void(DNSServiceRef)>>(std::move(reply));
    operation->connection = &connection;
    auto* const ref = reinterpret_cast<DNSServiceRef>(operation.release());
    connection.unanswered.push_back(ref);
    const std::uint64_t one = 1;
    if (::write(connection.descriptor.Get(), &one, sizeof one) != sizeof one) std::abort();
    return ref;
  }

  static Operation& Of(DNSServiceRef ref) { return *reinterpret_cast<Operation*>(ref); }
};

constexpr char kType[] = "_http._tcp.";
constexpr char kDomain[] = "local.";

std::string TxtRecord(const std::string& type, const std::string& uid) {
  std::string record;
  for (const std::string& item : {"vorn.mdns.type=" + type, "uid=" + uid}) {
    record += static_cast<char>(item.size());
    record += item;
  }
  return record;
}

}  // namespace

AnnouncedUnits::AnnouncedUnits(std::size_t count, std::uint16_t port, std::size_t switches)
    : fCount(count), fPort(port), fSwitches(switches) {
  SystemDNSSD::Instance();  // sets up the library, which reads the TXT records here too
}

DNSServiceErrorType AnnouncedUnits::CreateConnection(DNSServiceRef* ref) {
  *ref = reinterpret_cast<DNSServiceRef>(Operation::Make(0).release());
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType AnnouncedUnits::Browse(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t, const char*,
                                           const char*, DNSServiceBrowseReply callback, void* context) {
  *ref = Operation::Make(fCount, [callback, context, next = std::size_t{0}](DNSServiceRef self) mutable {
    const std::string name = "Unit " + std::to_string(next++);
    callback(self, kDNSServiceFlagsAdd, 1, kDNSServiceErr_NoError, name.c_str(), kType, kDomain, context);
  });
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType AnnouncedUnits::Resolve(DNSServiceRef* ref, DNSServiceFlags, std::uint32_t,
                                            const char* name, const char*, const char*,
                                            DNSServiceResolveReply callback, void* context) {
  const std::string uid = std::string(name).substr(std::string("Unit ").size());
  const std::string type = std::stoul(uid) < fSwitches ? "plexaswitch" : "plexadevice";
  *ref = Operation::Make(1, [callback, context, uid, type, port = htons(fPort)](DNSServiceRef self) {
    const std::string fullName = "Unit " + uid + "._http._tcp.local.";
    const std::string host = "u" + uid + ".local.";
    const std::string txt = TxtRecord(type, uid);
    callback(self, 0, 1, kDNSServiceErr_NoError, fullName.c_str(), host.c_str(), port,
             static_cast<std::uint16_t>(txt.size()), reinterpret_cast<const unsigned char*>(txt.data()),
             context);
  });
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType AnnouncedUnits::GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags, std::uint32_t,
                                                std::uint32_t, const char* hostName,
                                                DNSServiceGetAddrInfoReply callback, void* context) {
  const std::string host = hostName;
  const auto number = fIsAddressShared ? 0 : static_cast<std::uint32_t>(std::stoul(host.substr(1)));
  const auto answer = [callback, context, host, number](DNSServiceRef self) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + number);
    callback(self, kDNSServiceFlagsAdd, 1, kDNSServiceErr_NoError, host.c_str(),
             reinterpret_cast<const sockaddr*>(&address), 120, context);
  };
  const bool isShared = (flags & kDNSServiceFlagsShareConnection) != 0;
  *ref = isShared ? Operation::MakeOn(Operation::Of(*ref), answer) : Operation::Make(1, answer);
  return kDNSServiceErr_NoError;
}

int AnnouncedUnits::RefSockFD(DNSServiceRef ref) {
  return Operation::Of(ref).descriptor.Get();
}

DNSServiceErrorType AnnouncedUnits::ProcessResult(DNSServiceRef ref) {
  std::uint64_t taken = 0;
  if (::read(Operation::Of(ref).descriptor.Get(), &taken, sizeof taken) != sizeof taken)
    return kDNSServiceErr_NoError;
  auto& unanswered = Operation::Of(ref).unanswered;
  if (!unanswered.empty()) {
    ref = unanswered.front();
    unanswered.pop_front();
  }
  const auto reply = Operation::Of(ref).reply;  // a share of it: the callback may deallocate the operation
  if (reply) (*reply)(ref);
  return kDNSServiceErr_NoError;
}

void AnnouncedUnits::RefDeallocate(DNSServiceRef ref) {
  const std::unique_ptr<Operation> operation(&Operation::Of(ref));
  if (operation->connection != nullptr) std::erase(operation->connection->unanswered, ref);
}

}  // namespace vorn::bench

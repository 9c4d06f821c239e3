#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "AVB/Util/DNSSD.h"
#include "foundation/FileDescriptor.h"

namespace vorn {

/// One lookup of a host's IPv4 address, shared by the one that waits for it and
/// the session that asks the responder. It is answered at most once.
class AddressLookup {
 public:
  struct Answer {
    DNSServiceErrorType error = kDNSServiceErr_NoError;
    DNSServiceFlags flags = 0;  ///< kDNSServiceFlagsAdd, unless the record has gone
    std::uint32_t interfaceIndex = 0;
    std::optional<in_addr> address;  ///< none if the record was not usable
  };

  AddressLookup(std::uint32_t interfaceIndex, std::string hostName);

  [[nodiscard]] std::uint32_t InterfaceIndex() const { return fInterfaceIndex; }  ///< to ask on; 0: on all
  [[nodiscard]] const std::string& HostName() const { return fHostName; }

  /// Readable from the answer until it is taken; -1 when there was no descriptor
  /// to be had. Valid while the lookup lives.
  [[nodiscard]] int Socket() const { return fReadable.Get(); }
  /// The answer, once; any thread, does not block.
  std::optional<Answer> Take();

  /// Keeps the first answer and drops every further one; any thread, does not
  /// block.
  void Reply(const Answer& answer);
  /// Tells that nobody waits any more; any thread.
  void GiveUp() { fSettled = true; }
  /// Whether the responder need not be asked any more.
  [[nodiscard]] bool Settled() const { return fSettled; }

 private:
  const std::uint32_t fInterfaceIndex;
  const std::string fHostName;
  const FileDescriptor fReadable;
  std::atomic<bool> fSettled{false};
  std::mutex fMutex;  // guards fAnswer
  std::optional<Answer> fAnswer;
};

}  // namespace vorn

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devicelist/http/HTTPResponse.h"
#include "devicelist/http/ResponseCollector.h"
#include "devicelist/http/Url.h"
#include "foundation/Clock.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// Makes the HTTP client library ready for use. HTTPPoller does it by itself
/// where it has not been done; a program calls it at the start of main, before
/// it has any other thread, as the libraries beneath ask for. Further calls do
/// nothing. Any thread.
void InitHTTP();

/// How long a host with several addresses may take to accept a connection at
/// one of them before the next one is tried.
inline constexpr std::chrono::seconds kAddressTimeout{2};

/// One GET after another over one kept connection: no redirects, no cookies,
/// no credentials, no cache, nothing read from or written to disk. Holds at
/// most three descriptors between requests: the connection and the pair that
/// Wake writes to. A look-up by the system or a move to another port takes more
/// while it lasts.
///
/// Perform belongs to one thread at a time; Wake may be called from any.
class CurlTransfer {
 public:
  /// Throws std::runtime_error when the client cannot be set up, as without
  /// free descriptors.
  CurlTransfer();
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// What one request is made of.
  struct Request {
    const Url& url;
    const vorn::optional<std::string>& etag;  ///< sent as If-None-Match, exactly as it stands
    /// Where the host is: tried in turn until one accepts the connection, and
    /// again where one was silent. None: the system resolves the host.
    const std::vector<std::string>& addresses;
    bool prefersLast = false;          ///< the address that answered last is tried first
    bool direct = false;               ///< never through a proxy; else as the environment says
    vorn::Clock::time_point deadline;  ///< covers everything, the name look-up included
    /// Asked before each wait: true ends the request. Gets the address that
    /// the request is at, empty where the system resolves the host, and whether
    /// it has been sent there and can still have its answer.
    const std::function<bool(const std::string& address, bool isSent)>& isGivenUp;
  };

  /// Sends the request, twice only where a kept connection turns out dead, and
  /// waits for the whole answer. Empty when the transfer failed in any way,
  /// broke off before the end of its header, broke a bound of
  /// ResponseCollector, met its deadline or was given up. A kept connection is
  /// used only if it leads to one of the addresses and nothing waits on it.
  vorn::optional<HTTPAnswer> Perform(const Request& request);

  /// Makes a Perform that is waiting ask again whether it is given up. Never
  /// blocks.
  void Wake() noexcept;

 private:
  struct Handles;

  /// How a transfer ends.
  enum class End {
    kComplete,  ///< with the whole answer
    /// With no answer begun over the kept connection: the peer has closed it
    /// meanwhile, or sent bytes that belong to no answer. To be tried once
    /// more, over a new one.
    kDeadConnection,
    kUnreachable,  ///< without a connection: the next address may have one
    kSilent,       ///< the same, and nothing said so: there may be one later
    kFailed,       ///< in any other way, or given up; not to be tried again
  };

  [[nodiscard]] End RunInTurn(const Request& request, const std::vector<std::string>& addresses);
  [[nodiscard]] End RunAt(const Request& request, const std::string& address, bool isOnly);
  [[nodiscard]] End Run(const Request& request, const std::string& address);
  [[nodiscard]] End RunToEnd(const Request& request, const std::string& address);
  [[nodiscard]] End EndOf(int result) const;
  [[nodiscard]] HTTPAnswer TakeAnswer();
  void SetDestination(const Request& request);
  void SetFields(std::vector<std::string> fields);
  void ConnectTo(const std::string& address);

  ResponseCollector fCollector;
  std::unique_ptr<Handles> fHandles;
  std::vector<std::string> fFields;  ///< the header lines that the handle adds to its own
  std::string fConnectTo;   ///< the address that the handle connects to; empty: as the system resolves
  std::string fAnsweredAt;  ///< the address that the last answer came from; empty: none, or not known
};

}  // namespace DeviceList

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devicelist/http/HTTPResponse.h"
#include "devicelist/http/RequestPace.h"
#include "devicelist/http/ResponseCollector.h"
#include "devicelist/http/Url.h"
#include "foundation/Clock.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// Makes the HTTP client library ready. HTTPPoller calls it if nobody has. A program calls it at the start of
/// main, before it has other threads, because the libraries below require that. Further calls do nothing. Any
/// thread.
void InitHTTP();

/// If a host has several addresses, one address may take this time to accept a connection before the next one
/// is tried.
inline constexpr std::chrono::seconds kAddressTimeout{2};

/// One GET after another over one kept connection: no redirects, no cookies, no credentials, no cache,
/// nothing read from or written to disk. Has at most three descriptors between requests: the connection and
/// the pair for Wake. A look-up by the system, or a change to another port, takes more for a short time.
///
/// Only one thread at a time may use Perform. Any thread may call Wake.
class CurlTransfer {
 public:
  /// Throws std::runtime_error if the client cannot be set up, for example without free descriptors.
  CurlTransfer();
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// The parts of one request.
  struct Request {
    const Url& url;
    const vorn::optional<std::string>& etag;  ///< sent unchanged as If-None-Match
    /// The addresses of the host. They are tried in turn until one accepts the connection, and again if one
    /// was silent. None: the system resolves the host.
    const std::vector<std::string>& addresses;
    bool prefersLast = false;          ///< the address that answered last is tried first
    bool direct = false;               ///< never through a proxy; otherwise as the environment says
    vorn::Clock::time_point deadline;  ///< for everything, including the look-up of the name
    /// Each sending waits for its turn at the address that it goes to. None: nothing waits.
    RequestPace* pace = nullptr;
    /// Called before each wait; true ends the request. It gets the address of the request, or an empty one if
    /// the system resolves the host. It also gets whether the request was sent there and can still have an
    /// answer.
    const std::function<bool(const std::string& address, bool isSent)>& isGivenUp;
  };

  /// Sends the request and waits for the whole answer. Sends it a second time only if a kept connection is
  /// dead. Empty if the transfer failed, ended before the end of the header, broke a bound of
  /// ResponseCollector, reached its deadline or was given up. Uses a kept connection only if it leads to one
  /// of the addresses and no bytes wait on it.
  vorn::optional<HTTPAnswer> Perform(const Request& request);

  /// Makes a waiting Perform ask again whether it must give up. Never blocks.
  void Wake() noexcept;

 private:
  struct Handles;

  /// The end of a transfer.
  enum class End {
    kComplete,  ///< with the whole answer
    /// No answer has begun on the kept connection: the peer has closed it, or has sent bytes that belong to
    /// no answer. Try once more, over a new connection.
    kDeadConnection,
    kUnreachable,  ///< without a connection: the next address may have one
    kSilent,       ///< the same, but nothing answered: there may be a connection later
    kFailed,       ///< in any other way, or given up; do not try again
  };

  [[nodiscard]] End RunInTurn(const Request& request, const std::vector<std::string>& addresses);
  [[nodiscard]] End RunAt(const Request& request, const std::string& address, bool isOnly);
  [[nodiscard]] End Run(const Request& request, const std::string& address, bool usesKept);
  [[nodiscard]] End RunInTime(const Request& request, const std::string& address);
  [[nodiscard]] bool AwaitTurn(const Request& request, const std::string& address, const std::string& peer);
  [[nodiscard]] End RunToEnd(const Request& request, const std::string& address);
  [[nodiscard]] End EndOf(int result) const;
  [[nodiscard]] HTTPAnswer TakeAnswer();
  void SetDestination(const Request& request);
  void SetFields(std::vector<std::string> fields);
  void ConnectTo(const std::string& address);

  ResponseCollector fCollector;
  std::unique_ptr<Handles> fHandles;
  std::vector<std::string> fFields;  ///< the header lines that the handle adds to its own
  std::string fConnectTo;            ///< the address for the connection; empty: the system resolves
  std::string fAnsweredAt;           ///< the address of the last answer; empty: none, or not known
  std::string fPeer;                 ///< the same, also if the system found it; empty: none
};

}  // namespace DeviceList

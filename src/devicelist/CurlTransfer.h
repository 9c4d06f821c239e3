#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "devicelist/HTTPResponse.h"
#include "devicelist/ResponseCollector.h"
#include "devicelist/Url.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// Makes the HTTP client library ready for use. HTTPPoller does it by itself
/// where it has not been done; a program calls it at the start of main, before
/// it has any other thread, as the libraries beneath ask for. Further calls do
/// nothing. Any thread.
void InitHTTP();

/// One GET after another over one kept connection: no redirects, no cookies,
/// no credentials, no cache, nothing read from or written to disk. Holds at
/// most three descriptors between requests: the connection and the pair that
/// Wake writes to. A look-up by the system or a move to another port takes more
/// while it lasts.
///
/// Perform belongs to one thread at a time; Wake may be called from any.
class CurlTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  /// Throws std::runtime_error when the client cannot be set up, as without
  /// free descriptors.
  CurlTransfer();
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// What one request is made of.
  struct Request {
    const Url& url;
    const vorn::optional<std::string>& etag;    ///< sent as If-None-Match, exactly as it stands
    const std::vector<std::string>& addresses;  ///< the host's pinned addresses; none: the system resolves it
    bool direct = false;                        ///< never through a proxy; else as the environment says
    Clock::time_point deadline;                 ///< covers everything, the name look-up included
  };

  /// Sends the request, twice only where a kept connection turns out dead, and
  /// waits for the whole answer. Empty when the transfer failed in any way,
  /// broke a bound of ResponseCollector, met its deadline or `cancelled` became
  /// true: set it, call Wake, and Perform returns at once whatever phase it is
  /// in.
  vorn::optional<HTTPAnswer> Perform(const Request& request, const std::atomic<bool>& cancelled);

  /// Makes a Perform that is waiting look at its flag. Never blocks.
  void Wake() noexcept;

 private:
  struct Handles;

  /// How a transfer ends.
  enum class End {
    kComplete,  ///< with the whole answer
    /// With nothing back over the kept connection, which the peer has closed
    /// meanwhile: to be tried once more, over a new one. libcurl 7.88 does that
    /// by itself, but counts it over the whole life of a handle and gives every
    /// sixth one up.
    kDeadConnection,
    kFailed,  ///< in any other way, or cancelled; not to be tried again
  };

  [[nodiscard]] End Run(Clock::time_point deadline, const std::atomic<bool>& cancelled);
  [[nodiscard]] bool WentOverKeptConnection() const;
  void SetDestination(const Request& request);
  void SetFields(std::vector<std::string> fields);
  void Pin(const std::string& hostAndPort, const std::vector<std::string>& addresses);
  void LeaveMovedHost(const std::vector<std::string>& addresses);

  ResponseCollector fCollector;
  std::unique_ptr<Handles> fHandles;
  std::vector<std::string> fFields;  ///< the header lines that the handle adds to its own
  std::string fPinned;               ///< "host:port" that the handle has pinned; empty: none
  std::string fPinnedTo;             ///< its addresses, joined by ","
  std::string fConnectedTo;          ///< the address that the last transfer talked to; empty: none yet
};

}  // namespace DeviceList

#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "devicelist/http/CurlTransfer.h"
#include "devicelist/http/HTTPResponse.h"
#include "devicelist/http/LocalHosts.h"
#include "devicelist/http/Url.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// From the start of a request to the end of its answer, including redirects.
inline constexpr std::chrono::seconds kRequestTimeout{30};

/// Redirects followed in one request.
inline constexpr int kMaxRedirects = 5;

/// A small blocking HTTP GET client, one for each poller, for peers that nobody trusts:
///
/// 1. A request takes at most the timeout from start to end, even if the peer answers slowly, and can be
///    cancelled in every phase.
/// 2. For each sent request, an answer has at most 1 MiB of body, before and after decoding, and 64 KiB of
///    header. The client follows at most five redirects, and only to allowed targets. An answer that breaks a
///    bound, or ends within its header, is no answer.
/// 3. No cookies, credentials, netrc, cache or disk. The environment's proxy settings are used, except for
///    ".local" hosts, which never use a proxy.
/// 4. A host without a pinned address is looked up on a thread of the HTTP library. A request that ends
///    before its look-up leaves that thread behind. The thread touches nothing of the poller and ends when
///    the resolver gives up.
/// 5. One connection stays open from request to request. If the peer has closed it, or has sent bytes on it
///    that belong to no answer, a new connection replaces it silently.
/// 6. A host with several pinned addresses is asked at the address that answered last, then at each in turn.
///    If the first address was not known yet at that answer, each is asked in turn from the first on, because
///    the host may have moved there. When the table moves the host to other addresses, a request to an old
///    one is given up at once and repeated. So is a request that was not sent yet, or that failed, when the
///    table has an address that is new to it.
/// 7. Clients with one table share its RequestPace: everything that they send, including redirects and
///    repetitions, waits for its turn at the address that it goes to.
class HTTPPoller {
 public:
  /// The allowed targets of a redirect, on any port, over http or https.
  enum class Redirects {
    /// The host of the request: its name, with or without the final dot, or one of its addresses in the
    /// table. For units, because a unit must not make this computer fetch from elsewhere.
    kWithinHost,
    kAnywhere,  ///< For the update server, which the user has chosen.
  };

  /// `hosts` has the addresses of ".local" hosts. Without it, the system resolves every host. Throws
  /// std::runtime_error or std::bad_alloc if the client cannot be set up, for example without free
  /// descriptors.
  explicit HTTPPoller(std::shared_ptr<const LocalHosts> hosts = nullptr,
                      std::chrono::milliseconds timeout = kRequestTimeout,
                      Redirects redirects = Redirects::kWithinHost);

  /// Cancels, then waits until no thread is inside DoRequest any more.
  ~HTTPPoller();

  HTTPPoller(const HTTPPoller&) = delete;
  HTTPPoller& operator=(const HTTPPoller&) = delete;

  /// One GET of an http URL, with `etag`, if present, as "If-None-Match". Blocks until the whole answer is
  /// there. Every status is an answer. Empty means that there was no answer: the URL is not plain http
  /// (exactly "http://", no user name or password), or there was a transport failure, a timeout, a broken
  /// bound or a cancellation. Never throws. Any thread; a second thread's request waits until the first one
  /// ends.
  vorn::optional<HTTPAnswer> DoRequest(const std::string& url,
                                       const vorn::optional<std::string>& etag) noexcept;

  /// Ends the current request in any phase, and is final: the current request and all later ones return empty
  /// at once. Any thread; does not block; may be called again.
  void Cancel() noexcept;

 private:
  class Turn;

  using Deadline = vorn::Clock::time_point;

  vorn::optional<HTTPAnswer> Request(const std::string& url, const vorn::optional<std::string>& etag);
  vorn::optional<HTTPAnswer> FollowRedirects(const Url& first, const vorn::optional<std::string>& etag,
                                             Deadline deadline);
  vorn::optional<HTTPAnswer> RequestOnce(const Url& url, const Url& first,
                                         const vorn::optional<std::string>& etag, Deadline deadline);
  [[nodiscard]] const std::optional<Url>& ParseFirst(const std::string& url);
  [[nodiscard]] bool MayLeadTo(const Url& url, const Url& first) const;
  [[nodiscard]] std::vector<std::string> AddressesOf(const Url& url) const;
  [[nodiscard]] bool IsGivenUp(const Url& first, const std::string& address, bool isSent);
  void ListenTo(const std::string& host);

  const std::shared_ptr<const LocalHosts> fHosts;
  const std::chrono::milliseconds fTimeout;
  const Redirects fRedirects;
  std::atomic<bool> fCancelled{false};
  std::atomic<bool> fAddressesChanged{false};  ///< changed since IsGivenUp looked at the addresses

  std::mutex fMutex;
  std::condition_variable fChanged;  ///< a request has ended, or all are cancelled
  int fInside = 0;                   ///< threads in DoRequest, guarded by fMutex
  bool fBusy = false;                ///< one of them uses the members below, guarded by fMutex

  CurlTransfer fTransfer;
  bool fHostMoved = false;                  ///< the request must be repeated
  std::vector<std::string> fAddresses;      ///< the host's addresses when the request was made
  std::vector<std::string> fAnsweredAmong;  ///< its addresses at the last answer
  std::string fParsedText;                  ///< pollers ask for the same URL again and again
  std::optional<Url> fParsedUrl;            ///< the same URL, parsed
  std::string fListensTo;                   ///< the host of fSubscription
  std::unique_ptr<LocalHosts::Subscription> fSubscription;  ///< wakes fTransfer, so it is destroyed first
};

}  // namespace DeviceList

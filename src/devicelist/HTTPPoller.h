#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "devicelist/CurlTransfer.h"
#include "devicelist/HTTPResponse.h"
#include "devicelist/LocalHosts.h"
#include "devicelist/Url.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// From a request's begin to the end of its answer, redirects included.
inline constexpr std::chrono::seconds kRequestTimeout{30};

/// Redirects followed in one request.
inline constexpr int kMaxRedirects = 5;

/// A small blocking HTTP GET client, one for each poller, made for peers that
/// nobody vouches for:
///
///  1. A request takes at most the timeout from begin to end, however slowly
///     the peer answers, and can be cancelled in every phase.
///  2. An answer has at most 1 MiB of body after decoding and 64 KiB of header
///     a request sent. At most five redirects are followed, to the same host
///     only (any port, http or https). What breaks a bound is no answer.
///  3. No cookies, credentials, netrc, cache or disk. The environment's proxy
///     settings are honoured, except for ".local" hosts, which never go to a
///     proxy.
///  4. A host without a pinned address is looked up on a thread of the HTTP
///     library. A request that ends before its look-up leaves that thread
///     behind; it touches nothing of the poller's and ends when the resolver
///     gives up.
///  5. One connection is kept open from request to request; when the peer has
///     closed it meanwhile, a new one is made and nobody notices.
class HTTPPoller {
 public:
  /// `hosts` holds the addresses of ".local" hosts; with none, the system
  /// resolves every host. Throws std::runtime_error or std::bad_alloc when no
  /// client can be had, as without free descriptors.
  explicit HTTPPoller(std::shared_ptr<const LocalHosts> hosts = nullptr,
                      std::chrono::milliseconds timeout = kRequestTimeout);

  /// Cancels, then waits until no thread is inside DoRequest any more.
  ~HTTPPoller();

  HTTPPoller(const HTTPPoller&) = delete;
  HTTPPoller& operator=(const HTTPPoller&) = delete;

  /// One GET of an http URL, with `etag`, where present, as "If-None-Match".
  /// Blocks until the whole answer is there. Every status is an answer; empty
  /// means that there was none: not a plain http URL (exactly "http://", no
  /// user name or password), a transport failure, a timeout, a broken bound or
  /// a cancellation. Never throws. Any thread; a second thread's request waits
  /// for the first to end.
  vorn::optional<HTTPAnswer> DoRequest(const std::string& url,
                                       const vorn::optional<std::string>& etag) noexcept;

  /// Ends the request in flight, whatever its phase, and is final: it and all
  /// later ones return empty at once. Any thread; does not block; may be called
  /// again.
  void Cancel() noexcept;

 private:
  class Turn;

  vorn::optional<HTTPAnswer> FollowRedirects(const std::string& url, const vorn::optional<std::string>& etag);
  vorn::optional<HTTPAnswer> RequestOnce(const Url& url, const vorn::optional<std::string>& etag,
                                         CurlTransfer::Clock::time_point deadline);
  [[nodiscard]] const vorn::optional<Url>& ParseFirst(const std::string& url);

  const std::shared_ptr<const LocalHosts> fHosts;
  const std::chrono::milliseconds fTimeout;
  std::atomic<bool> fCancelled{false};

  std::mutex fMutex;
  std::condition_variable fChanged;  ///< a request has ended, or all are cancelled
  int fInside = 0;                   ///< threads in DoRequest, guarded by fMutex
  bool fBusy = false;                ///< one of them uses what follows, guarded by fMutex

  CurlTransfer fTransfer;
  std::string fParsedText;         ///< pollers ask for the same URL again and again
  vorn::optional<Url> fParsedUrl;  ///< what it was parsed into
};

}  // namespace DeviceList

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

/// From a request's begin to the end of its answer, redirects included.
inline constexpr std::chrono::seconds kRequestTimeout{30};

/// Redirects followed in one request.
inline constexpr int kMaxRedirects = 5;

/// A small blocking HTTP GET client, one for each poller, made for peers that
/// nobody vouches for:
///
///  1. A request takes at most the timeout from begin to end, however slowly
///     the peer answers, and can be cancelled in every phase.
///  2. An answer has at most 1 MiB of body, before and after decoding, and
///     64 KiB of header a request sent. At most five redirects are followed,
///     and only where they may lead. What breaks a bound, or breaks off within
///     its header, is no answer.
///  3. No cookies, credentials, netrc, cache or disk. The environment's proxy
///     settings are honoured, except for ".local" hosts, which never go to a
///     proxy.
///  4. A host without a pinned address is looked up on a thread of the HTTP
///     library. A request that ends before its look-up leaves that thread
///     behind; it touches nothing of the poller's and ends when the resolver
///     gives up.
///  5. One connection is kept open from request to request; when the peer has
///     closed it meanwhile, or has sent on it what belongs to no answer, a new
///     one is made and nobody notices.
///  6. A host with several pinned addresses is asked at the one that answered
///     last, then at each in turn; at each in turn alone where the first was not
///     known yet at that answer, as the host may have moved there. When the table
///     moves the host to other addresses, a request that is under way to an old
///     one is given up at once and made anew. So is one that has not been sent
///     yet, or that failed, when the table has an address that is new to it.
class HTTPPoller {
 public:
  /// Where a redirect may lead, on any port, over http or https.
  enum class Redirects {
    /// To the host of the request: its name, with or without the final dot, or
    /// an address that the table has for it. For units, which must not make
    /// this computer fetch from elsewhere.
    kWithinHost,
    kAnywhere,  ///< For the update server, which the user has chosen.
  };

  /// `hosts` holds the addresses of ".local" hosts; with none, the system
  /// resolves every host. Throws std::runtime_error or std::bad_alloc when the
  /// client cannot be set up, as without free descriptors.
  explicit HTTPPoller(std::shared_ptr<const LocalHosts> hosts = nullptr,
                      std::chrono::milliseconds timeout = kRequestTimeout,
                      Redirects redirects = Redirects::kWithinHost);

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
  std::atomic<bool> fAddressesChanged{false};  ///< since IsGivenUp looked at them

  std::mutex fMutex;
  std::condition_variable fChanged;  ///< a request has ended, or all are cancelled
  int fInside = 0;                   ///< threads in DoRequest, guarded by fMutex
  bool fBusy = false;                ///< one of them uses what follows, guarded by fMutex

  CurlTransfer fTransfer;
  bool fHostMoved = false;                                  ///< the request has to be made anew
  std::vector<std::string> fAddresses;                      ///< the host's when the request was made
  std::vector<std::string> fAnsweredAmong;                  ///< what they were at the last answer
  std::string fParsedText;                                  ///< pollers ask for the same URL again and again
  std::optional<Url> fParsedUrl;                            ///< what it was parsed into
  std::string fListensTo;                                   ///< the host of fSubscription
  std::unique_ptr<LocalHosts::Subscription> fSubscription;  ///< wakes fTransfer, so it goes first
};

}  // namespace DeviceList

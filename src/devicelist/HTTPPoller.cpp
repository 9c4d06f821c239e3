#include "devicelist/HTTPPoller.h"

#include <string_view>
#include <utility>

namespace DeviceList {
namespace {

constexpr std::string_view kScheme = "http://";

bool IsRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

}  // namespace

/// A thread's stay in DoRequest: waits for the client to be free and lets go
/// of it at the end. Where the client is cancelled, it never gets its turn.
class HTTPPoller::Turn {
 public:
  explicit Turn(HTTPPoller& poller) : fPoller(poller) {
    std::unique_lock lock(fPoller.fMutex);
    ++fPoller.fInside;
    fPoller.fChanged.wait(lock, [this] { return !fPoller.fBusy || fPoller.fCancelled; });
    fHasTurn = !fPoller.fCancelled;
    if (fHasTurn) fPoller.fBusy = true;
  }

  /// Tells the others under the lock: right after it the poller may be gone.
  ~Turn() {
    const std::lock_guard lock(fPoller.fMutex);
    --fPoller.fInside;
    if (fHasTurn) fPoller.fBusy = false;
    fPoller.fChanged.notify_all();
  }

  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  explicit operator bool() const { return fHasTurn; }

 private:
  HTTPPoller& fPoller;
  bool fHasTurn = false;
};

HTTPPoller::HTTPPoller(std::shared_ptr<const LocalHosts> hosts, std::chrono::milliseconds timeout)
    : fHosts(std::move(hosts)), fTimeout(timeout) {}

HTTPPoller::~HTTPPoller() {
  Cancel();
  std::unique_lock lock(fMutex);
  fChanged.wait(lock, [this] { return fInside == 0; });
}

void HTTPPoller::Cancel() noexcept {
  fCancelled = true;
  fTransfer.Wake();
  const std::lock_guard lock(fMutex);
  fChanged.notify_all();
}

vorn::optional<HTTPAnswer> HTTPPoller::DoRequest(const std::string& url,
                                                 const vorn::optional<std::string>& etag) noexcept {
  try {
    const Turn turn(*this);
    if (!turn) return {};
    return FollowRedirects(url, etag);
  } catch (...) {
    return {};
  }
}

const vorn::optional<Url>& HTTPPoller::ParseFirst(const std::string& url) {
  if (!fParsedUrl || url != fParsedText) {
    fParsedUrl.reset();
    fParsedText = url;
    // The scheme is compared as it is written; nothing but "http" is served.
    if (std::string_view(url).substr(0, kScheme.size()) == kScheme) fParsedUrl = ParseUrl(url);
  }
  return fParsedUrl;
}

vorn::optional<HTTPAnswer> HTTPPoller::FollowRedirects(const std::string& url,
                                                       const vorn::optional<std::string>& etag) {
  const auto deadline = CurlTransfer::Clock::now() + fTimeout;
  const auto& first = ParseFirst(url);
  if (!first) return {};
  auto answer = RequestOnce(*first, etag, deadline);
  vorn::optional<Url> current;
  for (int redirects = 0; answer && IsRedirect(answer->second.statusCode); ++redirects) {
    const auto location = answer->second.allHeaderFields.Find("Location");
    if (!location) break;  // says nothing to follow: an answer like any other
    if (redirects == kMaxRedirects) return {};
    current = ResolveUrl(current ? *current : *first, *location);
    if (!current || current->host != first->host) return {};
    answer = RequestOnce(*current, etag, deadline);
  }
  return answer;
}

vorn::optional<HTTPAnswer> HTTPPoller::RequestOnce(const Url& url, const vorn::optional<std::string>& etag,
                                                   CurlTransfer::Clock::time_point deadline) {
  const auto addresses = fHosts ? fHosts->AddressesOf(url.host) : std::vector<std::string>();
  return fTransfer.Perform({url, etag, addresses, LocalHosts::IsLocal(url.host), deadline}, fCancelled);
}

}  // namespace DeviceList

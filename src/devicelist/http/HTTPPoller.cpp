#include "devicelist/http/HTTPPoller.h"

#include <algorithm>
#include <utility>

namespace DeviceList {
namespace {

bool IsRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool Contains(const std::vector<std::string>& addresses, const std::string& address) {
  return std::find(addresses.begin(), addresses.end(), address) != addresses.end();
}

}  // namespace

/// The presence of a thread in DoRequest. It waits until the client is free and frees it at the end. If the
/// client is cancelled, the thread never gets its turn.
class HTTPPoller::Turn {
 public:
  explicit Turn(HTTPPoller& poller) : fPoller(poller) {
    std::unique_lock lock(fPoller.fMutex);
    ++fPoller.fInside;
    fPoller.fChanged.wait(lock, [this] { return !fPoller.fBusy || fPoller.fCancelled; });
    fHasTurn = !fPoller.fCancelled;
    if (fHasTurn) fPoller.fBusy = true;
  }

  /// Notifies the others under the lock, because the poller may be gone right after it.
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

HTTPPoller::HTTPPoller(std::shared_ptr<const LocalHosts> hosts, std::chrono::milliseconds timeout,
                       Redirects redirects)
    : fHosts(std::move(hosts)), fTimeout(timeout), fRedirects(redirects) {}

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
    return Request(url, etag);
  } catch (...) {
    return {};
  }
}

const std::optional<Url>& HTTPPoller::ParseFirst(const std::string& url) {
  if (!fParsedUrl || url != fParsedText) {
    fParsedUrl.reset();
    fParsedText = url;
    fParsedUrl = ParsePlainUrl(url);
  }
  return fParsedUrl;
}

/// Hears of each change of the addresses of the host that is asked.
void HTTPPoller::ListenTo(const std::string& host) {
  if (!fHosts || host == fListensTo) return;
  fSubscription.reset();
  if (LocalHosts::IsLocal(host)) {
    fSubscription = std::make_unique<LocalHosts::Subscription>(fHosts, host, [this] {
      fAddressesChanged = true;
      fTransfer.Wake();
    });
  }
  fListensTo = host;
}

vorn::optional<HTTPAnswer> HTTPPoller::Request(const std::string& url,
                                               const vorn::optional<std::string>& etag) {
  const auto deadline = vorn::Clock::now() + fTimeout;
  const auto& first = ParseFirst(url);
  if (!first) return {};
  ListenTo(first->host);
  vorn::optional<HTTPAnswer> answer;
  do {
    fHostMoved = false;
    answer = FollowRedirects(*first, etag, deadline);
  } while (fHostMoved && !fCancelled);
  return answer;
}

vorn::optional<HTTPAnswer> HTTPPoller::FollowRedirects(const Url& first,
                                                       const vorn::optional<std::string>& etag,
                                                       Deadline deadline) {
  auto answer = RequestOnce(first, first, etag, deadline);
  std::optional<Url> current;
  for (int redirects = 0; answer && IsRedirect(answer->second.statusCode); ++redirects) {
    const auto location = answer->second.allHeaderFields.Find("Location");
    if (!location) break;  // nothing to follow: this is an answer like any other
    if (redirects == kMaxRedirects) return {};
    current = ResolveUrl(current ? *current : first, *location);
    if (!current || !MayLeadTo(*current, first)) return {};
    answer = RequestOnce(*current, first, etag, deadline);
  }
  return answer;
}

bool HTTPPoller::MayLeadTo(const Url& url, const Url& first) const {
  if (fRedirects == Redirects::kAnywhere || LocalHosts::IsSameName(url.host, first.host)) return true;
  return Contains(AddressesOf(first), url.host);
}

/// None if the system resolves the host.
std::vector<std::string> HTTPPoller::AddressesOf(const Url& url) const {
  return fHosts ? fHosts->AddressesOf(url.host) : std::vector<std::string>();
}

vorn::optional<HTTPAnswer> HTTPPoller::RequestOnce(const Url& url, const Url& first,
                                                   const vorn::optional<std::string>& etag,
                                                   Deadline deadline) {
  const bool direct = LocalHosts::IsLocal(first.host) || LocalHosts::IsLocal(url.host);
  fAddresses = AddressesOf(first);
  // A redirect that names one of the host's addresses leads to that one.
  const bool isNamed = !fHosts || LocalHosts::IsSameName(url.host, first.host);
  const auto addresses = isNamed ? fAddresses : std::vector<std::string>{url.host};
  // The newest address is the first. Another unit may have the old one by now.
  const bool prefersLast = !fAddresses.empty() && Contains(fAnsweredAmong, fAddresses.front());
  auto answer = fTransfer.Perform({url, etag, addresses, prefersLast, direct, deadline,
                                   fHosts ? &fHosts->Pace() : nullptr,
                                   [this, &first](const std::string& address, bool isSent) {
                                     return IsGivenUp(first, address, isSent);
                                   }});
  if (answer) fAnsweredAmong = fAddresses;
  return answer;
}

/// A host that has left the table may still be there, so its request continues. A new address is no reason to
/// give up a request that may be answered at any moment.
bool HTTPPoller::IsGivenUp(const Url& first, const std::string& address, bool isSent) {
  const bool looks = !isSent || fAddressesChanged.exchange(false);
  if (!fHostMoved && looks && !address.empty()) {
    const auto addresses = AddressesOf(first);
    const bool isGone = !addresses.empty() && !Contains(addresses, address);
    const bool isOneNew = std::any_of(addresses.begin(), addresses.end(),
                                      [this](const auto& one) { return !Contains(fAddresses, one); });
    fHostMoved = isGone || (isOneNew && !isSent);
  }
  return fHostMoved || fCancelled;
}

}  // namespace DeviceList

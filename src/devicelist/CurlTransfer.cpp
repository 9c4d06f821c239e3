#include "devicelist/CurlTransfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

#include "devicelist/HostAlias.h"

namespace DeviceList {
namespace {

constexpr long kReceiveBufferBytes = 4096;  // answers are small, and every unit has its own
constexpr long kSendBufferBytes = 16384;    // the smallest there is
constexpr std::chrono::milliseconds kLongestWait{1000};

struct EasyCleanup {
  void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
struct MultiCleanup {
  void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
};
struct ListCleanup {
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using StringList = std::unique_ptr<curl_slist, ListCleanup>;

void Append(StringList& list, const std::string& text) {
  curl_slist* longer = curl_slist_append(list.get(), text.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(list.release());
  list.reset(longer);
}

/// The callbacks are called from C, so nothing may be thrown out of them;
/// taking fewer bytes than offered makes the transfer fail.
std::size_t TakeHeader(char* bytes, std::size_t size, std::size_t count, void* collector) noexcept {
  const std::size_t length = size * count;
  try {
    return static_cast<ResponseCollector*>(collector)->AddHeaderLine({bytes, length}) ? length : 0;
  } catch (...) {
    return 0;
  }
}

std::size_t TakeBody(char* bytes, std::size_t size, std::size_t count, void* collector) noexcept {
  const std::size_t length = size * count;
  try {
    // An empty piece is no failure, and taking none of it tells that.
    return static_cast<ResponseCollector*>(collector)->AddBody({bytes, length}) ? length : length + 1;
  } catch (...) {
    return length + 1;
  }
}

template <typename T>
void Set(CURL* handle, CURLoption option, T value) {
  if ((curl_easy_setopt)(handle, option, value) != CURLE_OK) throw std::runtime_error("HTTP option refused");
}

/// The line that sends the tag; empty for none. A tag with a byte that would
/// end the line is not sent.
std::string TagField(const vorn::optional<std::string>& etag) {
  if (!etag || etag->find_first_of(std::string_view("\0\r\n", 3)) != std::string::npos) return {};
  // A field without a text is written this way, or it would be left out.
  const bool blank = etag->find_first_not_of(" \t") == std::string::npos;
  return blank ? "If-None-Match;" : "If-None-Match: " + *etag;
}

/// Where in the URL's text its host and port stand.
std::string_view AuthorityIn(const std::string& url) {
  const auto begin = url.find("://") + 3;
  const std::string_view rest = std::string_view(url).substr(begin);
  return rest.substr(0, rest.find_first_of("/?#"));
}

long MillisecondsUntil(CurlTransfer::Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - CurlTransfer::Clock::now());
  return static_cast<long>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

}  // namespace

void InitHTTP() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::runtime_error("no HTTP client");
  });
}

/// The order matters: the request's lists outlive the handle that points to
/// them, and the easy handle goes before the multi handle it was used with.
struct CurlTransfer::Handles {
  StringList header;
  StringList pins;
  std::unique_ptr<CURLM, MultiCleanup> multi;
  std::unique_ptr<CURL, EasyCleanup> easy;
};

CurlTransfer::CurlTransfer() : fHandles(std::make_unique<Handles>()) {
  InitHTTP();
  fHandles->multi.reset(curl_multi_init());
  fHandles->easy.reset(curl_easy_init());
  // Without descriptors the multi handle comes, but cannot be woken.
  if (!fHandles->multi || !fHandles->easy || curl_multi_wakeup(fHandles->multi.get()) != CURLM_OK)
    throw std::runtime_error("no HTTP client");
  curl_multi_setopt(fHandles->multi.get(), CURLMOPT_MAXCONNECTS, 1L);

  CURL* easy = fHandles->easy.get();
  Set(easy, CURLOPT_NOSIGNAL, 1L);
  Set(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  Set(easy, CURLOPT_HTTP09_ALLOWED, 0L);
  Set(easy, CURLOPT_FOLLOWLOCATION, 0L);
  Set(easy, CURLOPT_PATH_AS_IS, 1L);
  Set(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  Set(easy, CURLOPT_QUICK_EXIT, 1L);  // never waits for a look-up that is given up
  Set(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  Set(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  Set(easy, CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
  Set(easy, CURLOPT_UPLOAD_BUFFERSIZE, kSendBufferBytes);
  Set(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  Set(easy, CURLOPT_HEADERFUNCTION, TakeHeader);
  Set(easy, CURLOPT_HEADERDATA, static_cast<void*>(&fCollector));
  Set(easy, CURLOPT_WRITEFUNCTION, TakeBody);
  Set(easy, CURLOPT_WRITEDATA, static_cast<void*>(&fCollector));
}

CurlTransfer::~CurlTransfer() = default;

void CurlTransfer::Wake() noexcept {
  curl_multi_wakeup(fHandles->multi.get());
}

vorn::optional<HTTPAnswer> CurlTransfer::Perform(const Request& request, const std::atomic<bool>& cancelled) {
  const long left = MillisecondsUntil(request.deadline);
  if (left == 0 || cancelled) return {};
  CURL* easy = fHandles->easy.get();
  fCollector.Reset();
  Set(easy, CURLOPT_PROTOCOLS_STR, request.url.scheme.c_str());
  Set(easy, CURLOPT_TIMEOUT_MS, left);
  Set(easy, CURLOPT_PROXY, request.direct ? "" : static_cast<const char*>(nullptr));
  SetDestination(request);
  LeaveMovedHost(request.addresses);

  auto end = Run(request.deadline, cancelled);
  if (end == End::kDeadConnection) {
    const long stillLeft = MillisecondsUntil(request.deadline);
    if (stillLeft == 0) return {};
    Set(easy, CURLOPT_TIMEOUT_MS, stillLeft);
    Set(easy, CURLOPT_FRESH_CONNECT, 1L);
    end = Run(request.deadline, cancelled);
  }
  if (end != End::kComplete) return {};
  const char* address = nullptr;
  if (curl_easy_getinfo(easy, CURLINFO_PRIMARY_IP, &address) == CURLE_OK && address != nullptr)
    fConnectedTo = address;
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  auto answer = fCollector.TakeAnswer();
  answer.second.statusCode = status;
  return answer;
}

CurlTransfer::End CurlTransfer::Run(Clock::time_point deadline, const std::atomic<bool>& cancelled) {
  CURLM* multi = fHandles->multi.get();
  CURL* easy = fHandles->easy.get();
  if (curl_multi_add_handle(multi, easy) != CURLM_OK) return End::kFailed;
  CURLcode result = CURLE_ABORTED_BY_CALLBACK;  // what it is unless it ends by itself
  for (int running = 1; !cancelled;) {
    if (curl_multi_perform(multi, &running) != CURLM_OK) break;
    if (running == 0) {
      int queued = 0;
      const CURLMsg* message = curl_multi_info_read(multi, &queued);
      if (message != nullptr && message->msg == CURLMSG_DONE) result = message->data.result;
      break;
    }
    // libcurl keeps the time-out itself; this holds even where it could not.
    const long left = MillisecondsUntil(deadline);
    if (left == 0) break;
    const long wait = std::min<long>(left, kLongestWait.count());
    if (curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait), nullptr) != CURLM_OK) break;
  }
  // A transfer that is still under way is dropped here with its connection.
  curl_multi_remove_handle(multi, easy);
  if (cancelled) return End::kFailed;
  if (result == CURLE_OK) return End::kComplete;
  const bool broke = result == CURLE_GOT_NOTHING || result == CURLE_SEND_ERROR || result == CURLE_RECV_ERROR;
  return broke && WentOverKeptConnection() && fCollector.IsEmpty() ? End::kDeadConnection : End::kFailed;
}

/// Of a transfer that had a connection: without one, none was made either.
bool CurlTransfer::WentOverKeptConnection() const {
  long made = 1;
  curl_easy_getinfo(fHandles->easy.get(), CURLINFO_NUM_CONNECTS, &made);
  return made == 0;
}

/// Where the request goes: its URL, its header's fields, its host's addresses.
void CurlTransfer::SetDestination(const Request& request) {
  const Url& url = request.url;
  std::vector<std::string> fields;
  if (const auto tag = TagField(request.etag); !tag.empty()) fields.push_back(tag);
  const std::string alias = request.addresses.empty() ? url.host : HostAliasOf(url.host);
  if (alias == url.host) {
    Set(fHandles->easy.get(), CURLOPT_URL, url.text.c_str());
  } else {
    const auto authority = AuthorityIn(url.text);
    std::string text = url.text;
    text.replace(static_cast<std::size_t>(authority.data() - url.text.data()), authority.size(),
                 alias + ":" + url.port);
    Set(fHandles->easy.get(), CURLOPT_URL, text.c_str());
    fields.push_back("Host: " + std::string(authority));
  }
  SetFields(std::move(fields));
  Pin(alias + ":" + url.port, request.addresses);
}

void CurlTransfer::SetFields(std::vector<std::string> fields) {
  if (fields == fFields) return;
  StringList header;
  for (const auto& field : fields) Append(header, field);
  Set(fHandles->easy.get(), CURLOPT_HTTPHEADER, header.get());
  fHandles->header = std::move(header);
  fFields = std::move(fields);
}

/// Tells the client's own host table what has changed since the last request:
/// the entries given stay until they are taken back.
void CurlTransfer::Pin(const std::string& hostAndPort, const std::vector<std::string>& addresses) {
  const std::string key = addresses.empty() ? "" : hostAndPort;
  std::string joined;
  for (const auto& address : addresses) joined += (joined.empty() ? "" : ",") + address;
  if (key == fPinned && joined == fPinnedTo) return;
  StringList pins;
  if (!fPinned.empty()) Append(pins, "-" + fPinned);
  if (!key.empty()) Append(pins, key + ":" + joined);
  Set(fHandles->easy.get(), CURLOPT_RESOLVE, pins.get());
  fHandles->pins = std::move(pins);
  fPinned = key;
  fPinnedTo = std::move(joined);
}

/// A kept connection is taken up by host name; when discovery says that the
/// host has moved to another address, the connection to the old one is left.
void CurlTransfer::LeaveMovedHost(const std::vector<std::string>& addresses) {
  const bool moved = !addresses.empty() && !fConnectedTo.empty() &&
                     std::find(addresses.begin(), addresses.end(), fConnectedTo) == addresses.end();
  Set(fHandles->easy.get(), CURLOPT_FRESH_CONNECT, moved ? 1L : 0L);
}

}  // namespace DeviceList

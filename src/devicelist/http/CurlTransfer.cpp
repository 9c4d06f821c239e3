#include "devicelist/http/CurlTransfer.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

namespace DeviceList {
namespace {

constexpr long kReceiveBufferBytes = 4096;  // answers are small, and every unit has its own buffer
constexpr long kSendBufferBytes = 16384;    // the smallest possible
constexpr std::chrono::milliseconds kLongestWait{1000};
constexpr char kAcceptEncoding[] = "Accept-Encoding: gzip, deflate";  // ResponseCollector decodes
constexpr long kFirstFinalStatus = 200;
/// If the peer acknowledges nothing on a kept connection for this time, the connection is dead. The peer has
/// gone, or it sends to a former address of this computer.
constexpr std::chrono::milliseconds kSilentTime{5000};
/// Replaces a host's name with bytes beyond ASCII. The client would take such a name for an internationalised
/// one and look up another spelling.
constexpr char kPlainName[] = "host.local";

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

/// A transfer of the multi handle. If it is still running at the end, it is dropped with its connection.
class Running {
 public:
  Running(CURLM* multi, CURL* easy) : fMulti(multi), fEasy(easy) {
    if (curl_multi_add_handle(multi, easy) != CURLM_OK) throw std::runtime_error("HTTP transfer refused");
  }
  ~Running() { curl_multi_remove_handle(fMulti, fEasy); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  CURLM* const fMulti;
  CURL* const fEasy;
};

void Append(StringList& list, const std::string& text) {
  curl_slist* longer = curl_slist_append(list.get(), text.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(list.release());
  list.reset(longer);
}

/// C code calls the callbacks, so they must not throw. If they take fewer bytes than offered, the transfer
/// fails.
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
    // An empty piece is no failure, although a result of 0 bytes would mean one.
    return static_cast<ResponseCollector*>(collector)->AddBody({bytes, length}) ? length : length + 1;
  } catch (...) {
    return length + 1;
  }
}

/// The peer's address in text form; empty for one that is no internet address.
std::string AddressText(const sockaddr& peer) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void* bytes = peer.sa_family == AF_INET6
                          ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(peer).sin6_addr)
                          : &reinterpret_cast<const sockaddr_in&>(peer).sin_addr;
  return ::inet_ntop(peer.sa_family, bytes, text.data(), text.size()) != nullptr ? text.data() : "";
}

/// The connections that a transfer may make. Only the client knows where a name leads, and it tries a second
/// address beside one that is silent. Each address needs a turn. Without a free one, it is refused.
struct Permit {
  RequestPace* pace = nullptr;     ///< null: nothing waits for turns
  std::string address;             ///< the transfer has its turn at this one already
  std::vector<std::string> had{};  ///< addresses that the request has had its turn at
  std::string refused;             ///< the first one that has no free turn
  vorn::Clock::time_point refusedAt{};

  [[nodiscard]] bool Allows(const std::string& wanted) {
    if (pace == nullptr || wanted == address) return true;
    if (std::find(had.begin(), had.end(), wanted) != had.end()) return false;
    if (RequestPace::Turn(*pace, wanted).Take() == vorn::Clock::duration::zero()) {
      had.push_back(wanted);
      return true;
    }
    if (refused.empty()) {
      refused = wanted;
      refusedAt = vorn::Clock::now();
    }
    return false;
  }
};

curl_socket_t OpenSocket(void* permit, curlsocktype, curl_sockaddr* peer) noexcept {
  try {
    if (!static_cast<Permit*>(permit)->Allows(AddressText(peer->addr))) return CURL_SOCKET_BAD;
    return ::socket(peer->family, peer->socktype | SOCK_CLOEXEC, peer->protocol);
  } catch (...) {
    return CURL_SOCKET_BAD;
  }
}

/// Forgets the kept connection's socket when the client closes it.
int CloseSocket(void* kept, curl_socket_t socket) noexcept {
  auto& keptSocket = *static_cast<curl_socket_t*>(kept);
  if (socket == keptSocket) keptSocket = CURL_SOCKET_BAD;
  return ::close(socket);
}

void BoundSilence(curl_socket_t socket) noexcept {
  const auto time = static_cast<unsigned>(kSilentTime.count());
  ::setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &time, sizeof time);
}

template <typename T>
void Set(CURL* handle, CURLoption option, T value) {
  if ((curl_easy_setopt)(handle, option, value) != CURLE_OK) throw std::runtime_error("HTTP option refused");
}

/// True after a part of the request was sent over a connection.
bool HasSent(CURL* handle) {
  long bytes = 0;
  return curl_easy_getinfo(handle, CURLINFO_REQUEST_SIZE, &bytes) == CURLE_OK && bytes > 0;
}

bool HasConnected(CURL* handle) {
  curl_off_t time = 0;
  return curl_easy_getinfo(handle, CURLINFO_CONNECT_TIME_T, &time) == CURLE_OK && time > 0;
}

/// The line that sends the tag; empty for none. A tag with a byte that would end the line is not sent.
std::string TagField(const vorn::optional<std::string>& etag) {
  if (!etag || etag->find_first_of(std::string_view("\0\r\n", 3)) != std::string::npos) return {};
  // A field without a text needs this form. Otherwise the client would leave it out.
  const bool blank = etag->find_first_not_of(" \t") == std::string::npos;
  return blank ? "If-None-Match;" : "If-None-Match: " + *etag;
}

bool IsASCII(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// The place of host and port in the URL's text.
std::string_view AuthorityIn(const std::string& url) {
  const auto begin = url.find("://") + 3;
  const std::string_view rest = std::string_view(url).substr(begin);
  return rest.substr(0, rest.find_first_of("/?#"));
}

long MillisecondsUntil(vorn::Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - vorn::Clock::now());
  return static_cast<long>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

}  // namespace

void InitHTTP() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::runtime_error("no HTTP client");
  });
}

/// The order matters: what the client points to must live longer than the client, and the easy handle must go
/// before its multi handle.
struct CurlTransfer::Handles {
  StringList header;
  StringList destination;
  curl_socket_t keptSocket = CURL_SOCKET_BAD;
  Permit permit;
  std::unique_ptr<CURLM, MultiCleanup> multi;
  std::unique_ptr<CURL, EasyCleanup> easy;

  /// True if there is something to read from the kept connection: its end, or bytes that belong to no answer
  /// and would spoil the next one.
  [[nodiscard]] bool HasUnreadBytes() const {
    pollfd wait{keptSocket, POLLIN, 0};
    return keptSocket != CURL_SOCKET_BAD && ::poll(&wait, 1, 0) != 0;
  }

  /// True if no address has accepted a connection for long, and another one only needs its turn.
  [[nodiscard]] bool MustWaitForAnotherTurn() const {
    return !permit.refused.empty() && vorn::Clock::now() - permit.refusedAt >= kAddressTimeout &&
           !HasConnected(easy.get());
  }
};

CurlTransfer::CurlTransfer() : fHandles(std::make_unique<Handles>()) {
  InitHTTP();
  fHandles->multi.reset(curl_multi_init());
  fHandles->easy.reset(curl_easy_init());
  // Without descriptors, the multi handle is made but cannot be woken.
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
  Set(easy, CURLOPT_QUICK_EXIT, 1L);  // never waits for a look-up that was given up
  Set(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  Set(easy, CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
  Set(easy, CURLOPT_UPLOAD_BUFFERSIZE, kSendBufferBytes);
  Set(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  Set(easy, CURLOPT_HEADERFUNCTION, TakeHeader);
  Set(easy, CURLOPT_HEADERDATA, static_cast<void*>(&fCollector));
  Set(easy, CURLOPT_WRITEFUNCTION, TakeBody);
  Set(easy, CURLOPT_WRITEDATA, static_cast<void*>(&fCollector));
  Set(easy, CURLOPT_OPENSOCKETFUNCTION, OpenSocket);
  Set(easy, CURLOPT_OPENSOCKETDATA, static_cast<void*>(&fHandles->permit));
  Set(easy, CURLOPT_CLOSESOCKETFUNCTION, CloseSocket);
  Set(easy, CURLOPT_CLOSESOCKETDATA, static_cast<void*>(&fHandles->keptSocket));
}

CurlTransfer::~CurlTransfer() = default;

void CurlTransfer::Wake() noexcept {
  curl_multi_wakeup(fHandles->multi.get());
}

vorn::optional<HTTPAnswer> CurlTransfer::Perform(const Request& request) {
  CURL* easy = fHandles->easy.get();
  Set(easy, CURLOPT_PROTOCOLS_STR, request.url.scheme.c_str());
  Set(easy, CURLOPT_PROXY, request.direct ? "" : static_cast<const char*>(nullptr));
  SetDestination(request);

  auto addresses = request.addresses;
  if (addresses.empty()) addresses.emplace_back();
  if (request.prefersLast) {
    std::stable_partition(addresses.begin(), addresses.end(),
                          [this](const auto& address) { return address == fAnsweredAt; });
  }
  if (RunInTurn(request, addresses) != End::kComplete) return {};
  fAnsweredAt = fConnectTo;
  const char* peer = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIMARY_IP, &peer);
  fPeer = peer != nullptr ? peer : "";
  return TakeAnswer();
}

/// A host that is silent at some of its addresses has the whole time of the
/// request to accept a connection at any of them.
CurlTransfer::End CurlTransfer::RunInTurn(const Request& request, const std::vector<std::string>& addresses) {
  for (bool isSilent = true; isSilent;) {
    isSilent = false;
    for (const auto& address : addresses) {
      const auto end = RunAt(request, address, addresses.size() == 1);
      if (end != End::kUnreachable && end != End::kSilent) return end;
      isSilent = isSilent || end == End::kSilent;
    }
  }
  return End::kUnreachable;
}

CurlTransfer::End CurlTransfer::RunAt(const Request& request, const std::string& address, bool isOnly) {
  CURL* easy = fHandles->easy.get();
  ConnectTo(address);
  // The time of the TLS handshake would count too, and a small unit may need long for it.
  const bool isBounded = !isOnly && request.url.scheme == "http";
  const std::chrono::milliseconds bound = isBounded ? kAddressTimeout : std::chrono::milliseconds(0);
  Set(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(bound.count()));
  const bool isFresh = fHandles->HasUnreadBytes();
  Set(easy, CURLOPT_FRESH_CONNECT, isFresh ? 1L : 0L);
  auto end = Run(request, address, !isFresh && fHandles->keptSocket != CURL_SOCKET_BAD);
  if (end == End::kDeadConnection) {
    Set(easy, CURLOPT_FRESH_CONNECT, 1L);
    end = Run(request, address, false);
  }
  return end;
}

/// Each turn is for one sending: over the kept connection, or over a new one. The client itself sends a
/// second time over a new connection if the kept one breaks, so that one needs a turn too.
CurlTransfer::End CurlTransfer::Run(const Request& request, const std::string& address, bool usesKept) {
  if (request.pace == nullptr) return RunInTime(request, address);
  Permit& permit = fHandles->permit;
  permit = {.pace = request.pace, .address = {}, .refused = address.empty() ? fPeer : address};
  for (;;) {
    const std::string peer = std::exchange(permit.refused, {});
    if (!peer.empty() && !AwaitTurn(request, address, peer)) return End::kFailed;
    permit.address = std::exchange(usesKept, false) ? std::string() : peer;
    if (!permit.address.empty()) permit.had.push_back(peer);
    const auto end = RunInTime(request, address);
    if (permit.refused.empty() || (end != End::kUnreachable && end != End::kSilent)) return end;
  }
}

/// Waits for the turn at the peer's address. False if the request is given up or its time ends first.
bool CurlTransfer::AwaitTurn(const Request& request, const std::string& address, const std::string& peer) {
  RequestPace::Turn turn(*request.pace, peer);
  for (;;) {
    const auto left = turn.Take();
    if (left == left.zero()) return true;
    const long time = MillisecondsUntil(request.deadline);
    if (time == 0 || request.isGivenUp(address, false)) return false;
    const auto wait = std::min(std::chrono::ceil<std::chrono::milliseconds>(left), kLongestWait);
    const long bounded = std::min<long>(time, wait.count());
    if (curl_multi_poll(fHandles->multi.get(), nullptr, 0, static_cast<int>(bounded), nullptr) != CURLM_OK)
      return false;
  }
}

CurlTransfer::End CurlTransfer::RunInTime(const Request& request, const std::string& address) {
  const long time = MillisecondsUntil(request.deadline);
  if (time == 0) return End::kFailed;
  Set(fHandles->easy.get(), CURLOPT_TIMEOUT_MS, time);
  fCollector.Reset();
  const auto end = RunToEnd(request, address);
  return request.isGivenUp(address, end == End::kComplete) ? End::kFailed : end;
}

CurlTransfer::End CurlTransfer::RunToEnd(const Request& request, const std::string& address) {
  CURLM* multi = fHandles->multi.get();
  const Running running(multi, fHandles->easy.get());
  CURLcode result = CURLE_ABORTED_BY_CALLBACK;  // the result unless the transfer ends by itself
  bool isSent = false;
  for (int underWay = 1; !request.isGivenUp(address, isSent);) {
    if (curl_multi_perform(multi, &underWay) != CURLM_OK) break;
    if (underWay == 0) {
      int queued = 0;
      const CURLMsg* message = curl_multi_info_read(multi, &queued);
      if (message != nullptr && message->msg == CURLMSG_DONE) result = message->data.result;
      break;
    }
    if (fHandles->MustWaitForAnotherTurn()) {
      result = CURLE_OPERATION_TIMEDOUT;
      break;
    }
    // libcurl itself watches the time-out. This also works where libcurl cannot.
    const long left = MillisecondsUntil(request.deadline);
    if (left == 0) break;
    const long wait = std::min<long>(left, kLongestWait.count());
    if (curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait), nullptr) != CURLM_OK) break;
    isSent = HasSent(fHandles->easy.get());
  }
  return EndOf(result);
}

/// Ask before the handle is removed, because the removal forgets the connection.
CurlTransfer::End CurlTransfer::EndOf(int result) const {
  CURL* easy = fHandles->easy.get();
  curl_socket_t kept = CURL_SOCKET_BAD;
  if (curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &kept) == CURLE_OK && kept != CURL_SOCKET_BAD)
    fHandles->keptSocket = kept;
  long made = 1;
  curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &made);
  if (made != 0 && kept != CURL_SOCKET_BAD) BoundSilence(kept);
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  const bool wentOverKeptConnection = made == 0;
  switch (result) {
    case CURLE_OK:
      // The client accepts an answer that ends within its header as a complete one.
      return fCollector.IsComplete() && status >= kFirstFinalStatus ? End::kComplete : End::kFailed;
    case CURLE_COULDNT_CONNECT:
      return End::kUnreachable;
    case CURLE_OPERATION_TIMEDOUT:
      return HasConnected(easy) ? End::kFailed : End::kSilent;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_UNSUPPORTED_PROTOCOL:  // the answer was not HTTP
    case CURLE_WEIRD_SERVER_REPLY:
      return wentOverKeptConnection && fCollector.IsEmpty() ? End::kDeadConnection : End::kFailed;
    default:
      return End::kFailed;
  }
}

HTTPAnswer CurlTransfer::TakeAnswer() {
  auto answer = fCollector.TakeAnswer();
  curl_easy_getinfo(fHandles->easy.get(), CURLINFO_RESPONSE_CODE, &answer.second.statusCode);
  answer.second.address = fPeer;
  return answer;
}

/// The request's URL and the fields of its header. The Host field contains the host as it is written,
/// whatever name the client gets.
void CurlTransfer::SetDestination(const Request& request) {
  const Url& url = request.url;
  std::vector<std::string> fields{kAcceptEncoding};
  if (const auto tag = TagField(request.etag); !tag.empty()) fields.push_back(tag);
  std::string text = url.text;
  if (!request.addresses.empty() && !IsASCII(url.host)) {
    const auto authority = AuthorityIn(url.text);
    text.replace(static_cast<std::size_t>(authority.data() - url.text.data()), authority.size(),
                 kPlainName + (":" + url.port));
    fields.push_back("Host: " + std::string(authority));
  }
  Set(fHandles->easy.get(), CURLOPT_URL, text.c_str());
  SetFields(std::move(fields));
}

void CurlTransfer::SetFields(std::vector<std::string> fields) {
  if (fields == fFields) return;
  StringList header;
  for (const auto& field : fields) Append(header, field);
  Set(fHandles->easy.get(), CURLOPT_HTTPHEADER, header.get());
  fHandles->header = std::move(header);
  fFields = std::move(fields);
}

/// The address for the connection, whatever host the URL names. A kept connection to another address is not
/// used, because another unit may have that address by now.
void CurlTransfer::ConnectTo(const std::string& address) {
  if (address == fConnectTo) return;
  auto connectTo = address;
  StringList destination;
  if (!address.empty()) Append(destination, "::" + address + ":");
  Set(fHandles->easy.get(), CURLOPT_CONNECT_TO, destination.get());
  fHandles->destination = std::move(destination);
  fConnectTo = std::move(connectTo);
}

}  // namespace DeviceList

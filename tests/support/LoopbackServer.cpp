#include "tests/support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <zlib.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/support/Eventually.h"

namespace vorn::testing {
namespace {

sockaddr_in LoopbackAddress(std::uint16_t port, const char* text = "127.0.0.1") {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  ::inet_pton(AF_INET, text, &address.sin_addr);
  return address;
}

/// A port of 0 is replaced by the one that the system chose.
FileDescriptor BoundSocket(std::uint16_t& port, const char* text = "127.0.0.1") {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  auto address = LoopbackAddress(port, text);
  socklen_t length = sizeof(address);
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (!socket || ::bind(socket.Get(), generic, length) != 0 ||
      ::getsockname(socket.Get(), generic, &length) != 0)
    throw std::runtime_error("no loopback socket");
  port = ntohs(address.sin_port);
  return socket;
}

std::string_view ReasonOf(int status) {
  if (status == 200) return "OK";
  if (status == 304) return "Not Modified";
  if (status == 404) return "Not Found";
  return "Some Status";
}

}  // namespace

std::vector<std::string> ReceivedRequest::ValuesOf(std::string_view name) const {
  std::vector<std::string> values;
  const std::string prefix = std::string(name) + ": ";
  for (const auto& line : headerLines) {
    if (line.starts_with(prefix)) values.push_back(line.substr(prefix.size()));
  }
  return values;
}

void Exchange::Reply(int status, std::string_view body, const std::vector<std::string>& headerLines) {
  std::string answer = "HTTP/1.1 " + std::to_string(status) + " ";
  answer += ReasonOf(status);
  answer += "\r\n";
  for (const auto& line : headerLines) answer += line + "\r\n";
  if (status != 304) answer += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  answer += "\r\n";
  answer += body;
  Send(answer);
}

bool Exchange::Send(std::string_view bytes) {
  while (fOpen && !bytes.empty()) {
    const auto sent = ::send(fSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) {
      fOpen = false;
      break;
    }
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return fOpen;
}

bool Exchange::WaitForEnd(int timeoutMilliseconds) {
  pollfd waits[] = {{fSocket, POLLIN | POLLRDHUP, 0}, {fServer.fStop.Descriptor(), POLLIN, 0}};
  if (::poll(waits, 2, timeoutMilliseconds) <= 0) return false;
  fOpen = false;
  return true;
}

void Exchange::Hang() {
  static_cast<void>(WaitForEnd(-1));
}

bool Exchange::Pause(std::chrono::milliseconds duration) {
  return fOpen && !WaitForEnd(static_cast<int>(duration.count()));
}

void Exchange::Close() {
  ::shutdown(fSocket, SHUT_RDWR);
  fOpen = false;
}

void Exchange::Reset() {
  // Broken in the middle: dissolving the association sends a reset at once.
  sockaddr unspecified{};
  unspecified.sa_family = AF_UNSPEC;
  ::connect(fSocket, &unspecified, sizeof(unspecified));
  fOpen = false;
}

LoopbackServer::LoopbackServer(const char* address, std::uint16_t port)
    : fAddress(address), fPort(port), fListener(BoundSocket(fPort, address)) {
  if (::listen(fListener.Get(), SOMAXCONN) != 0) throw std::runtime_error("cannot listen");
  fOthers = [](Exchange& exchange) { exchange.Reply(404); };
  fAcceptThread = std::thread([this] { AcceptLoop(); });
}

LoopbackServer::~LoopbackServer() {
  Stop();
}

void LoopbackServer::Stop() {
  if (!fAcceptThread.joinable()) return;
  fStop.Set();
  fAcceptThread.join();
  {
    const std::lock_guard lock(fMutex);
    for (auto& connection : fConnections) ::shutdown(connection.socket.Get(), SHUT_RDWR);
  }
  for (auto& connection : fConnections) connection.thread.join();
}

std::string LoopbackServer::Url(std::string_view target) const {
  return "http://" + fAddress + ":" + PortText() + std::string(target);
}

void LoopbackServer::Handle(const std::string& target, Handler handler) {
  const std::lock_guard lock(fMutex);
  fHandlers[target] = std::move(handler);
}

void LoopbackServer::Reply(const std::string& target, int status, const std::string& body,
                           const std::vector<std::string>& headerLines) {
  Handle(target, [=](Exchange& exchange) { exchange.Reply(status, body, headerLines); });
}

void LoopbackServer::HandleOthers(Handler handler) {
  const std::lock_guard lock(fMutex);
  fOthers = std::move(handler);
}

std::vector<ReceivedRequest> LoopbackServer::Requests() const {
  const std::lock_guard lock(fMutex);
  return fRequests;
}

std::vector<std::string> LoopbackServer::Targets() const {
  const std::lock_guard lock(fMutex);
  std::vector<std::string> targets;
  for (const auto& request : fRequests) targets.push_back(request.target);
  return targets;
}

std::size_t LoopbackServer::RequestCount() const {
  const std::lock_guard lock(fMutex);
  return fRequests.size();
}

int LoopbackServer::ConnectionCount() const {
  const std::lock_guard lock(fMutex);
  return fAccepted;
}

int LoopbackServer::OpenConnections() const {
  const std::lock_guard lock(fMutex);
  return static_cast<int>(
      std::count_if(fConnections.begin(), fConnections.end(), [](const auto& c) { return !c.ended; }));
}

bool LoopbackServer::WaitForRequests(std::size_t count) const {
  std::unique_lock lock(fMutex);
  return fRequestArrived.wait_for(lock, kGenerousDeadline, [&] { return fRequests.size() >= count; });
}

void LoopbackServer::AcceptLoop() {
  for (;;) {
    pollfd waits[] = {{fListener.Get(), POLLIN, 0}, {fStop.Descriptor(), POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0 || waits[1].revents != 0) return;
    FileDescriptor socket(::accept4(fListener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!socket) continue;
    const int on = 1;
    ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    const std::lock_guard lock(fMutex);
    auto& connection = fConnections.emplace_back();
    connection.socket = std::move(socket);
    const int number = ++fAccepted;
    connection.thread = std::thread([this, &connection, number] { ServeConnection(connection, number); });
  }
}

void LoopbackServer::ServeConnection(Connection& connection, int number) {
  int socket = -1;
  {
    const std::lock_guard lock(fMutex);
    socket = connection.socket.Get();
  }
  std::string buffer;
  ReceivedRequest request;
  request.connection = number;
  while (ReadRequest(socket, buffer, request)) {
    Handler handler;
    {
      const std::lock_guard lock(fMutex);
      handler = HandlerFor(request.target);
      fRequests.push_back(request);
    }
    fRequestArrived.notify_all();
    Exchange exchange(*this, socket, request);
    handler(exchange);
    if (!exchange.IsOpen()) break;
  }
  const std::lock_guard lock(fMutex);
  connection.ended = true;
  connection.socket.Reset();
}

LoopbackServer::Handler LoopbackServer::HandlerFor(const std::string& target) const {
  const auto found = fHandlers.find(target);
  return found == fHandlers.end() ? fOthers : found->second;
}

bool LoopbackServer::ReadRequest(int socket, std::string& buffer, ReceivedRequest& request) {
  std::size_t end = 0;
  while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
    pollfd waits[] = {{socket, POLLIN, 0}, {fStop.Descriptor(), POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0 || waits[1].revents != 0) return false;
    char bytes[4096];
    const auto count = ::recv(socket, bytes, sizeof(bytes), 0);
    if (count <= 0) return false;
    buffer.append(bytes, static_cast<std::size_t>(count));
  }
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < end;) {
    const auto stop = std::min(buffer.find("\r\n", at), end);
    lines.push_back(buffer.substr(at, stop - at));
    at = stop + 2;
  }
  buffer.erase(0, end + 4);
  if (lines.empty()) return false;
  const auto& first = lines.front();
  const auto space = first.find(' ');
  const auto last = first.rfind(' ');
  if (space == std::string::npos || last <= space) return false;
  request.method = first.substr(0, space);
  request.target = first.substr(space + 1, last - space - 1);
  request.headerLines.assign(lines.begin() + 1, lines.end());
  return true;
}

FullListener::FullListener() : fListener(BoundSocket(fPort)) {
  const auto address = LoopbackAddress(fPort);
  Fill(reinterpret_cast<const sockaddr*>(&address), sizeof(address));
}

FullListener::FullListener(std::uint16_t port)
    : fPort(port), fListener(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(port);
  address.sin6_addr = in6addr_loopback;
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  if (::bind(fListener.Get(), generic, sizeof(address)) != 0) throw std::runtime_error("no port of ::1");
  Fill(generic, sizeof(address));
}

void FullListener::Fill(const sockaddr* address, socklen_t length) {
  if (::listen(fListener.Get(), 0) != 0) throw std::runtime_error("cannot listen");
  for (int attempt = 0; attempt < 64; ++attempt) {
    FileDescriptor filler(::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    ::connect(filler.Get(), address, length);
    pollfd wait{filler.Get(), POLLOUT, 0};
    const bool connected = ::poll(&wait, 1, 100) == 1;
    fFillers.push_back(std::move(filler));
    if (!connected) return;
  }
  throw std::runtime_error("the listener's queue does not fill");
}

int CountConnecting(std::uint16_t port) {
  std::ostringstream peer;
  peer << std::uppercase << std::hex << port;
  auto text = peer.str();
  text = ":" + std::string(4 - text.size(), '0') + text;
  std::ifstream table("/proc/net/tcp");
  std::string line;
  int count = 0;
  while (std::getline(table, line)) {
    std::istringstream words(line);
    std::string slot, local, remote, state;
    words >> slot >> local >> remote >> state;
    if (state == "02" && remote.ends_with(text)) ++count;
  }
  return count;
}

std::uint16_t UnusedPort() {
  // Bound but not listening, and kept so: nobody else can take it.
  static std::vector<FileDescriptor> kept;
  std::uint16_t port = 0;
  kept.push_back(BoundSocket(port));
  return port;
}

namespace {

std::string Compressed(std::string_view bytes, int windowBits) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::runtime_error("no compression");
  std::string input(bytes);
  std::string output(deflateBound(&stream, static_cast<uLong>(input.size())) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  const int result = deflate(&stream, Z_FINISH);
  output.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("compression failed");
  return output;
}

constexpr int kWindowBits = 15;

}  // namespace

std::string Gzip(std::string_view bytes) {
  return Compressed(bytes, kWindowBits + 16);
}

std::string Deflate(std::string_view bytes) {
  return Compressed(bytes, kWindowBits);
}

std::string DeflateWithoutHeader(std::string_view bytes) {
  return Compressed(bytes, -kWindowBits);
}

}  // namespace vorn::testing

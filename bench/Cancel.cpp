// How long a cancelled request takes to return, in every phase, while the peer hangs in that phase. The
// reference is the time to wake a waiting thread on this machine.
//
// bench_cancel REPETITIONS PHASE, where PHASE is wake, connect, header, body, poller (destroying the whole
// poller while it waits for a header) or lookup. For the last one, the system's resolver must ask 127.0.0.1.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "bench/Statistics.h"
#include "devicelist/DevicePoller.h"
#include "devicelist/http/HTTPPoller.h"
#include "foundation/FileDescriptor.h"

namespace {

using namespace std::chrono_literals;
using vorn::FileDescriptor;
using vorn::bench::Now;

/// From the last sign of a phase to the cancel: time for the client to return to its wait.
constexpr auto kIntoTheWait = 5ms;
constexpr int kLongestWait = 20000;

FileDescriptor Socket(int type, std::uint16_t port) {
  FileDescriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    throw std::system_error(errno, std::generic_category(), "bind");
  return socket;
}

std::uint16_t PortOf(const FileDescriptor& socket) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  ::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

bool WaitReadable(int descriptor) {
  pollfd wait{descriptor, POLLIN, 0};
  return ::poll(&wait, 1, kLongestWait) == 1;
}

/// A peer that hangs in one phase.
class Peer {
 public:
  Peer() = default;
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  virtual ~Peer() = default;
  [[nodiscard]] virtual std::string Url() const = 0;
  /// Waits until a client has reached the phase.
  virtual bool AwaitClient() = 0;
};

class SilentNameServer final : public Peer {
 public:
  [[nodiscard]] std::string Url() const override { return "http://unit.vorn.example/"; }
  bool AwaitClient() override {
    if (!WaitReadable(fSocket.Get())) return false;
    for (std::array<char, 512> query{};
         ::recv(fSocket.Get(), query.data(), query.size(), MSG_DONTWAIT) > 0;) {
    }
    return true;
  }

 private:
  const FileDescriptor fSocket = Socket(SOCK_DGRAM, 53);
};

/// Its queue of connections is full, so connections are neither made nor refused.
class FullQueue final : public Peer {
 public:
  FullQueue() : fListener(Socket(SOCK_STREAM, 0)) {
    ::listen(fListener.Get(), 0);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(fListener.Get(), reinterpret_cast<sockaddr*>(&address), &length);
    for (auto& filler : fFillers) {
      filler = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
      ::connect(filler.Get(), reinterpret_cast<const sockaddr*>(&address), length);
    }
  }
  [[nodiscard]] std::string Url() const override {
    return "http://127.0.0.1:" + std::to_string(PortOf(fListener)) + "/";
  }
  bool AwaitClient() override { return true; }

 private:
  const FileDescriptor fListener;
  std::array<FileDescriptor, 4> fFillers;
};

/// Takes the request, sends this part of an answer, and then nothing more.
class MuteServer final : public Peer {
 public:
  explicit MuteServer(std::string answer) : fAnswer(std::move(answer)), fListener(Socket(SOCK_STREAM, 0)) {
    ::listen(fListener.Get(), SOMAXCONN);
  }
  [[nodiscard]] std::string Url() const override {
    return "http://127.0.0.1:" + std::to_string(PortOf(fListener)) + "/";
  }
  bool AwaitClient() override {
    if (!WaitReadable(fListener.Get())) return false;
    fConnection = FileDescriptor(::accept4(fListener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    std::array<char, 4096> request{};
    if (!WaitReadable(fConnection.Get()) || ::recv(fConnection.Get(), request.data(), request.size(), 0) <= 0)
      return false;
    return ::send(fConnection.Get(), fAnswer.data(), fAnswer.size(), MSG_NOSIGNAL) >= 0;
  }

 private:
  const std::string fAnswer;
  const FileDescriptor fListener;
  FileDescriptor fConnection;
};

double CancelRequest(Peer& peer) {
  DeviceList::HTTPPoller poller;
  double returned = 0;
  bool answered = true;
  std::thread request([&] {
    answered = poller.DoRequest(peer.Url(), {}).has_value();
    returned = Now();
  });
  const bool came = peer.AwaitClient();
  std::this_thread::sleep_for(kIntoTheWait);
  const double cancelled = Now();
  poller.Cancel();
  request.join();
  if (!came || answered || returned < cancelled)
    throw std::runtime_error("the request did not hang in its phase");
  return returned - cancelled;
}

double DestroyPoller(Peer& peer) {
  auto poller = std::make_unique<DeviceList::DevicePoller>(
      DeviceList::Entry{std::string("Unit"), DeviceList::kTypeDevice, peer.Url(), "1"});
  if (!peer.AwaitClient()) throw std::runtime_error("the poller sent no request");
  std::this_thread::sleep_for(kIntoTheWait);
  const double start = Now();
  poller.reset();
  return Now() - start;
}

double WakeThread() {
  const vorn::Wakeup wakeup;
  double returned = 0;
  std::thread waiting([&] {
    WaitReadable(wakeup.Descriptor());
    returned = Now();
  });
  std::this_thread::sleep_for(kIntoTheWait);
  const double woken = Now();
  wakeup.Set();
  waiting.join();
  return returned - woken;
}

std::function<double()> Measurement(const std::string& phase) {
  const std::string header = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{\"value\":";
  if (phase == "wake") return WakeThread;
  std::shared_ptr<Peer> peer;
  if (phase == "lookup") peer = std::make_shared<SilentNameServer>();
  if (phase == "connect") peer = std::make_shared<FullQueue>();
  if (phase == "header" || phase == "poller") peer = std::make_shared<MuteServer>("");
  if (phase == "body") peer = std::make_shared<MuteServer>(header);
  if (!peer) return nullptr;
  if (phase == "poller") return [peer] { return DestroyPoller(*peer); };
  return [peer] { return CancelRequest(*peer); };
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bench_cancel REPETITIONS PHASE\n";
    return 2;
  }
  try {
    const auto measure = Measurement(argv[2]);
    if (!measure) {
      std::cerr << "bench_cancel: no such phase: " << argv[2] << '\n';
      return 2;
    }
    std::vector<double> times;
    for (int i = 0; i < std::atoi(argv[1]); ++i) times.push_back(measure());
    std::cout << nlohmann::json{{"phase", argv[2]}, {"milliseconds", vorn::bench::Summary(times, 1e3)}}
              << std::endl;
  } catch (const std::exception& error) {
    std::cerr << "bench_cancel: " << error.what() << '\n';
    return 1;
  }
  return 0;
}

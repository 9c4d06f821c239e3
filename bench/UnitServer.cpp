#include "bench/UnitServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <string_view>
#include <system_error>

#include "bench/Statistics.h"
#include "devicelist/Datastore.h"
#include "foundation/Process.h"

namespace vorn::bench {

struct UnitServer::Shared {
  std::atomic<std::uint64_t> requests{0};
};

namespace {

constexpr char kTag[] = "\"1\"";
constexpr char kNotFound[] = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";

int Check(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

int Listen(std::uint16_t& port) {
  const int listener = Check(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_ANY);  // all of 127.0.0.0/8, because each unit has its own address
  socklen_t length = sizeof address;
  Check(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), "bind");
  Check(::listen(listener, SOMAXCONN), "listen");
  Check(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), "getsockname");
  port = ntohs(address.sin_port);
  return listener;
}

std::string Answer(const std::string& body, bool tagged = false) {
  return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n" +
         (tagged ? std::string("ETag: ") + kTag + "\r\n" : std::string()) +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Value(const std::string& text) {
  return Answer("{\"value\":\"" + text + "\"}");
}

/// The code of the server's own process: one thread, one epoll.
class Loop {
 public:
  Loop(int listener, UnitServer::Names names, unsigned models, std::atomic<std::uint64_t>& requests)
      : fListener(listener), fNames(names), fModels(models), fRequests(requests), fEpoll(::epoll_create1(0)) {
    Watch(listener);
  }

  [[noreturn]] void Run() {
    std::array<epoll_event, 64> events{};
    for (;;) {
      const int ready = ::epoll_wait(fEpoll, events.data(), static_cast<int>(events.size()), -1);
      for (int i = 0; i < ready; ++i) {
        const int socket = events[static_cast<std::size_t>(i)].data.fd;
        if (socket == fListener) {
          Accept();
        } else {
          Serve(socket);
        }
      }
    }
  }

 private:
  void Watch(int socket) const {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = socket;
    ::epoll_ctl(fEpoll, EPOLL_CTL_ADD, socket, &event);
  }

  void Accept() {
    for (int socket = 0;
         (socket = ::accept4(fListener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
      const int yes = 1;
      ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
      Watch(socket);
    }
  }

  void Serve(int socket) {
    std::array<char, 4096> bytes{};
    const auto count = ::recv(socket, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
      if (count < 0 && errno == EAGAIN) return;
      ::close(socket);
      fPending.erase(socket);
      return;
    }
    std::string& pending = fPending[socket];
    pending.append(bytes.data(), static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = pending.find("\r\n\r\n")) != std::string::npos;
         pending.erase(0, end + 4)) {
      const std::string answer = Respond(std::string_view(pending).substr(0, end));
      fRequests.fetch_add(1, std::memory_order_relaxed);
      if (::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) return;
    }
  }

  std::string Respond(std::string_view request) const {
    const std::string_view path = request.substr(0, request.find("\r\n"));
    if (path.find("/apiversion") != std::string_view::npos) return Answer("0.9.2");
    if (path.find("/ext/caps/avb") != std::string_view::npos) return Value("0.4.0");
    if (path.find("/model_name") != std::string_view::npos)
      return Value("Model " + std::to_string(Unit(path) % fModels));
    if (path.find("/firmware_version") != std::string_view::npos) return Value("1.4.0+290");
    if (path.find("/firmware ") != std::string_view::npos) return Answer("[{\"version\":\"1.4.2+311\"}]");
    if (path.find("/entity_name") != std::string_view::npos) return Name(path, request);
    return kNotFound;
  }

  std::string Name(std::string_view path, std::string_view request) const {
    if (fNames == UnitServer::Names::kMissing) return kNotFound;
    const std::string unit = std::to_string(Unit(path));
    if (fNames == UnitServer::Names::kSteady) {
      if (request.find("If-None-Match: ") != std::string_view::npos) {
        return std::string("HTTP/1.1 304 Not Modified\r\nETag: ") + kTag + "\r\n\r\n";
      }
      return Answer("{\"value\":\"Unit " + unit + "\"}", true);
    }
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%.6f", Now());
    const std::string name = "Unit " + unit + " @" + time.data();
    return Value(fNames == UnitServer::Names::kLong ? Long(name, Unit(path) % 2 == 0) : name);
  }

  static std::string Long(std::string name, bool differsLate) {
    // The last digits first, so that the unit also changes its place in the list.
    if (!differsLate) name = name.substr(name.size() - 3) + " " + name;
    const std::string rest(DeviceList::kMaxValueBytes - name.size(), 'u');
    return differsLate ? rest + name : name + rest;
  }

  /// The number behind "/datastore/avb/".
  static unsigned Unit(std::string_view path) {
    constexpr std::string_view kBefore = "/avb/";
    const auto at = path.find(kBefore);
    if (at == std::string_view::npos) return 0;
    return static_cast<unsigned>(
        std::strtoul(std::string(path.substr(at + kBefore.size(), 8)).c_str(), nullptr, 10));
  }

  const int fListener;
  const UnitServer::Names fNames;
  const unsigned fModels;
  std::atomic<std::uint64_t>& fRequests;
  const int fEpoll;
  std::map<int, std::string> fPending;
};

}  // namespace

UnitServer::UnitServer(Names names, unsigned models) {
  RaiseDescriptorLimit();
  void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  fShared = new (memory) Shared;
  const int listener = Listen(fPort);
  const pid_t parent = ::getpid();
  fProcess = Check(::fork(), "fork");
  if (fProcess == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    Loop(listener, names, models, fShared->requests).Run();
  }
  ::close(listener);
}

UnitServer::~UnitServer() {
  ::kill(fProcess, SIGKILL);
  ::waitpid(fProcess, nullptr, 0);
  ::munmap(fShared, sizeof(Shared));
}

std::uint64_t UnitServer::Requests() const {
  return fShared->requests.load(std::memory_order_relaxed);
}

double UnitServer::SentAt(const std::string& name) {
  const auto at = name.find('@');
  return at == std::string::npos ? -1 : std::strtod(name.c_str() + at + 1, nullptr);
}

}  // namespace vorn::bench

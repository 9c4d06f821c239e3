#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "devicelist/FirmwarePoller.h"
#include "devicelist/http/HTTPPoller.h"
#include "foundation/FileDescriptor.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/ScopedEnvironment.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::ElementsAre;
using vorn::testing::Exchange;
using vorn::testing::FullListener;
using vorn::testing::LoopbackServer;
using vorn::testing::ScopedEnvironment;

/// The system's resolver gives up after about 10 s, the request after 30.
constexpr auto kPrompt = 4s;

/// The system resolves it to ::1 and 127.0.0.1.
constexpr char kTwoAddresses[] = "both.vorn.example";

/// A name server on 127.0.0.1 that takes queries and answers those that the test chooses.
class NameServer {
 public:
  NameServer() : fSocket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::bind(fSocket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  }

  [[nodiscard]] bool WaitForQuery() const {
    pollfd wait{fSocket.Get(), POLLIN, 0};
    return ::poll(&wait, 1, 20000) == 1;
  }

  /// Answers every query with "no such name" until the request has ended, and counts those for the IPv4
  /// address of `host`. Cancelled earlier look-ups may still ask for their hosts.
  [[nodiscard]] int DenyUntilEnd(const std::future<bool>& request, const std::string& host) const {
    int denied = 0;
    while (request.wait_for(0s) != std::future_status::ready) {
      pollfd wait{fSocket.Get(), POLLIN, 0};
      if (::poll(&wait, 1, 10) == 1 && DenyNext() == Question{host, kAddress}) ++denied;
    }
    return denied;
  }

 private:
  static constexpr std::size_t kHeaderBytes = 12;
  static constexpr int kAddress = 1;  // the type of record with an IPv4 address

  /// The requested name and type of record.
  using Question = std::pair<std::string, int>;

  [[nodiscard]] Question DenyNext() const {
    unsigned char message[512] = {};
    sockaddr_in from{};
    socklen_t fromLength = sizeof(from);
    auto* peer = reinterpret_cast<sockaddr*>(&from);
    ::recvfrom(fSocket.Get(), message, sizeof(message), 0, peer, &fromLength);
    std::size_t end = kHeaderBytes;
    std::string name;
    while (message[end] != 0 && end < sizeof(message) / 2) {
      const std::size_t length = message[end];
      name += (name.empty() ? "" : ".") + std::string(reinterpret_cast<char*>(message) + end + 1, length);
      end += 1U + length;
    }
    message[2] = 0x81;  // an answer
    message[3] = 0x83;  // no such name
    std::fill(message + 6, message + kHeaderBytes, '\0');
    ::sendto(fSocket.Get(), message, end + 5, 0, peer, fromLength);
    return {name, message[end + 2]};
  }

  vorn::FileDescriptor fSocket;
};

TEST(FirmwarePollerLookupTest, DestructionEndsAQueryWhoseNameServerIsSilent) {
  const NameServer server;
  auto poller = std::make_unique<FirmwarePoller>("ab12", kReleaseChannel, std::function<void()>(),
                                                 *UpdateServer::At("http://updates.vorn.example/api/"));
  ASSERT_TRUE(server.WaitForQuery());
  const auto destruction = std::async(std::launch::async, [&] { poller.reset(); });
  EXPECT_EQ(destruction.wait_for(kPrompt), std::future_status::ready);
}

TEST(HTTPPollerLookupTest, CancellingEndsARequestWhoseNameServerIsSilent) {
  const NameServer server;
  HTTPPoller poller;
  auto request = std::async(std::launch::async,
                            [&] { return poller.DoRequest("http://unit.vorn.example/", {}).has_value(); });
  ASSERT_TRUE(server.WaitForQuery());
  EXPECT_EQ(request.wait_for(0s), std::future_status::timeout);
  poller.Cancel();
  ASSERT_EQ(request.wait_for(kPrompt), std::future_status::ready);
  EXPECT_FALSE(request.get());
}

TEST(HTTPPollerLookupTest, DestructionEndsARequestWhoseNameServerIsSilent) {
  const NameServer server;
  auto poller = std::make_unique<HTTPPoller>();
  auto request = std::async(std::launch::async, [&client = *poller] {
    return client.DoRequest("http://unit.vorn.example/", {}).has_value();
  });
  ASSERT_TRUE(server.WaitForQuery());
  auto destruction = std::async(std::launch::async, [&] { poller.reset(); });
  ASSERT_EQ(destruction.wait_for(kPrompt), std::future_status::ready);
  ASSERT_EQ(request.wait_for(kPrompt), std::future_status::ready);
  EXPECT_FALSE(request.get());
}

TEST(HTTPPollerLookupTest, TheDeadlineCoversTheLookup) {
  const NameServer server;
  HTTPPoller poller(nullptr, 300ms);
  auto request = std::async(std::launch::async,
                            [&] { return poller.DoRequest("http://unit.vorn.example/", {}).has_value(); });
  ASSERT_EQ(request.wait_for(kPrompt), std::future_status::ready);
  EXPECT_FALSE(request.get());
}

TEST(HTTPPollerLookupTest, AFailedLookupIsTriedOnce) {
  const NameServer server;
  HTTPPoller poller;
  auto request = std::async(std::launch::async,
                            [&] { return poller.DoRequest("http://denied.vorn.example/", {}).has_value(); });
  EXPECT_EQ(server.DenyUntilEnd(request, "denied.vorn.example"), 1);
  EXPECT_FALSE(request.get());
}

/// The connections started in this network namespace, where nobody else is.
long ConnectionsBegun() {
  std::ifstream file("/proc/self/net/snmp");
  std::string line;
  while (std::getline(file, line)) {
    long algorithm = 0, least = 0, most = 0, connections = 0, begun = 0;
    if (std::sscanf(line.c_str(), "Tcp: %ld %ld %ld %ld %ld", &algorithm, &least, &most, &connections,
                    &begun) == 5)
      return begun;
  }
  throw std::runtime_error("no count of connections");
}

TEST(HTTPPollerLookupTest, ARefusedConnectionIsTriedOnce) {
  const auto url = "http://127.0.0.1:" + std::to_string(vorn::testing::UnusedPort()) + "/";
  HTTPPoller poller;
  const long before = ConnectionsBegun();
  EXPECT_FALSE(poller.DoRequest(url, {}));
  EXPECT_EQ(ConnectionsBegun(), before + 1);
  EXPECT_FALSE(poller.DoRequest(url, {}));
  EXPECT_EQ(ConnectionsBegun(), before + 2);
}

TEST(HTTPPollerLookupTest, DoesNotAskTheOldAddressOfAHostThatLeftTheTable) {
  LoopbackServer server;
  const auto hosts = std::make_shared<LocalHosts>();
  HTTPPoller poller(hosts);
  hosts->Replace({{"vorn-no-such-unit.local", {"127.0.0.1"}}});
  server.Reply("/x", 200, "x", {"Connection: close"});
  const auto url = "http://vorn-no-such-unit.local:" + server.PortText() + "/x";
  EXPECT_TRUE(poller.DoRequest(url, {}));
  hosts->Replace({});
  EXPECT_FALSE(poller.DoRequest(url, {}));
  EXPECT_EQ(server.RequestCount(), 1U);
  hosts->Replace({{"vorn-no-such-unit.local", {"127.0.0.1"}}});
  EXPECT_TRUE(poller.DoRequest(url, {}));
}

TEST(HTTPPollerLookupTest, HonoursTheEnvironmentsProxyExceptForLocalHosts) {
  LoopbackServer server;
  LoopbackServer proxy;
  proxy.HandleOthers([](Exchange& exchange) { exchange.Reply(200, "proxy"); });
  const ScopedEnvironment environment("http_proxy", proxy.Url(""));
  const auto hosts = std::make_shared<LocalHosts>();
  hosts->Replace({{"studio-a.local", {"127.0.0.1"}}});
  HTTPPoller poller(hosts);
  server.Reply("/x", 200, "direct");
  const auto answer = [&poller](const std::string& url) {
    const auto response = poller.DoRequest(url, {});
    return response ? response->first : "no answer";
  };

  EXPECT_EQ(answer("http://updates.vorn.example/x"), "proxy");
  EXPECT_EQ(answer("http://studio-a.local:" + server.PortText() + "/x"), "direct");
  EXPECT_FALSE(poller.DoRequest("http://vorn-no-such-unit.local/x", {}));
  EXPECT_FALSE(HTTPPoller(nullptr, 2s).DoRequest("http://vorn-no-such-unit.local/x", {}));
  EXPECT_EQ(answer("http://updates.vorn.example/y"), "proxy");
  EXPECT_THAT(proxy.Targets(), ElementsAre("http://updates.vorn.example/x", "http://updates.vorn.example/y"));
}

/// A name with an address of each family. The first one, of IPv6, is silent.
class HalfSilentHostTest : public ::testing::Test {
 protected:
  HalfSilentHostTest() { fServer.Reply("/x", 200, "second"); }

  std::string AnswerTo(const std::shared_ptr<const LocalHosts>& hosts) {
    const auto answer = HTTPPoller(hosts).DoRequest(
        "http://" + std::string(kTwoAddresses) + ":" + fServer.PortText() + "/x", {});
    return answer ? answer->first : "no answer";
  }

  LoopbackServer fServer;
  const FullListener fSilent{fServer.Port()};
};

TEST_F(HalfSilentHostTest, AnswersAtItsSecondAddress) {
  EXPECT_EQ(AnswerTo(nullptr), "second");
  EXPECT_EQ(AnswerTo(std::make_shared<LocalHosts>()), "second");
}

/// The clock moves only when somebody asks for a turn, so none is free when the client first wants the second
/// address.
TEST_F(HalfSilentHostTest, AnswersAtItsSecondAddressAlsoAfterAWaitForATurn) {
  const auto hosts =
      std::make_shared<LocalHosts>([now = vorn::Clock::time_point(1h)]() mutable { return now += 1ms; });
  while (RequestPace::Turn(hosts->Pace(), "127.0.0.1").Take() == 0s) {
  }
  EXPECT_EQ(AnswerTo(hosts), "second");
}

TEST(HTTPPollerLookupTest, SurvivesAnyBytesForAHost) {
  LoopbackServer server;
  HTTPPoller poller(std::make_shared<LocalHosts>(), 1s);
  for (const auto& host : {"a/b"s, "a?b"s, "a#b"s, "a b"s, "\xc3\xa4.local"s, "\xff\xfe.local"s, "%00.local"s,
                           "[::1"s, "a..b"s, std::string(70000, 'a'), "\\"s, "..."s, "a,b.local"s}) {
    static_cast<void>(poller.DoRequest("http://" + host + ":1/", {}).has_value());
  }
  EXPECT_TRUE(poller.DoRequest(server.Url("/x"), {}));
}

bool Write(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  return file.good();
}

/// Puts this process into separate network and mount namespaces, with a loopback device and a resolver that
/// asks it. Needs root or user namespaces.
bool EnterNamespaces() {
  const auto user = ::getuid();
  const auto group = ::getgid();
  if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0) return false;
    if (!Write("/proc/self/setgroups", "deny") ||
        !Write("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") ||
        !Write("/proc/self/gid_map", "0 " + std::to_string(group) + " 1"))
      return false;
  }
  const vorn::FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", sizeof(request.ifr_name) - 1);
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  if (::ioctl(socket.Get(), SIOCSIFFLAGS, &request) != 0) return false;

  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  if (::mount("tmpfs", "/mnt", "tmpfs", 0, nullptr) != 0) return false;
  return Write("/mnt/resolv.conf", "nameserver 127.0.0.1\noptions timeout:5 attempts:2\n") &&
         Write("/mnt/nsswitch.conf", "hosts: files dns\n") &&
         Write("/mnt/hosts", "::1 "s + kTwoAddresses + "\n127.0.0.1 localhost " + kTwoAddresses + "\n") &&
         ::mount("/mnt/hosts", "/etc/hosts", nullptr, MS_BIND, nullptr) == 0 &&
         ::mount("/mnt/resolv.conf", "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0 &&
         ::mount("/mnt/nsswitch.conf", "/etc/nsswitch.conf", nullptr, MS_BIND, nullptr) == 0;
}

}  // namespace
}  // namespace DeviceList

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (!DeviceList::EnterNamespaces()) {
    std::cerr << "cannot make the namespaces: neither root nor unprivileged user namespaces\n";
    return 1;
  }
  return RUN_ALL_TESTS();
}

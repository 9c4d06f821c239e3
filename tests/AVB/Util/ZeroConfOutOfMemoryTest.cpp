#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "foundation/Log.h"
#include "tests/AVB/Util/ScriptedDNSSD.h"

// Memory that runs out at will: one allocation of one thread fails.
namespace {

thread_local bool tFailNext = false;

void* Allocate(std::size_t size) {
  if (std::exchange(tFailNext, false)) throw std::bad_alloc();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace vorn {
namespace {

struct Loop : WorkLoop {};

TEST(ZeroConfOutOfMemory, AnExceptionInLookingUpTheAddressIsLoggedAndSurvived) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const before = Log::details::gFile;
  Log::details::gFile = ::open_memstream(&text, &size);
  Log::details::s_use_color = false;

  test::ScriptedDNSSD dnssd;
  Loop loop;
  CppWorkItem item(&loop, [] { return true; });
  {
    ZeroConfEngine engine(item, dnssd);
    ASSERT_EQ(0, engine.BrowseForService("_http._tcp"));
    dnssd.ReplyAdd("a");
    dnssd.ReplyResolve("a", "a.local.");
    dnssd.ReplyWith("address a.local.", [&](DNSServiceRef ref, void* context) {
      sockaddr_in address{};
      address.sin_family = AF_INET;
      tFailNext = true;  // queuing the client's item needs memory
      dnssd.AddressReply()(ref, kDNSServiceFlagsAdd, 1, 0, "a.local.", reinterpret_cast<sockaddr*>(&address),
                           120, context);
      EXPECT_FALSE(tFailNext);
    });
    ASSERT_TRUE(dnssd.WaitUntilIdle());
    EXPECT_STREQ("ERROR: exception in GetAddrInfoCallback (ZeroConf.cpp:516 )\n", text);

    dnssd.ReplyAdd("b");
    dnssd.ReplyResolve("b", "b.local.");
    dnssd.ReplyAddress("b.local.");
    ASSERT_TRUE(dnssd.WaitUntilIdle());
    std::vector<ZeroConfEngine::ServiceInfo> services;
    engine.GetResolvedServices(services);
    ASSERT_FALSE(services.empty());
    EXPECT_EQ("b", services.back().name);
  }
  std::fclose(Log::details::gFile);
  std::free(text);
  Log::details::gFile = before;
}

}  // namespace
}  // namespace vorn

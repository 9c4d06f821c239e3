#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "foundation/Log.h"
#include "tests/AVB/Util/ScriptedDNSSD.h"
#include "tests/support/FailingAllocation.h"

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
      const testing::FailingAllocation failing(1);  // queuing the client's item needs memory
      dnssd.AddressReply()(ref, kDNSServiceFlagsAdd, 1, 0, "a.local.", reinterpret_cast<sockaddr*>(&address),
                           120, context);
      EXPECT_TRUE(failing.HasFailed());
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

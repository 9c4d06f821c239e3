#include <avahi-common/malloc.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "AVB/Util/SystemDNSSD.h"
#include "tests/support/FailingAllocation.h"

// A stand-in for the compatibility library, linked in its place: it keeps what
// it was given, so that a test can call back as the library does, or as it does
// when it has mixed up its own memory.
namespace {

struct Given {
  DNSServiceBrowseReply browse = nullptr;
  DNSServiceResolveReply resolve = nullptr;
  DNSServiceQueryRecordReply query = nullptr;
  void* context = nullptr;
  DNSServiceFlags flags = 99;
  std::uint32_t interfaceIndex = 99;
  const char* name = nullptr;  // the texts are the test's own literals
  const char* type = nullptr;
  const char* domain = nullptr;
  std::uint16_t recordType = 0;
  std::uint16_t recordClass = 0;
};
Given gGiven;
DNSServiceRef gAskedForSocket = nullptr;
DNSServiceRef gProcessed = nullptr;
DNSServiceErrorType gProcessError = kDNSServiceErr_NoError;
std::vector<DNSServiceRef> gReleased;
DNSServiceErrorType gError = kDNSServiceErr_NoError;
std::uintptr_t gNextRef = 0x10;
int gBegun = 0;

DNSServiceErrorType Begin(DNSServiceRef* ref) {
  ++gBegun;
  if (gError == kDNSServiceErr_NoError) *ref = reinterpret_cast<DNSServiceRef>(gNextRef++);
  return gError;
}

}  // namespace

extern "C" {
DNSServiceErrorType DNSServiceBrowse(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                     const char* type, const char* domain, DNSServiceBrowseReply callback,
                                     void* context) {
  gGiven = {};
  gGiven.browse = callback;
  gGiven.context = context;
  gGiven.flags = flags;
  gGiven.interfaceIndex = interfaceIndex;
  gGiven.type = type;
  gGiven.domain = domain;
  return Begin(ref);
}
DNSServiceErrorType DNSServiceResolve(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                      const char* name, const char* type, const char* domain,
                                      DNSServiceResolveReply callback, void* context) {
  gGiven = {};
  gGiven.resolve = callback;
  gGiven.context = context;
  gGiven.flags = flags;
  gGiven.interfaceIndex = interfaceIndex;
  gGiven.name = name;
  gGiven.type = type;
  gGiven.domain = domain;
  return Begin(ref);
}
DNSServiceErrorType DNSServiceQueryRecord(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                                          const char* host, uint16_t type, uint16_t recordClass,
                                          DNSServiceQueryRecordReply callback, void* context) {
  gGiven = {};
  gGiven.query = callback;
  gGiven.context = context;
  gGiven.flags = flags;
  gGiven.interfaceIndex = interfaceIndex;
  gGiven.name = host;
  gGiven.recordType = type;
  gGiven.recordClass = recordClass;
  return Begin(ref);
}
int DNSServiceRefSockFD(DNSServiceRef ref) {
  gAskedForSocket = ref;
  return 5;
}
DNSServiceErrorType DNSServiceProcessResult(DNSServiceRef ref) {
  gProcessed = ref;
  return gProcessError;
}
void DNSServiceRefDeallocate(DNSServiceRef ref) {
  gReleased.push_back(ref);
}
}

namespace vorn {
namespace {

// What our own callbacks were called with.
struct Seen {
  int calls = 0;
  void* context = nullptr;
  std::string name;
  bool hasAddress = false;
  in_addr address{};
  DNSServiceFlags flags = 0;
};
Seen gSeen;

void OnBrowse(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char* name,
              const char*, const char*, void* context) {
  ++gSeen.calls;
  gSeen.context = context;
  gSeen.name = name;
}
void OnResolve(DNSServiceRef, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char* fullName,
               const char*, std::uint16_t, std::uint16_t, const unsigned char*, void* context) {
  ++gSeen.calls;
  gSeen.context = context;
  gSeen.name = fullName;
}
void OnAddress(DNSServiceRef, DNSServiceFlags flags, std::uint32_t, DNSServiceErrorType, const char* host,
               const sockaddr* address, std::uint32_t, void* context) {
  ++gSeen.calls;
  gSeen.context = context;
  gSeen.name = host;
  gSeen.flags = flags;
  gSeen.hasAddress = address != nullptr;
  if (address != nullptr) gSeen.address = reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
}

class SystemDNSSDTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gSeen = {};
    gReleased.clear();
    gError = kDNSServiceErr_NoError;
    gProcessError = kDNSServiceErr_NoError;
  }
  DNSServiceRef LookUp(std::uint32_t protocol = kDNSServiceProtocol_IPv4) {
    DNSServiceRef ref = nullptr;
    fError = fDnssd.GetAddrInfo(&ref, 77, 3, protocol, "box.local.", OnAddress, &fMine);
    return ref;
  }

  SystemDNSSD& fDnssd = SystemDNSSD::Instance();
  DNSServiceErrorType fError = 0;
  int fMine = 0;
};

TEST_F(SystemDNSSDTest, HandsOutZeroedMemoryEvenWhenItWasUsedBefore) {
  for (int i = 0; i < 100; ++i) {
    auto* memory = static_cast<unsigned char*>(::avahi_malloc(200));
    for (std::size_t j = 0; j < 200; ++j) ASSERT_EQ(0, memory[j]);
    std::memset(memory, 0xAB, 200);
    ::avahi_free(memory);
  }
}

TEST_F(SystemDNSSDTest, SilencesTheLibrarysAdvice) {
  EXPECT_STREQ("1", std::getenv("AVAHI_COMPAT_NOWARN"));
}

TEST_F(SystemDNSSDTest, PassesABrowsesArgumentsOn) {
  DNSServiceRef ref = nullptr;
  fDnssd.Browse(&ref, 0x10, 4, "_http._tcp", "example.", OnBrowse, &fMine);
  EXPECT_EQ(0x10U, gGiven.flags);
  EXPECT_EQ(4U, gGiven.interfaceIndex);
  EXPECT_STREQ("_http._tcp", gGiven.type);
  EXPECT_STREQ("example.", gGiven.domain);
  fDnssd.RefDeallocate(ref);
  fDnssd.Browse(&ref, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  EXPECT_EQ(nullptr, gGiven.domain);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, PassesAResolvesArgumentsOn) {
  DNSServiceRef ref = nullptr;
  fDnssd.Resolve(&ref, 0x10, 4, "Studio A", "_http._tcp.", "example.", OnResolve, &fMine);
  EXPECT_EQ(0x10U, gGiven.flags);
  EXPECT_EQ(4U, gGiven.interfaceIndex);
  EXPECT_STREQ("Studio A", gGiven.name);
  EXPECT_STREQ("_http._tcp.", gGiven.type);
  EXPECT_STREQ("example.", gGiven.domain);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, AsksTheLibraryForAnOperationsSocketAndReplies) {
  const DNSServiceRef ref = LookUp();
  EXPECT_EQ(5, fDnssd.RefSockFD(ref));
  EXPECT_EQ(ref, gAskedForSocket);
  EXPECT_EQ(kDNSServiceErr_NoError, fDnssd.ProcessResult(ref));
  EXPECT_EQ(ref, gProcessed);
  gProcessError = kDNSServiceErr_Unknown;
  EXPECT_EQ(kDNSServiceErr_Unknown, fDnssd.ProcessResult(ref));
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, LooksUpAddressesByTheRecordOfTheirKind) {
  const DNSServiceRef ref = LookUp();
  ASSERT_NE(nullptr, ref);
  EXPECT_STREQ("box.local.", gGiven.name);
  EXPECT_EQ(3U, gGiven.interfaceIndex);
  EXPECT_EQ(1, gGiven.recordType);
  EXPECT_EQ(1, gGiven.recordClass);
  EXPECT_EQ(0U, gGiven.flags);
  const unsigned char record[] = {192, 168, 1, 20};
  gGiven.query(ref, kDNSServiceFlagsAdd, 3, 0, "box.local.", 1, 1, 4, record, 120, gGiven.context);
  EXPECT_EQ(1, gSeen.calls);
  EXPECT_EQ(&fMine, gSeen.context);
  ASSERT_TRUE(gSeen.hasAddress);
  EXPECT_EQ(0, std::memcmp(&gSeen.address, record, 4));
  EXPECT_EQ(DNSServiceFlags{kDNSServiceFlagsAdd}, gSeen.flags);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, ARecordThatIsNoAddressBringsNone) {
  const DNSServiceRef ref = LookUp();
  const unsigned char record[16] = {};
  gGiven.query(ref, kDNSServiceFlagsAdd, 3, 0, "box.local.", 28, 1, 16, record, 120, gGiven.context);
  EXPECT_FALSE(gSeen.hasAddress);
  gGiven.query(ref, kDNSServiceFlagsAdd, 3, 0, "box.local.", 1, 1, 3, record, 120, gGiven.context);
  EXPECT_FALSE(gSeen.hasAddress);
  gGiven.query(ref, kDNSServiceFlagsAdd, 3, 0, "box.local.", 1, 1, 4, nullptr, 120, gGiven.context);
  EXPECT_FALSE(gSeen.hasAddress);
  EXPECT_EQ(3, gSeen.calls);
  fDnssd.RefDeallocate(ref);
}

TEST_F(SystemDNSSDTest, RefusesOtherProtocols) {
  EXPECT_EQ(nullptr, LookUp(2));
  EXPECT_EQ(kDNSServiceErr_Unsupported, fError);
}

TEST_F(SystemDNSSDTest, DropsAReplyThatReachesTheCallbackOfAnotherKind) {
  DNSServiceRef browse = nullptr;
  fDnssd.Browse(&browse, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  const Given stale = gGiven;
  DNSServiceRef resolve = nullptr;
  fDnssd.Resolve(&resolve, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine);
  // The browse's callback with the resolve's context, as the library calls from
  // re-used memory; and the other way round.
  stale.browse(browse, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", gGiven.context);
  gGiven.resolve(resolve, 0, 1, 0, "a", "h", 0, 0, nullptr, stale.context);
  EXPECT_EQ(0, gSeen.calls);
  stale.browse(browse, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", nullptr);
  EXPECT_EQ(0, gSeen.calls);
  stale.browse(browse, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", stale.context);
  EXPECT_EQ(1, gSeen.calls);
  fDnssd.RefDeallocate(browse);
  fDnssd.RefDeallocate(resolve);
}

TEST_F(SystemDNSSDTest, PassesErrorsOnAndKeepsNothing) {
  gError = kDNSServiceErr_Unknown;
  DNSServiceRef ref = reinterpret_cast<DNSServiceRef>(std::uintptr_t{1});
  EXPECT_EQ(kDNSServiceErr_Unknown,
            fDnssd.Resolve(&ref, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine));
  EXPECT_EQ(nullptr, ref);
}

SystemDNSSD* gDnssdForCallback = nullptr;
void ReleaseInside(DNSServiceRef ref, DNSServiceFlags, std::uint32_t, DNSServiceErrorType, const char*,
                   const char*, const char*, void* context) {
  gDnssdForCallback->RefDeallocate(ref);
  ++gSeen.calls;
  gSeen.context = context;
}

TEST_F(SystemDNSSDTest, AnOperationMayBeReleasedInsideItsOwnCallback) {
  gDnssdForCallback = &fDnssd;
  DNSServiceRef ref = nullptr;
  fDnssd.Browse(&ref, 0, 0, "_http._tcp", nullptr, ReleaseInside, &fMine);
  gGiven.browse(ref, kDNSServiceFlagsAdd, 1, 0, "a", "t", "d", gGiven.context);
  EXPECT_EQ(1, gSeen.calls);
  EXPECT_EQ(&fMine, gSeen.context);
  EXPECT_EQ(std::vector<DNSServiceRef>{ref}, gReleased);
}

// Calls `begin`, which begins one operation, with the first allocation failing,
// then the second, and so on until none does.
template <typename Begin>
void FailEachAllocation(SystemDNSSD& dnssd, int allocations, Begin begin) {
  for (int nth = 1; nth <= allocations + 1; ++nth) {
    DNSServiceRef ref = nullptr;
    gBegun = 0;
    bool hasThrown = false;
    {
      const testing::FailingAllocation failing(nth);
      try {
        begin(&ref);
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
      ASSERT_EQ(failing.HasFailed(), nth <= allocations) << nth;
    }
    EXPECT_EQ(hasThrown, nth <= allocations) << nth;
    EXPECT_EQ(gBegun, hasThrown ? 0 : 1) << nth;
    if (ref != nullptr) dnssd.RefDeallocate(ref);
  }
}

TEST_F(SystemDNSSDTest, WithoutMemoryNothingIsBegun) {
  constexpr int kContextAndPlace = 2;
  FailEachAllocation(fDnssd, kContextAndPlace, [&](DNSServiceRef* ref) {
    fDnssd.Browse(ref, 0, 0, "_http._tcp", nullptr, OnBrowse, &fMine);
  });
  FailEachAllocation(fDnssd, kContextAndPlace, [&](DNSServiceRef* ref) {
    fDnssd.Resolve(ref, 0, 1, "a", "_http._tcp.", "local.", OnResolve, &fMine);
  });
  FailEachAllocation(fDnssd, kContextAndPlace, [&](DNSServiceRef* ref) {
    fDnssd.GetAddrInfo(ref, 0, 3, kDNSServiceProtocol_IPv4, "box.local.", OnAddress, &fMine);
  });
}

}  // namespace
}  // namespace vorn

#include "AVB/Util/ZeroConf.h"

#include "AVB/Util/ZeroConfImpl.h"

namespace vorn {
namespace {

std::atomic<std::size_t> gAbandonedThreads{0};

}  // namespace

ZeroConfEngine::ZeroConfEngine(WorkItem& item, DNSSD& dnssd, Clock clock,
                               std::chrono::milliseconds teardownTime)
    : fTeardownTime(teardownTime), fImpl(std::make_shared<Impl>(item, dnssd, clock)) {}

ZeroConfEngine::~ZeroConfEngine() {
  fImpl->RequestStop();
  if (!fThread.joinable()) {
    fImpl->ReleaseOperations();
  } else if (fImpl->WaitUntilReleased(fTeardownTime)) {
    fThread.join();
  } else {
    ++gAbandonedThreads;
    fThread.detach();
  }
}

int ZeroConfEngine::BrowseForService(const std::string& type) {
  int result = 0;
  if (fImpl->StartBrowse(type, result)) fThread = std::thread([impl = fImpl] { impl->ThreadProc(); });
  return result;
}

int ZeroConfEngine::GetResolvedServices(std::vector<ServiceInfo>& services) const {
  fImpl->GetResolvedServices(services);
  return 0;
}

bool ZeroConfEngine::TestAndClearModified() {
  return fImpl->TestAndClearModified();
}

std::size_t ZeroConfEngine::AbandonedThreads() {
  return gAbandonedThreads;
}

}  // namespace vorn

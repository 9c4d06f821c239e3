#include "AVB/Util/ZeroConf.h"

#include <system_error>

#include "AVB/Util/ZeroConfImpl.h"
#include "foundation/AllSignalsBlocked.h"

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
  if (fImpl->StartBrowse(type, result)) StartThread();
  return result;
}

void ZeroConfEngine::StartThread() {
  const AllSignalsBlocked blocked;
  try {
    fThread = std::thread([impl = fImpl] { impl->ThreadProc(); });
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "thread constructor failed");
  }
}

int ZeroConfEngine::GetResolvedServices(std::vector<ServiceInfo>& services) const {
  fImpl->GetResolvedServices(services);
  return 0;
}

bool ZeroConfEngine::TestAndClearModified() {
  return fImpl->TestAndClearModified();
}

bool ZeroConfEngine::HasFailed() const {
  return fImpl->HasFailed();
}

std::size_t ZeroConfEngine::AbandonedThreads() {
  return gAbandonedThreads;
}

std::size_t ZeroConfEngine::FailedEngines() {
  return Impl::gFailedEngines;
}

}  // namespace vorn

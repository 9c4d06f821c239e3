#include "AVB/Util/ZeroConf.h"

#include <system_error>
#include <utility>

#include "AVB/Util/ZeroConfImpl.h"
#include "foundation/AllSignalsBlocked.h"

namespace vorn {

ZeroConfEngine::ZeroConfEngine(WorkItem& item, DNSSD& dnssd, Clock clock)
    : fImpl(std::make_unique<Impl>(item, dnssd, clock)) {}

ZeroConfEngine::~ZeroConfEngine() {
  fImpl->RequestStop();
  if (fThread.joinable()) {
    fThread.join();
  } else {
    fImpl->ReleaseOperations();
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
    fThread = std::thread([this] { fImpl->ThreadProc(); });
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

void ZeroConfEngine::Follow(std::vector<std::string> hosts) {
  fImpl->Followed().Follow(std::move(hosts));
}

FollowedHosts::ByHost ZeroConfEngine::FollowedAddresses() const {
  return fImpl->Followed().Addresses();
}

bool ZeroConfEngine::HasFailed() const {
  return fImpl->HasFailed();
}

}  // namespace vorn

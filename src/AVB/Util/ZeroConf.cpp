#include "AVB/Util/ZeroConf.h"

#include <cerrno>
#include <utility>

#include "AVB/Util/ZeroConfImpl.h"

namespace vorn {
namespace {

constexpr int kBrowseFailed = 3;

}  // namespace

ZeroConfEngine::ZeroConfEngine(WorkItem& item, DNSSD& dnssd, Now now)
    : fImpl(std::make_unique<Impl>(item, dnssd, std::move(now))) {}

ZeroConfEngine::~ZeroConfEngine() = default;

int ZeroConfEngine::BrowseForService(const std::string& type) {
  return fImpl->BrowseForService(type);
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

bool ZeroConfEngine::IsBrowsing() const {
  return fImpl->IsBrowsing();
}

bool ZeroConfEngine::HasBrowsingEnded() const {
  return fImpl->HasBrowsingEnded();
}

ZeroConfEngine::Impl::Impl(WorkItem& item, DNSSD& dnssd, Now now)
    : fDnssd(dnssd), fNow(std::move(now)), fFollowed(dnssd, fNow, [this] { QueueItem(); }), fItem(&item) {}

ZeroConfEngine::Impl::~Impl() {
  fRunning.exchange(false);
  {
    const std::lock_guard lock(fMutex);
    fItem = nullptr;
  }
  if (!fThread.IsStarted()) ReleaseOperations();
  fThread.Stop();
}

int ZeroConfEngine::Impl::BrowseForService(const std::string& type) {
  fType = type;
  DNSServiceRef ref = nullptr;
  const DNSServiceErrorType error = fDnssd.Browse(&ref, 0, 0, fType.c_str(), nullptr, BrowseCallbackS, this);
  const int result = error == kDNSServiceErr_NoError ? 0 : kBrowseFailed;
  if (ref == nullptr) return result;
  fBrowseRef = OperationHandle(fDnssd, ref);
  fBrowseSocket = fDnssd.RefSockFD(ref);
  fReportedBegun = fDnssd.HasBegun(ref);
  fBrowsing = fReportedBegun ? Browsing::kAccepted : Browsing::kPending;
  fRunning.exchange(true);
  fThread.Start("discovery", [this] { ThreadProc(); });
  return result;
}

void ZeroConfEngine::Impl::GetResolvedServices(std::vector<ServiceInfo>& services) const {
  const std::lock_guard lock(fMutex);
  services.clear();
  for (const auto& record : fRecords) {
    if (!record->resolved) continue;
    services.push_back({record->name, record->type, record->domain, record->fullName, record->host,
                        DottedDecimal(record->ipv4), record->port, record->txt});
  }
}

bool ZeroConfEngine::Impl::TestAndClearModified() {
  const std::lock_guard lock(fMutex);
  return std::exchange(fModified, false);
}

void ZeroConfEngine::Impl::ThreadProc() {
  while (fRunning) {
    try {
      ServeOneCycle();
    } catch (...) {  // for example no memory; the next cycle may have it
      ::poll(nullptr, 0, static_cast<int>(kCycle.count()));
    }
  }
  // After an error has stopped it, the engine stays readable, and this thread must still release its
  // operations.
  fThread.AwaitStop();
  ReleaseOperations();
}

void ZeroConfEngine::Impl::ServeOneCycle() {
  NoteBegun();
  YieldUnansweredLookups();
  const std::chrono::milliseconds limit = StartWaitingLookups();
  fFollowed.Serve(HasNewcomers() ? 1 : FollowedHosts::kMaxHosts);  // new services come first
  const std::vector<ServiceDataCache> waitList = GatherWaitList();
  const int ready = Wait(waitList, limit);
  if (!fRunning) return;
  if (ready < 0) {
    if (errno != EINTR) StopByItself();
    return;
  }
  for (std::size_t i = 0; i < waitList.size(); ++i) {
    if (fDescriptors[i].revents == 0) continue;
    if (fDnssd.ProcessResult(waitList[i].ref) != kDNSServiceErr_NoError) StopByItself();
    return;  // one result in each cycle, so that no operation lives longer than its list
  }
}

bool ZeroConfEngine::Impl::HasNewcomers() const {
  const std::lock_guard lock(fMutex);
  return !fWaiting.empty();
}

// Although the resolved services have not changed.
void ZeroConfEngine::Impl::QueueItem() {
  const std::lock_guard lock(fMutex);
  if (fItem != nullptr) fItem->Queue();
}

// Checks whether a slow responder has accepted the browse in the meantime.
void ZeroConfEngine::Impl::NoteBegun() {
  if (fReportedBegun || !fDnssd.HasBegun(fBrowseRef.Get())) return;
  fBrowsing = Browsing::kAccepted;
  QueueItem();
  fReportedBegun = true;  // last: if memory was missing, the next cycle reports it
}

void ZeroConfEngine::Impl::StopByItself() {
  if (!fRunning.exchange(false)) return;
  fBrowsing = Browsing::kEnded;
  QueueItem();
}

std::vector<ZeroConfEngine::Impl::ServiceDataCache> ZeroConfEngine::Impl::GatherWaitList() const {
  std::vector<ServiceDataCache> waitList;
  {
    const std::lock_guard lock(fMutex);
    waitList.reserve(2 * fRecords.size() + 2);
    for (const auto& record : fRecords) {
      if (record->resolveSocket != -1 && record->resolveRef) {
        waitList.push_back({record->resolveSocket, record->resolveRef.Get()});
      }
      if (record->addressSocket != -1 && record->addressRef) {
        waitList.push_back({record->addressSocket, record->addressRef.Get()});
      }
    }
  }
  if (fBrowseSocket != -1 && fBrowseRef) waitList.push_back({fBrowseSocket, fBrowseRef.Get()});
  if (fFollowed.Connection() != nullptr) {
    waitList.push_back({fFollowed.Socket(), fFollowed.Connection()});
  }
  return waitList;
}

int ZeroConfEngine::Impl::Wait(const std::vector<ServiceDataCache>& waitList,
                               std::chrono::milliseconds limit) {
  fDescriptors.clear();
  for (const ServiceDataCache& operation : waitList) fDescriptors.push_back({operation.socket, POLLIN, 0});
  fDescriptors.push_back({fThread.StopDescriptor(), POLLIN, 0});
  const int ready = ::poll(fDescriptors.data(), fDescriptors.size(), static_cast<int>(limit.count()));
  if (ready <= 0) return ready;
  for (const pollfd& descriptor : fDescriptors) {
    if ((descriptor.revents & POLLNVAL) != 0) {
      errno = EBADF;
      return -1;
    }
  }
  return ready;
}

void ZeroConfEngine::Impl::ReleaseOperations() {
  fFollowed.Release();
  fBrowseRef.Reset();
  std::vector<std::unique_ptr<ServiceData>> records;
  {
    const std::lock_guard lock(fMutex);
    fWaiting.clear();
    fGaveWay.clear();
    records.swap(fRecords);
  }
  while (!records.empty()) records.pop_back();
}

}  // namespace vorn

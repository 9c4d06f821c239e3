#include "AVB/Util/ZeroConfImpl.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace vorn {
namespace {

constexpr int kBrowseFailed = 3;

}  // namespace

ZeroConfEngine::Impl::Impl(WorkItem& item, DNSSD& dnssd, Clock clock)
    : fDnssd(dnssd),
      fClock(clock),
      fWakeup(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      fFollowed(dnssd, clock, [this] { QueueItem(); }),
      fItem(&item) {
  if (!fWakeup) throw std::system_error(errno, std::generic_category(), "eventfd");
}

bool ZeroConfEngine::Impl::StartBrowse(const std::string& type, int& result) {
  fType = type;
  DNSServiceRef ref = nullptr;
  const DNSServiceErrorType error = fDnssd.Browse(&ref, 0, 0, fType.c_str(), nullptr, BrowseCallbackS, this);
  result = error == kDNSServiceErr_NoError ? 0 : kBrowseFailed;
  if (ref == nullptr) {
    if (!fBrowseRef) fFailed = true;
    return false;
  }
  fBrowseRef = OperationHandle(fDnssd, ref);
  fBrowseSocket = fDnssd.RefSockFD(ref);
  fRunning.exchange(true);
  return true;
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
    } catch (...) {  // no memory, say; the next cycle may have it
      ::poll(nullptr, 0, static_cast<int>(kCycle.count()));
    }
  }
  // Stopped by an error, the engine stays readable, and its operations stay
  // this thread's to release.
  ParkUntilDestruction();
  ReleaseOperations();
}

void ZeroConfEngine::Impl::ServeOneCycle() {
  YieldUnansweredLookups();
  const std::chrono::milliseconds limit = StartWaitingLookups();
  fFollowed.Serve(HasNewcomers() ? 1 : FollowedHosts::kMaxHosts);  // newcomers come first
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
    return;  // one result a cycle, so that no operation outlives the list it was taken from
  }
}

bool ZeroConfEngine::Impl::HasNewcomers() const {
  const std::lock_guard lock(fMutex);
  return !fWaiting.empty();
}

// Without a change of the resolved services.
void ZeroConfEngine::Impl::QueueItem() {
  const std::lock_guard lock(fMutex);
  if (fItem != nullptr) fItem->Queue();
}

void ZeroConfEngine::Impl::StopByItself() {
  if (!fRunning.exchange(false)) return;
  fFailed = true;
  QueueItem();
}

std::vector<ZeroConfEngine::Impl::ServiceDataCache> ZeroConfEngine::Impl::GatherWaitList() const {
  std::vector<ServiceDataCache> waitList;
  {
    const std::lock_guard lock(fMutex);
    waitList.reserve(2 * fRecords.size() + 1);
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
  fFollowed.ForEachOpen([&](int socket, DNSServiceRef ref) { waitList.push_back({socket, ref}); });
  return waitList;
}

int ZeroConfEngine::Impl::Wait(const std::vector<ServiceDataCache>& waitList,
                               std::chrono::milliseconds limit) {
  fDescriptors.clear();
  for (const ServiceDataCache& operation : waitList) fDescriptors.push_back({operation.socket, POLLIN, 0});
  fDescriptors.push_back({fWakeup.Get(), POLLIN, 0});
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

void ZeroConfEngine::Impl::RequestStop() {
  fRunning.exchange(false);
  const std::lock_guard lock(fMutex);
  fItem = nullptr;
  fStopRequested = true;
  fStateChanged.notify_all();
  ::eventfd_write(fWakeup.Get(), 1);
}

void ZeroConfEngine::Impl::ParkUntilDestruction() {
  std::unique_lock lock(fMutex);
  fStateChanged.wait(lock, [this] { return fStopRequested; });
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

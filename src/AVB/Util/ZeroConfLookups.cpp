// The engine's look-ups: how many start and are open, which ones wait, which ones lose their place.

#include <algorithm>
#include <utility>

#include "AVB/Util/ZeroConfImpl.h"

namespace vorn {

ZeroConfEngine::Impl::Places ZeroConfEngine::Impl::CountPlaces(Moment now) const {
  Places places;
  for (const auto& record : fRecords) {
    if (!record->IsOpen()) continue;
    ++places.open;
    const Moment leaves = record->startedAt + kBeginningTime;
    if (leaves <= now) continue;
    ++places.beginning;
    places.nextLeft = std::min(places.nextLeft, leaves);
  }
  return places;
}

void ZeroConfEngine::Impl::AddService(std::unique_ptr<ServiceData> record) {
  {
    const std::lock_guard lock(fMutex);
    if (!fWaiting.empty() || CountPlaces(fNow()).Left() == 0) {
      Enqueue(std::move(record));
      return;
    }
  }
  // It is not in the vector yet, so only this thread knows it.
  if (!StartLookup(*record)) return;
  const std::lock_guard lock(fMutex);
  fRecords.push_back(std::move(record));
}

void ZeroConfEngine::Impl::Enqueue(std::unique_ptr<ServiceData> record) {
  fRecords.push_back(std::move(record));
  try {
    fWaiting.push_back(fRecords.back().get());
  } catch (...) {  // otherwise a record that nobody would look up
    fRecords.pop_back();
    throw;
  }
}

bool ZeroConfEngine::Impl::StartLookup(ServiceData& record) {
  return record.lookup == ServiceData::Lookup::kResolve ? StartResolve(record) : StartAddressLookup(record);
}

bool ZeroConfEngine::Impl::StartResolve(ServiceData& record) {
  DNSServiceRef ref = nullptr;
  const DNSServiceErrorType error =
      fDnssd.Resolve(&ref, 0, record.interfaceIndex, record.name.c_str(), record.type.c_str(),
                     record.domain.c_str(), ResolveCallbackS, this);
  OperationHandle handle(fDnssd, ref);
  if (error != kDNSServiceErr_NoError || !handle) return false;
  const int socket = fDnssd.RefSockFD(ref);
  const std::lock_guard lock(fMutex);
  record.txt.clear();
  record.resolveRef = std::move(handle);
  record.resolveSocket = socket;
  record.startedAt = fNow();
  record.everStarted = true;
  return true;
}

bool ZeroConfEngine::Impl::StartAddressLookup(ServiceData& record) {
  DNSServiceRef ref = nullptr;
  const DNSServiceErrorType error =
      fDnssd.GetAddrInfo(&ref, 0, record.addressInterface, kDNSServiceProtocol_IPv4,
                         record.hostTarget.c_str(), GetAddrInfoCallbackS, this);
  OperationHandle handle(fDnssd, ref);
  if (error != kDNSServiceErr_NoError || !handle) return false;
  const int socket = fDnssd.RefSockFD(ref);
  OperationHandle previous;  // deallocated after the mutex
  const std::lock_guard lock(fMutex);
  previous = std::exchange(record.addressRef, std::move(handle));
  record.addressSocket = socket;
  record.startedAt = fNow();
  return true;
}

std::vector<ServiceData*> ZeroConfEngine::Impl::OpenSince(Moment latest) const {
  std::vector<ServiceData*> old;
  for (const auto& record : fRecords) {
    if (record->IsOpen() && record->startedAt <= latest) old.push_back(record.get());
  }
  std::stable_sort(old.begin(), old.end(),
                   [](const auto* a, const auto* b) { return a->startedAt < b->startedAt; });
  return old;
}

// No more of them than the look-ups that start in their place.
void ZeroConfEngine::Impl::YieldUnansweredLookups() {
  std::vector<OperationHandle> given;  // deallocated after the mutex
  const std::lock_guard lock(fMutex);
  const std::size_t waiting = fWaiting.size() + fGaveWay.size();
  if (waiting == 0) return;
  const Moment now = fNow();
  const Places places = CountPlaces(now);
  const std::size_t mayBegin = kMaxBeginning - std::min(kMaxBeginning, places.beginning);
  const std::size_t mayOpen = kMaxOpen - std::min(kMaxOpen, places.open);
  const std::size_t wanted = std::min(waiting, mayBegin);
  if (wanted <= mayOpen) return;
  std::vector<ServiceData*> old = OpenSince(now - kOpenTime);
  old.resize(std::min(old.size(), wanted - mayOpen));
  given.reserve(2 * old.size());
  for (ServiceData* record : old) {
    fGaveWay.push_back(record);  // what may fail comes first: a record is pending or waits
    record->lookup = record->addressRef ? ServiceData::Lookup::kAddress : ServiceData::Lookup::kResolve;
    given.push_back(std::move(record->resolveRef));
    given.push_back(std::move(record->addressRef));
  }
}

std::deque<ServiceData*>* ZeroConfEngine::Impl::NextQueue() {
  if (!fWaiting.empty()) return &fWaiting;
  return fGaveWay.empty() ? nullptr : &fGaveWay;
}

std::chrono::milliseconds ZeroConfEngine::Impl::StartWaitingLookups() {
  while (fRunning) {
    std::deque<ServiceData*>* queue = nullptr;
    ServiceData* record = nullptr;
    {
      const std::lock_guard lock(fMutex);
      queue = NextQueue();
      if (queue == nullptr) return kCycle;
      const Moment now = fNow();
      const Places places = CountPlaces(now);
      if (places.open >= kMaxOpen) return kCycle;
      if (places.beginning >= kMaxBeginning) {
        return std::min(kCycle, std::chrono::ceil<std::chrono::milliseconds>(places.nextLeft - now));
      }
      record = queue->front();
    }
    // Only this thread adds and removes records, so the pointer stays valid. And the record keeps its turn
    // until the call has returned.
    const bool started = StartLookup(*record);
    const std::lock_guard lock(fMutex);
    queue->pop_front();
    if (!started && !record->everStarted) Take(record);
  }
  return kCycle;
}

}  // namespace vorn

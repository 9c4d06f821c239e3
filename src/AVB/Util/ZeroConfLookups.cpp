// The engine's lookups: how many are pending, who waits, who gives way.

#include <algorithm>
#include <utility>

#include "AVB/Util/ZeroConfImpl.h"

namespace vorn {

std::size_t ZeroConfEngine::Impl::CountInFlight() const {
  return static_cast<std::size_t>(
      std::count_if(fRecords.begin(), fRecords.end(), [](const auto& record) { return record->InFlight(); }));
}

void ZeroConfEngine::Impl::AddService(std::unique_ptr<ServiceData> record) {
  {
    const std::lock_guard lock(fMutex);
    if (!fWaiting.empty() || CountInFlight() >= kMaxInFlight) {
      Enqueue(std::move(record));
      return;
    }
  }
  // Not in the vector yet, so this thread alone knows it.
  if (!StartLookup(*record)) return;
  const std::lock_guard lock(fMutex);
  fRecords.push_back(std::move(record));
}

void ZeroConfEngine::Impl::Enqueue(std::unique_ptr<ServiceData> record) {
  fRecords.push_back(std::move(record));
  try {
    fWaiting.push_back(fRecords.back().get());
  } catch (...) {  // a record that nobody would look up
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
  record.startedAt = fClock();
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
  record.startedAt = fClock();
  return true;
}

void ZeroConfEngine::Impl::YieldUnansweredLookups() {
  std::vector<OperationHandle> given;  // deallocated after the mutex
  const std::lock_guard lock(fMutex);
  const std::size_t places = kMaxInFlight - std::min(kMaxInFlight, CountInFlight());
  if (fWaiting.size() <= places) return;
  std::vector<ServiceData*> expired;
  const auto latestStart = fClock() - kPlaceTime;
  for (const auto& record : fRecords) {
    if (record->InFlight() && record->startedAt <= latestStart) expired.push_back(record.get());
  }
  std::stable_sort(expired.begin(), expired.end(),
                   [](const auto* a, const auto* b) { return a->startedAt < b->startedAt; });
  expired.resize(std::min(expired.size(), fWaiting.size() - places));
  given.reserve(2 * expired.size());
  for (ServiceData* record : expired) {
    fWaiting.push_back(record);  // what may fail comes first: a record is pending or waits
    record->lookup = record->addressRef ? ServiceData::Lookup::kAddress : ServiceData::Lookup::kResolve;
    given.push_back(std::move(record->resolveRef));
    given.push_back(std::move(record->addressRef));
  }
}

void ZeroConfEngine::Impl::StartWaitingLookups() {
  while (fRunning) {
    ServiceData* record = nullptr;
    {
      const std::lock_guard lock(fMutex);
      if (fWaiting.empty() || CountInFlight() >= kMaxInFlight) return;
      record = fWaiting.front();
    }
    // Only this thread removes records, so the pointer stays good; and the
    // record keeps its turn until the call has returned.
    const bool started = StartLookup(*record);
    const std::lock_guard lock(fMutex);
    fWaiting.pop_front();
    if (!started && !record->everStarted) Take(record);
  }
}

}  // namespace vorn

#pragma once

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AVB/Util/FollowedHosts.h"
#include "AVB/Util/ServiceData.h"
#include "AVB/Util/ZeroConf.h"
#include "foundation/Clock.h"
#include "foundation/Thread.h"

namespace vorn {

/// The engine's state, and the work of its service thread.
class ZeroConfEngine::Impl {
 public:
  Impl(WorkItem& item, DNSSD& dnssd, Now now);
  ~Impl();

  int BrowseForService(const std::string& type);
  void GetResolvedServices(std::vector<ServiceInfo>& services) const;
  bool TestAndClearModified();
  [[nodiscard]] bool IsBrowsing() const { return fBrowsing == Browsing::kAccepted; }
  [[nodiscard]] bool HasBrowsingEnded() const { return fBrowsing == Browsing::kEnded; }
  FollowedHosts& Followed() { return fFollowed; }

 private:
  // A pending operation as one waiting cycle sees it; not owned.
  struct ServiceDataCache {
    int socket;
    DNSServiceRef ref;
  };

  static void BrowseCallbackS(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                              DNSServiceErrorType error, const char* name, const char* type,
                              const char* domain, void* context);
  static void ResolveCallbackS(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                               DNSServiceErrorType error, const char* fullName, const char* host,
                               std::uint16_t port, std::uint16_t txtLength, const unsigned char* txt,
                               void* context);
  static void GetAddrInfoCallbackS(DNSServiceRef ref, DNSServiceFlags flags, std::uint32_t interfaceIndex,
                                   DNSServiceErrorType error, const char* host, const sockaddr* address,
                                   std::uint32_t timeToLive, void* context);

  void BrowseCallback(DNSServiceFlags flags, std::uint32_t interfaceIndex, DNSServiceErrorType error,
                      const char* name, const char* type, const char* domain);
  void ResolveCallback(DNSServiceRef ref, std::uint32_t interfaceIndex, DNSServiceErrorType error,
                       const char* fullName, const char* host, std::uint16_t port, std::uint16_t txtLength,
                       const unsigned char* txt);
  void GetAddrInfoCallback(DNSServiceRef ref, DNSServiceFlags flags, DNSServiceErrorType error,
                           const sockaddr* address);

  using Moment = Clock::time_point;
  enum class Browsing { kEnded, kPending, kAccepted };

  static constexpr std::chrono::milliseconds kCycle{100};

  // The numbers of look-ups, by what they count for.
  struct Places {
    std::size_t beginning = 0;
    std::size_t open = 0;
    Moment nextLeft = Moment::max();  // when the next starting look-up frees its place
    [[nodiscard]] std::size_t Left() const {
      return std::min(kMaxBeginning - std::min(kMaxBeginning, beginning),
                      kMaxOpen - std::min(kMaxOpen, open));
    }
  };

  void ReleaseFailed(DNSServiceRef ref);
  void AddService(std::unique_ptr<ServiceData> record);
  void RemoveService(const std::string& name);

  // The caller holds the mutex.
  void Enqueue(std::unique_ptr<ServiceData> record);

  // The caller holds the mutex and destroys the result after it has released the mutex.
  std::unique_ptr<ServiceData> Remove(const std::string& name);
  std::unique_ptr<ServiceData> Take(const ServiceData* record);
  ServiceData* FindByRef(DNSServiceRef ref);
  [[nodiscard]] Places CountPlaces(Moment now) const;
  [[nodiscard]] std::vector<ServiceData*> OpenSince(Moment latest) const;
  std::deque<ServiceData*>* NextQueue();
  void MarkModified();

  // Starts the look-up that the record needs; false if the library refused.
  bool StartLookup(ServiceData& record);
  bool StartResolve(ServiceData& record);
  bool StartAddressLookup(ServiceData& record);

  void YieldUnansweredLookups();
  // Returns how long the next wait may take: a cycle, or until a place is free.
  std::chrono::milliseconds StartWaitingLookups();
  std::vector<ServiceDataCache> GatherWaitList() const;
  int Wait(const std::vector<ServiceDataCache>& waitList, std::chrono::milliseconds limit);
  void ServeOneCycle();
  [[nodiscard]] bool HasNewcomers() const;
  void QueueItem();
  void NoteBegun();
  void StopByItself();
  void ThreadProc();
  // Deallocates the browse, then the records from the back.
  void ReleaseOperations();

  DNSSD& fDnssd;
  const Now fNow;
  std::string fType;
  OperationHandle fBrowseRef;
  int fBrowseSocket = -1;
  std::atomic<bool> fRunning{false};
  std::atomic<Browsing> fBrowsing{Browsing::kEnded};  // until it starts
  bool fReportedBegun = false;  // set when it has started to browse; the service thread's
  FollowedHosts fFollowed;
  std::vector<pollfd> fDescriptors;  // the service thread's; kept for its memory

  mutable std::mutex fMutex;  // guards everything below
  WorkItem* fItem;            // not owned; null when the engine is being destroyed
  std::vector<std::unique_ptr<ServiceData>>
      fRecords;                       // in the order in which resolves were started or queued
  std::deque<ServiceData*> fWaiting;  // records that were never looked up, first come first served
  std::deque<ServiceData*> fGaveWay;  // records whose look-up lost its place; they come after those
  bool fModified = false;

  StoppableThread fThread;  // the service thread; last: uses all members above
};

}  // namespace vorn

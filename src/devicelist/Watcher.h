#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "devicelist/Entry.h"
#include "devicelist/HeldServices.h"
#include "devicelist/http/LocalHosts.h"
#include "foundation/Clock.h"
#include "foundation/RunLoopTimer.h"
#include "foundation/WorkLoop.h"

namespace DeviceList {

/// Whether the service announces units: its kind is one of those of Entry.h.
[[nodiscard]] bool AnnouncesUnits(const vorn::ZeroConfEngine::ServiceInfo& service);

/// The units that the services announce, in service order, as their kinds say. Services of no kind are
/// skipped. Of several entries with one URL, the first stays, so a unit that is announced on two interfaces
/// is listed once.
[[nodiscard]] std::vector<Entry> EntriesOfServices(
    const std::vector<vorn::ZeroConfEngine::ServiceInfo>& services);

/// Turns the "_http._tcp" services of the network into the list of discovered units. Whenever the resolved
/// services may have changed, one callback gets the whole list.
///
/// Lives on the thread that constructs it: updates and the callback run there, from its run loop. It does not
/// compare lists; every update delivers.
///
/// An engine ends with its responder. The watcher lives longer than both. After BrowseAnew, a list has the
/// services that the new engine names, in its order, followed by the earlier ones that HeldServices keeps.
class Watcher : public vorn::WorkLoop {
 public:
  /// Starts browsing. It does not check whether this succeeded: without a responder the list stays empty.
  /// Waits only a moment for a responder that exists but does not answer. `now` is the clock of the hold
  /// time.
  explicit Watcher(vorn::DNSSD& dnssd = vorn::SystemDNSSD::Instance(), vorn::Now now = vorn::Clock::now);
  ~Watcher() override;

  /// Installs the callback. It gets a full list, possibly empty, soon after, even if nothing has changed. Any
  /// thread. The callback runs on the watcher's thread under its mutex and must not call this function.
  void OnDeviceListChange(std::function<void(std::vector<Entry>)> callback);

  /// Replaces the engine with a new one and holds the listed services. For a responder that answers, again or
  /// after browsing has ended. Waits like the constructor. Throws std::system_error or std::bad_alloc if
  /// there is no thread, descriptor or memory. Then the listed services stay until the next call. Call this
  /// and the three below on the watcher's thread.
  void BrowseAnew();

  /// The responder does not answer: no time counts against held services until BrowseAnew.
  void PauseHold();

  /// Whether changes of the network are noticed. False if the responder has not accepted the browse yet, or
  /// if browsing has ended.
  [[nodiscard]] bool IsBrowsing() const;

  /// Whether BrowseAnew is needed: the responder has refused the browse, browsing has ended by itself, or the
  /// last BrowseAnew has failed. False while a slow responder has not accepted the browse yet.
  [[nodiscard]] bool HasBrowsingEnded() const;

 protected:
  /// The addresses of the units' ".local" hosts, for the units' clients. They stay current as the hosts
  /// announce them.
  [[nodiscard]] std::shared_ptr<const LocalHosts> Hosts() const { return fHosts; }

  /// The addresses where the unit with this URL is, as far as discovery knows, each once. Units at no known
  /// address share an empty one, so there is always one.
  [[nodiscard]] std::vector<std::string> AddressesOf(const std::string& url) const;

 private:
  void Browse();
  bool UpdateDeviceList();
  [[nodiscard]] HeldServices::Services Resolved() const;
  void TakeHosts(const HeldServices::Services& resolved, const HeldServices::Services& listed);
  void KeepHosts();
  void UpdateHosts();
  void ForceUpdate();
  void RunOrPauseHold();
  void EndHold();
  void ArmHoldTimer();

  vorn::DNSSD& fDnssd;
  const vorn::Now fNow;
  const std::shared_ptr<LocalHosts> fHosts = std::make_shared<LocalHosts>();
  // The units' hosts, by lower-case name without the last dot, with the known addresses beside those that the
  // engine follows.
  LocalHosts::Table fAnnounced;
  bool fResponderAnswers = true;  // as far as the owner knows
  HeldServices fHeld;
  vorn::RunLoopTimer fHoldTimer;
  vorn::CppWorkItem fUpdateItem;
  std::unique_ptr<vorn::ZeroConfEngine> fEngine;  // none only after BrowseAnew has failed
  std::mutex fMutex;                              // guards the two below; lock it before the engine's own
  bool fForceUpdate = false;
  std::function<void(const std::vector<Entry>&)> fCallback;
};

}  // namespace DeviceList

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

/// The units that the services announce, in service order, as their kinds say.
/// Services of no kind are skipped. Of several entries with one URL the first
/// stays, so a unit announced on two interfaces is listed once.
[[nodiscard]] std::vector<Entry> EntriesOfServices(
    const std::vector<vorn::ZeroConfEngine::ServiceInfo>& services);

/// Turns the "_http._tcp" services of the network into the list of discovered
/// units and hands the whole list to one callback whenever the resolved
/// services may have changed.
///
/// Lives on the thread that constructs it: updates and the callback run there,
/// from its run loop. It does not compare lists; every update delivers.
///
/// An engine does not outlive its responder. The watcher outlives both: after
/// BrowseAnew a list has what the fresh engine names, in its order, and behind
/// it what HeldServices keeps of before.
class Watcher : public vorn::WorkLoop {
 public:
  /// Starts browsing. Whether that succeeded is not examined: without a
  /// responder the list stays empty. Waits no more than a moment for a
  /// responder that is there but does not answer. `now` is the clock of the hold
  /// time.
  explicit Watcher(vorn::DNSSD& dnssd = vorn::SystemDNSSD::Instance(), vorn::Now now = vorn::Clock::now);
  ~Watcher() override;

  /// Installs the callback; a full list, possibly empty, is delivered soon
  /// after even if nothing has changed. Any thread. The callback runs on the
  /// watcher's thread under its mutex and must not call this function.
  void OnDeviceListChange(std::function<void(std::vector<Entry>)> callback);

  /// Puts a fresh engine in the place of the one before, and holds what was
  /// listed. For a responder that answers, again or after browsing has ended:
  /// waits as the constructor does. Throws std::system_error or std::bad_alloc
  /// when there is no thread, descriptor or memory: then what was listed stays
  /// until the next call. The watcher's thread, as for the two below.
  void BrowseAnew();

  /// The responder does not answer: until BrowseAnew, no time counts against
  /// what is held.
  void PauseHold();

  /// Whether changes of the network are noticed: false where the responder has
  /// not accepted the browse yet or has refused it, or browsing has ended by
  /// itself.
  [[nodiscard]] bool IsBrowsing() const;

 protected:
  /// The addresses of the units' ".local" hosts, kept current as the hosts tell
  /// them; for the units' clients.
  [[nodiscard]] std::shared_ptr<const LocalHosts> Hosts() const { return fHosts; }

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
  // The units' hosts, by lower-case name without the last dot, with the addresses that are known
  // beside those that the engine follows.
  LocalHosts::Table fAnnounced;
  bool fResponderAnswers = true;  // as far as the owner knows
  HeldServices fHeld;
  vorn::RunLoopTimer fHoldTimer;
  vorn::CppWorkItem fUpdateItem;
  std::unique_ptr<vorn::ZeroConfEngine> fEngine;  // none only after BrowseAnew has failed
  std::mutex fMutex;                              // guards the two below; taken before the engine's own
  bool fForceUpdate = false;
  std::function<void(const std::vector<Entry>&)> fCallback;
};

}  // namespace DeviceList

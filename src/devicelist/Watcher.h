#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "AVB/Util/ZeroConf.h"
#include "devicelist/Entry.h"
#include "devicelist/LocalHosts.h"
#include "foundation/WorkLoop.h"

namespace DeviceList {

/// Turns the "_http._tcp" services of the network into the list of discovered
/// units and hands the whole list to one callback whenever the resolved
/// services may have changed.
///
/// Lives on the thread that constructs it: updates and the callback run there,
/// from its run loop. It does not compare lists; every update delivers.
class Watcher : public vorn::WorkLoop {
 public:
  /// Starts browsing. Whether that succeeded is not examined: without a
  /// responder the list stays empty. Blocks while a responder is there but
  /// does not answer.
  explicit Watcher(vorn::DNSSD& dnssd = vorn::SystemDNSSD::Instance());
  ~Watcher() override;

  /// Installs the callback; a full list, possibly empty, is delivered soon
  /// after even if nothing has changed. Any thread. The callback runs on the
  /// watcher's thread under its mutex and must not call this function.
  void OnDeviceListChange(std::function<void(std::vector<Entry>)> callback);

 protected:
  /// The addresses of the ".local" hosts among the resolved services, kept
  /// current by every update; for the units' clients.
  [[nodiscard]] std::shared_ptr<const LocalHosts> Hosts() const { return fHosts; }

 private:
  bool UpdateDeviceList();

  const std::shared_ptr<LocalHosts> fHosts = std::make_shared<LocalHosts>();
  vorn::CppWorkItem fUpdateItem;
  vorn::ZeroConfEngine fEngine;
  std::mutex fMutex;  // guards the two below; taken before the engine's own
  bool fForceUpdate = false;
  std::function<void(const std::vector<Entry>&)> fCallback;
};

}  // namespace DeviceList

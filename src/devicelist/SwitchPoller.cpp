#include "devicelist/SwitchPoller.h"

#include <string>
#include <utility>

#include "devicelist/PollerImpl.h"

namespace DeviceList {

class SwitchPoller::Impl final : public Poller::Impl {
 public:
  Impl(Entry entry, std::shared_ptr<const LocalHosts> hosts, std::chrono::milliseconds period);
  ~Impl() override { StopPolling(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

 private:
  CheckResponse CheckFirmwareVersion();
};

SwitchPoller::Impl::Impl(Entry entry, std::shared_ptr<const LocalHosts> hosts,
                         std::chrono::milliseconds period)
    : Poller::Impl(std::move(entry), std::move(hosts), period) {
  Init({[this](Text&) { return CheckFirmwareVersion(); }});
  // The thread runs already, so a failure must not destroy the object under it.
  try {
    SetModelID(std::string(kSwitchModelID));
  } catch (...) {
    StopPolling();
    throw;
  }
}

SwitchPoller::Impl::CheckResponse SwitchPoller::Impl::CheckFirmwareVersion() {
  auto answer = Get("firmware_version");
  if (!answer) {
    SetName({});
    SetFirmwareVersion({});
    return CheckResponse::Restart;
  }
  const bool known = answer->second.IsOK();
  SetName(GetEntry().name);
  SetFirmwareVersion(known ? Text(std::move(answer->first)) : Text());
  return known ? CheckResponse::Retry : CheckResponse::Restart;
}

SwitchPoller::SwitchPoller(Entry entry, std::shared_ptr<const LocalHosts> hosts,
                           std::chrono::milliseconds period)
    : Poller(std::make_unique<Impl>(std::move(entry), std::move(hosts), period)) {}

}  // namespace DeviceList

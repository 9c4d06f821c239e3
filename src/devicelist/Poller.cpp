#include "devicelist/Poller.h"

#include <utility>

#include "devicelist/PollerImpl.h"

namespace DeviceList {

Poller::Poller(std::unique_ptr<Impl> impl) : fImpl(std::move(impl)) {}
Poller::~Poller() = default;

vorn::optional<std::string> Poller::GetName() const {
  return fImpl->GetName();
}
vorn::optional<std::string> Poller::GetFirmwareVersion() const {
  return fImpl->GetFirmwareVersion();
}
vorn::optional<std::string> Poller::GetModelID() const {
  return fImpl->GetModelID();
}
const Entry& Poller::GetEntry() const noexcept {
  return fImpl->GetEntry();
}

void Poller::OnNameOrFirmwareChanged(std::function<void()> callback) {
  fImpl->OnNameOrFirmwareChanged(std::move(callback));
}

}  // namespace DeviceList

#include "devicelist/Poller.h"

#include <utility>

#include "devicelist/Datastore.h"
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
bool Poller::HasAnswered() const noexcept {
  return fImpl->HasAnswered();
}
std::string Poller::GetAddress() const {
  return fImpl->GetAddress();
}
const Entry& Poller::GetEntry() const noexcept {
  return fImpl->GetEntry();
}

void Poller::OnNameOrFirmwareChanged(std::function<void()> callback) {
  fImpl->OnNameOrFirmwareChanged(std::move(callback));
}

Poller::Impl::Impl(Entry entry, std::shared_ptr<const LocalHosts> hosts, std::chrono::milliseconds period)
    : fEntry(std::move(entry)), fPeriod(period), fHTTP(std::move(hosts)) {}

Poller::Impl::~Impl() = default;

vorn::optional<std::string> Poller::Impl::GetName() const {
  return CopyOf(fName);
}
vorn::optional<std::string> Poller::Impl::GetFirmwareVersion() const {
  return CopyOf(fFirmwareVersion);
}
vorn::optional<std::string> Poller::Impl::GetModelID() const {
  return CopyOf(fModelID);
}

std::string Poller::Impl::GetAddress() const {
  const std::lock_guard lock(fMutex);
  return fAddress;
}

Poller::Impl::Text Poller::Impl::CopyOf(const Text& value) const {
  const std::lock_guard lock(fMutex);
  return value;
}

void Poller::Impl::OnNameOrFirmwareChanged(std::function<void()> callback) {
  std::shared_ptr<const std::function<void()>> shared;
  if (callback) shared = std::make_shared<const std::function<void()>>(std::move(callback));
  const std::lock_guard lock(fCallbackMutex);
  fOnChanged.swap(shared);
}

void Poller::Impl::Init(std::vector<PollerInternals::Check> checks) {
  fInternals = std::make_unique<PollerInternals>(fPeriod, std::move(checks));
}

void Poller::Impl::StopPolling() noexcept {
  fHTTP.Cancel();
  fInternals.reset();
}

vorn::optional<HTTPAnswer> Poller::Impl::Get(const std::string& path, const Text& etag) {
  auto answer = fHTTP.DoRequest(fEntry.url + path, etag);
  if (answer && answer->second.IsOK()) NoteAnswer();
  if (answer) {
    const std::lock_guard lock(fMutex);
    fAddress = answer->second.address;
  }
  return answer;
}

void Poller::Impl::Set(Text& value, Text to) {
  if (to) CutToBound(*to);
  {
    const std::lock_guard lock(fMutex);
    std::swap(value, to);
  }
  std::shared_ptr<const std::function<void()>> callback;
  {
    const std::lock_guard lock(fCallbackMutex);
    callback = fOnChanged;
  }
  if (callback) (*callback)();
}

}  // namespace DeviceList

#include "devicelist/FirmwarePoller.h"

#include <mutex>
#include <utility>

#include "devicelist/Datastore.h"
#include "devicelist/PollerInternals.h"
#include "devicelist/UpdateServer.h"
#include "devicelist/ValueBound.h"
#include "devicelist/http/HTTPPoller.h"
#include "devicelist/http/Url.h"

namespace DeviceList {

class FirmwarePoller::Impl final {
 public:
  Impl(std::string model, std::string channel, std::function<void()> onChanged,
       std::chrono::milliseconds period);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  [[nodiscard]] vorn::optional<std::string> GetLatestVersion() const;

 private:
  using CheckResponse = PollerInternals::CheckResponse;

  CheckResponse CheckFirmwareVersion();
  [[nodiscard]] std::string MakeURL() const;

  mutable std::mutex fMutex;
  vorn::optional<std::string> fLatestVersion;  ///< guarded by fMutex; written by the polling thread alone
  const std::string fChannel;
  const std::string fModel;
  const std::function<void()> fOnChanged;
  std::unique_ptr<PollerInternals> fInternals;
  HTTPPoller fHTTP{nullptr, kRequestTimeout, HTTPPoller::Redirects::kAnywhere};
};

FirmwarePoller::Impl::Impl(std::string model, std::string channel, std::function<void()> onChanged,
                           std::chrono::milliseconds period)
    : fChannel(std::move(channel)), fModel(std::move(model)), fOnChanged(std::move(onChanged)) {
  std::vector<PollerInternals::Check> checks;
  checks.emplace_back([this](vorn::optional<std::string>&) { return CheckFirmwareVersion(); });
  fInternals = std::make_unique<PollerInternals>(period, std::move(checks));
}

/// The client goes first, for good, so that the thread does not wait for an
/// answer; both before any member does.
FirmwarePoller::Impl::~Impl() {
  fHTTP.Cancel();
  fInternals.reset();
}

vorn::optional<std::string> FirmwarePoller::Impl::GetLatestVersion() const {
  const std::lock_guard lock(fMutex);
  return fLatestVersion;
}

std::string FirmwarePoller::Impl::MakeURL() const {
  std::string url = UpdateServerRoot();
  if (!fChannel.empty() && fChannel != "release") url += URLEncode(fChannel) + "/";
  return url + "device/" + URLEncode(fModel) + "/firmware";
}

FirmwarePoller::Impl::CheckResponse FirmwarePoller::Impl::CheckFirmwareVersion() {
  constexpr long kOK = 200;
  const auto answer = fHTTP.DoRequest(MakeURL(), {});
  if (!answer || answer->second.statusCode != kOK) return CheckResponse::Restart;
  auto version = GetFirstReleaseVersion(answer->first);
  if (!version) return CheckResponse::Restart;
  CutToBound(*version);
  if (fLatestVersion == version) return CheckResponse::Retry;
  {
    const std::lock_guard lock(fMutex);
    std::swap(fLatestVersion, version);
  }
  if (fOnChanged) fOnChanged();
  return CheckResponse::Retry;
}

FirmwarePoller::FirmwarePoller(std::string model, std::string channel, std::function<void()> onChanged,
                               std::chrono::milliseconds period)
    : fImpl(std::make_unique<Impl>(std::move(model), std::move(channel), std::move(onChanged), period)) {}

FirmwarePoller::~FirmwarePoller() = default;
FirmwarePoller::FirmwarePoller(FirmwarePoller&& other) noexcept = default;
FirmwarePoller& FirmwarePoller::operator=(FirmwarePoller&& other) noexcept = default;

vorn::optional<std::string> FirmwarePoller::GetLatestVersion() const {
  return fImpl ? fImpl->GetLatestVersion() : vorn::optional<std::string>();
}

}  // namespace DeviceList

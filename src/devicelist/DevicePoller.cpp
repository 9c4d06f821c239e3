#include "devicelist/DevicePoller.h"

#include <string>
#include <string_view>
#include <utility>

#include "devicelist/Datastore.h"
#include "devicelist/PollerImpl.h"

namespace DeviceList {
namespace {

/// The versions of a compatible unit begin with these.
constexpr std::string_view kAcceptableAPIPrefix = "0.";
constexpr std::string_view kAcceptableAVBPrefix = "0.";
static_assert(!kAcceptableAPIPrefix.empty() && !kAcceptableAVBPrefix.empty(), "would accept every version");

constexpr long kNotFound = 404;

}  // namespace

class DevicePoller::Impl final : public Poller::Impl {
 public:
  Impl(Entry entry, std::shared_ptr<const LocalHosts> hosts, std::chrono::milliseconds period);
  ~Impl() override { StopPolling(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

 private:
  CheckResponse CheckAPIVersion();
  CheckResponse CheckAVBDatastoreVersion();
  CheckResponse CheckModel();
  CheckResponse CheckFirmwareVersion();
  CheckResponse PollForName(Text& etag);

  CheckResponse HideDevice();
  CheckResponse RevertToOriginalName();
  CheckResponse ReadOnce(const std::string& what, void (Impl::*store)(Text));
  [[nodiscard]] std::string PathOf(const std::string& what) const {
    return "datastore/avb/" + GetEntry().uid + "/" + what;
  }
};

DevicePoller::Impl::Impl(Entry entry, std::shared_ptr<const LocalHosts> hosts,
                         std::chrono::milliseconds period)
    : Poller::Impl(std::move(entry), std::move(hosts), period) {
  Init({
      [this](Text&) { return CheckAPIVersion(); },
      [this](Text&) { return CheckAVBDatastoreVersion(); },
      [this](Text&) { return CheckModel(); },
      [this](Text&) { return CheckFirmwareVersion(); },
      [this](Text& state) { return PollForName(state); },
  });
}

/// For a unit that gives no answer.
DevicePoller::Impl::CheckResponse DevicePoller::Impl::HideDevice() {
  SetName({});
  SetFirmwareVersion({});
  SetModelID({});
  return CheckResponse::Restart;
}

/// For a unit whose answer is not as expected: it is shown all the same.
DevicePoller::Impl::CheckResponse DevicePoller::Impl::RevertToOriginalName() {
  SetName(GetEntry().name);
  SetFirmwareVersion({});
  SetModelID({});
  return CheckResponse::Restart;
}

DevicePoller::Impl::CheckResponse DevicePoller::Impl::CheckAPIVersion() {
  const auto answer = Get("apiversion");
  if (!answer) return HideDevice();
  const auto& [body, response] = *answer;
  if (!response.IsOK() || !body.starts_with(kAcceptableAPIPrefix)) return RevertToOriginalName();
  return CheckResponse::Done;
}

DevicePoller::Impl::CheckResponse DevicePoller::Impl::CheckAVBDatastoreVersion() {
  const auto answer = Get("datastore/ext/caps/avb");
  if (!answer) return HideDevice();
  const auto& [body, response] = *answer;
  if (!response.IsOK()) return RevertToOriginalName();
  const auto version = GetDatastoreValue(body);
  if (!version || !version->starts_with(kAcceptableAVBPrefix)) return RevertToOriginalName();
  return CheckResponse::Done;
}

DevicePoller::Impl::CheckResponse DevicePoller::Impl::CheckModel() {
  return ReadOnce("model_name", &Impl::SetModelID);
}

DevicePoller::Impl::CheckResponse DevicePoller::Impl::CheckFirmwareVersion() {
  return ReadOnce("firmware_version", &Impl::SetFirmwareVersion);
}

DevicePoller::Impl::CheckResponse DevicePoller::Impl::ReadOnce(const std::string& what,
                                                               void (Impl::*store)(Text)) {
  const auto answer = Get(PathOf(what));
  if (!answer) return HideDevice();
  const auto& [body, response] = *answer;
  if (!response.IsOK()) return RevertToOriginalName();
  auto value = GetDatastoreValue(body);
  if (!value) return RevertToOriginalName();
  (this->*store)(std::move(value));
  return CheckResponse::Done;
}

DevicePoller::Impl::CheckResponse DevicePoller::Impl::PollForName(Text& etag) {
  const auto answer = Get(PathOf("entity_name"), etag);
  if (!answer) return HideDevice();
  const auto& [body, response] = *answer;
  if (response.statusCode == kNotFound) return RevertToOriginalName();
  if (!response.IsOK()) return CheckResponse::Retry;  // 304: as it was
  if (auto tag = response.allHeaderFields.Find("ETag")) etag = std::move(*tag);
  if (auto name = GetDatastoreValue(body)) SetName(std::move(name));
  return CheckResponse::Retry;
}

DevicePoller::DevicePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts,
                           std::chrono::milliseconds period)
    : Poller(std::make_unique<Impl>(std::move(entry), std::move(hosts), period)) {}

}  // namespace DeviceList

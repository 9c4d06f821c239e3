#include "devicelist/FirmwarePoller.h"

#include <mutex>
#include <string_view>
#include <utility>

#include "devicelist/Datastore.h"
#include "devicelist/PollerInternals.h"
#include "devicelist/http/HTTPPoller.h"
#include "devicelist/http/Url.h"
#include "foundation/Console.h"

namespace DeviceList {
namespace {

constexpr std::string_view kPathEnd = "/api/";
constexpr char kServerSetting[] = "updateServerRoot";

bool IsAPIRoot(const std::string& text) {
  // The request's path is appended to the text, so the text itself must end in this way, and not only its
  // path.
  if (!text.ends_with(kPathEnd) || text.find_first_of("?#") != std::string::npos) return false;
  const auto url = ParsePlainUrl(text);
  return url && url->path.ends_with(kPathEnd);
}

}  // namespace

UpdateServer::UpdateServer() : fRoot(VORN_UPDATE_SERVER_ROOT) {}

std::optional<UpdateServer> UpdateServer::At(std::string root) {
  if (!IsAPIRoot(root)) return {};
  UpdateServer server;
  server.fRoot = std::move(root);
  return server;
}

UpdateServer UpdateServer::FromSettings(const vorn::UserDefaults& defaults) {
  UpdateServer own;
  const auto root = defaults.GetString(kServerSetting);
  if (!root) return own;
  if (auto server = At(*root)) return *std::move(server);
  vorn::WriteToConsole(
      "The setting updateServerRoot is refused, because it is not an http address that ends in /api/: " +
      vorn::Excerpt(*root) + "; asking " + own.Root() + " instead");
  return own;
}

bool UpdateServer::MayBeAsked(vorn::UserDefaults& defaults) {
  const bool isWhole = defaults.StoreCondition() == vorn::UserDefaults::Condition::kWhole;
  defaults.RegisterBool(kCheckForUpdates, isWhole || defaults.GetBool(kAlreadyRun));
  return defaults.GetBool(kCheckForUpdates);
}

std::string UpdateServer::FirmwareUrl(const std::string& model, const std::string& channel) const {
  std::string url = fRoot;
  if (!channel.empty() && channel != kReleaseChannel) url += URLEncode(channel) + "/";
  return url + "device/" + URLEncode(model) + "/firmware";
}

class FirmwarePoller::Impl final {
 public:
  Impl(std::string model, std::string channel, std::function<void()> onChanged, UpdateServer server,
       std::chrono::milliseconds period);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  [[nodiscard]] vorn::optional<std::string> GetLatestVersion() const;

 private:
  using CheckResponse = PollerInternals::CheckResponse;

  CheckResponse CheckFirmwareVersion();

  mutable std::mutex fMutex;
  vorn::optional<std::string> fLatestVersion;  ///< guarded by fMutex; only the polling thread writes it
  const std::string fChannel;
  const std::string fModel;
  const UpdateServer fServer;
  const std::function<void()> fOnChanged;
  std::unique_ptr<PollerInternals> fInternals;
  HTTPPoller fHTTP{nullptr, kRequestTimeout, HTTPPoller::Redirects::kAnywhere};
};

FirmwarePoller::Impl::Impl(std::string model, std::string channel, std::function<void()> onChanged,
                           UpdateServer server, std::chrono::milliseconds period)
    : fChannel(std::move(channel)),
      fModel(std::move(model)),
      fServer(std::move(server)),
      fOnChanged(std::move(onChanged)) {
  std::vector<PollerInternals::Check> checks;
  checks.emplace_back([this](vorn::optional<std::string>&) { return CheckFirmwareVersion(); });
  fInternals = std::make_unique<PollerInternals>(period, std::move(checks));
}

/// The client ends first and for good, so that the thread does not wait for an answer. Both end before any
/// member.
FirmwarePoller::Impl::~Impl() {
  fHTTP.Cancel();
  fInternals.reset();
}

vorn::optional<std::string> FirmwarePoller::Impl::GetLatestVersion() const {
  const std::lock_guard lock(fMutex);
  return fLatestVersion;
}

FirmwarePoller::Impl::CheckResponse FirmwarePoller::Impl::CheckFirmwareVersion() {
  const auto answer = fHTTP.DoRequest(fServer.FirmwareUrl(fModel, fChannel), {});
  if (!answer || !answer->second.IsOK()) return CheckResponse::Restart;
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
                               UpdateServer server, std::chrono::milliseconds period)
    : fImpl(std::make_unique<Impl>(std::move(model), std::move(channel), std::move(onChanged),
                                   std::move(server), period)) {}

FirmwarePoller::~FirmwarePoller() = default;
FirmwarePoller::FirmwarePoller(FirmwarePoller&& other) noexcept = default;
FirmwarePoller& FirmwarePoller::operator=(FirmwarePoller&& other) noexcept = default;

vorn::optional<std::string> FirmwarePoller::GetLatestVersion() const {
  return fImpl ? fImpl->GetLatestVersion() : vorn::optional<std::string>();
}

}  // namespace DeviceList

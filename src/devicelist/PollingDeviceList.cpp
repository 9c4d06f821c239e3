#include "devicelist/PollingDeviceList.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "foundation/Console.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

constexpr char kTooManyUnits[] = "more units are announced than can be polled; the others are not listed";
constexpr char kTooManyModels[] =
    "more models are announced than can be asked about; the others have no newest version";
constexpr std::size_t kMaxReported = 64;  // strangers choose what a message names

std::string PlaceText(const std::string& address) {
  return address.empty() ? "hosts without a known address" : vorn::Excerpt(address);
}

vorn::optional<vorn::FirmwareVersion> VersionOf(const vorn::optional<std::string>& text) {
  if (!text) return {};
  return vorn::SlowConvertFromStringAllowRemainder<vorn::FirmwareVersion>(*text);
}

}  // namespace

PollingDeviceList::PollingDeviceList(Publish publish, UpdateServer server)
    : PollingDeviceList(std::move(publish), vorn::SystemDNSSD::Instance(),
                        Makers{.firmwarePoller = FirmwarePollersOf(std::move(server))}) {}

PollingDeviceList::PollingDeviceList(Publish publish, vorn::DNSSD& dnssd, Makers makers)
    : Watcher(dnssd, makers.now),
      fMakers(std::move(makers)),
      fUpdateItem(this, [this] { return UpdateAfterPause(); }),
      fPauseTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { fUpdateItem.Queue(); }),
      fPublish(std::move(publish)),
      fUnits({.make = [this](const Entry& entry) { return NewPoller(entry); },
              .addressesOf = [this](const std::string& url) { return AddressesOf(url); },
              .onFailed =
                  [this](const std::exception& error) {
                    ReportOnce(fReportedThreads,
                               std::string("a unit cannot be polled, trying again: ") + error.what());
                  },
              .onFull = [this](const auto& address) { ReportFull(address); }}),
      fModels(
          [this](const std::string& model) {
            return fMakers.firmwarePoller(model, kReleaseChannel, [this] { fUpdateItem.Queue(); });
          },
          {.onReplaced =
               [this](const std::string& url) {
                 ReportOnce("a unit at " + PlaceText(AddressesOf(url).front()) +
                            " names one model after another; not all are asked about");
               },
           .onRefused = [this] { ReportOnce(kTooManyModels); }},
          fMakers.now),
      fRetryItem(this, [this] { return Retry(); }),
      fRetryTimer(vorn::RunLoop::Current(), vorn::kNever, [this] { fRetryItem.Queue(); }) {
  OnDeviceListChange([this](std::vector<Entry> entries) { TakeEntries(std::move(entries)); });
}

PollingDeviceList::~PollingDeviceList() = default;

std::unique_ptr<Poller> PollingDeviceList::MakePoller(Entry entry, std::shared_ptr<const LocalHosts> hosts) {
  const UnitKind* kind = KindOf(entry.type);
  return kind != nullptr ? kind->makePoller(std::move(entry), std::move(hosts)) : nullptr;
}

PollingDeviceList::FirmwarePollerMaker PollingDeviceList::FirmwarePollersOf(UpdateServer server) {
  return
      [server = std::move(server)](std::string model, std::string channel, std::function<void()> onChanged) {
        return FirmwarePoller(std::move(model), std::move(channel), std::move(onChanged), server);
      };
}

void PollingDeviceList::TakeEntries(std::vector<Entry> entries) {
  fUnits.Take(std::move(entries));
  RetryLater();
  fUpdateItem.Queue();
}

// The next retry is sure before this one begins, because memory may be what is missing.
bool PollingDeviceList::Retry() {
  fIsRetryDue = false;
  if (std::exchange(fMustAskAboutModels, false)) fUpdateItem.Queue();
  RetryLater();
  if (fUnits.Retry()) fUpdateItem.Queue();
  return true;
}

void PollingDeviceList::RetryLater() {
  if (fIsRetryDue || (!fUnits.MayRetry() && !fMustAskAboutModels)) return;
  fIsRetryDue = true;
  fRetryTimer.FireAfter(fMakers.retryTime);
}

std::unique_ptr<Poller> PollingDeviceList::NewPoller(const Entry& entry) {
  auto poller = fMakers.poller(entry, Hosts());
  if (poller) poller->OnNameOrFirmwareChanged([this] { fUpdateItem.Queue(); });
  return poller;
}

void PollingDeviceList::CheckForUpdates(bool check) {
  fChecksForUpdates = check;
  if (!check) fModels.Forget();
  fUpdateItem.Queue();
}

bool PollingDeviceList::UpdateAfterPause() {
  const auto now = fMakers.now();
  if (now < fPauseEnds) {
    fPauseTimer.FireAfter(fPauseEnds - now);
    return true;
  }
  UpdateList();
  if (fUnits.All().size() > kUnitsWithoutPause) fPauseEnds = fMakers.now() + kPause;
  return true;
}

bool PollingDeviceList::UpdateList() {
  std::vector<ExtendedDeviceInfo> collected;
  collected.reserve(fUnits.All().size());
  for (const auto& poller : fUnits.All()) {
    collected.push_back(Assemble(*poller));
    fModels.Keep(collected.back().url);
    if (const auto& model = collected.back().modelID) fModels.Name(*model);
  }
  for (ExtendedDeviceInfo& info : collected) {
    if (info.modelID && fChecksForUpdates)
      info.latestVersion = VersionOf(LatestVersionText(info.url, *info.modelID));
  }
  fModels.EndRound();
  std::erase_if(collected, [](const ExtendedDeviceInfo& info) { return !info.name; });
  std::vector<ExtendedDeviceInfo> output = FilterAndSort(std::move(collected));
  if (fPublish) fPublish(std::move(output));
  return true;
}

ExtendedDeviceInfo PollingDeviceList::Assemble(const Poller& poller) const {
  const Entry& entry = poller.GetEntry();
  ExtendedDeviceInfo info;
  info.name = poller.GetName();
  info.type = entry.type;
  info.url = entry.url;
  info.uid = entry.uid;
  info.address = poller.GetAddress();
  info.firmwareVersion = VersionOf(poller.GetFirmwareVersion());
  info.modelID = poller.GetModelID();
  return info;
}

vorn::optional<std::string> PollingDeviceList::LatestVersionText(const std::string& url,
                                                                 const std::string& model) {
  try {
    return fModels.LatestVersionOf(url, model);
  } catch (const std::exception& error) {
    ReportOnce(fReportedThreads, std::string("a model cannot be asked about, trying again: ") + error.what());
    fMustAskAboutModels = true;
    RetryLater();
    return {};
  }
}

void PollingDeviceList::ReportFull(const std::optional<std::string>& address) {
  if (!address) return ReportOnce(kTooManyUnits);
  ReportOnce("more than " + std::to_string(UnitPlaces::kMaxUnitsAtAddress) + " units are announced at " +
             PlaceText(*address) + "; the others there are not listed");
}

void PollingDeviceList::ReportOnce(bool& reported, const std::string& message) {
  if (!std::exchange(reported, true)) vorn::WriteToConsole(message);
}

void PollingDeviceList::ReportOnce(const std::string& message) {
  if (fReported.size() < kMaxReported && fReported.insert(message).second) vorn::WriteToConsole(message);
}

}  // namespace DeviceList

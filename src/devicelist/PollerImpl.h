#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "devicelist/Entry.h"
#include "devicelist/Poller.h"
#include "devicelist/PollerInternals.h"
#include "devicelist/http/HTTPPoller.h"
#include "devicelist/http/LocalHosts.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// The common parts of device and switch pollers: the entry, the three polled values, the change callback,
/// the HTTP client and the thread. A kind of poller adds its checks, which are its members and run on the
/// thread. A check must never see an object that is not complete. So:
///
/// - the kind's class is final. Its constructor calls Init as the last thing that can fail, or calls
///   StopPolling before it lets a failure out;
/// - its destructor calls StopPolling first.
class Poller::Impl {
 public:
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  virtual ~Impl();

  [[nodiscard]] vorn::optional<std::string> GetName() const;
  [[nodiscard]] vorn::optional<std::string> GetFirmwareVersion() const;
  [[nodiscard]] vorn::optional<std::string> GetModelID() const;
  [[nodiscard]] bool HasAnswered() const noexcept { return fHasAnswered; }
  [[nodiscard]] std::string GetAddress() const;
  [[nodiscard]] const Entry& GetEntry() const noexcept { return fEntry; }
  void OnNameOrFirmwareChanged(std::function<void()> callback);

 protected:
  using CheckResponse = PollerInternals::CheckResponse;
  using Text = vorn::optional<std::string>;

  /// Does not start polling yet.
  Impl(Entry entry, std::shared_ptr<const LocalHosts> hosts, std::chrono::milliseconds period);

  /// Starts the thread with the checks. Throws std::system_error.
  void Init(std::vector<PollerInternals::Check> checks);

  /// Cancels the HTTP client for good, then stops and joins the thread. May be called again, but not from a
  /// check.
  void StopPolling() noexcept;

  /// One GET of the base URL with this appended.
  vorn::optional<HTTPAnswer> Get(const std::string& path, const Text& etag = {});

  void NoteAnswer() noexcept { fHasAnswered = true; }

  /// Each assigns one value and calls the callback once. A text longer than kMaxValueBytes is cut.
  void SetName(Text name) { Set(fName, std::move(name)); }
  void SetFirmwareVersion(Text version) { Set(fFirmwareVersion, std::move(version)); }
  void SetModelID(Text model) { Set(fModelID, std::move(model)); }

 private:
  [[nodiscard]] Text CopyOf(const Text& value) const;
  void Set(Text& value, Text to);

  const Entry fEntry;
  const std::chrono::milliseconds fPeriod;
  std::atomic<bool> fHasAnswered{false};
  mutable std::mutex fMutex;  ///< guards the three values and the address
  Text fName;
  Text fFirmwareVersion;
  Text fModelID;
  std::string fAddress;       ///< of the last answer
  std::mutex fCallbackMutex;  ///< guards fOnChanged
  std::shared_ptr<const std::function<void()>> fOnChanged;
  std::unique_ptr<PollerInternals> fInternals;  ///< none before Init and after StopPolling
  HTTPPoller fHTTP;
};

}  // namespace DeviceList

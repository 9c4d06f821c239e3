#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "devicelist/Entry.h"
#include "foundation/Optional.h"

namespace DeviceList {

/// The pause between two polls of a unit.
inline constexpr std::chrono::seconds kPollPeriod{3};

/// Watches one discovered unit on a separate thread and keeps what the unit says about itself. The kinds are
/// DevicePoller and SwitchPoller.
///
/// A poller polls from its construction to its destruction. The destructor cancels the open request, so that
/// it is fast even if the unit hangs, and joins the thread. No callback runs afterwards.
class Poller {
 public:
  virtual ~Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  /// The name to show; empty means that the unit is hidden. This and the two below are copies. Any thread;
  /// never blocks for long. All are bytes from the unit, not necessarily UTF-8, and cut at kMaxValueBytes.
  [[nodiscard]] vorn::optional<std::string> GetName() const;

  /// The firmware version as the unit writes it; empty: unknown.
  [[nodiscard]] vorn::optional<std::string> GetFirmwareVersion() const;

  /// The model identifier; empty: unknown. A cut one is a model like any other, but the update server does
  /// not know it.
  [[nodiscard]] vorn::optional<std::string> GetModelID() const;

  /// Whether the unit has ever answered a request with success, so that somebody is there. Any thread.
  [[nodiscard]] bool HasAnswered() const noexcept;

  /// The address that the unit's last answer came from; empty before the first one. Any thread.
  [[nodiscard]] std::string GetAddress() const;

  /// The entry that the poller was made for; never changes. Any thread.
  [[nodiscard]] const Entry& GetEntry() const noexcept;

  /// Sets the function to call after every assignment of one of the three values, also if the value stays the
  /// same. An empty function ends the calls. Any thread. Call it once, right after construction; earlier
  /// assignments bring no call.
  ///
  /// The function runs on the polling thread without any lock, so it may use the getters. It may be called
  /// while the poller is being destroyed, but not afterwards. It must not block and must not destroy the
  /// poller. If the function is replaced during a call, nobody waits for that call.
  void OnNameOrFirmwareChanged(std::function<void()> callback);

 protected:
  class Impl;
  explicit Poller(std::unique_ptr<Impl> impl);

 private:
  const std::unique_ptr<Impl> fImpl;  ///< never null
};

}  // namespace DeviceList

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

/// Watches one discovered unit on a thread of its own and keeps what the unit
/// says of itself. The kinds are DevicePoller and SwitchPoller.
///
/// A poller polls from its construction to its destruction. Destruction cancels
/// the request in flight, so that it takes no time worth speaking of even when
/// the unit hangs, and joins the thread; no callback runs afterwards.
class Poller {
 public:
  virtual ~Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  /// The name to show; empty means that the unit is hidden. Copies, like the
  /// two below; any thread, never blocks for long. All are bytes as the unit
  /// sent them, not necessarily UTF-8, but at most kMaxValueBytes: what goes
  /// beyond is cut off.
  [[nodiscard]] vorn::optional<std::string> GetName() const;

  /// The firmware version as the unit writes it; empty: unknown.
  [[nodiscard]] vorn::optional<std::string> GetFirmwareVersion() const;

  /// The model identifier; empty: unknown. One that was cut is a model like any
  /// other, which the update server does not know.
  [[nodiscard]] vorn::optional<std::string> GetModelID() const;

  /// The entry that the poller was made for; never changes. Any thread.
  [[nodiscard]] const Entry& GetEntry() const noexcept;

  /// Sets the function to call after every assignment of one of the three
  /// values, be it to a different value or not; an empty one ends the calls.
  /// Any thread, meant to be called once, right after construction; what was
  /// assigned before brings no call.
  ///
  /// It is called on the polling thread with no lock held, so it may use the
  /// getters. It may be called while the poller is being destroyed, but not
  /// afterwards. It must not block and must not destroy the poller. A call
  /// under way when the function is replaced is not waited for.
  void OnNameOrFirmwareChanged(std::function<void()> callback);

 protected:
  class Impl;
  explicit Poller(std::unique_ptr<Impl> impl);

 private:
  const std::unique_ptr<Impl> fImpl;  ///< never null
};

}  // namespace DeviceList

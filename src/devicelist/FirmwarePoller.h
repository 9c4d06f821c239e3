#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "foundation/Optional.h"

namespace DeviceList {

/// The pause between two queries of the update server.
inline constexpr std::chrono::seconds kFirmwarePollPeriod{600};

/// Asks the update server on a thread of its own for the newest firmware of
/// one model on one release channel, and keeps the last good answer: a failed
/// query changes nothing. Uses no addresses from announcements.
///
/// Can be moved; a moved-from one owns nothing, knows no version and may be
/// destroyed or assigned to. Destruction cancels the query in flight, so that
/// it takes no time worth speaking of, and joins the thread.
class FirmwarePoller {
 public:
  /// Starts at once with the first query. `channel` empty or "release" is the
  /// server's main channel. `onChanged`, where not empty, is called on the
  /// polling thread, with no lock held, after each change of the version; it
  /// must neither block nor destroy the poller. Throws when there is no thread
  /// or HTTP client to be had.
  FirmwarePoller(std::string model, std::string channel, std::function<void()> onChanged,
                 std::chrono::milliseconds period = kFirmwarePollPeriod);
  ~FirmwarePoller();
  FirmwarePoller(FirmwarePoller&& other) noexcept;
  FirmwarePoller& operator=(FirmwarePoller&& other) noexcept;
  FirmwarePoller(const FirmwarePoller&) = delete;
  FirmwarePoller& operator=(const FirmwarePoller&) = delete;

  /// The newest version as the server writes it, cut at kMaxValueBytes; empty:
  /// not known yet. A copy. Any thread.
  [[nodiscard]] vorn::optional<std::string> GetLatestVersion() const;

 private:
  class Impl;
  std::unique_ptr<Impl> fImpl;  ///< none in a moved-from one
};

}  // namespace DeviceList

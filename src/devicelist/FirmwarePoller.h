#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/Optional.h"
#include "platform/UserDefaults.h"

namespace DeviceList {

/// The pause between two queries of the update server.
inline constexpr std::chrono::seconds kFirmwarePollPeriod{600};

/// The update server's main channel, which everybody asks.
inline constexpr char kReleaseChannel[] = "release";

/// The user's setting, a bool: whether the update server is asked at all.
inline constexpr char kCheckForUpdates[] = "checkForUpdates";

/// The application's own mark in the settings, a bool: its first run is over, so the user may have made
/// choices.
inline constexpr char kAlreadyRun[] = "AlreadyRun";

/// The update server for firmware pollers: a checked API root. A plain value; any thread.
class UpdateServer {
 public:
  /// The build's own server (VORN_UPDATE_SERVER_ROOT).
  UpdateServer();

  /// The server at this root: an http URL with a host, whose path ends in "/api/", without query, fragment,
  /// user name or password. Empty if the text is no such URL.
  static std::optional<UpdateServer> At(std::string root);

  /// The server of the user's setting "updateServerRoot", if there is one. A setting that cannot be an API
  /// root is refused on the console, and the build's own server stays. Belongs to the thread of the settings.
  static UpdateServer FromSettings(const vorn::UserDefaults& defaults);

  /// Whether the user lets the program ask: the setting kCheckForUpdates. It is on by default, but off as
  /// long as the user may have switched it off before the settings were lost. Belongs to the thread of the
  /// settings.
  [[nodiscard]] static bool MayBeAsked(vorn::UserDefaults& defaults);

  [[nodiscard]] const std::string& Root() const noexcept { return fRoot; }

  /// The address of the newest firmware of a model on a channel. Any bytes.
  [[nodiscard]] std::string FirmwareUrl(const std::string& model, const std::string& channel) const;

 private:
  std::string fRoot;
};

/// Asks the update server, on a separate thread, for the newest firmware of one model on one release channel.
/// Keeps the last good answer: a failed query changes nothing. Uses no addresses from announcements.
///
/// Can be moved. A moved-from one owns nothing, knows no version and may be destroyed or assigned to. The
/// destructor cancels the open query, so that it is fast, and joins the thread.
class FirmwarePoller {
 public:
  /// Starts the first query at once. `channel` empty or kReleaseChannel is the server's main channel.
  /// `onChanged`, if not empty, is called after each change of the version, on the polling thread, without
  /// any lock. It must neither block nor destroy the poller. Throws if no thread or no HTTP client can be
  /// made.
  FirmwarePoller(std::string model, std::string channel, std::function<void()> onChanged,
                 UpdateServer server = {}, std::chrono::milliseconds period = kFirmwarePollPeriod);
  ~FirmwarePoller();
  FirmwarePoller(FirmwarePoller&& other) noexcept;
  FirmwarePoller& operator=(FirmwarePoller&& other) noexcept;
  FirmwarePoller(const FirmwarePoller&) = delete;
  FirmwarePoller& operator=(const FirmwarePoller&) = delete;

  /// The newest version as the server writes it, cut at kMaxValueBytes; empty: not known yet. A copy. Any
  /// thread.
  [[nodiscard]] vorn::optional<std::string> GetLatestVersion() const;

 private:
  class Impl;
  std::unique_ptr<Impl> fImpl;  ///< none in a moved-from one
};

}  // namespace DeviceList

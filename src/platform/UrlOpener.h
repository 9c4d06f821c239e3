#pragma once

#include <string>

namespace vorn {

/// Opens web addresses in the user's default browser.
///
/// @threadsafety The main thread only.
class UrlOpener {
 public:
  UrlOpener() = default;
  UrlOpener(const UrlOpener&) = delete;
  UrlOpener& operator=(const UrlOpener&) = delete;
  virtual ~UrlOpener() = default;

  /// Gives `url` to the browser and returns without waiting for it. If the user's click brought an activation
  /// token, it lets the browser raise its window; empty means none. The console gets the reason of a failure.
  virtual void Open(const std::string& url, const std::string& activationToken) = 0;
};

}  // namespace vorn

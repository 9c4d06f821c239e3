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

  /// Hands `url` to the browser and returns without waiting for it. The
  /// activation token, where one came with the user's click, lets the browser
  /// raise its window; empty is none. The reason of a failure goes to the console.
  virtual void Open(const std::string& url, const std::string& activationToken) = 0;
};

}  // namespace vorn

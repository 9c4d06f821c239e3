#pragma once

#include <string>

#include "platform/UrlOpener.h"

namespace vorn {

/// Opens addresses through the desktop's own "xdg-open", found on the search
/// path and called with the address as its one argument, never through a
/// shell. The activation token travels in the child's environment; ours, and
/// what a start by D-Bus left in it, does not. The child is nobody's: it
/// neither becomes a zombie nor ends with us.
///
/// Blocks until the program has been started (some milliseconds), not for it.
class XdgUrlOpener final : public UrlOpener {
 public:
  /// Refuses, on the console, an address that is empty, leads with "-" or
  /// holds a control character.
  void Open(const std::string& url, const std::string& activationToken) override;
};

}  // namespace vorn

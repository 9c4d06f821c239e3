#pragma once

#include <string>

#include "foundation/Optional.h"

namespace vorn::app {

/// Keeps asking the update server for the newest version of one product for as
/// long as it lives.
class LatestVersionSource {
 public:
  virtual ~LatestVersionSource() = default;
  /// As the server writes it; empty: not known yet. Any thread.
  virtual optional<std::string> GetLatestVersion() const = 0;
};

}  // namespace vorn::app
